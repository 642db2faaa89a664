// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Names for files that nobody is asked about.
#pragma once

#include <QStandardPaths>
#include <QString>

#include <filesystem>
#include <string>

namespace app {

/// A name of its own for a file of this moment, in a folder of ours among the user's pictures,
/// videos and so on, which is made. `ending` has its dot.
std::filesystem::path newFile(QStandardPaths::StandardLocation location, const std::string& title,
                              const QString& ending);

} // namespace app
