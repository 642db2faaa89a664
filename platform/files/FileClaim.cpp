// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A claim is a lock on a file of its own, which the system ends with the process. Beside it lies a
// socket; whoever connects to it raises the window and reads one byte as the answer.
#include "platform/files/FileClaim.h"

#include "platform/files/PathKey.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace platform {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto longestWait = 1000ms;
constexpr auto retryInterval = 50ms;

/// Empty when there is none.
fs::path claimsFolder() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (!runtime || *runtime != '/')
        return {};
    fs::path folder = fs::path(runtime) / "starloom42/open";
    std::error_code failed;
    fs::create_directories(folder, failed);
    return failed ? fs::path() : folder;
}

/// Names of sockets may only have some hundred bytes, so the folder goes by its descriptor.
sockaddr_un addressOf(const FileDescriptor& folder, const std::string& name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s", folder.get(),
                  name.c_str());
    return address;
}

FileDescriptor openFolder(const fs::path& folder) {
    return FileDescriptor(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

FileDescriptor makeSocket() {
    return FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

/// Whether somebody answers.
bool askToRaise(const fs::path& folder, const std::string& name) {
    const FileDescriptor place = openFolder(folder);
    const sockaddr_un address = addressOf(place, name);
    const FileDescriptor socket = makeSocket();
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return false;
    pollfd source{socket.get(), POLLIN, 0};
    char answer = 0;
    return ::poll(&source, 1, static_cast<int>(longestWait.count())) > 0 &&
           ::read(socket.get(), &answer, 1) == 1;
}

} // namespace

FileClaim::Answer FileClaim::claim(const fs::path& file) {
    const fs::path folder = claimsFolder();
    const std::string name = keyOf(file);
    if (folder.empty() || name == m_name)
        return Answer::Ours;
    FileDescriptor lock(
        ::open((folder / (name + ".lock")).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    // Whoever has the lock may still be about to listen, or about to end.
    const auto end = std::chrono::steady_clock::now() + longestWait;
    while (lock && ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        if (askToRaise(folder, name))
            return Answer::Raised;
        if (std::chrono::steady_clock::now() > end)
            return Answer::NoAnswer;
        std::this_thread::sleep_for(retryInterval);
    }
    release();
    m_lock = std::move(lock);
    m_name = name;
    listen(folder, name);
    return Answer::Ours;
}

void FileClaim::listen(const fs::path& folder, const std::string& name) {
    std::error_code none;
    fs::remove(folder / name, none); // of one who ended without being asked
    const FileDescriptor place = openFolder(folder);
    const sockaddr_un address = addressOf(place, name);
    m_socket = makeSocket();
    if (::bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_socket.get(), 8) != 0)
        return;
    onListen(m_socket.get());
}

void FileClaim::answer() {
    const FileDescriptor visitor(::accept4(m_socket.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!visitor)
        return;
    m_raise();
    static_cast<void>(::send(visitor.get(), "r", 1, MSG_NOSIGNAL)); // who has left needs none
}

void FileClaim::release() {
    if (m_socket)
        onListen(-1);
    if (const fs::path folder = claimsFolder(); !m_name.empty() && !folder.empty()) {
        std::error_code none;
        fs::remove(folder / m_name, none);
    }
    m_name.clear();
    m_socket.reset();
    m_lock.reset();
}

} // namespace platform
