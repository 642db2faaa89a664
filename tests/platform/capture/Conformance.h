// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What every source of window pictures must do. Each source has a desktop of the tests' own, and
// instantiates the suite with it.
#pragma once

#include "platform/capture/WindowCapture.h"
#include "tests/platform/capture/Recording.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>

namespace platform::tests {

/// A desktop with one window that shows the test picture. It starts whatever it needs, and leaves
/// nothing behind.
class CaptureDesktop {
public:
    virtual ~CaptureDesktop() = default;
    virtual WindowCapture& capture() = 0;
    /// The window as start() wants it.
    virtual std::optional<std::uint64_t> window() = 0;
    /// Paints the test picture with this counter.
    virtual void show(std::uint32_t counter) = 0;
    /// Gives the window another size, in which it shows the counter.
    virtual void resize(std::uint32_t width, std::uint32_t height, std::uint32_t counter) = 0;
    virtual void close() = 0;
};

/// Makes a desktop whose window has 640 x 400 pixels and shows counter 0; null, with the reason on
/// the log of the test, where the machine cannot have one.
using MakeCaptureDesktop = std::unique_ptr<CaptureDesktop> (*)();

/// Captures the window and has seen it.
class CaptureConformance : public testing::TestWithParam<MakeCaptureDesktop> {
protected:
    void SetUp() override;

    Recording told; // and those after it outlive the capture
    Recording again;
    std::unique_ptr<CaptureDesktop> desktop;
};

} // namespace platform::tests
