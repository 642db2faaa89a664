// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/ServiceProcess.h"

#include "compute/protocol/Codec.h"
#include "gpu/host/LaunchService.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace gpu::host {

namespace protocol = compute::protocol;
using platform::Error;
using platform::FileDescriptor;
using platform::Result;
using platform::SharedMemory;

namespace {

// For a hanging kernel; each of its frames has waited far longer.
constexpr std::chrono::milliseconds placeTimeout(100);
// For one that is to make room for another.
constexpr std::chrono::milliseconds finishTimeout(100);
// A service that does not read for this long counts as dead.
constexpr std::chrono::milliseconds sendTimeout(2000);

} // namespace

std::string ServiceProcess::findExecutable() {
    if (const char* chosen = std::getenv("SL42_COMPUTE"); chosen != nullptr && *chosen != '\0')
        return chosen;
    std::error_code error;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    const auto beside = folder / "starloom-compute";
    if (std::filesystem::exists(beside, error))
        return beside;
    return folder.parent_path() / "libexec" / "starloom42" / "starloom-compute";
}

Result<std::unique_ptr<ServiceProcess>>
ServiceProcess::start(const std::string& executable, const std::string& device, bool mayIsolate) {
    auto page = SL42_TRY(SharedMemory::create(protocol::statusPageBytes, "status"));
    if (page->bytes().empty())
        return Error{"Cannot map the status page of the compute service"};
    auto [ours, theirs] = SL42_TRY(protocol::Channel::makePair());
    ServiceMessages messages = SL42_TRY(ServiceMessages::create());
    const FileDescriptor errors = messages.takeWriteEnd();
    const pid_t pid =
        SL42_TRY(launch({.executable = executable,
                         .arguments = {"--device", device},
                         .descriptors = {errors.get(), theirs.get(), page->descriptor()},
                         .mayIsolate = mayIsolate}));
    return std::unique_ptr<ServiceProcess>(
        new ServiceProcess(std::move(ours), std::move(page), std::move(messages), pid));
}

ServiceProcess::ServiceProcess(FileDescriptor socket, std::shared_ptr<SharedMemory> page,
                               ServiceMessages messages, pid_t pid)
    : m_channel(std::move(socket)),
      m_page(std::move(page)),
      m_messages(std::move(messages)),
      m_pid(pid) {
    m_channel.setSendTimeout(sendTimeout);
}

ServiceProcess::~ServiceProcess() {
    end();
}

void ServiceProcess::askForPlace(protocol::JobId job) {
    std::vector<std::byte> bytes;
    protocol::encodeAs<protocol::Request>(protocol::ReportPlace{job}, bytes);
    m_channel.setSendTimeout(placeTimeout);
    if (!m_channel.send(bytes))
        return;
    // Closed when it has ended. What it still says is of no interest.
    pollfd end{m_channel.descriptor(), 0, 0};
    ::poll(&end, 1, static_cast<int>(placeTimeout.count()));
}

bool ServiceProcess::askToFinish() {
    std::vector<std::byte> bytes;
    protocol::encodeAs<protocol::Request>(protocol::Finish{}, bytes);
    m_channel.setSendTimeout(finishTimeout);
    return m_channel.send(bytes);
}

void ServiceProcess::end() {
    if (m_pid < 0)
        return;
    ::kill(m_pid, SIGKILL); // does not change how a process ended that is ending
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    m_pid = -1;
    m_messages.passOnLast();
}

LastWords ServiceProcess::lastWords() const {
    const auto& page = *reinterpret_cast<const protocol::StatusPage*>(m_page->bytes().data());
    LastWords words{.job = page.job,
                    .command = page.command,
                    .request = page.request,
                    .faultKind = page.faultKind,
                    .faultPlace = page.faultPlace,
                    .faultAccess = page.faultAccess,
                    .isLoop = page.isLoop != 0};
    const std::size_t count = std::min<std::size_t>(page.lineCount, protocol::maxPlaceLines);
    words.lines.assign(page.lines.begin(), page.lines.begin() + count);
    return words;
}

} // namespace gpu::host
