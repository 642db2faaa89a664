// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A console on a fake device.
#pragma once

#include "tests/SL42/EngineFixture.h"
#include "tests/SL42/FakeDevice.h"

#include <memory>
#include <string>
#include <vector>

namespace starloom {

inline constexpr const char* allThree = "void cpu() {}\nvoid fx() {}\nfloat2 sfx() { return 0; }";

/// Hands out drawables without end, or none.
class FakeView final : public MTLPreview {
public:
    std::shared_ptr<gpu::Drawable> currentDrawable() override;
    void setNeedsDisplay() override { ++displayRequests; }

    bool hasDrawables = true;
    int displayRequests = 0;
    int presented = 0;
    int cursorUpdates = 0;

private:
    void resetCursorRects() override { ++cursorUpdates; }
};

class ConsoleTest : public EngineFixture {
protected:
    Surroundings surroundings() { return surroundingsOf(device, m_view); }
    void start(std::string source, bool preview = false);
    /// Draws one frame and everything that follows from it.
    void drawFrame();
    /// Command buffers with a label since the last call of forget().
    std::vector<std::shared_ptr<fake::CommandBuffer>> commandBuffers(const std::string& label);
    /// The kernels that the next frame runs.
    std::vector<std::string> kernelsOfAFrame();
    void forget() { device->commandBuffers.clear(); }
    FakeView& view() { return *m_view; }
    int linesEqual(const std::string& text) const;

    std::shared_ptr<fake::Device> device = std::make_shared<fake::Device>();

private:
    FakeView* m_view = nullptr;
};

} // namespace starloom
