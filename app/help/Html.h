// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Entries of the help as HTML, in the subset that a text view of the toolkit understands.
#pragma once

#include "app/help/HelpReference.h"

namespace help {

/// Links to other entries are "help:" and the id. "example:" and the id stands for opening the
/// entry's example as a new document. Colours and fonts are left to the view's style sheet; the
/// classes are "path", "summary", "declaration", "parameters", "example" and "links".
std::string toHtml(const HelpReference& reference, const Entry& entry);

/// The first page of a section: its introduction and links to its entries by group.
std::string toHtml(const Section& section);

} // namespace help
