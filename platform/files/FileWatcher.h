// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Watching what happens to one file. The folder is watched, not the file, so that it does not
// matter how often the file is replaced by another one of the same name.
#pragma once

#include "platform/MainQueue.h"
#include "platform/base/Result.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace platform {

/// What happened to the file, in the order in which it happened.
enum class FileEvent {
    MovedAway, ///< it was renamed to another name, or to another folder
    Created,   ///< a new file appeared under its name
    Modified,  ///< bytes were written; somebody has it open
    Written,   ///< whoever had it open for writing closed it
    MovedIn,   ///< another file was renamed to its name
    Unknown,   ///< the file has changed, but there were no events or they were lost
};

/// How one learns of changes: from the system, or by looking again and again, where the file is on
/// another computer and the system does not hear of what happens there.
enum class Watching { Events, Polling };
/// What suits the file system of a folder.
Watching watchingFor(const std::filesystem::path& folder);

/// The main thread makes it and lets it go; a thread of its own waits for events.
class FileWatcher {
public:
    /// Called in tasks of the main queue, never after the watcher is gone.
    using Handler = std::function<void(std::span<const FileEvent>)>;

    /// `path` is absolute; the file need not exist, but its folder must. The first event after a
    /// quiet time that leaves the file complete (Written, MovedIn, Unknown) is delivered at once,
    /// with what led to it; everything else that happens within `latency` comes together after it.
    /// Polling delivers Unknown once a change has been left alone for `pollInterval`; it also
    /// serves when the system's limit on watched folders is reached. Fails when there is no such
    /// folder, with the path in the message.
    static Result<std::unique_ptr<FileWatcher>> watch(const std::filesystem::path& path,
                                                      std::chrono::milliseconds latency,
                                                      MainQueue& mainQueue, Handler handler,
                                                      std::optional<Watching> watching = {});
    static constexpr std::chrono::milliseconds pollInterval{250};
    ~FileWatcher();
    FileWatcher(const FileWatcher&) = delete;
    FileWatcher& operator=(const FileWatcher&) = delete;

private:
    class Thread;
    explicit FileWatcher(std::unique_ptr<Thread> thread);

    std::unique_ptr<Thread> m_thread;
};

} // namespace platform
