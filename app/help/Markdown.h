// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The whole help as one Markdown page: docs/reference.md.
#pragma once

#include "app/help/HelpReference.h"

namespace help {

std::string toMarkdown(const HelpReference& reference);

} // namespace help
