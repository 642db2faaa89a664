// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sole owners of Vulkan objects.
#pragma once

#include <vulkan/vulkan_core.h>

#include <utility>

namespace compute::vulkan {

/// An object that belongs to `Parent`, which must outlive it.
template <class Parent, class Object, void (*destroy)(Parent, Object, const VkAllocationCallbacks*)>
class Handle {
public:
    Handle() = default;
    /// Takes ownership.
    Handle(Parent parent, Object object) : m_parent(parent), m_object(object) {}
    Handle(Handle&& other) noexcept
        : m_parent(other.m_parent), m_object(std::exchange(other.m_object, {})) {}
    Handle& operator=(Handle&& other) noexcept {
        std::swap(m_parent, other.m_parent);
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~Handle() {
        if (m_object != VK_NULL_HANDLE)
            destroy(m_parent, m_object, nullptr);
    }

    Object get() const { return m_object; }
    explicit operator bool() const { return m_object != VK_NULL_HANDLE; }

private:
    Parent m_parent{};
    Object m_object{};
};

using BufferHandle = Handle<VkDevice, VkBuffer, vkDestroyBuffer>;
using MemoryHandle = Handle<VkDevice, VkDeviceMemory, vkFreeMemory>;
using ShaderHandle = Handle<VkDevice, VkShaderModule, vkDestroyShaderModule>;
using LayoutHandle = Handle<VkDevice, VkPipelineLayout, vkDestroyPipelineLayout>;
using SetLayoutHandle = Handle<VkDevice, VkDescriptorSetLayout, vkDestroyDescriptorSetLayout>;
using PipelineHandle = Handle<VkDevice, VkPipeline, vkDestroyPipeline>;
using PipelineCacheHandle = Handle<VkDevice, VkPipelineCache, vkDestroyPipelineCache>;
using CommandPoolHandle = Handle<VkDevice, VkCommandPool, vkDestroyCommandPool>;
using SemaphoreHandle = Handle<VkDevice, VkSemaphore, vkDestroySemaphore>;

} // namespace compute::vulkan
