// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/process/ResidentMemory.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace platform {
namespace {

namespace fs = std::filesystem;

/// The number after `name` in one of the files that describe a process.
std::optional<std::size_t> field(const fs::path& file, const std::string& name) {
    std::ifstream lines(file);
    for (std::string word; lines >> word;) {
        std::size_t number = 0;
        if (word == name && lines >> number)
            return number;
    }
    return std::nullopt;
}

/// In kilobytes. A process that may not be inspected (smaps_rollup is closed to us once it is not
/// dumpable) still tells its plain resident set, which counts shared pages in full.
std::optional<std::size_t> kilobytesOf(const fs::path& process) {
    const auto proportional = field(process / "smaps_rollup", "Pss:");
    return proportional ? proportional : field(process / "status", "VmRSS:");
}

std::vector<fs::path> children() {
    std::vector<fs::path> processes;
    std::error_code failure;
    const auto self = field("/proc/self/status", "Pid:");
    for (const auto& entry : fs::directory_iterator("/proc", failure)) {
        if (self && field(entry.path() / "status", "PPid:") == self)
            processes.push_back(entry.path());
    }
    return processes;
}

} // namespace

std::optional<std::size_t> residentMemoryWithChildren() {
    auto kilobytes = kilobytesOf("/proc/self");
    for (const fs::path& child : children()) {
        const auto ofChild = kilobytesOf(child);
        if (!kilobytes || !ofChild)
            return std::nullopt;
        *kilobytes += *ofChild;
    }
    if (!kilobytes)
        return std::nullopt;
    return *kilobytes * 1024;
}

std::uint64_t physicalMemory() {
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    const long pageBytes = ::sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageBytes <= 0)
        return 0;
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageBytes);
}

} // namespace platform
