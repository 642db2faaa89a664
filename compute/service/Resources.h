// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The buffers and textures that the console has announced, by id.
#pragma once

#include "compute/backend/TextureView.h"
#include "compute/memory/GuardedMemory.h"
#include "compute/protocol/Protocol.h"
#include "compute/types/TextureType.h"
#include "platform/base/FileDescriptor.h"

#include <map>

namespace compute::service {

/// A texture with the memory that it points into. Kernels could write to the view that they see,
/// so that the service has its own.
struct Texture {
    std::shared_ptr<memory::GuardedMemory> memory;
    std::shared_ptr<memory::GuardedMemory> viewMemory;
    TextureView view;
    TextureType type = TextureType::D2;
    const TextureView* viewOfKernels() const {
        return reinterpret_cast<const TextureView*>(viewMemory->data());
    }
};

/// Used by the message thread only; what it hands out lives as long as somebody holds it.
class Resources {
public:
    platform::Result<void> add(const protocol::RegisterBuffer& message,
                               const platform::FileDescriptor& memory);
    platform::Result<void> add(const protocol::RegisterTexture& message,
                               const platform::FileDescriptor& memory);
    void remove(protocol::BufferId id) { m_buffers.erase(id); }
    void remove(protocol::TextureId id) { m_textures.erase(id); }

    /// Null when there is none of that id.
    std::shared_ptr<memory::GuardedMemory> find(protocol::BufferId id) const;
    std::shared_ptr<Texture> find(protocol::TextureId id) const;

private:
    std::map<protocol::BufferId, std::shared_ptr<memory::GuardedMemory>> m_buffers;
    std::map<protocol::TextureId, std::shared_ptr<Texture>> m_textures;
};

} // namespace compute::service
