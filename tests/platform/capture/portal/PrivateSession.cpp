// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/capture/portal/PrivateSession.h"

#include "platform/PrivateFolder.h"
#include "platform/base/ArgumentPointers.h"
#include "platform/base/FileDescriptor.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <thread>

namespace platform::tests {
namespace {

/// Without folders of services: an installed portal would be started.
constexpr std::string_view busConfiguration = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=/nowhere</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

/// Without modules that look for devices, other services or a higher priority.
constexpr std::string_view pipeWireConfiguration = R"(
context.properties = { core.daemon = true, core.name = pipewire-0 }
context.spa-libs = {
    audio.convert.* = audioconvert/libspa-audioconvert
    support.* = support/libspa-support
}
context.modules = [
    { name = libpipewire-module-protocol-native }
    { name = libpipewire-module-metadata }
    { name = libpipewire-module-spa-node-factory }
    { name = libpipewire-module-client-node }
    { name = libpipewire-module-access }
    { name = libpipewire-module-adapter }
    { name = libpipewire-module-link-factory }
    { name = libpipewire-module-session-manager }
]
context.objects = [ ]
context.exec = [ ]
)";

void write(const std::filesystem::path& path, std::string_view text) {
    std::ofstream(path) << text;
}

bool accepts(const std::filesystem::path& path) {
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.string().copy(address.sun_path, sizeof address.sun_path - 1);
    return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
           0;
}

} // namespace

PrivateSession* PrivateSession::get(std::string& whyNot) {
    static std::string failure;
    static const std::unique_ptr<PrivateSession> session = [] {
        auto folder = makePrivateFolder();
        if (!folder) {
            failure = folder.error().message;
            return std::unique_ptr<PrivateSession>();
        }
        std::unique_ptr<PrivateSession> made(new PrivateSession(*folder));
        if (const auto started = made->start(); !started) {
            failure = started.error().message;
            made.reset();
        }
        return made;
    }();
    whyNot = failure;
    return session.get();
}

PrivateSession::~PrivateSession() {
    for (const pid_t process : m_processes)
        ::kill(process, SIGKILL);
    for (const pid_t process : m_processes)
        ::waitpid(process, nullptr, 0);
    std::error_code left;
    std::filesystem::remove_all(m_folder, left);
}

Result<void> PrivateSession::start() {
    for (const char* name : {"XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_STATE_HOME",
                             "XDG_DATA_HOME", "XDG_CACHE_HOME", "HOME"})
        ::setenv(name, m_folder.c_str(), 1);
    for (const char* name : {"PIPEWIRE_REMOTE", "PIPEWIRE_RUNTIME_DIR", "PIPEWIRE_CONFIG_DIR"})
        ::unsetenv(name);
    const std::string bus = "unix:path=" + (m_folder / "bus").string();
    ::setenv("DBUS_SESSION_BUS_ADDRESS", bus.c_str(), 1);
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere", 1);
    write(m_folder / "bus.conf", busConfiguration);
    write(m_folder / "pipewire.conf", pipeWireConfiguration);
    SL42_TRY_VOID(
        startProgram({"dbus-daemon", "--nofork", "--nopidfile", "--nosyslog", "--address=" + bus,
                      "--config-file=" + (m_folder / "bus.conf").string()}));
    SL42_TRY_VOID(startProgram({"pipewire", "-c", (m_folder / "pipewire.conf").string()}));
    SL42_TRY_VOID(awaitSocket("bus"));
    SL42_TRY_VOID(awaitSocket("pipewire-0"));
    // Its policy only: without what looks for sound cards, cameras and so on.
    return startProgram({"wireplumber", "-c", "policy.conf"});
}

Result<void> PrivateSession::startProgram(std::vector<std::string> words) {
    const auto arguments = pointersTo(words);
    const std::string log = (m_folder / (words.front() + ".log")).string();
    std::array<int, 2> ends{-1, -1}; // the child's closes without a word when the program starts
    const bool isPipe = ::pipe2(ends.data(), O_CLOEXEC) == 0;
    const FileDescriptor failures(ends[0]);
    FileDescriptor failed(ends[1]);
    const pid_t parent = ::getpid();
    const pid_t process = isPipe ? ::fork() : -1;
    if (process < 0)
        return Error{"cannot start " + words.front()};
    if (process == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent)
            ::_exit(1);
        const int file = ::open(log.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        ::dup2(file, STDOUT_FILENO);
        ::dup2(file, STDERR_FILENO);
        ::execvp(arguments.front(), arguments.data());
        static_cast<void>(::write(failed.get(), "x", 1));
        ::_exit(127);
    }
    m_processes.push_back(process);
    failed.reset();
    char byte = 0;
    if (::read(failures.get(), &byte, 1) != 0)
        return Error{"there is no " + words.front() + " on this machine"};
    return {};
}

Result<void> PrivateSession::awaitSocket(const std::string& name) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!accepts(m_folder / name)) {
        for (const pid_t process : m_processes)
            if (::waitpid(process, nullptr, WNOHANG) != 0)
                return Error{"a program that a desktop needs cannot run here"};
        if (std::chrono::steady_clock::now() >= end)
            return Error{"no " + name + " of a desktop appears"};
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return {};
}

} // namespace platform::tests
