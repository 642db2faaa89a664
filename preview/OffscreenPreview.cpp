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

std::shared_ptr<const gpu::Texture> OffscreenPreview::takePicture() {
    m_pool->waitForShown();
    std::shared_ptr<gpu::Texture> texture = m_pool->takeShown().texture;
    if (!texture)
        return nullptr;
    const gpu::Texture* const shown = texture.get();
    return {shown, [pool = m_pool, owned = std::move(texture)](const gpu::Texture*) mutable {
                pool->giveBack(std::move(owned));
            }};
}

} // namespace starloom
