// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A console on the real device, whose pictures and audio memory tests can look at.
#pragma once

#include "preview/OffscreenPreview.h"
#include "tests/SL42/EngineFixture.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace starloom {

/// Red, green, blue, alpha.
using Color = std::array<double, 4>;

/// One picture of the console, 960 x 540.
class Picture {
public:
    explicit Picture(const gpu::Texture& texture);
    Color at(int x, int y) const;

private:
    std::vector<_Float16> m_halves;
};

/// Largest difference between two colours' components; infinite when only one is not a number.
double difference(const Color& a, const Color& b);

class DeviceTest : public EngineFixture {
protected:
    static void SetUpTestSuite();

    /// Starts a console with a program that must compile.
    void start(const std::string& source);
    /// Draws one frame and waits for it and all that follows from it.
    void drawFrame();
    /// Starts a program and returns the picture of its n-th frame. Registers that cpu() sets are
    /// surely in force from the second frame on.
    Picture pictureOf(const std::string& source, int frames = 1);
    Picture picture();
    /// Runs statements on core 0 of cpu(); what they store in audioBuffer is returned.
    std::span<const float> runOnCore0(const std::string& statements);
    std::span<const float> audioMemory();

    static std::shared_ptr<gpu::Device> device;
    OffscreenPreview* m_view = nullptr;
};

} // namespace starloom
