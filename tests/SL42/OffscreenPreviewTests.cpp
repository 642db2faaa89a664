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

} // namespace starloom
