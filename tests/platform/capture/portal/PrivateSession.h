// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a desktop portal lives among, for tests alone: a session bus and PipeWire with the policy
// that connects streams. None of it sees the user's desktop or devices.
#pragma once

#include "platform/base/FileDescriptor.h"
#include "platform/base/Result.h"
#include "tests/Program.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace platform::tests {

/// None when nobody takes connections there.
FileDescriptor connectTo(const std::filesystem::path& path);

/// The environment of this process points to it. Its programs end with it.
class PrivateSession {
public:
    /// The one of this program, made when it is first asked for; null when the machine cannot have
    /// one, with the reason in `whyNot`.
    static PrivateSession* get(std::string& whyNot);
    ~PrivateSession();
    PrivateSession(const PrivateSession&) = delete;
    PrivateSession& operator=(const PrivateSession&) = delete;

    const std::filesystem::path& folder() const { return m_folder; }

private:
    explicit PrivateSession(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    Result<void> start();
    void run(const std::vector<std::string>& words);
    Result<void> awaitSocket(const std::string& name);

    const std::filesystem::path m_folder;
    std::vector<std::unique_ptr<::tests::Program>> m_programs;
};

} // namespace platform::tests
