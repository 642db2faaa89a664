// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sole owner of a file descriptor.
#pragma once

#include <utility>

namespace platform {

class FileDescriptor {
public:
    FileDescriptor() = default;
    /// Takes ownership of `fd`; a negative number means none.
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_fd(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~FileDescriptor() { reset(); }

    explicit operator bool() const { return m_fd >= 0; }
    int get() const { return m_fd; }
    int release() { return std::exchange(m_fd, -1); }
    void reset(int fd = -1);

private:
    int m_fd = -1;
};

} // namespace platform
