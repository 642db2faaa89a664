// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Landlock.h"

#include "platform/base/FileDescriptor.h"

#include <algorithm>
#include <fcntl.h>
#include <iterator>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace compute::service {
namespace {

using platform::FileDescriptor;

constexpr FileRule driverFiles[] = {
    // Libraries, wherever a distribution keeps them
    {"/usr/lib"},
    {"/usr/lib32"},
    {"/usr/lib64"},
    {"/lib"},
    {"/lib64"},
    {"/usr/local/lib"},
    {"/etc/ld.so.cache"},
    {"/nix/store"},
    {"/run/opengl-driver"},
    // Which drivers and layers there are
    {"/usr/share/vulkan"},
    {"/usr/local/share/vulkan"},
    {"/etc/vulkan"},
    {"/usr/share/drirc.d"},
    {"/usr/share/libdrm"},
    {"/usr/share/nvidia"},
    // What devices and processors there are
    {"/sys/bus/pci"},
    {"/sys/dev/char"},
    {"/sys/devices"},
    {"/proc/cpuinfo"},
    {"/proc/driver/nvidia"},
    // Devices
    {"/dev/dri", true},
    {"/dev/kfd", true},
    {"/dev/nvidia0", true},
    {"/dev/nvidia1", true},
    {"/dev/nvidia-modeset", true},
    {"/dev/nvidia-uvm", true},
    {"/dev/nvidiactl", true},
    {"/dev/null", true},
    {"/dev/urandom"},
};

// The headers of older systems lack what newer ones can do.
struct Ruleset {
    std::uint64_t files = 0;
    std::uint64_t network = 0;
    std::uint64_t scopes = 0;
};

// Rights to files.
constexpr std::uint64_t execute = 1u << 0;
constexpr std::uint64_t writeFile = 1u << 1;
constexpr std::uint64_t readFile = 1u << 2;
constexpr std::uint64_t readFolder = 1u << 3;
constexpr std::uint64_t controlDevice = 1u << 15;

Ruleset everything(int version) {
    // How many rights there are to files, by version.
    constexpr int rightsToFiles[] = {0, 13, 14, 15, 15, 16};
    constexpr int last = static_cast<int>(std::size(rightsToFiles)) - 1;
    Ruleset all;
    all.files = (std::uint64_t{1} << rightsToFiles[std::min(version, last)]) - 1;
    if (version >= 4)
        all.network = 3; // binding and connecting
    if (version >= 6)
        all.scopes = 3; // abstract sockets and signals of others
    return all;
}

std::uint64_t rightsTo(const FileRule& rule, bool isFolder) {
    const std::uint64_t onFiles =
        rule.isDevice ? readFile | writeFile | controlDevice : readFile | execute;
    return isFolder ? onFiles | readFolder : onFiles;
}

void allow(int ruleset, const FileRule& rule, std::uint64_t known) {
#ifdef SYS_landlock_add_rule
    struct __attribute__((packed)) PathBeneath {
        std::uint64_t rights;
        std::int32_t file;
    };
    constexpr int pathBeneath = 1;
    const FileDescriptor file(::open(rule.path, O_PATH | O_CLOEXEC));
    struct stat status{};
    if (!file || ::fstat(file.get(), &status) != 0)
        return;
    const PathBeneath entry{rightsTo(rule, S_ISDIR(status.st_mode)) & known, file.get()};
    ::syscall(SYS_landlock_add_rule, ruleset, pathBeneath, &entry, 0);
#endif
}

} // namespace

std::span<const FileRule> filesOfDrivers() {
    return driverFiles;
}

int restrictByLandlock(std::span<const FileRule> files) {
#ifdef SYS_landlock_create_ruleset
    constexpr unsigned askForVersion = 1;
    const long version = ::syscall(SYS_landlock_create_ruleset, nullptr, 0, askForVersion);
    if (version < 1)
        return 0;
    const Ruleset rules = everything(static_cast<int>(version));
    const std::size_t known = version >= 6 ? sizeof rules : version >= 4 ? 16 : 8;
    const FileDescriptor ruleset(
        static_cast<int>(::syscall(SYS_landlock_create_ruleset, &rules, known, 0)));
    if (!ruleset)
        return 0;
    for (const FileRule& rule : files)
        allow(ruleset.get(), rule, rules.files);
    const bool restricted = ::syscall(SYS_landlock_restrict_self, ruleset.get(), 0) == 0;
    return restricted ? static_cast<int>(version) : 0;
#else
    return 0;
#endif
}

} // namespace compute::service
