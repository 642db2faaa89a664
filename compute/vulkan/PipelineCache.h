// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the driver made of a shader: shared by all kernels that are the same shader, and handed from
// one start to the next.
#pragma once

#include "compute/backend/KeptCode.h"
#include "compute/vulkan/LogicalDevice.h"
#include "platform/base/Mutex.h"

#include <map>
#include <memory>
#include <string>

namespace compute::vulkan {

/// Tells apart drivers that cannot use each other's caches.
std::string driverKey(const PhysicalDevice& device);
/// Whether the marks at its start say that this driver made it, for this device. Drivers look at
/// them, too, but not all at each, and some trust what follows.
bool isOf(const PhysicalDevice& device, std::span<const std::byte> code);

/// The cache that the pipelines of one kernel are made with. One thread at a time.
class PipelineCache {
public:
    VkPipelineCache get() const { return m_cache->get(); }
    /// After each pipeline that was made.
    void keep() const;

private:
    friend class PipelineCaches;

    std::shared_ptr<const LogicalDevice> m_device; // goes last
    std::shared_ptr<const PipelineCacheHandle> m_cache;
    std::shared_ptr<KeptCode> m_kept;
    Fingerprint m_shader;
};

/// All that are in use. Any thread.
class PipelineCaches {
public:
    explicit PipelineCaches(std::shared_ptr<const LogicalDevice> device)
        : m_device(std::move(device)) {}

    /// That of the shader, if there is one, or else a new one with what was kept of it, if the
    /// driver's own marks say that this driver made it. `kept` may be null; a shader whose
    /// fingerprint is not known has none in common with others.
    platform::Result<PipelineCache> open(const Fingerprint& shader, std::shared_ptr<KeptCode> kept);

private:
    platform::Result<std::shared_ptr<const PipelineCacheHandle>> make(const Fingerprint& shader,
                                                                      const KeptCode* kept) const;

    const std::shared_ptr<const LogicalDevice> m_device;
    platform::Mutex m_mutex;
    std::map<std::pair<std::uint64_t, std::uint64_t>, std::weak_ptr<const PipelineCacheHandle>>
        m_caches SL42_GUARDED_BY(m_mutex);
};

} // namespace compute::vulkan
