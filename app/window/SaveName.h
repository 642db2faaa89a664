// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Names of files and the kinds that a dialog offers for them, as in
// "Pictures (*.png);;Unclamped pictures (*.exr)".
#pragma once

#include <QString>

namespace app {

/// The ending that a kind gives to its files, without the dot; empty for "All files (*)".
QString endingOf(const QString& kind);
/// The first of the kinds whose ending `name` has; the very first one where there is none.
QString kindOf(const QString& name, const QString& kinds);
/// The name with the ending of the chosen kind: instead of that of another kind, else behind what
/// is there, which may have dots of its own.
QString withEndingOf(const QString& chosen, const QString& name, const QString& kinds);

} // namespace app
