// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/FileWatcher.h"

#include "platform/MainQueueAnchor.h"
#include "platform/base/FileDescriptor.h"

#include <linux/magic.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t fileMask =
    IN_MOVED_FROM | IN_MOVED_TO | IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE;
constexpr std::uint32_t folderMask = IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

/// What tells one state of a file from another. All zero when there is none.
struct FileState {
    explicit FileState(const std::filesystem::path& path) {
        struct stat status{};
        if (::stat(path.c_str(), &status) != 0)
            return;
        inode = status.st_ino;
        size = status.st_size;
        seconds = status.st_mtim.tv_sec;
        nanoseconds = status.st_mtim.tv_nsec;
    }
    bool operator==(const FileState&) const = default;

    ino_t inode = 0;
    off_t size = 0;
    time_t seconds = 0;
    long nanoseconds = 0;
};

std::optional<FileEvent> eventOf(std::uint32_t mask) {
    if (mask & IN_MOVED_FROM)
        return FileEvent::MovedAway;
    if (mask & IN_MOVED_TO)
        return FileEvent::MovedIn;
    if (mask & IN_CREATE)
        return FileEvent::Created;
    if (mask & IN_MODIFY)
        return FileEvent::Modified;
    if (mask & IN_CLOSE_WRITE)
        return FileEvent::Written;
    return std::nullopt;
}

bool leavesComplete(FileEvent event) {
    return event == FileEvent::Written || event == FileEvent::MovedIn ||
           event == FileEvent::Unknown;
}

int millisecondsUntil(Clock::time_point time) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

} // namespace

class FileWatcher::Thread {
public:
    Thread(const std::filesystem::path& path, std::chrono::milliseconds latency,
           MainQueue& mainQueue, Handler handler, Watching watching)
        : m_path(path),
          m_folder(path.parent_path()),
          m_name(path.filename().string()),
          m_latency(latency),
          m_anchor(mainQueue),
          m_deliver(
              m_anchor.handler([handler = std::move(handler)](
                                   const std::vector<FileEvent>& events) { handler(events); })),
          m_inotify(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
          m_stop(::eventfd(0, EFD_CLOEXEC)),
          m_polls(watching == Watching::Polling) {}

    ~Thread() {
        if (!m_thread.joinable())
            return;
        const std::uint64_t one = 1;
        static_cast<void>(::write(m_stop.get(), &one, sizeof one)); // an eventfd takes it always
        m_thread.join();
    }

    bool start() {
        if (!m_stop)
            return false;
        if (!m_polls && (!m_inotify || !watchFolder())) {
            if (errno != ENOSPC && errno != EMFILE)
                return false;
            m_polls = true;
        }
        m_thread = std::thread([this] { run(); });
        return true;
    }

private:
    bool watchFolder() {
        m_watch = ::inotify_add_watch(m_inotify.get(), m_folder.c_str(), fileMask | folderMask);
        return m_watch >= 0;
    }

    void run() {
        for (;;) {
            std::array<pollfd, 2> sources{pollfd{m_inotify.get(), POLLIN, 0},
                                          pollfd{m_stop.get(), POLLIN, 0}};
            if (::poll(sources.data(), sources.size(), timeout()) < 0 && errno != EINTR)
                return;
            if (sources[1].revents != 0)
                return;
            if (m_polls) {
                lookAgain();
            } else {
                readEvents();
                if (m_watch < 0 && watchFolder())
                    m_events.push_back(FileEvent::Unknown);
            }
            deliverWhenDue();
        }
    }

    /// For poll: milliseconds, or -1 for as long as it takes.
    int timeout() const {
        int wait = m_events.empty() ? -1 : millisecondsUntil(m_due);
        if (m_watch < 0) // we poll, or look whether the folder has come back
            wait = wait < 0 ? static_cast<int>(pollInterval.count())
                            : std::min<int>(wait, pollInterval.count());
        return wait;
    }

    /// A file that is still changing is left alone.
    void lookAgain() {
        const FileState now(m_path);
        if (now == std::exchange(m_lastState, now) && now != m_toldState) {
            m_toldState = now;
            add(FileEvent::Unknown);
        }
    }

    void readEvents() {
        alignas(inotify_event) std::array<char, 16384> buffer{};
        for (;;) {
            const ssize_t length = ::read(m_inotify.get(), buffer.data(), buffer.size());
            if (length <= 0)
                return;
            for (ssize_t at = 0; at < length;) {
                inotify_event event{};
                std::memcpy(&event, &buffer[static_cast<std::size_t>(at)], sizeof event);
                at += static_cast<ssize_t>(sizeof event);
                note(event, &buffer[static_cast<std::size_t>(at)]);
                at += event.len;
            }
        }
    }

    /// `name` ends with a zero; it is only there when the event is about a file in the folder.
    void note(const inotify_event& event, const char* name) {
        if (event.mask & IN_Q_OVERFLOW) {
            add(FileEvent::Unknown);
        } else if (event.wd != m_watch) {
            return; // left over from a folder that is gone
        } else if (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) {
            ::inotify_rm_watch(m_inotify.get(), m_watch); // one that was moved is still watched
            m_watch = -1;
        } else if (const auto what = eventOf(event.mask); what && event.len > 0 && m_name == name) {
            add(*what);
        }
    }

    void add(FileEvent event) {
        if (m_events.empty())
            m_due = Clock::now() + m_latency;
        // A long write modifies the file many times.
        if (m_events.empty() || m_events.back() != event)
            m_events.push_back(event);
    }

    void deliverWhenDue() {
        if (m_events.empty())
            return;
        const auto now = Clock::now();
        const bool quiet = now - m_lastDelivery >= m_latency;
        const bool complete = std::ranges::any_of(m_events, leavesComplete);
        if (now < m_due && !(quiet && complete))
            return;
        m_lastDelivery = now;
        m_deliver(std::exchange(m_events, {}));
    }

    const std::filesystem::path m_path;
    const std::filesystem::path m_folder;
    const std::string m_name;
    const std::chrono::milliseconds m_latency;
    MainQueueAnchor m_anchor;
    const std::function<void(std::vector<FileEvent>)> m_deliver; ///< on the main queue
    FileDescriptor m_inotify;
    FileDescriptor m_stop;
    std::thread m_thread;

    // Of the thread alone, once it runs.
    bool m_polls;
    FileState m_lastState{m_path};
    FileState m_toldState{m_path};
    int m_watch = -1; ///< negative while the folder is gone, or when we poll
    std::vector<FileEvent> m_events;
    Clock::time_point m_due;
    Clock::time_point m_lastDelivery;
};

FileWatcher::FileWatcher(std::unique_ptr<Thread> thread) : m_thread(std::move(thread)) {}
FileWatcher::~FileWatcher() = default;

Watching watchingFor(const std::filesystem::path& folder) {
    struct statfs system{};
    if (::statfs(folder.c_str(), &system) != 0)
        return Watching::Events;
    switch (static_cast<unsigned long>(system.f_type) & 0xFFFFFFFF) {
    case NFS_SUPER_MAGIC:
    case SMB_SUPER_MAGIC:
    case SMB2_SUPER_MAGIC:
    case AFS_SUPER_MAGIC:
    case CODA_SUPER_MAGIC:
    case V9FS_MAGIC:
    case CIFS_SUPER_MAGIC:
    case FUSE_SUPER_MAGIC:
        return Watching::Polling;
    default:
        return Watching::Events;
    }
}

Result<std::unique_ptr<FileWatcher>> FileWatcher::watch(const std::filesystem::path& path,
                                                        std::chrono::milliseconds latency,
                                                        MainQueue& mainQueue, Handler handler,
                                                        std::optional<Watching> watching) {
    auto thread = std::make_unique<Thread>(path, latency, mainQueue, std::move(handler),
                                           watching.value_or(watchingFor(path.parent_path())));
    if (!thread->start())
        return Error{"cannot watch " + path.string() + ": " + std::strerror(errno)};
    return std::unique_ptr<FileWatcher>(new FileWatcher(std::move(thread)));
}

} // namespace platform
