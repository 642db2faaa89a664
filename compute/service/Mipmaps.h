// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The levels of a texture below the first.
#pragma once

#include "compute/backend/TextureView.h"
#include "compute/types/TextureType.h"

namespace compute::service {

/// Computes every level from the one before it with a box filter of 2 x 2 pixels, or of
/// 2 x 2 x 2 for a 3D texture. Integers have none. An odd last column or row is left out, as the
/// rounded-down size of the next level says; an extent of one pixel is repeated. Whole numbers are
/// rounded to nearest.
void generateMipmaps(const TextureView& texture, TextureType type);

} // namespace compute::service
