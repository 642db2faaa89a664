// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Keeps the text of an open document where it survives the end of the process, however the process
// ends. One file per process; a normal end removes it.
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
    std::string title;
    std::string source;
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

    /// Replaces what was recorded before. Takes a fraction of a millisecond: it does not wait for
    /// the disk.
    platform::Result<void> record(std::string_view title, std::string_view source);
    /// To be called when the text has been saved elsewhere: there is nothing to recover now.
    void forget();

    /// What processes that did not end normally have left, the latest change first. Those that
    /// still run do not count.
    static std::vector<JournalEntry> recoverable(const std::filesystem::path& folder);
    /// Removes an entry, once it is recovered or not wanted. False when another process was faster.
    static bool discard(const JournalEntry& entry);

private:
    std::optional<platform::OwnedFile> m_file; ///< none without a folder
};

} // namespace starloom
