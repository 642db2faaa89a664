// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A program's text in a file that the user edits in an editor of their own. Whenever the editor
// saves, the new text is handed on.
#pragma once

#include "platform/Log.h"
#include "platform/MainQueue.h"
#include "platform/base/Result.h"
#include "platform/files/FileWatcher.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace starloom {

/// Main thread; the queue, which must be the main queue, and the log must outlive the file.
/// Watching ends when the object goes; the file stays.
///
/// A save counts when it renames: either a new file into place, or the old one aside before a new
/// one is written. With `reloadOnEveryWrite` every closing of a file that was written to counts,
/// too. A file is read once per batch of events, and never while it is being written. Text that is
/// empty, not UTF-8 or the same as before is not handed on.
class LiveCodingFile {
public:
    using OnChange = std::function<void(const std::string& text)>;

    /// How soon after an event the next one is looked at. The first one does not wait.
    static constexpr std::chrono::milliseconds latency{50};

    /// Writes `contents` to a new file TITLE_UUID.TYPE in $XDG_RUNTIME_DIR/starloom42, or without
    /// such a folder in that for temporary files, opens it with `editor` (platform::openFile) and
    /// watches it. Fails when any of that fails.
    static platform::Result<std::unique_ptr<LiveCodingFile>>
    create(const std::string& title, const std::string& type, std::string contents,
           const std::string& editor, platform::MainQueue& queue, platform::Log& log,
           OnChange onChange);

    /// Watches a file that is already there. `contents` is what the caller has read from it. When
    /// it is a symbolic link, the file that it points to is watched.
    static platform::Result<std::unique_ptr<LiveCodingFile>>
    watch(const std::filesystem::path& path, std::string contents, platform::MainQueue& queue,
          platform::Log& log, OnChange onChange);

    const std::filesystem::path& url() const { return m_url; }
    /// The text last written or last read back.
    const std::string& contents() const { return m_contents; }

    bool reloadOnEveryWrite = false;
    /// Called when the same text has been saved once more.
    std::function<void()> onSameText = [] {};

    /// What the watcher calls.
    void handleEvents(std::span<const platform::FileEvent> events);

private:
    LiveCodingFile(std::filesystem::path url, std::string contents, platform::Log& log,
                   OnChange onChange);
    platform::Result<void> startWatching(platform::MainQueue& queue);
    bool isSave(std::span<const platform::FileEvent> events);
    void reload();

    std::filesystem::path m_url;
    std::string m_contents;
    platform::Log& m_log;
    OnChange m_onChange;
    /// The next write belongs to a save that has begun: the file was moved away, is still being
    /// written, or was empty.
    bool m_awaitsWrite = false;
    /// Somebody has begun to write and has not closed the file yet.
    bool m_isBeingWritten = false;
    std::unique_ptr<platform::FileWatcher> m_watcher;
};

} // namespace starloom
