// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What happens when a window's process has died: what it leaves to the process that is started in
// its place, and which text that one may run.
#pragma once

#include "app/console/OpenDocument.h"

#include <QByteArray>

#include <filesystem>
#include <optional>
#include <string>

namespace app {

/// How a window stood, and where its text is kept.
struct Bequest {
    std::string journal;  ///< the journal's file
    std::string followed; ///< the file in which the text is edited; empty when there is none
    QByteArray geometry;  ///< outside full screen
    QByteArray panes;     ///< likewise
    bool fullScreen = false;
    bool playing = true;

    std::string encode() const;
    /// None for bytes that encode() has not made.
    static std::optional<Bequest> decode(const std::string& bytes);
};

/// The document of a process that died, from its journal. Runs the last text that drew a picture,
/// and offers the newest one without running it if it is another one, since the process may have
/// died of it. `mayRunSame` is false when the process died of nothing but the good text: then it is
/// only offered, too.
DocumentOrigin originFrom(starloom::JournalEntry entry, bool mayRunSame);

/// The document of a process in whose place this one was started. None when its journal cannot be
/// read. `recentDeaths` counts that process, too.
std::optional<DocumentOrigin> inheritedOrigin(const Bequest& bequest, int recentDeaths);

/// The same document with its text offered and another one run.
DocumentOrigin offeredOnly(DocumentOrigin origin);

} // namespace app
