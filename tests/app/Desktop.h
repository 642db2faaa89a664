// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A desktop of the tests' own: an X server without a screen that anybody sees, a home folder, the
// console's windows, and somebody who presses keys and looks at the pixels.
#pragma once

#include "tests/SL42/keyboard/XServer.h"
#include "tests/ScratchFolder.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace app::tests {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// However slow the machine may be. Nobody waits that long where all is well.
inline constexpr std::chrono::seconds patience{90};

/// Asks again and again until the answer is yes; false when patience ends.
bool eventually(const std::function<bool()>& holds, Clock::duration limit = patience);

struct Colour {
    int red = 0;
    int green = 0;
    int blue = 0;
    bool operator==(const Colour&) const = default;
};

/// The pixels of a display, as the server has them at this moment.
class Screen {
public:
    static constexpr int width = 1280;
    static constexpr int height = 800;

    /// `folder` is where the server keeps them.
    explicit Screen(const std::string& folder);
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    Colour at(int x, int y) const;
    /// Whether the rectangle holds the colour anywhere.
    bool holds(Colour colour, int left, int top, int right, int bottom) const;

private:
    std::span<const std::uint8_t> m_file;
    std::size_t m_pixels = 0;
    std::size_t m_rowLength = 0;
};

class Desktop;

/// The console with its window; ends with the object.
class ConsoleProcess {
public:
    /// `variables`, as NAME=VALUE, are added to the desktop's environment.
    ConsoleProcess(const Desktop& desktop, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& variables = {});

    /// Of the process that shows the window, which is a child of the one that was started; 0 when
    /// there is none at the moment.
    pid_t id() const;
    bool isRunning() { return m_program.isRunning(); }
    /// What it has printed so far.
    std::string output() const { return ::tests::contentsOf(m_output); }
    /// Waits for its window and gives it the keyboard focus; false when there is none.
    bool focus() const;
    /// Ends it all, so that nothing is started again.
    void kill() { m_program.signal(SIGKILL); }
    void signal(int number) { m_program.signal(number); }
    /// The exit status, or minus the signal that it ended by.
    int wait() { return m_program.wait(); }

private:
    const Desktop& m_desktop;
    std::string m_output;
    ::tests::Program m_program;
};

class Desktop {
public:
    Desktop();

    const ::tests::ScratchFolder& files() const { return m_files; }
    const Screen& screen() const { return m_screen; }
    /// In the middle of the picture, whatever the panes around it.
    Colour picture() const { return m_screen.at(480, 250); }
    bool shows(Colour colour) const {
        return eventually([&] { return picture() == colour; });
    }

    /// Runs xdotool.
    int act(std::vector<std::string> words) const;
    void press(const std::string& key) const { act({"key", key}); }
    /// What xdotool prints.
    std::string ask(const std::string& words) const;
    /// Number of windows of a process whose title holds the words.
    bool hasWindow(pid_t process, const std::string& title) const;

    /// Gives that window the keyboard focus.
    void focus(pid_t process, const std::string& title) const {
        act({"search", "--all", "--onlyvisible", "--pid", std::to_string(process), "--name", title,
             "windowfocus", "%1"});
    }

    std::vector<std::string> environment() const;
    const std::string& display() const { return m_server.display(); }

private:
    ::tests::ScratchFolder m_frameBuffer;
    ::tests::ScratchFolder m_files;
    starloom::XServer m_server;
    Screen m_screen;
};

} // namespace app::tests
