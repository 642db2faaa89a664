// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The text of an open program, and what becomes of it besides kernels: the file in which the user
// edits it, its place in the journal, its sizes, its packed form. It knows neither device nor
// machine.
#pragma once

#include "platform/Log.h"
#include "platform/MainQueueAnchor.h"
#include "platform/Published.h"
#include "platform/SavePanel.h"
#include "platform/WholeFile.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace starloom {

class History;
class Journal;
class LiveCodingFile;

/// Where the texts of a document are kept; each may be none.
struct TextKeepers {
    Journal* journal = nullptr; ///< until the normal end
    History* history = nullptr; ///< beyond it
};

/// What stands before a program's text in the file that the user edits, and is not part of it.
struct BlankLead {
    int lines = 0;
    int columns = 0; ///< on the line where the text begins
};

/// Main thread. Sizes are published in tasks of the main queue.
class ProgramText {
public:
    /// Who hears what happens to the followed file.
    struct Client {
        /// Another text was saved in the file that is followed. It is not taken over by itself.
        std::function<void(std::string source)> edited;
        /// The same text was saved there once more.
        std::function<void()> savedAgain;
        /// An editor has written in place, which does not count for this file.
        std::function<void()> ignoredWrite;
    };

    /// A preview holds its text and does nothing else. What it
    /// is made with must outlive it.
    ProgramText(platform::MainQueue& mainQueue, platform::Log& log, TextKeepers keepers,
                std::string title, std::string source, bool preview, Client client);
    ~ProgramText();
    ProgramText(const ProgramText&) = delete;
    ProgramText& operator=(const ProgramText&) = delete;

    const std::string& title() const { return m_title; }
    const std::string& source() const { return m_source; }
    /// Takes another text: keeps it, calls `compile`, then measures how small it gets, with
    /// every algorithm on the log, and packs it. Compiling goes first because it goes on beside the
    /// rest.
    void setSource(std::string source, const std::function<void()>& compile);
    /// Notes that a text has drawn a picture.
    void recordGood(const std::string& source);
    /// Notes whether a text compiles.
    void recordCompiled(const std::string& source, bool compiled);

    /// Code points of the source.
    const platform::Published<std::size_t>& size() const { return m_size; }
    /// The packed form of the source: minified, then compressed. Empty in a preview.
    const platform::Bytes& compressed() const { return m_compressed; }
    /// Its length in bytes.
    const platform::Published<std::size_t>& packedSize() const { return m_packedSize; }
    /// Makes the packed form anew.
    void pack();
    /// Asks for a file and writes the packed form there. Says on the log where, or what went wrong.
    void savePacked(const platform::SavePanel& panel);
    /// Writes the packed form to a file whose name gets the ending that goes with the type.
    void writeFile(const std::string& filename, const std::filesystem::path& directory,
                   std::string_view type);

    /// Writes the source to a new file, opens it in the user's editor ($SL42_EDITOR, else the
    /// desktop's choice) and follows what is saved there. After an error all is as before.
    platform::Result<void> openEditor();
    /// The same for a file that openEditor() has made once and that is open in an editor still.
    platform::Result<void> followCopy(const std::filesystem::path& path);
    /// That file, if any.
    const LiveCodingFile* liveCodeFile() const { return m_liveCodeFile.get(); }
    /// Follows, beside it, the file in which the document is kept as plain text, and which holds
    /// `contents` now. Every write counts there.
    platform::Result<void> followFile(const std::filesystem::path& path, std::string contents);
    void unfollowFile();
    /// That file, if any.
    const LiveCodingFile* documentFile() const { return m_documentFile.get(); }
    /// While held, nothing that is saved in either file is taken over; afterwards it is. Holds may
    /// be nested.
    void holdFiles(bool hold);
    /// The text as last read from a file; what is run is the same without white space around.
    const std::string& rawSrc() const { return m_rawSrc; }
    /// Where the source begins in that text; nothing when the source is not from there.
    BlankLead blankLead() const;
    /// Whether editors that write in place count, too, for files that openEditor() makes. What one
    /// has written already is taken over.
    void setReloadOnEveryWrite(bool reload);

private:
    void record();
    std::function<void(const std::string&)> sourceReader();
    platform::Result<void> follow(std::unique_ptr<LiveCodingFile>& place,
                                  platform::Result<std::unique_ptr<LiveCodingFile>> file);
    void sameTextSaved(const std::string& text);

    platform::MainQueue& m_mainQueue;
    platform::Log& m_log;
    const TextKeepers m_keepers;
    const std::string m_title;
    const bool m_preview;
    const Client m_client;
    std::string m_rawSrc;
    std::string m_source;
    platform::Published<std::size_t> m_size;
    platform::Bytes m_compressed;
    platform::Published<std::size_t> m_packedSize;
    bool m_reloadOnEveryWrite = false;
    int m_holds = 0;
    std::unique_ptr<LiveCodingFile> m_liveCodeFile;
    std::unique_ptr<LiveCodingFile> m_documentFile;
    platform::MainQueueAnchor m_anchor;
};

} // namespace starloom
