// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/PipelineCache.h"

#include "compute/vulkan/Error.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace compute::vulkan {

using platform::Lock;
using platform::Result;

namespace {

VkPhysicalDeviceProperties propertiesOf(const PhysicalDevice& device) {
    VkPhysicalDeviceProperties properties{};
    vkGetPhysicalDeviceProperties(device.handle, &properties);
    return properties;
}

} // namespace

std::string driverKey(const PhysicalDevice& device) {
    const VkPhysicalDeviceProperties own = propertiesOf(device);
    std::ostringstream key;
    key << std::hex << own.vendorID << ' ' << own.deviceID << ' ' << own.driverVersion << ' ';
    for (const unsigned byte : own.pipelineCacheUUID)
        key << byte << '.';
    return std::move(key).str();
}

bool isOf(const PhysicalDevice& device, std::span<const std::byte> code) {
    VkPipelineCacheHeaderVersionOne header{};
    if (code.size() < sizeof header)
        return false;
    std::memcpy(&header, code.data(), sizeof header);
    const VkPhysicalDeviceProperties own = propertiesOf(device);
    return header.headerSize == sizeof header &&
           header.headerVersion == VK_PIPELINE_CACHE_HEADER_VERSION_ONE &&
           header.vendorID == own.vendorID && header.deviceID == own.deviceID &&
           std::ranges::equal(header.pipelineCacheUUID, own.pipelineCacheUUID);
}

void PipelineCache::keep() const {
    std::size_t size = 0;
    if (!m_kept || vkGetPipelineCacheData(m_device->get(), get(), &size, nullptr) != VK_SUCCESS)
        return;
    std::vector<std::byte> code(size);
    // It may have grown meanwhile, by another kernel; then that one keeps it.
    if (vkGetPipelineCacheData(m_device->get(), get(), &size, code.data()) != VK_SUCCESS)
        return;
    code.resize(size);
    m_kept->store(m_shader, code);
}

Result<PipelineCache> PipelineCaches::open(const Fingerprint& shader,
                                           std::shared_ptr<KeptCode> kept) {
    PipelineCache cache;
    cache.m_device = m_device;
    cache.m_shader = shader;
    const bool isKnown = shader != Fingerprint{};
    {
        const Lock lock(m_mutex);
        std::erase_if(m_caches, [](const auto& entry) { return entry.second.expired(); });
        if (const auto found = m_caches.find({shader.low, shader.high}); found != m_caches.end())
            cache.m_cache = found->second.lock();
    }
    if (!cache.m_cache) {
        cache.m_cache = SL42_TRY(make(shader, kept.get()));
        const Lock lock(m_mutex);
        if (isKnown)
            m_caches.insert_or_assign({shader.low, shader.high}, cache.m_cache);
    }
    cache.m_kept = std::move(kept);
    return cache;
}

Result<std::shared_ptr<const PipelineCacheHandle>>
PipelineCaches::make(const Fingerprint& shader, const KeptCode* kept) const {
    std::vector<std::byte> code;
    if (kept != nullptr)
        code = kept->load(shader);
    if (!isOf(m_device->physical(), code))
        code.clear();
    VkPipelineCacheCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_PIPELINE_CACHE_CREATE_INFO;
    info.initialDataSize = code.size();
    info.pInitialData = code.data();
    VkPipelineCache made = VK_NULL_HANDLE;
    SL42_TRY_VOID(check(vkCreatePipelineCache(m_device->get(), &info, nullptr, &made),
                        "make a cache of pipelines"));
    return std::make_shared<const PipelineCacheHandle>(m_device->get(), made);
}

} // namespace compute::vulkan
