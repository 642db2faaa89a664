// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/OpenForWriting.h"

#include "platform/base/FileDescriptor.h"

#include <fcntl.h>

#include <cerrno>
#include <csignal>

namespace platform {

// A lease for reading is only given while nobody writes. Who opens the file for writing while we
// have it waits until we give it back, and we would get a signal: one that does nothing.
bool isOpenForWriting(const std::filesystem::path& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file || ::fcntl(file.get(), F_SETSIG, SIGURG) != 0)
        return false;
    if (::fcntl(file.get(), F_SETLEASE, F_RDLCK) == 0) {
        ::fcntl(file.get(), F_SETLEASE, F_UNLCK);
        return false;
    }
    return errno == EAGAIN;
}

} // namespace platform
