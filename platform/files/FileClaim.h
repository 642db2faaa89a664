// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One window for each file: whoever opens a file that a window shows already gets that window.
#pragma once

#include "platform/base/FileDescriptor.h"

#include <filesystem>
#include <functional>
#include <string>

namespace platform {

/// A file that this process shows. The claim ends with the object, or with the process, however
/// that ends. One thread.
class FileClaim {
public:
    /// What became of the attempt.
    enum class Answer {
        Ours,     ///< nobody had it
        Raised,   ///< another window has it, and shows itself
        NoAnswer, ///< another window has it, and does not answer within a second
    };

    /// Claims are kept in $XDG_RUNTIME_DIR/starloom42/open; without that variable, or when nothing
    /// can be kept there, every claim is granted.
    explicit FileClaim(std::function<void()> raise) : m_raise(std::move(raise)) {}
    ~FileClaim() { release(); }
    FileClaim(const FileClaim&) = delete;
    FileClaim& operator=(const FileClaim&) = delete;

    /// Gives up what was claimed before if it is granted.
    Answer claim(const std::filesystem::path& file);
    void release();

    /// Called with what to wait for from now on: a descriptor that can be read from when somebody
    /// wants the file, or a negative number for none.
    std::function<void(int descriptor)> onListen = [](int) {};
    /// To be called then. Calls `raise`.
    void answer();

private:
    void listen(const std::filesystem::path& folder, const std::string& name);

    const std::function<void()> m_raise;
    std::string m_name; ///< of the file that is claimed
    FileDescriptor m_lock;
    FileDescriptor m_socket;
};

} // namespace platform
