// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The filter of system calls as a driver meets it, with files that stand for its devices.
#include "compute/service/SystemCalls.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using compute::Driver;
using compute::service::filterSystemCalls;

/// The first number that is free when a service loads its driver.
constexpr int firstFree = 4;

/// Whether `call` of a descriptor with such a number gets beyond the filter, in a process of its
/// own.
template <class Call>
bool passes(Driver driver, int file, int number, const Call& call) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(file, number);
        const bool filtered = static_cast<bool>(filterSystemCalls({.driver = driver}));
        errno = 0;
        ::_exit(filtered && (call(number) == 0 || errno != EPERM) ? 0 : 1);
    }
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(Filter, ADriverAsksItsDeviceWhateverNumberThatHas) {
    const int device = ::open("/dev/ptmx", O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(device, 0);
    const auto ask = [](int number) {
        unsigned terminal = 0;
        return ::ioctl(number, TIOCGPTN, &terminal);
    };
    for (const int number : {firstFree, 20, 100}) {
        EXPECT_TRUE(passes(Driver::Graphics, device, number, ask)) << number;
        EXPECT_FALSE(passes(Driver::None, device, number, ask)) << number;
    }
    ::close(device);
}

TEST(Filter, OnlyASoftwareDriversOwnMemoryGrows) {
    const int own = ::memfd_create("allocation fd", MFD_CLOEXEC);
    const int other = ::memfd_create("buffer", MFD_CLOEXEC);
    const auto grow = [](int number) { return ::ftruncate(number, 4096); };
    EXPECT_TRUE(passes(Driver::Software, own, firstFree, grow));
    EXPECT_FALSE(passes(Driver::Software, other, firstFree, grow));
    EXPECT_FALSE(passes(Driver::Graphics, own, firstFree, grow));
    ::close(own);
    ::close(other);
}

} // namespace
