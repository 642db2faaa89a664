// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Programs of ours that run beside this one.
#pragma once

#include "platform/base/FileDescriptor.h"
#include "platform/base/Result.h"

#include <filesystem>
#include <string>
#include <vector>

namespace platform {

/// The folder that this program was started from; empty when the system does not tell.
std::filesystem::path programFolder();

/// Puts another program in this one's place. `words` are its path and its arguments. Comes back
/// only with the reason why it cannot.
Error replaceProcess(const std::vector<std::string>& words);

/// Runs in a session of its own and goes on when this process ends. Its standard error is kept,
/// to be able to say why it ended. One thread.
class ChildProcess {
public:
    static Result<ChildProcess> start(const std::vector<std::string>& words);

    /// Can be read from (as poll() says) once the process has ended.
    int endDescriptor() const { return m_process.get(); }

    struct End {
        bool failed = false;  ///< with another status than 0, or by a signal
        std::string lastLine; ///< of its standard error; empty when there was none
    };
    /// Waits for the end. To be called once.
    End finish();

private:
    ChildProcess(FileDescriptor process, FileDescriptor errors)
        : m_process(std::move(process)), m_errors(std::move(errors)) {}

    FileDescriptor m_process;
    FileDescriptor m_errors;
};

} // namespace platform
