// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A place for files on their way to somewhere else. The system's folder for temporary files is
// everybody's: a fixed name in it may be another user's, another console's, or a link to a file
// that somebody wants to see overwritten.
#pragma once

#include "platform/base/Result.h"

#include <filesystem>

namespace platform {

/// Makes a new folder among the temporary files that only this user can enter. It stays until the
/// caller removes it.
Result<std::filesystem::path> makePrivateFolder();

} // namespace platform
