// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/LaunchService.h"

#include "platform/base/ArgumentPointers.h"
#include "platform/base/FileDescriptor.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <pthread.h>
#include <sched.h>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace gpu::host {

using platform::Error;
using platform::FileDescriptor;
using platform::pointersTo;
using platform::Result;

namespace {

constexpr std::size_t stackBytes = 64u << 10;
/// No descriptor of the child has such a number.
constexpr int outOfTheWay = 16;

/// The last are those by which the Vulkan loader is told where drivers are.
constexpr std::string_view keptVariables[] = {"SL42_", "LD_LIBRARY_PATH=", "VK_"};

std::vector<std::string> environmentOfService() {
    std::vector<std::string> environment;
    for (char** entry = ::environ; *entry != nullptr; ++entry)
        for (const std::string_view kept : keptVariables)
            if (std::string_view(*entry).starts_with(kept))
                environment.emplace_back(*entry);
    return environment;
}

/// Maps the user's own number to itself and no other.
std::string identityMap(unsigned id) {
    return std::to_string(id) + " " + std::to_string(id) + " 1";
}

/// What the child needs, all made before it begins: it borrows this process's memory until it
/// becomes another program, so it may do nothing but system calls.
class Child {
public:
    explicit Child(const Launch& launch)
        : m_executable(launch.executable),
          m_words(launch.arguments),
          m_environment(environmentOfService()),
          m_userMap(identityMap(::geteuid())),
          m_groupMap(identityMap(::getegid())) {
        m_words.insert(m_words.begin(), "starloom-compute");
        m_wordPointers = pointersTo(m_words);
        m_environmentPointers = pointersTo(m_environment);
        for (const int descriptor : launch.descriptors)
            m_descriptors.emplace_back(::fcntl(descriptor, F_DUPFD_CLOEXEC, outOfTheWay));
    }

    /// Returns -1 with the reason in `errno` when there is no child.
    pid_t start(int namespaces) {
        m_ownNamespaces = namespaces != 0;
        m_error = 0;
        const auto stack = std::make_unique<std::byte[]>(stackBytes);
        // A signal that came to the child would run this process's handler, in its memory.
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before);
        const pid_t pid = ::clone(run, stack.get() + stackBytes,
                                  CLONE_VM | CLONE_VFORK | SIGCHLD | namespaces, this);
        const int error = errno;
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
        if (pid >= 0 && m_error == 0)
            return pid;
        if (pid >= 0)
            while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
            }
        errno = pid >= 0 ? m_error : error;
        return -1;
    }

private:
    static int run(void* self) {
        auto& child = *static_cast<Child*>(self);
        if (child.m_ownNamespaces)
            child.keepIdentity();
        if (child.arrange())
            ::execve(child.m_executable.c_str(), child.m_wordPointers.data(),
                     child.m_environmentPointers.data());
        child.m_error = errno;
        ::_exit(127);
    }

    /// Without it the process could make no further namespaces.
    void keepIdentity() const {
        write("/proc/self/setgroups", "deny");
        write("/proc/self/uid_map", m_userMap);
        write("/proc/self/gid_map", m_groupMap);
    }
    static void write(const char* path, std::string_view text) {
        const FileDescriptor file(::open(path, O_WRONLY | O_CLOEXEC));
        if (file)
            (void)!::write(file.get(), text.data(), text.size());
    }

    bool arrange() const {
        ::setpgid(0, 0);
        struct sigaction standard{};
        standard.sa_handler = SIG_DFL;
        for (int signal = 1; signal < NSIG; ++signal)
            ::sigaction(signal, &standard, nullptr); // of some it cannot be changed, and is not
        const bool hasInput = openAs("/dev/null", O_RDONLY, STDIN_FILENO) &&
                              openAs("/dev/null", O_WRONLY, STDOUT_FILENO);
        int number = STDERR_FILENO;
        for (const FileDescriptor& descriptor : m_descriptors)
            if (::dup2(descriptor.get(), number++) < 0)
                return false;
        if (!hasInput || ::close_range(static_cast<unsigned>(number), ~0u, 0) != 0)
            return false;
        sigset_t none;
        sigemptyset(&none);
        return ::sigprocmask(SIG_SETMASK, &none, nullptr) == 0;
    }
    static bool openAs(const char* path, int mode, int number) {
        const int opened = ::open(path, mode);
        if (opened == number)
            return true;
        const bool moved = opened >= 0 && ::dup2(opened, number) == number;
        ::close(opened);
        return moved;
    }

    std::string m_executable;
    std::vector<std::string> m_words;
    std::vector<std::string> m_environment;
    std::vector<char*> m_wordPointers;
    std::vector<char*> m_environmentPointers;
    std::string m_userMap;
    std::string m_groupMap;
    std::vector<FileDescriptor> m_descriptors;
    bool m_ownNamespaces = false;
    volatile int m_error = 0; ///< written by the child
};

} // namespace

Result<pid_t> launch(const Launch& launch) {
    Child child(launch);
    pid_t pid = -1;
    if (launch.mayIsolate)
        pid = child.start(CLONE_NEWUSER | CLONE_NEWPID);
    if (pid < 0)
        pid = child.start(0);
    if (pid < 0)
        return Error{"Cannot start " + launch.executable + ": " + std::strerror(errno)};
    return pid;
}

} // namespace gpu::host
