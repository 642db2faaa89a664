// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Saves the song under a name that the user chooses.
#pragma once

#include "platform/Log.h"
#include "platform/SavePanel.h"
#include "platform/audio/PCMBuffer.h"

namespace starloom {

/// Writes the whole song once, as AAC, to the file temp.m4a in a new folder that only this user can
/// enter, asks for a name and moves the file there. A file that already has that name is kept.
/// Every failure is one line in `log` and ends it. Without a name, or where the file cannot be
/// moved, it stays where it was written. Null for `song` when there is none. Blocks until the
/// dialog is closed.
void exportAAC(const platform::PCMBuffer* song, const platform::SavePanel& panel,
               platform::Log& log);

} // namespace starloom
