// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/ThreadTimes.h"

#include "compute/protocol/Channel.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <unistd.h>

namespace gpu::host {

using platform::FileDescriptor;
using namespace std::chrono_literals;

namespace {

constexpr Milliseconds longestGap = 250ms;

struct Reading {
    Milliseconds time;
    /// Runs, waits for a processor, or waits for the system itself (a page from the disk).
    bool wantsToRun;
};

/// The fields that follow the name, which may hold anything but ends with the last parenthesis:
/// state, then numbers.
std::optional<Reading> parse(std::string_view line) {
    constexpr int ticksOfUser = 11;
    const auto nameEnd = line.rfind(") ");
    if (nameEnd == std::string_view::npos)
        return std::nullopt;
    line.remove_prefix(nameEnd + 2);
    const char state = line.front();
    std::uint64_t ticks = 0;
    for (int field = 0; field < ticksOfUser + 2; ++field) {
        if (field >= ticksOfUser) {
            std::uint64_t value = 0;
            std::from_chars(line.data(), line.data() + line.size(), value);
            ticks += value;
        }
        line.remove_prefix(std::min(line.find(' '), line.size() - 1) + 1);
    }
    static const auto ticksPerSecond = static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
    return Reading{Milliseconds(ticks * 1000 / ticksPerSecond), state == 'R' || state == 'D'};
}

/// Of a thread that has gone: none.
std::optional<Reading> readingOf(const FileDescriptor& file) {
    std::array<char, 1024> text{};
    const ssize_t length = ::pread(file.get(), text.data(), text.size(), 0);
    if (length <= 0)
        return std::nullopt;
    return parse({text.data(), static_cast<std::size_t>(length)});
}

FileDescriptor openStat(const std::string& folder) {
    return FileDescriptor(::open((folder + "/stat").c_str(), O_RDONLY | O_CLOEXEC));
}

bool isCompiler(const std::filesystem::path& thread) {
    std::string name;
    std::ifstream(thread / "comm") >> name;
    return name == compute::protocol::compilerThreadName;
}

} // namespace

// ---- ThreadGroup --------------------------------------------------------------------------------

void ThreadGroup::add(FileDescriptor stat) {
    m_files.push_back(std::move(stat));
    m_times.emplace_back(0);
}

void ThreadGroup::clear() {
    *this = {};
}

void ThreadGroup::read(Clock::time_point now) {
    const auto gap = std::chrono::duration_cast<Milliseconds>(now - m_lastRead);
    Milliseconds used{0};
    bool somebodyWantsToRun = false;
    for (std::size_t i = 0; i < m_files.size(); ++i) {
        const Reading unknown{m_files[i] ? m_times[i] : m_times[i] + gap, !m_files[i]};
        const Reading reading = readingOf(m_files[i]).value_or(unknown);
        used += reading.time - m_times[i];
        m_times[i] = reading.time;
        somebodyWantsToRun = somebodyWantsToRun || reading.wantsToRun;
    }
    if (!somebodyWantsToRun)
        m_idleTime += std::max(std::min(gap, longestGap) - used, 0ms);
    m_lastRead = now;
}

// ---- Usage --------------------------------------------------------------------------------------

void Usage::begin(const ThreadGroup& group) {
    m_times.assign(group.times().begin(), group.times().end());
    m_idleTime = group.idleTime();
}

Milliseconds Usage::processorTime(const ThreadGroup& group) const {
    Milliseconds most{0};
    for (std::size_t i = 0; i < std::min(m_times.size(), group.times().size()); ++i)
        most = std::max(most, group.times()[i] - m_times[i]);
    return most;
}

// ---- ThreadTimes --------------------------------------------------------------------------------

void ThreadTimes::watchStart(pid_t process) {
    m_kernels.clear();
    m_compilers.clear();
    m_starting.clear();
    m_starting.add(openStat("/proc/" + std::to_string(process)));
    m_starting.read(ThreadGroup::Clock::now());
}

void ThreadTimes::watchThreads(pid_t process) {
    m_starting.clear();
    const std::string folder = "/proc/" + std::to_string(process) + "/task";
    std::error_code error;
    for (auto thread = std::filesystem::directory_iterator(folder, error);
         !error && thread != std::filesystem::directory_iterator(); thread.increment(error)) {
        const bool compiles = isCompiler(thread->path());
        if (!compiles)
            m_kernels.add(openStat(thread->path()));
        if (compiles || thread->path().filename() == std::to_string(process))
            m_compilers.add(openStat(thread->path()));
    }
    for (ThreadGroup* group : {&m_kernels, &m_compilers})
        if (group->times().empty())
            group->add({});
    read(ThreadGroup::Clock::now());
}

void ThreadTimes::read(ThreadGroup::Clock::time_point now) {
    m_starting.read(now);
    m_kernels.read(now);
    m_compilers.read(now);
}

} // namespace gpu::host
