// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The desktop's permission to capture the same window again without a question. It is a secret of
// the user's, and good for one start: each start brings the next one.
#pragma once

#include <filesystem>
#include <string>

namespace platform {

/// Whatever goes wrong with the file has one consequence: the user is asked again.
class RestoreToken {
public:
    explicit RestoreToken(const std::filesystem::path& stateFolder);

    /// Empty when there is none that could be one.
    std::string read() const;
    /// Puts another in its place, which only this user can read; none when it is empty.
    void replace(const std::string& token) const;

private:
    std::filesystem::path m_path;
};

} // namespace platform
