// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Keeps the texts of an open document where they survive the end of the process, however the
// process ends: the newest one, and the last one that has drawn a picture. One file per process; a
// normal end removes it.
#pragma once

#include "platform/base/Result.h"
#include "platform/files/OwnedFile.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace starloom {

/// What a process left behind.
struct JournalEntry {
    /// The journal's own file, to discard() it by.
    std::filesystem::path file;
    /// Of the document that was open; empty for one that was never saved.
    std::filesystem::path document;
    /// The file of its history; empty for none.
    std::filesystem::path history;
    std::string title;
    /// The newest text. It may be what the process died of.
    std::string source;
    /// The last text that has drawn a picture; none when none has.
    std::optional<std::string> good;
    /// The newest text is also kept elsewhere, so that nothing would be lost with the entry.
    bool saved = false;
    std::chrono::system_clock::time_point lastChange;
};

/// One thread. Its end is the normal end: nothing stays behind.
class Journal {
public:
    /// $XDG_STATE_HOME/starloom42/journal or ~/.local/state/starloom42/journal; empty when there is
    /// neither, and then nothing is journalled.
    static std::filesystem::path folderOfThisUser();

    explicit Journal(const std::filesystem::path& folder);
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    /// The file that the document is saved in, from the next record() on.
    std::filesystem::path document;
    /// The file of its history, likewise.
    std::filesystem::path history;

    /// The journal's own file; empty without a folder.
    std::filesystem::path file() const;

    /// A new text. Replaces the newest one. Takes a fraction of a millisecond: it does not wait for
    /// the disk.
    platform::Result<void> record(std::string_view title, std::string_view source);
    /// The text has drawn a picture without a fault. Cheap when it was recorded already.
    platform::Result<void> recordGood(std::string_view title, std::string_view source);
    /// The newest text has been saved elsewhere: there is nothing to lose now.
    void forget();

    /// What processes that did not end normally have left, the latest change first. Those that
    /// still run do not count, nor do those that had nothing to lose; what these have left is
    /// removed after a while.
    static std::vector<JournalEntry> recoverable(const std::filesystem::path& folder);
    /// What a journal's file holds; none when there is no such file or it is damaged.
    static std::optional<JournalEntry> read(const std::filesystem::path& file);
    /// Removes an entry, once it is recovered or not wanted. False when another process was faster.
    static bool discard(const JournalEntry& entry);

private:
    platform::Result<void> write();

    std::filesystem::path m_path;
    std::optional<platform::OwnedFile> m_file; ///< none without a folder
    std::string m_title;
    std::optional<std::string> m_newest;
    std::optional<std::string> m_good;
    bool m_saved = true;
};

} // namespace starloom
