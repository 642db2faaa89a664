// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Whether somebody is watching.
#pragma once

namespace platform {

/// False when standard error goes to a file, a pipe or nowhere.
bool standardErrorIsTerminal();
/// Also true when it goes to a pipe, from which some program reads it. Desktops lead it to a file
/// or a socket that nobody looks at.
bool standardErrorIsHeard();

} // namespace platform
