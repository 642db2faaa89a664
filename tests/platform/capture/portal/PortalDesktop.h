// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A Wayland desktop as a capture sees it: the portal, and a window that it shares.
#pragma once

#include "platform/capture/portal/PortalCapture.h"
#include "tests/platform/capture/Conformance.h"
#include "tests/platform/capture/portal/PrivateSession.h"
#include "tests/platform/capture/portal/TestPortal.h"
#include "tests/platform/capture/portal/TestStream.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>

namespace platform::tests {

/// One for each test. Throws when the machine cannot have it.
class PortalDesktop final : public CaptureDesktop {
public:
    explicit PortalDesktop(StreamShape shape = {}, TestPortal::Behaviour behaviour = {});
    ~PortalDesktop() override;

    /// Where the capture keeps its token. Does not exist at first.
    const std::filesystem::path& stateFolder() const { return m_stateFolder; }

    WindowCapture& capture() override { return *m_capture; }
    /// Makes it anew.
    void makeCapture(std::chrono::milliseconds patience = std::chrono::seconds(10));
    std::optional<std::uint64_t> window() override { return std::nullopt; }
    void show(std::uint32_t counter) override { stream->show(counter); }
    void resize(std::uint32_t width, std::uint32_t height, std::uint32_t counter) override {
        stream->reshape({.width = width, .height = height}, counter);
    }
    void close() override { stream.reset(); }

    std::unique_ptr<TestStream> stream;
    std::unique_ptr<TestPortal> portal;

private:
    const std::filesystem::path m_stateFolder;
    std::unique_ptr<WindowCapture> m_capture;
};

/// Skips its tests on a machine that cannot have the desktop.
class PortalTest : public testing::Test {
protected:
    void SetUp() override {
        std::string whyNot;
        if (PrivateSession::get(whyNot) == nullptr)
            GTEST_SKIP() << whyNot;
    }

    Recording told; // outlives the capture
    Recording slow;
    std::unique_ptr<PortalDesktop> desktop;
};

} // namespace platform::tests
