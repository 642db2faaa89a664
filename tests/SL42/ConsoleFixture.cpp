// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/SL42/ConsoleFixture.h"

#include <algorithm>
#include <utility>

namespace starloom {
namespace {

class FakeDrawable final : public gpu::Drawable {
public:
    explicit FakeDrawable(int& presented) : m_presented(presented) {}
    std::shared_ptr<gpu::Texture> texture() override {
        fake::Device device;
        return device.makeTexture({});
    }
    void present() override { ++m_presented; }

private:
    int& m_presented;
};

} // namespace

std::shared_ptr<gpu::Drawable> FakeView::currentDrawable() {
    return hasDrawables ? std::make_shared<FakeDrawable>(presented) : nullptr;
}

void ConsoleTest::start(std::string source, bool preview) {
    engine = std::make_unique<SL42>(surroundings(), "Test", std::move(source), preview);
    if (!preview)
        settle();
}

void ConsoleTest::drawFrame() {
    engine->draw(*m_view);
    settle();
}

std::vector<std::shared_ptr<fake::CommandBuffer>>
ConsoleTest::commandBuffers(const std::string& label) {
    std::vector<std::shared_ptr<fake::CommandBuffer>> found;
    for (const auto& commandBuffer : device->commandBuffers)
        if (commandBuffer->label() == label)
            found.push_back(commandBuffer);
    return found;
}

std::vector<std::string> ConsoleTest::kernelsOfAFrame() {
    forget();
    drawFrame();
    std::vector<std::string> names;
    for (const auto& dispatch : commandBuffers("Render").at(0)->dispatches)
        names.push_back(dispatch.kernel);
    return names;
}

int ConsoleTest::linesEqual(const std::string& text) const {
    return static_cast<int>(std::count(lines.begin(), lines.end(), text));
}

} // namespace starloom
