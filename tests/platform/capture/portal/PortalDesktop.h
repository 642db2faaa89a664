// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A Wayland desktop as a capture sees it: the portal, and a window that it shares.
#pragma once

#include "platform/capture/WindowCapture.h"
#include "tests/platform/capture/portal/PrivateSession.h"
#include "tests/platform/capture/portal/TestPortal.h"
#include "tests/platform/capture/portal/TestStream.h"

#include <filesystem>
#include <memory>
#include <string>

namespace platform::tests {

/// One for each test. A machine that cannot have it skips the test.
class PortalDesktop {
public:
    static std::unique_ptr<PortalDesktop> create(std::string& whyNot, StreamShape shape = {},
                                                 TestPortal::Behaviour behaviour = {});
    ~PortalDesktop();
    PortalDesktop(const PortalDesktop&) = delete;
    PortalDesktop& operator=(const PortalDesktop&) = delete;

    /// Where the capture keeps its token. Does not exist at first.
    const std::filesystem::path& stateFolder() const { return m_stateFolder; }

    std::unique_ptr<TestStream> stream;
    std::unique_ptr<TestPortal> portal;
    std::unique_ptr<WindowCapture> capture;

private:
    explicit PortalDesktop(std::filesystem::path stateFolder)
        : m_stateFolder(std::move(stateFolder)) {}

    const std::filesystem::path m_stateFolder;
};

} // namespace platform::tests
