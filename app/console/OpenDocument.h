// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The document of this process and the file that it is kept in. Knows nothing of windows.
#pragma once

#include "SL42/console/StarloomDocument.h"
#include "SL42/document/Journal.h"
#include "platform/base/Result.h"

#include <filesystem>
#include <optional>
#include <string>

namespace app {

/// What a document starts with.
struct DocumentOrigin {
    std::string title = "Untitled";
    std::string source{starloom::defaultSource};
    /// Where it is saved; empty while it has no file.
    std::filesystem::path file;
    /// The journal that the text was found in, when its process died.
    std::optional<starloom::JournalEntry> recovered;
    /// A newer text, which is not run because a process may have died of it; empty for none.
    std::string offered;
    /// The file in which the text was edited, to follow it again; empty for none.
    std::filesystem::path followed;
};

/// Reads a document, or a program's text under any other ending. Stops the program when a file with
/// the ending of documents holds none.
platform::Result<DocumentOrigin> readOrigin(const std::filesystem::path& file);

/// Main thread. Text that comes from a journal goes into our own before the old one is removed.
/// Text files are followed: what another program saves there is taken over.
class OpenDocument {
public:
    OpenDocument(const DocumentOrigin& origin, starloom::StarloomDocument& document,
                 starloom::Journal& journal);

    /// Begins to follow the file, if it is a text file and nothing is unsaved, or the file that was
    /// followed before.
    platform::Result<void> follow();

    const std::filesystem::path& file() const { return m_file; }
    /// For the title of a window.
    std::string name() const;
    /// Whether the console runs something that is not in the file.
    bool isModified() const;
    /// The file in which the text is edited now; empty when there is none.
    std::filesystem::path followed() const;

    /// Writes the file, which becomes the document's. Its ending decides whether it holds a
    /// document or plain text. After an error all is as before.
    platform::Result<void> save(const std::filesystem::path& file);
    /// Opens the program in the user's editor: a text file itself, a document's text as a copy.
    platform::Result<void> openEditor();

private:
    bool isTextFile() const;
    void takeOver(const starloom::JournalEntry& entry);

    starloom::StarloomDocument& m_document;
    starloom::Journal& m_journal;
    std::filesystem::path m_file;
    std::string m_savedSource;
    std::filesystem::path m_followFirst;
    /// The console's source comes from the file itself.
    bool m_follows = false;
};

} // namespace app
