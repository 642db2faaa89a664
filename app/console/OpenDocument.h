// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The document of this process and the file that it is kept in. Knows nothing of windows.
#pragma once

#include "SL42/console/StarloomDocument.h"
#include "SL42/document/History.h"
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

/// The text of a document, or a program's text under any other ending.
platform::Result<std::string> readProgramText(const std::filesystem::path& file);
/// A document that begins with it.
platform::Result<DocumentOrigin> readOrigin(const std::filesystem::path& file);

/// What lies in a document's file without anybody here having read or written it.
struct UnseenText {
    /// The text, or the reason why what lies there is none.
    platform::Result<std::string> text;
};

/// Main thread. Text that comes from a journal goes into our own before the old one is removed.
/// Text files are followed: what another program saves there is taken over. No text that was on the
/// stage or that we overwrite is lost: the history has it.
class OpenDocument {
public:
    OpenDocument(const DocumentOrigin& origin, starloom::StarloomDocument& document,
                 starloom::Journal& journal, starloom::History& history);

    /// Begins to follow the file, if it is a text file, and the copy that was open in an editor
    /// before.
    platform::Result<void> follow();

    const std::filesystem::path& file() const { return m_file; }
    /// For the title of a window.
    std::string name() const;
    /// Whether the console runs something that is not in the file, as far as we know the file.
    bool isModified() const;
    /// The file in which the text is edited now; empty when there is none.
    std::filesystem::path followed() const;

    /// To be asked before save(): what would be overwritten unseen, if anything. For a file that is
    /// not the document's, nothing: whoever has chosen its name knows what he does.
    std::optional<UnseenText> unseenText() const;
    /// Writes the file, which becomes the document's. Its ending decides whether it holds a
    /// document or plain text. After an error all is as before.
    platform::Result<void> save(const std::filesystem::path& file);
    /// Takes over what lies in the file.
    platform::Result<void> takeFromFile();
    /// Opens the program in the user's editor: a text file itself, a document's text as a copy.
    platform::Result<void> openEditor();

private:
    bool isTextFile() const;
    std::optional<std::string> known() const;
    void takeOver(const starloom::JournalEntry& entry);
    void keepWhatIsReplaced(const std::filesystem::path& file);
    platform::Result<void> followFile(const std::string& contents);

    starloom::StarloomDocument& m_document;
    starloom::Journal& m_journal;
    starloom::History& m_history;
    std::filesystem::path m_file;
    /// What we last read from the file or wrote to it; none when that was another process.
    std::optional<std::string> m_known;
    /// What it held when we began to follow it.
    std::string m_heldAtFirst;
    std::filesystem::path m_followFirst;
};

} // namespace app
