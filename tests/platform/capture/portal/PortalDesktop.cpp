// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/capture/portal/PortalDesktop.h"

#include "platform/capture/portal/PortalCapture.h"
#include "tests/platform/capture/Conformance.h"
#include "tests/platform/capture/TestPicture.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <utility>

namespace platform::tests {

std::unique_ptr<PortalDesktop> PortalDesktop::create(std::string& whyNot, StreamShape shape,
                                                     TestPortal::Behaviour behaviour) {
    const PrivateSession* session = PrivateSession::get(whyNot);
    if (session == nullptr)
        return nullptr;
    std::unique_ptr<PortalDesktop> desktop(new PortalDesktop(session->folder() / "state" / "sl"));
    desktop->stream = std::make_unique<TestStream>(std::move(shape));
    behaviour.node = [stream = desktop->stream.get()] { return stream->renew(); };
    desktop->portal = std::make_unique<TestPortal>(std::move(behaviour));
    auto capture = makePortalCapture(desktop->stateFolder());
    if (!capture) {
        whyNot = capture.error().message;
        return nullptr;
    }
    desktop->capture = std::move(capture).value();
    return desktop;
}

PortalDesktop::~PortalDesktop() {
    capture.reset();
    std::error_code left;
    std::filesystem::remove_all(m_stateFolder.parent_path(), left);
}

namespace {

class ConformingDesktop final : public CaptureDesktop {
public:
    explicit ConformingDesktop(std::unique_ptr<PortalDesktop> desktop)
        : m_desktop(std::move(desktop)) {}

    WindowCapture& capture() override { return *m_desktop->capture; }
    std::optional<std::uint64_t> window() override { return std::nullopt; }
    void show(std::uint32_t counter) override { m_desktop->stream->show(counter); }
    void resize(std::uint32_t width, std::uint32_t height, std::uint32_t counter) override {
        m_desktop->stream->reshape({.width = width, .height = height}, counter);
    }
    void close() override { m_desktop->stream.reset(); }

private:
    std::unique_ptr<PortalDesktop> m_desktop;
};

std::unique_ptr<CaptureDesktop> makeDesktop() {
    std::string whyNot;
    auto desktop = PortalDesktop::create(whyNot);
    if (!desktop) {
        std::cout << whyNot << '\n';
        return nullptr;
    }
    return std::make_unique<ConformingDesktop>(std::move(desktop));
}

INSTANTIATE_TEST_SUITE_P(Portal, CaptureConformance, testing::Values(&makeDesktop));

} // namespace
} // namespace platform::tests
