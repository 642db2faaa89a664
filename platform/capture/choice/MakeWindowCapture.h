// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Chooses the source of other windows' pictures for the desktop that we run on. It stands apart
// from the interface, because it knows all sources.
#pragma once

#include "platform/capture/WindowCapture.h"

#include <filesystem>
#include <memory>

namespace platform {

/// The source for this desktop. `stateFolder` is where it keeps what the desktop gave it so that
/// the user is not asked again; it is made when it is needed. Fails, with the reason for a person,
/// where there is no desktop that lets windows be captured.
Result<std::unique_ptr<WindowCapture>> makeWindowCapture(const std::filesystem::path& stateFolder);

} // namespace platform
