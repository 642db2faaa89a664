// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where the levels of a texture lie in its memory; both processes compute it with this function.
#pragma once

#include "compute/protocol/Protocol.h"

#include <optional>

namespace compute::protocol {

struct LevelLayout {
    std::uint64_t offset = 0; ///< of its first slice from the start of the memory, in bytes
    std::uint64_t bytesPerRow = 0;
    std::uint64_t bytesPerSlice = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t slices = 0;
};

struct TextureLayout {
    std::array<LevelLayout, maxTextureLevels> levels{};
    std::uint64_t end = 0; ///< number of bytes that the memory must have
};

/// Level 0 starts at `offset` with rows `bytesPerRow` apart; every further level follows at the
/// next multiple of 64 bytes with rows without gaps. The slices of a level follow each other, their
/// rows as far apart as any. Nothing when the numbers make no sense: no extent, an extent that the
/// type does not have, more levels than the chain down to one pixel has, rows shorter than their
/// pixels or anything over the limits of the protocol.
std::optional<TextureLayout> layOut(const TextureShape& shape, std::uint64_t offset,
                                    std::uint64_t bytesPerRow);

} // namespace compute::protocol
