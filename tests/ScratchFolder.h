// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Gives tests a folder of their own.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace tests {

inline std::string contentsOf(const std::filesystem::path& path) {
    std::ostringstream contents;
    contents << std::ifstream(path, std::ios::binary).rdbuf();
    return contents.str();
}

/// Names of the files in a folder, sorted.
inline std::vector<std::string> namesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

/// An empty folder that goes away with the object.
class ScratchFolder {
public:
    explicit ScratchFolder(
        const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        std::string name = (parent / "starloom-test-XXXXXX").string();
        if (!::mkdtemp(name.data()))
            throw std::runtime_error("cannot make a temporary folder");
        m_folder = name;
    }
    ~ScratchFolder() {
        std::error_code busy; // programs that the test has started may still be tidying up
        for (int attempt = 0; attempt < 100; ++attempt) {
            std::filesystem::remove_all(m_folder, busy);
            if (!busy)
                return;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string path(std::string_view name) const { return (m_folder / name).string(); }
    /// Writes a file and returns its path.
    std::string file(std::string_view name, std::string_view contents) const {
        std::ofstream(m_folder / name, std::ios::binary) << contents;
        return path(name);
    }
    std::vector<std::string> names() const { return namesIn(m_folder); }

private:
    std::filesystem::path m_folder;
};

} // namespace tests
