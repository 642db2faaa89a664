// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/offline/OfflineConsole.h"

#include <string_view>

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
                               const std::string& source)
    : m_log([this](std::string_view line) { m_diagnostics.append(line).push_back('\n'); }) {
    const auto makeView = [this](const std::shared_ptr<gpu::Device>& viewDevice) {
        auto view = std::make_unique<OffscreenPreview>(viewDevice);
        m_view = view.get();
        return view;
    };
    m_engine = std::make_unique<SL42>(Surroundings{.mainQueue = m_mainQueue,
                                                   .clock = m_clock,
                                                   .log = m_log,
                                                   .audioEngine = m_audioEngine,
                                                   .audioCapture = m_audioCapture,
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
    m_engine->waitForFont();
    m_view->refresh();
    m_view->waitForPicture();
    drainMainQueue();
    if (!m_engine->fault().get().empty())
        return platform::Error{m_engine->fault().get()};
    if (m_view->pictureCount() == shownBefore)
        return platform::Error{"the device did not show the frame"};
    return {};
}

platform::Result<platform::Image> OfflineConsole::picture() {
    const auto texture = m_view->waitForPicture();
    if (!texture)
        return platform::Error{"no frame was drawn"};
    platform::Image image(texture->width(), texture->height());
    const std::size_t rowLength =
        image.width() * compute::bytesPerPixel(gpu::PixelFormat::RGBA16Float);
    if (!texture->getBytes(0, std::as_writable_bytes(image.halves()), rowLength))
        return platform::Error{"the picture cannot be read back"};
    return image;
}

} // namespace starloom
