// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/capture/portal/PortalDesktop.h"

#include <iostream>
#include <stdexcept>
#include <utility>

namespace platform::tests {

PortalDesktop::PortalDesktop(StreamShape shape, TestPortal::Behaviour behaviour)
    : stream(std::make_unique<TestStream>(std::move(shape))),
      m_stateFolder(std::filesystem::path(::getenv("XDG_STATE_HOME")) / "state/sl") {
    behaviour.node = [this] { return stream->renew(); };
    portal = std::make_unique<TestPortal>(std::move(behaviour));
    makeCapture();
}

PortalDesktop::~PortalDesktop() {
    m_capture.reset();
    portal.reset(); // which refers to the stream
    std::error_code left;
    std::filesystem::remove_all(m_stateFolder.parent_path(), left);
}

void PortalDesktop::makeCapture(std::chrono::milliseconds patience) {
    auto made = makePortalCapture(m_stateFolder, patience);
    if (!made)
        throw std::runtime_error(made.error().message);
    m_capture = *std::move(made);
}

static std::unique_ptr<CaptureDesktop> makeDesktop() {
    std::string whyNot;
    if (PrivateSession::get(whyNot) == nullptr) {
        std::cout << whyNot << '\n';
        return nullptr;
    }
    return std::make_unique<PortalDesktop>();
}

INSTANTIATE_TEST_SUITE_P(Portal, CaptureConformance, testing::Values(&makeDesktop));

} // namespace platform::tests
