// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/capture/portal/PrivateSession.h"

#include "platform/PrivateFolder.h"
#include "tests/platform/bus/PrivateBus.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <thread>

namespace platform::tests {
namespace {

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

} // namespace

FileDescriptor connectTo(const std::filesystem::path& path) {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.string().copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        socket.reset();
    return socket;
}

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
    m_programs.clear();
    std::error_code left;
    std::filesystem::remove_all(m_folder, left);
}

Result<void> PrivateSession::start() {
    for (const char* name : {"XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_STATE_HOME",
                             "XDG_DATA_HOME", "XDG_CACHE_HOME", "HOME"})
        ::setenv(name, m_folder.c_str(), 1);
    for (const char* name : {"PIPEWIRE_REMOTE", "PIPEWIRE_RUNTIME_DIR", "PIPEWIRE_CONFIG_DIR"})
        ::unsetenv(name);
    write(m_folder / "pipewire.conf", pipeWireConfiguration);
    m_programs.push_back(startPrivateBus(m_folder));
    run({"pipewire", "-c", (m_folder / "pipewire.conf").string()});
    SL42_TRY_VOID(awaitSocket("bus"));
    SL42_TRY_VOID(awaitSocket("pipewire-0"));
    // Its policy only: without what looks for sound cards, cameras and so on.
    run({"wireplumber", "-c", "policy.conf"});
    return {};
}

void PrivateSession::run(const std::vector<std::string>& words) {
    const std::string log = m_folder / (words.front() + ".log");
    m_programs.push_back(std::make_unique<::tests::Program>(
        words, ::tests::Streams{.in = {}, .out = log, .err = log}));
}

Result<void> PrivateSession::awaitSocket(const std::string& name) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!connectTo(m_folder / name)) {
        for (const auto& program : m_programs)
            if (!program->isRunning())
                return Error{"a program that a desktop needs cannot run here"};
        if (std::chrono::steady_clock::now() >= end)
            return Error{"no " + name + " of a desktop appears"};
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return {};
}

} // namespace platform::tests
