// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A program's text in a file that the user edits in an editor of their own. Whenever the editor
// saves, the new text is handed on.
#pragma once

#include "platform/Log.h"
#include "platform/MainQueue.h"
#include "platform/Timer.h"
#include "platform/base/Result.h"
#include "platform/files/FileWatcher.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace starloom {

/// Main thread; the queue, which must be the main queue, and the log must outlive the file.
/// Watching ends when the object goes; the file stays.
///
/// A save counts when it renames: either a new file into place, or the old one aside before a new
/// one is written. Where every write counts, a write in place is complete when the file is closed,
/// or when nothing has come for a moment and nobody has it open for writing; who keeps it open gets
/// a longer moment. A file is read once per batch of events. Text that is empty, not UTF-8 or the
/// same as before is not handed on.
class LiveCodingFile {
public:
    using OnChange = std::function<void(const std::string& text)>;

    /// How soon after an event the next one is looked at. The first one does not wait.
    static constexpr std::chrono::milliseconds latency{50};
    /// How long nothing must come from somebody who has the file open, for what is there to count.
    static constexpr std::chrono::milliseconds openLatency{400};

    /// What counts as a save.
    enum class Saves { ByRename, EveryWrite };

    /// Writes `contents` to a new file TITLE_UUID.TYPE in $XDG_RUNTIME_DIR/starloom42, or without
    /// such a folder in that for temporary files, opens it with `editor` (platform::openFile) and
    /// watches it. Fails when any of that fails.
    static platform::Result<std::unique_ptr<LiveCodingFile>>
    create(const std::string& title, const std::string& type, std::string contents,
           const std::string& editor, platform::MainQueue& queue, platform::Log& log,
           OnChange onChange);

    /// Watches a file that is already there. `contents` is what the caller has read from it or
    /// written to it. When it is a symbolic link, the file that it points to is watched.
    static platform::Result<std::unique_ptr<LiveCodingFile>>
    watch(const std::filesystem::path& path, std::string contents, Saves saves,
          platform::MainQueue& queue, platform::Log& log, OnChange onChange);

    const std::filesystem::path& url() const { return m_url; }
    /// The text last written or last read back.
    const std::string& contents() const { return m_contents; }

    /// Has every write count also in a file where only renaming does.
    bool reloadOnEveryWrite = false;
    /// Called when the same text has been saved once more.
    std::function<void()> onSameText = [] {};
    /// Called when a write in place did not count.
    std::function<void()> onIgnoredWrite = [] {};

    /// Takes over a text that was written and did not count.
    void catchUp();
    /// While paused, nothing is read; what was saved meanwhile is, afterwards.
    void setPaused(bool paused);

    /// What the watcher calls.
    void handleEvents(std::span<const platform::FileEvent> events);

private:
    LiveCodingFile(std::filesystem::path url, std::string contents, Saves saves,
                   platform::MainQueue& queue, platform::Log& log, OnChange onChange);
    platform::Result<void> startWatching();
    bool everyWriteCounts() const { return reloadOnEveryWrite || m_saves == Saves::EveryWrite; }
    bool isSave(std::span<const platform::FileEvent> events);
    bool hasOtherText() const;
    void awaitQuiet();
    bool isQuiet();
    void reload();

    std::filesystem::path m_url;
    std::string m_contents;
    const Saves m_saves;
    platform::MainQueue& m_queue;
    platform::Log& m_log;
    OnChange m_onChange;
    /// The next write belongs to a save that has begun: the file was moved away, is still being
    /// written, or was empty.
    bool m_awaitsWrite = false;
    /// Somebody has begun to write and has not closed the file yet.
    bool m_isBeingWritten = false;
    bool m_isPaused = false;
    bool m_hasMissedSave = false; ///< while paused
    std::chrono::steady_clock::time_point m_lastEvent;
    std::optional<platform::Timer> m_quiet; ///< while a write may be over without a closing
    std::unique_ptr<platform::FileWatcher> m_watcher;
};

} // namespace starloom
