// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/offline/OfflineConsole.h"

#include "SL42/hardware/Screen.h"

#include <string_view>
#include <utility>

namespace starloom {
namespace {

std::size_t count(std::string_view text, std::string_view word) {
    std::size_t found = 0;
    for (auto at = text.find(word); at != text.npos; at = text.find(word, at + word.size()))
        ++found;
    return found;
}

} // namespace

OfflineConsole::OfflineConsole(std::shared_ptr<gpu::Device> device, const std::string& title,
                               const std::string& source, platform::Log::Sink listener)
    : m_listener(std::move(listener)), m_log([this](std::string_view line) {
          m_diagnostics.append(line).push_back('\n');
          if (m_listener)
              m_listener(line);
      }) {
    const auto makeView = [this](const std::shared_ptr<gpu::Device>& viewDevice) {
        auto view = std::make_unique<OffscreenPreview>(viewDevice);
        m_view = view.get();
        return view;
    };
    m_engine = std::make_unique<SL42>(Surroundings{.mainQueue = m_mainQueue,
                                                   .clock = m_clock,
                                                   .log = m_log,
                                                   .audioEngine = m_audioEngine,
                                                   .audioCapture = m_input.capture(),
                                                   .device = std::move(device),
                                                   .makeView = makeView,
                                                   .exactFrames = true},
                                      title, source, false);
    waitForProgram();
}

void OfflineConsole::setSource(std::string text) {
    m_engine->setSource(std::move(text));
    waitForProgram();
}

void OfflineConsole::setInput(InputFiles files) {
    m_input.load(std::move(files));
    m_engine->keyboard().setSource(m_input.keys());
    drainMainQueue();
}

void OfflineConsole::waitForProgram() {
    while (m_engine->isBusy())
        m_mainQueue.waitAndRun();
    drainMainQueue();
}

void OfflineConsole::drainMainQueue() {
    while (m_mainQueue.pump() > 0) {
    }
}

bool OfflineConsole::isComplete() const {
    return count(compileLog(), "Compiling ") == count(compileLog(), "\nDone.\n");
}

platform::Result<void> OfflineConsole::drawFrame(platform::Seconds time) {
    const auto shownBefore = m_view->pictureCount();
    m_clock.set(time);
    if (const auto mouse = m_input.beginFrame(time, m_engine->mouseValues()))
        m_engine->setMouseValues(*mouse);
    drainMainQueue();
    m_engine->waitForFont();
    m_view->refresh();
    if (auto picture = m_view->takePicture())
        m_picture = std::move(picture);
    drainMainQueue();
    if (!m_engine->fault().get().empty())
        return platform::Error{m_engine->fault().get()};
    if (m_view->pictureCount() == shownBefore)
        return platform::Error{"the device did not show the frame"};
    return {};
}

platform::Result<platform::Image> OfflineConsole::picture() const {
    if (!m_picture)
        return platform::Error{"no frame was drawn"};
    platform::Image image(screenWidth, screenHeight);
    const std::size_t rowLength =
        image.width() * compute::bytesPerPixel(gpu::PixelFormat::RGBA16Float);
    if (m_picture->width() != image.width() || m_picture->height() != image.height() ||
        !m_picture->getBytes(0, std::as_writable_bytes(image.halves()), rowLength))
        return platform::Error{"the picture cannot be read back"};
    return image;
}

} // namespace starloom
