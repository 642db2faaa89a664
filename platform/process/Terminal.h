// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Whether somebody is watching.
#pragma once

namespace platform {

/// False when standard error goes to a file, a pipe or nowhere.
bool standardErrorIsTerminal();

} // namespace platform
