// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The buffers and textures that the console has announced, by id.
#pragma once

#include "compute/backend/Device.h"
#include "compute/backend/TextureView.h"
#include "compute/protocol/Protocol.h"
#include "compute/types/TextureType.h"
#include "platform/base/FileDescriptor.h"

#include <map>

namespace compute::service {

/// A texture with the memory that it points into. Kernels could write to the view that they see,
/// so that the service has its own.
struct Texture {
    Memory memory;
    Memory viewMemory; ///< of the view with the addresses by which kernels know the texels
    TextureView view;
    TextureType type = TextureType::D2;
    const TextureView* viewOfKernels() const {
        return reinterpret_cast<const TextureView*>(viewMemory->data());
    }
};

/// Used by the message thread only; what it hands out lives as long as somebody holds it.
class Resources {
public:
    /// `device` must outlive it and all that it hands out.
    explicit Resources(Device& device) : m_device(device) {}

    // What the device refuses is no error here, but of whoever asks for it.

    platform::Result<void> add(const protocol::RegisterBuffer& message,
                               const platform::FileDescriptor& memory);
    platform::Result<void> add(const protocol::RegisterTexture& message,
                               const platform::FileDescriptor& memory);
    void remove(protocol::BufferId id) { m_buffers.erase(id); }
    void remove(protocol::TextureId id) { m_textures.erase(id); }

    platform::Result<Memory> find(protocol::BufferId id) const;
    platform::Result<std::shared_ptr<Texture>> find(protocol::TextureId id) const;
    const Device& device() const { return m_device; }

private:
    platform::Result<void> giveToDevice(Texture& texture);

    Device& m_device;
    std::map<protocol::BufferId, platform::Result<Memory>> m_buffers;
    std::map<protocol::TextureId, platform::Result<std::shared_ptr<Texture>>> m_textures;
};

} // namespace compute::service
