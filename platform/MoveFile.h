// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Moving a finished file to the name that somebody chose for it.
#pragma once

#include "platform/base/Result.h"

#include <string>

namespace platform {

/// Moves a file, also to another file system. Whatever stands under the new name is kept: the move
/// then fails, like all failures with one line and the file where it was.
Result<void> moveFile(const std::string& from, const std::string& to);

} // namespace platform
