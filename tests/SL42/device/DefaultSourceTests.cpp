// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/document/StarloomDocument.h"
#include "tests/SL42/device/DeviceFixture.h"

namespace starloom {
namespace {

using DefaultSourceTest = DeviceTest;

TEST_F(DefaultSourceTest, ShowsABallAtTheLowerRight) {
    const Picture picture = pictureOf(std::string(defaultSource));
    const Color white{1, 1, 1, 1};
    const Color black{0, 0, 0, 0}; // what fades is the clear screen of this frame
    // At the start its centre is at (928, 508) and its radius 32.
    for (const auto [x, y] : {std::pair{928, 508}, {928 - 31, 508}, {928 + 31, 508}, {928, 478}})
        EXPECT_LT(difference(picture.at(x, y), white), 0.01) << x << ", " << y;
    for (const auto [x, y] : {std::pair{928 - 33, 508}, {928, 474}, {952, 484}, {480, 270}, {0, 0}})
        EXPECT_LT(difference(picture.at(x, y), black), 0.01) << x << ", " << y;
}

} // namespace
} // namespace starloom
