// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How the program with the window is called, and what it is told to begin with.
#pragma once

#include "app/console/OpenDocument.h"
#include "platform/base/Result.h"

#include <QStringList>

namespace app {

inline constexpr const char* programName = "starloom-console";

/// The options that windows give each other. People give a file or nothing.
namespace startOption {
inline constexpr const char* fromWindow = "--from-window"; ///< another window has started us
inline constexpr const char* text = "--text";       ///< a text file for us to take and remove
inline constexpr const char* title = "--title";     ///< of that text
inline constexpr const char* recover = "--recover"; ///< a journal file
} // namespace startOption

struct StartOptions {
    bool fromWindow = false;
    QString text;
    QString title;
    QString recover;
    QString file;

    /// The error is one line about what was wrong.
    static platform::Result<StartOptions> parse(const QStringList& arguments);
    /// Reads what the document begins with. The error is one line with the file's name. Stops the
    /// program as readOrigin() does.
    platform::Result<DocumentOrigin> readOrigin() const;
};

} // namespace app
