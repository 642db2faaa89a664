// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Windows that tests make up, and pictures that come when a test says so.
#pragma once

#include "platform/capture/WindowCapture.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace starloom {

class FakeWindowCapture final : public platform::WindowCapture {
public:
    bool desktopPicks() const override { return picks; }
    platform::Result<std::vector<platform::CapturableWindow>> windows() override { return list; }
    platform::Result<platform::WindowPicture> picture(std::uint64_t) override {
        return platform::Error{"there is none"};
    }
    void start(std::optional<std::uint64_t> window, unsigned, PictureHandler onPicture,
               EventHandler onEvent) override {
        captured = window;
        m_onPicture = std::move(onPicture);
        m_onEvent = std::move(onEvent);
        ++starts;
    }
    void forgetChoice() override { ++forgotten; }
    void stop() override {
        m_onPicture = {};
        m_onEvent = {};
        captured.reset();
    }

    bool isCapturing() const { return static_cast<bool>(m_onPicture); }
    /// A picture of one colour.
    void send(std::uint32_t width, std::uint32_t height, std::uint32_t colour, double scale = 1) {
        const std::vector<std::uint32_t> pixels(std::size_t{width} * height, colour);
        m_onPicture({.pixels = std::as_bytes(std::span(pixels)),
                     .bytesPerRow = std::size_t{width} * 4,
                     .width = width,
                     .height = height,
                     .scale = scale});
    }
    void tell(platform::CaptureEvent::Kind kind, std::string description = {}) {
        const auto handler = m_onEvent;
        handler({kind, std::move(description)});
    }

    bool picks = false;
    std::vector<platform::CapturableWindow> list;
    std::optional<std::uint64_t> captured;
    int starts = 0;
    int forgotten = 0;

private:
    PictureHandler m_onPicture;
    EventHandler m_onEvent;
};

} // namespace starloom
