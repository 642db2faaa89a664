// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Runs the command line as a person would, and gives tests a folder of their own.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace cli::tests {

struct Outcome {
    /// The exit status, or minus the number of the signal that ended it.
    int status = 0;
    std::string out;
    std::string err;
};

/// Runs `starloom` from the build folder and waits for it.
Outcome runStarloom(const std::vector<std::string>& arguments, std::string_view input = {});

std::filesystem::path sourceFolder();
std::filesystem::path buildFolder();
std::string contentsOf(const std::filesystem::path& path);

/// An empty folder that goes away with the object.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string path(std::string_view name) const { return (m_folder / name).string(); }
    /// Writes a file and returns its path.
    std::string file(std::string_view name, std::string_view contents) const;
    /// Names of the files, sorted.
    std::vector<std::string> names() const;

private:
    std::filesystem::path m_folder;
};

} // namespace cli::tests
