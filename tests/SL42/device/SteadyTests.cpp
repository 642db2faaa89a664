// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Frame after frame of the same kind, the console asks for no memory, and for no work where the
// picture stays as it is: from the program to the picture that a window shows.
#include "platform/keyboard/KeyStateSource.h"
#include "preview/Presenter.h"
#include "tests/Allocations.h"
#include "tests/SL42/device/DeviceFixture.h"

#include <algorithm>
#include <atomic>

namespace starloom {
namespace {

/// The window's view without a window, larger than the picture.
class PresentingView final : public MTLPreview {
public:
    explicit PresentingView(const std::shared_ptr<gpu::Device>& device)
        : m_presenter(device, [this](const std::shared_ptr<const ScreenPicture>& picture) {
              middle = picture->pixels[picture->size.area() / 2];
              latest = picture.get();
              ++m_delivered;
              m_delivered.notify_one();
          }) {
        m_presenter.setTargetSize({1600, 900});
    }

    std::shared_ptr<gpu::Drawable> currentDrawable() override {
        return m_presenter.pool().nextDrawable();
    }
    void setNeedsDisplay() override {}
    void refresh() {
        const int before = m_delivered;
        delegate()->draw(*this);
        m_delivered.wait(before);
    }

    std::atomic<std::uint32_t> middle = 0;
    /// Lives until the next refresh at least.
    std::atomic<const ScreenPicture*> latest = nullptr;

private:
    std::atomic<int> m_delivered = 0;
    Presenter m_presenter; // last: it delivers from its thread
};

/// One key that is struck again and again.
class Drummer final : public platform::KeyStateSource {
public:
    std::span<const platform::Key> heldKeys() override {
        m_held = !m_held;
        return std::span(m_keys).first(m_held ? 1 : 0);
    }

private:
    std::array<platform::Key, 1> m_keys{{{std::nullopt, 'a', 'A'}}};
    bool m_held = false;
};

} // namespace

using SteadyTest = DeviceTest;

TEST_F(SteadyTest, FramesLikeTheOneBeforeTakeNoMemory) {
    PresentingView* view = nullptr;
    engine = std::make_unique<SL42>(surroundingsOf(device, view), "Test",
                                    R"(
        void cpu() { if (keystroke('a') && mouseclick().x) poke32<int>(peek32<int>(0) + 1, 0); }
        void fx() {
            cls(peek32<int>(0) > 50 ? 1 : 0);
            circ(mousepos(), 20, 0.5);
            print("frame", 5, float2(10), float4(1));
        }
        float2 sfx() { return sin(float(sample)); })",
                                    false);
    settle();
    ASSERT_FALSE(engine->hasError().get()) << engine->error().get();
    engine->waitForFont();
    engine->keyboard().setSource(std::make_shared<Drummer>());
    MouseValues mouse;
    mouse.setMouseLocation({0.25, 0.25});
    const std::size_t allocations = test::allocationsOf([&] {
        clock.advance(platform::Seconds(1.0 / 60));
        mouse.setLeftMouseDown(!mouse.leftMouseDown());
        engine->setMouseValues(mouse);
        view->refresh();
        settle();
    });
    EXPECT_EQ(allocations, 0U);
    EXPECT_EQ(view->middle, 0xffffffffU) << "the strokes were counted";
}

TEST_F(SteadyTest, OnlyPicturesThatDifferAreMadeAnew) {
    PresentingView* view = nullptr;
    engine = std::make_unique<SL42>(
        surroundingsOf(device, view), "Test",
        "void fx() { cls(float4(0, 0, 0, 1)); circ(mousepos(), 9, float4(1)); }", false);
    settle();
    ASSERT_FALSE(engine->hasError().get()) << engine->error().get();
    const auto draw = [&](MouseLocation mouse) {
        MouseValues values;
        values.setMouseLocation(mouse);
        engine->setMouseValues(values);
        view->refresh();
        settle();
        return view->latest.load();
    };
    const auto* above = draw({0.5, 0.25});
    const auto pixels = above->pixels;
    ASSERT_NE(std::ranges::find(pixels, 0xffffffffU), pixels.end());
    EXPECT_EQ(draw({0.5, 0.25}), above);
    const auto* below = draw({0.5, 0.75});
    EXPECT_NE(below->pixels, pixels);
    const auto* again = draw({0.5, 0.25}); // where the circle has gone, no trace of it is left
    EXPECT_EQ(again->pixels, pixels);
}

} // namespace starloom
