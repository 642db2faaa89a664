// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Reads the text of one section of the help. The format is a small part of Markdown.
#pragma once

#include "app/help/HelpReference.h"

namespace help {

/// The error names the line.
platform::Result<Section> parseSection(std::string_view text);

} // namespace help
