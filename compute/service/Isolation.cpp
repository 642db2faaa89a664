// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Isolation.h"

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

// ---- Landlock -----------------------------------------------------------------------------------

// The headers of older systems lack what newer ones can do.
struct LandlockRuleset {
    std::uint64_t files = 0;
    std::uint64_t network = 0;
    std::uint64_t scopes = 0;
};

LandlockRuleset everything(int version) {
    // How many rights there are to files, by version.
    constexpr int rightsToFiles[] = {0, 13, 14, 15, 15, 16};
    constexpr int last = static_cast<int>(std::size(rightsToFiles)) - 1;
    LandlockRuleset all;
    all.files = (std::uint64_t{1} << rightsToFiles[std::min(version, last)]) - 1;
    if (version >= 4)
        all.network = 3; // binding and connecting
    if (version >= 6)
        all.scopes = 3; // abstract sockets and signals of others
    return all;
}

/// Takes away every right that Landlock knows of. Returns its version, or 0.
int restrictByLandlock() {
#ifdef SYS_landlock_create_ruleset
    constexpr unsigned askForVersion = 1;
    const long version = ::syscall(SYS_landlock_create_ruleset, nullptr, 0, askForVersion);
    if (version < 1)
        return 0;
    const LandlockRuleset rules = everything(static_cast<int>(version));
    const std::size_t known = version >= 6 ? sizeof rules : version >= 4 ? 16 : 8;
    const long ruleset = ::syscall(SYS_landlock_create_ruleset, &rules, known, 0);
    if (ruleset < 0)
        return 0;
    const bool restricted = ::syscall(SYS_landlock_restrict_self, ruleset, 0) == 0;
    ::close(static_cast<int>(ruleset));
    return restricted ? static_cast<int>(version) : 0;
#else
    return 0;
#endif
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

Isolation isolate(bool keepsFiles) {
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
    add(isolation, !keepsFiles && leaveFiles(), "mount");
    dropCapabilities();
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    if (!keepsFiles)
        isolation.landlock = restrictByLandlock();
    // Such changes of rights make the system forget it.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    return isolation;
}

} // namespace compute::service
