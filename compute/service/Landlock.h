// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The system's own means by which a process gives up rights to files, without being privileged.
#pragma once

#include <cstdint>
#include <span>

namespace compute::service {

/// A file, or a folder with all in it, that stays accessible.
struct FileRule {
    const char* path;
    bool isDevice = false; ///< can be written and controlled, too; else read and run
};

/// All that the loader and the drivers of graphics devices read, and the devices themselves. Other
/// programs' settings and the user's files are not among them.
std::span<const FileRule> filesOfDrivers();

/// Takes away every right that Landlock knows of, but for these files. What does not exist is left
/// out. Returns Landlock's version, or 0 when the system lacks it.
int restrictByLandlock(std::span<const FileRule> files);

} // namespace compute::service
