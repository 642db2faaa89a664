// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Isolation.h"

#include "compute/service/Landlock.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <thread>
#include <unistd.h>

namespace compute::service {
namespace {

// ---- file system --------------------------------------------------------------------------------

/// Puts an empty folder in the place of all files. True when that worked out.
bool leaveFiles() {
    constexpr unsigned long barren = MS_RDONLY | MS_NOSUID | MS_NODEV | MS_NOEXEC;
    const char* folder = "/tmp"; // any that exists
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", folder, "tmpfs", barren, "size=4k,nr_inodes=2") != 0 ||
        ::chdir(folder) != 0)
        return false;
    if (::syscall(SYS_pivot_root, ".", ".") == 0)
        return ::umount2(".", MNT_DETACH) == 0 && ::chdir("/") == 0;
    // The system's first file system cannot be replaced.
    return ::chroot(".") == 0 && ::chdir("/") == 0;
}

// ---- rights -------------------------------------------------------------------------------------

void dropCapabilities() {
    ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
    for (unsigned long capability = 0; ::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) == 0;)
        ++capability;
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3]{};
    ::syscall(SYS_capset, &header, none);
}

/// Whether processes in a user namespace are counted apart; older systems count all of the user's,
/// and nobody counts those of root.
bool countsProcessesApart(uid_t user) {
    utsname system{};
    unsigned major = 0;
    unsigned minor = 0;
    return user != 0 && ::uname(&system) == 0 &&
           std::sscanf(system.release, "%u.%u", &major, &minor) == 2 &&
           (major > 5 || (major == 5 && minor >= 14));
}

/// Far more than the service has. Returns 0 when that does not work.
unsigned limitThreads() {
    const unsigned most = 256 + 16 * std::max(std::thread::hardware_concurrency(), 1u);
    const rlimit limit{most, most};
    return ::setrlimit(RLIMIT_NPROC, &limit) == 0 ? most : 0;
}

void add(Isolation& isolation, bool granted, const char* name) {
    if (!granted)
        return;
    if (!isolation.namespaces.empty())
        isolation.namespaces += ' ';
    isolation.namespaces += name;
}

} // namespace

bool Isolation::has(std::string_view name) const {
    return (' ' + namespaces + ' ').find(' ' + std::string(name) + ' ') != std::string::npos;
}

Isolation isolate(Files files) {
    Isolation isolation;
    const bool countsApart = countsProcessesApart(::geteuid());
    // In a user namespace of its own, a process may make the others.
    add(isolation, ::unshare(CLONE_NEWUSER) == 0, "user");
    if (countsApart && isolation.has("user"))
        isolation.maxThreads = limitThreads();
    add(isolation, ::getpid() == 1, "pid");
    add(isolation, ::unshare(CLONE_NEWNET) == 0, "net");
    add(isolation, ::unshare(CLONE_NEWIPC) == 0, "ipc");
    add(isolation, ::unshare(CLONE_NEWUTS) == 0, "uts");
    add(isolation, files == Files::None && leaveFiles(), "mount");
    dropCapabilities();
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    if (files != Files::All)
        isolation.landlock = restrictByLandlock(
            files == Files::OfDrivers ? filesOfDrivers() : std::span<const FileRule>());
    // Such changes of rights make the system forget it.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    return isolation;
}

} // namespace compute::service
