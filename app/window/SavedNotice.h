// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where a file went, in the same words for all of them.
#pragma once

#include "app/stage/NoticeBar.h"

#include <filesystem>

namespace app {

/// Says that the file is there and offers to open its folder.
void showSaved(NoticeBar& notices, const std::filesystem::path& file);
/// The offer alone, for notices with other words. `folder` must exist when the button is pressed.
NoticeAction openFolderAction(NoticeBar& notices, const std::filesystem::path& folder);

} // namespace app
