// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "preview/OffscreenPreview.h"
#include "tests/SL42/FakeDevice.h"

#include <gtest/gtest.h>

#include <vector>

namespace starloom {

TEST(OffscreenPreview, UsesTexturesAgainWhenTheyAreFree) {
    OffscreenPreview view{std::make_shared<fake::Device>()};
    EXPECT_EQ(view.waitForPicture(), nullptr);
    std::vector<std::shared_ptr<gpu::Drawable>> held;
    while (auto drawable = view.currentDrawable())
        held.push_back(std::move(drawable));
    ASSERT_GE(held.size(), 4U); // three frames in flight and the picture that is shown
    held.back()->present();
    held.pop_back();
    EXPECT_EQ(view.currentDrawable(), nullptr)
        << "the picture that is shown must not be drawn over";
    const auto last = held.front()->texture();
    held.front()->present();
    EXPECT_NE(view.currentDrawable(), nullptr);
    held.clear(); // dropped without being shown, as after a failed frame
    EXPECT_EQ(view.waitForPicture(), last);
    EXPECT_EQ(view.pictureCount(), 2U);
}

TEST(OffscreenPreview, DrawsOverNothingThatIsHeld) {
    OffscreenPreview view{std::make_shared<fake::Device>()};
    EXPECT_EQ(view.takePicture(), nullptr);
    const auto showNext = [&view]() -> const gpu::Texture* {
        const auto drawable = view.currentDrawable();
        if (!drawable)
            return nullptr;
        drawable->present();
        return drawable->texture().get();
    };
    std::vector<std::shared_ptr<const gpu::Texture>> held;
    for (std::size_t i = 0; i < DrawablePool::mostHeld; ++i) {
        const gpu::Texture* const shown = showNext();
        held.push_back(view.takePicture());
        EXPECT_EQ(held.back().get(), shown);
        EXPECT_EQ(view.takePicture(), nullptr) << "it was taken before";
    }
    for (int frame = 0; frame < 3; ++frame) {
        const gpu::Texture* const shown = showNext();
        ASSERT_NE(shown, nullptr) << "room for frames one by one";
        for (const auto& picture : held)
            EXPECT_NE(picture.get(), shown);
        EXPECT_EQ(view.takePicture().get(), shown);
    }
    const gpu::Texture* const released = held.front().get();
    held.erase(held.begin());
    EXPECT_EQ(showNext(), released);
}

} // namespace starloom
