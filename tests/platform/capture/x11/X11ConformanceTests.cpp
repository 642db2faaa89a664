// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// X displays do what every source has to, with and without a window manager.
#include "tests/platform/capture/x11/X11Desktop.h"

namespace platform::tests {

static std::unique_ptr<CaptureDesktop> managed() {
    return std::make_unique<X11Desktop>(X11Desktop::Manager::Openbox);
}

static std::unique_ptr<CaptureDesktop> bareWithAlpha() {
    return std::make_unique<X11Desktop>(X11Desktop::Manager::None,
                                        TestWindow::Options{.depth = 32, .border = 3});
}

INSTANTIATE_TEST_SUITE_P(X11, CaptureConformance, testing::Values(managed, bareWithAlpha),
                         [](const auto& info) { return info.index == 0 ? "managed" : "bare"; });

} // namespace platform::tests
