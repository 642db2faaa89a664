// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Whether somebody is still at work on a file.
#pragma once

#include <filesystem>

namespace platform {

/// Whether any process has the file open for writing. False where the system does not tell, as for
/// files of other users and on some network file systems.
bool isOpenForWriting(const std::filesystem::path& path);

} // namespace platform
