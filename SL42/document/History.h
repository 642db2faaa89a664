// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Every text that the console has taken over, kept for each document beyond the end of the process:
// when it came, whether it compiled, whether it drew, a small picture. Nothing that somebody once
// had on the stage is lost by the next save.
#pragma once

#include "platform/WholeFile.h"
#include "platform/base/Result.h"
#include "platform/files/RecordLog.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace starloom {

/// One text.
struct HistoryEntry {
    std::uint64_t number = 0; ///< stays the same as long as the entry is kept; counts from 1
    std::chrono::system_clock::time_point time;
    platform::Bytes packed;       ///< the text, compressed as documents are
    std::optional<bool> compiled; ///< none when it was replaced before that was known
    bool drew = false;            ///< at least one picture without a fault
    platform::Bytes picture;      ///< a PNG file; empty when there is none

    /// Empty when the entry is damaged in a way that its checksum does not show.
    std::string text() const;
    /// What became of it, in a word or two for people.
    const char* outcome() const;
};

/// What a history file holds.
struct HistoryContents {
    std::string document; ///< path of its file; empty for one that was never saved
    std::vector<HistoryEntry> entries;
};

/// The history of the document that is open here. One thread. Other processes may add to the same
/// history. Every operation takes a fraction of a millisecond, but for the first and, seldom, one
/// that throws old entries away.
class History {
public:
    /// Bytes of a history's file beyond which old entries are thrown away, and what is kept then.
    static constexpr std::size_t maxLength = std::size_t{32} << 20;
    static constexpr std::size_t keptLength = std::size_t{16} << 20;
    /// Histories that nobody has touched for longer are removed.
    static constexpr std::chrono::days maxAge{365};

    /// $XDG_STATE_HOME/starloom42/history or ~/.local/state/starloom42/history; empty when there is
    /// neither, and then nothing is kept.
    static std::filesystem::path folderOfThisUser();
    /// The history of a document by its path, however that is spelt.
    static std::filesystem::path fileOf(const std::filesystem::path& folder,
                                        const std::filesystem::path& document);
    /// What a history's file holds, the oldest entry first; nothing when there is no such file.
    static HistoryContents read(const std::filesystem::path& file);
    /// All histories of a folder, the newest first.
    static std::vector<std::filesystem::path> files(const std::filesystem::path& folder);

    /// Of a document without a name, until setDocument() or continueAt().
    explicit History(const std::filesystem::path& folder);

    /// The document has this file from now on. What came before goes along: to the history that the
    /// file has already, if it has one.
    void setDocument(const std::filesystem::path& document);
    /// Goes on where another process stopped that had this file.
    void continueAt(const std::filesystem::path& file);
    /// Its file; empty without a folder.
    const std::filesystem::path& file() const { return m_log.path(); }

    /// A text is taken over. The same text as the newest one is not kept twice. An error means that
    /// it is not kept.
    platform::Result<void> record(std::string_view text);
    /// The text is on the stage already, perhaps since another process had the document: makes its
    /// newest entry the current one, or records it.
    platform::Result<void> resume(std::string_view text);
    /// An older entry is taken over again: the next record() with its text adds nothing.
    void revisit(std::uint64_t number) { m_revisited = number; }
    /// The entry that was taken over last; 0 for none.
    std::uint64_t current() const { return m_current; }

    // What became of a text. For texts that are not among the last ones taken over, nothing.
    void noteCompiled(const std::string& text, bool compiled);
    void noteDrew(const std::string& text);
    /// `png` is the bytes of a PNG file.
    void notePicture(std::uint64_t number, std::span<const std::byte> png);

    /// Called when an entry was added or something was noted.
    std::function<void()> onChange = [] {};

private:
    struct Recent {
        std::uint64_t number = 0;
        std::string text;
        std::optional<bool> compiled;
        bool drew = false;
    };

    void open();
    Recent* find(const std::string& text);
    bool returnTo(std::string_view text, std::uint64_t number);
    platform::Result<void> append(const HistoryEntry& entry);
    void note(std::uint8_t kind, std::uint64_t number, std::span<const std::byte> value);
    void trim();
    void remember(Recent entry);

    std::filesystem::path m_folder;
    std::filesystem::path m_document;
    platform::RecordLog m_log;
    bool m_isOpen = false;
    std::uint64_t m_last = 0; ///< number of the newest entry
    std::uint64_t m_current = 0;
    std::uint64_t m_revisited = 0;
    std::size_t m_length = 0; ///< of the file, about
    std::deque<Recent> m_recent;
};

} // namespace starloom
