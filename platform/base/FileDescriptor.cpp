// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/base/FileDescriptor.h"

#include <unistd.h>

namespace platform {

void FileDescriptor::reset(int fd) {
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = fd;
}

} // namespace platform
