// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A texture lies in a memory object, its own or its caller's, laid out as
// compute/protocol/TextureLayout.h says.
#pragma once

#include "compute/protocol/TextureLayout.h"
#include "gpu/Texture.h"
#include "gpu/host/Registration.h"

namespace gpu::host {

class HostTexture final : public Texture {
public:
    /// Null when the descriptor makes no sense or there is no memory.
    static std::shared_ptr<HostTexture> create(std::shared_ptr<ServiceClient> client,
                                               const TextureDescriptor& descriptor);
    /// Null when it does not fit the memory or has several levels.
    static std::shared_ptr<HostTexture> create(std::shared_ptr<ServiceClient> client,
                                               const TextureDescriptor& descriptor,
                                               std::shared_ptr<platform::SharedMemory> memory,
                                               std::size_t offset, std::size_t bytesPerRow);

    const TextureDescriptor& descriptor() const override { return m_descriptor; }
    bool replaceSlice(std::uint32_t level, std::uint32_t slice, std::span<const std::byte> pixels,
                      std::size_t bytesPerRow) override;
    bool getSlice(std::uint32_t level, std::uint32_t slice, std::span<std::byte> pixels,
                  std::size_t bytesPerRow) const override;
    TextureRows rows(std::uint32_t level) const override;

    compute::protocol::TextureId id() const { return m_id; }
    const std::shared_ptr<Registration>& registration() const { return m_registration; }

private:
    HostTexture(std::shared_ptr<ServiceClient> client, const TextureDescriptor& descriptor,
                const compute::protocol::TextureLayout& layout,
                std::shared_ptr<platform::SharedMemory> memory);
    /// Bytes of one row of the level; 0 when there is no such slice or the caller's pixels do not
    /// fit.
    std::size_t rowBytes(std::uint32_t level, std::uint32_t slice, std::size_t callersBytes,
                         std::size_t callersBytesPerRow) const;

    compute::protocol::TextureId m_id;
    TextureDescriptor m_descriptor;
    compute::protocol::TextureLayout m_layout;
    std::shared_ptr<Registration> m_registration;
};

} // namespace gpu::host
