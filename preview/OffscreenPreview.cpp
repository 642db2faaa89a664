// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "preview/OffscreenPreview.h"

#include <utility>

namespace starloom {

OffscreenPreview::OffscreenPreview(std::shared_ptr<gpu::Device> device)
    : m_pool(std::make_shared<DrawablePool>(std::move(device))) {}

void OffscreenPreview::refresh() {
    m_needsDisplay = false;
    if (delegate())
        delegate()->draw(*this);
}

} // namespace starloom
