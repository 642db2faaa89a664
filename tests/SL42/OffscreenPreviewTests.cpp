// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "preview/OffscreenPreview.h"
#include "tests/SL42/FakeDevice.h"

#include <gtest/gtest.h>

#include <vector>

namespace starloom {
namespace {

class OffscreenPreviewTest : public testing::Test {
protected:
    OffscreenPreview view{std::make_shared<fake::Device>()};
};

} // namespace

TEST_F(OffscreenPreviewTest, ShowsTheDrawablePresentedLast) {
    EXPECT_EQ(view.waitForPicture(), nullptr);
    auto first = view.currentDrawable();
    auto second = view.currentDrawable();
    const auto expected = second->texture();
    EXPECT_EQ(expected->descriptor(),
              (gpu::TextureDescriptor{gpu::PixelFormat::RGBA16Float, 960, 540, 1}));
    first->present();
    second->present();
    EXPECT_EQ(view.waitForPicture(), expected);
    EXPECT_EQ(view.pictureCount(), 2U);
}

TEST_F(OffscreenPreviewTest, UsesTexturesAgainWhenTheyAreFree) {
    std::vector<std::shared_ptr<gpu::Drawable>> held;
    while (auto drawable = view.currentDrawable())
        held.push_back(std::move(drawable));
    ASSERT_GE(held.size(), 4U); // three frames in flight and the picture that is shown
    held.back()->present();
    held.pop_back();
    EXPECT_EQ(view.currentDrawable(), nullptr)
        << "the picture that is shown must not be drawn over";
    held.front()->present();
    EXPECT_NE(view.currentDrawable(), nullptr);
    held.clear(); // dropped without being shown, as after a failed frame
    EXPECT_NE(view.waitForPicture(), nullptr);
    EXPECT_EQ(view.pictureCount(), 2U);
}

} // namespace starloom
