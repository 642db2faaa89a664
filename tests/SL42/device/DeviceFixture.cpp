// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/SL42/device/DeviceFixture.h"

#include "SL42/hardware/Screen.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace starloom {

Picture::Picture(const gpu::Texture& texture)
    : m_halves(std::size_t{screenWidth} * screenHeight * 4) {
    if (!texture.getBytes(0, std::as_writable_bytes(std::span(m_halves)),
                          std::size_t{screenWidth} * screenPixelLength))
        ADD_FAILURE() << "The picture cannot be read";
}

Color Picture::at(int x, int y) const {
    const auto pixel =
        (static_cast<std::size_t>(y) * screenWidth + static_cast<std::size_t>(x)) * 4;
    return {m_halves[pixel], m_halves[pixel + 1], m_halves[pixel + 2], m_halves[pixel + 3]};
}

double difference(const Color& a, const Color& b) {
    double largest = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (std::isnan(a[i]) != std::isnan(b[i]))
            return std::numeric_limits<double>::infinity();
        if (a[i] != b[i] && !std::isnan(a[i]))
            largest = std::max(largest, std::abs(a[i] - b[i]));
    }
    return largest;
}

std::shared_ptr<gpu::Device> DeviceTest::device;

void DeviceTest::SetUpTestSuite() {
    if (!device)
        device = gpu::Device::systemDefault();
    ASSERT_TRUE(device);
}

void DeviceTest::start(const std::string& source) {
    engine = std::make_unique<SL42>(surroundingsOf(device, m_view), "Test", source, false);
    ASSERT_TRUE(serveUntil([&] { return !engine->isBusy(); }));
    settle();
    ASSERT_FALSE(engine->hasError().get()) << engine->error().get();
    ASSERT_EQ(engine->error().get().find("Couldn't"), std::string::npos) << engine->error().get();
}

void DeviceTest::drawFrame() {
    m_view->refresh();
    m_view->waitForPicture();
    // The handlers of the frame ran before its picture was shown or dropped.
    settle();
}

Picture DeviceTest::picture() {
    return Picture(*m_view->waitForPicture());
}

Picture DeviceTest::pictureOf(const std::string& source, int frames) {
    start(source);
    for (int frame = 0; frame < frames; ++frame)
        drawFrame();
    return picture();
}

std::span<const float> DeviceTest::runOnCore0(const std::string& statements) {
    start("void cpu() {\nif (core == 0) {\n" + statements + "\n}\n}");
    drawFrame();
    return audioMemory();
}

std::span<const float> DeviceTest::audioMemory() {
    const auto bytes = engine->machine().audioMemory->contents();
    return {reinterpret_cast<const float*>(bytes.data()), bytes.size() / sizeof(float)};
}

} // namespace starloom
