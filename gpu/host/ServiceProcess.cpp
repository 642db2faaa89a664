// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/ServiceProcess.h"

#include "compute/protocol/Codec.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <spawn.h>
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
// A service that does not read for this long counts as dead.
constexpr std::chrono::milliseconds sendTimeout(2000);

/// The service's settings and where its libraries are; nothing else of the environment.
std::vector<char*> serviceEnvironment() {
    std::vector<char*> environment;
    for (char** entry = ::environ; *entry != nullptr; ++entry)
        if (std::strncmp(*entry, "SL42_", 5) == 0 ||
            std::strncmp(*entry, "LD_LIBRARY_PATH=", 16) == 0)
            environment.push_back(*entry);
    environment.push_back(nullptr);
    return environment;
}

/// The same open file under a number that no descriptor of the service has.
FileDescriptor outOfTheWay(int descriptor) {
    return FileDescriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, 16));
}

/// How the child is to be started: own process group (so that a Ctrl-C meant for the console does
/// not end it), default signals, and no descriptors but its own.
class SpawnSettings {
public:
    SpawnSettings(int socket, int page) {
        ::posix_spawn_file_actions_init(&m_actions);
        ::posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_addopen(&m_actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        ::posix_spawn_file_actions_adddup2(&m_actions, socket, protocol::serviceSocket);
        ::posix_spawn_file_actions_adddup2(&m_actions, page, protocol::serviceStatusPage);
        ::posix_spawn_file_actions_addclosefrom_np(&m_actions, protocol::serviceStatusPage + 1);
        ::posix_spawnattr_init(&m_attributes);
        sigset_t all;
        sigset_t none;
        sigfillset(&all);
        sigemptyset(&none);
        ::posix_spawnattr_setsigdefault(&m_attributes, &all);
        ::posix_spawnattr_setsigmask(&m_attributes, &none);
        ::posix_spawnattr_setpgroup(&m_attributes, 0);
        ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK |
                                                      POSIX_SPAWN_SETPGROUP);
    }
    ~SpawnSettings() {
        ::posix_spawn_file_actions_destroy(&m_actions);
        ::posix_spawnattr_destroy(&m_attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    const posix_spawn_file_actions_t* actions() const { return &m_actions; }
    const posix_spawnattr_t* attributes() const { return &m_attributes; }

private:
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};

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

Result<std::unique_ptr<ServiceProcess>> ServiceProcess::start(const std::string& executable) {
    auto page = SL42_TRY(SharedMemory::create(protocol::statusPageBytes, "status"));
    if (page->bytes().empty())
        return Error{"Cannot map the status page of the compute service"};
    auto [ours, theirs] = SL42_TRY(protocol::Channel::makePair());
    const FileDescriptor socket = outOfTheWay(theirs.get());
    const FileDescriptor pageDescriptor = outOfTheWay(page->descriptor());
    if (!socket || !pageDescriptor)
        return Error{std::string("Cannot start the compute service: ") + std::strerror(errno)};

    const SpawnSettings settings(socket.get(), pageDescriptor.get());
    char name[] = "starloom-compute";
    char* const arguments[] = {name, nullptr};
    const auto environment = serviceEnvironment();
    pid_t pid = -1;
    const int error = ::posix_spawn(&pid, executable.c_str(), settings.actions(),
                                    settings.attributes(), arguments, environment.data());
    if (error != 0)
        return Error{"Cannot start " + executable + ": " + std::strerror(error)};
    return std::unique_ptr<ServiceProcess>(
        new ServiceProcess(std::move(ours), std::move(page), pid));
}

ServiceProcess::ServiceProcess(FileDescriptor socket, std::shared_ptr<SharedMemory> page, pid_t pid)
    : m_channel(std::move(socket)), m_page(std::move(page)), m_pid(pid) {
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

void ServiceProcess::end() {
    if (m_pid < 0)
        return;
    ::kill(m_pid, SIGKILL); // does not change how a process ended that is ending
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    m_pid = -1;
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
