// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "LiveCoding/LiveCodingFile.h"

#include "platform/TextFile.h"
#include "platform/WholeFile.h"
#include "platform/files/OpenFile.h"
#include "platform/files/OpenForWriting.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <utility>

namespace starloom {
namespace {

namespace fs = std::filesystem;
using platform::FileEvent;
using platform::Result;

/// A random UUID (RFC 9562, version 4) in capitals.
std::string randomUuid() {
    std::random_device random;
    std::array<unsigned, 4> bits{random(), random(), random(), random()};
    bits[1] = (bits[1] & 0xFFFF0FFF) | 0x4000;
    bits[2] = (bits[2] & 0x3FFFFFFF) | 0x80000000;
    std::array<char, 37> text{};
    std::snprintf(text.data(), text.size(), "%08X-%04X-%04X-%04X-%04X%08X", bits[0], bits[1] >> 16,
                  bits[1] & 0xFFFF, bits[2] >> 16, bits[2] & 0xFFFF, bits[3]);
    return text.data();
}

/// The user's own folder for what need not outlive the session, else the system's. The order
/// matters: vim keeps no backup under /tmp, so it would not rename there.
Result<fs::path> temporaryFolder() {
    std::error_code failed;
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime == '/') {
        const fs::path folder = fs::path(runtime) / "starloom42";
        fs::create_directory(folder, failed);
        if (!failed)
            return fs::canonical(folder);
    }
    const fs::path folder = fs::temp_directory_path(failed);
    if (failed)
        return platform::Error{"no folder for temporary files: " + failed.message()};
    return fs::canonical(folder);
}

} // namespace

LiveCodingFile::LiveCodingFile(fs::path url, std::string contents, Saves saves,
                               platform::MainQueue& queue, platform::Log& log, OnChange onChange)
    : m_url(std::move(url)),
      m_contents(std::move(contents)),
      m_saves(saves),
      m_queue(queue),
      m_log(log),
      m_onChange(std::move(onChange)) {}

Result<std::unique_ptr<LiveCodingFile>>
LiveCodingFile::create(const std::string& title, const std::string& type, std::string contents,
                       const std::string& editor, platform::MainQueue& queue, platform::Log& log,
                       OnChange onChange) {
    const fs::path folder = SL42_TRY(temporaryFolder());
    const fs::path url = folder / (title + "_" + randomUuid() + "." + type);
    SL42_TRY_VOID(platform::writeWholeFile(url.string(), std::as_bytes(std::span(contents))));
    std::unique_ptr<LiveCodingFile> file(new LiveCodingFile(
        url, std::move(contents), Saves::ByRename, queue, log, std::move(onChange)));
    SL42_TRY_VOID(file->startWatching());
    SL42_TRY_VOID(platform::openFile(url, editor));
    return file;
}

Result<std::unique_ptr<LiveCodingFile>>
LiveCodingFile::watch(const fs::path& path, std::string contents, Saves saves,
                      platform::MainQueue& queue, platform::Log& log, OnChange onChange) {
    std::error_code failed;
    fs::path url = fs::canonical(path, failed);
    if (failed)
        return platform::Error{"cannot watch " + path.string() + ": " + failed.message()};
    std::unique_ptr<LiveCodingFile> file(new LiveCodingFile(
        std::move(url), std::move(contents), saves, queue, log, std::move(onChange)));
    SL42_TRY_VOID(file->startWatching());
    return file;
}

Result<void> LiveCodingFile::startWatching() {
    m_watcher = SL42_TRY(platform::FileWatcher::watch(
        m_url, latency, m_queue, [this](auto events) { handleEvents(events); }));
    if (m_saves == Saves::EveryWrite && hasOtherText()) { // somebody wrote since it was read
        m_isBeingWritten = true;
        awaitQuiet();
    }
    return {};
}

void LiveCodingFile::handleEvents(std::span<const FileEvent> events) {
    m_lastEvent = std::chrono::steady_clock::now();
    const bool saved = isSave(events);
    if (saved && !m_isBeingWritten)
        reload();
    else if (saved)
        m_awaitsWrite = true;
    else if (!everyWriteCounts() && events.back() == FileEvent::Written && hasOtherText())
        onIgnoredWrite();
    if (m_isBeingWritten && everyWriteCounts())
        awaitQuiet();
}

/// One that could be handed on.
bool LiveCodingFile::hasOtherText() const {
    const auto text = platform::readTextFile(m_url);
    return text && !text->empty() && *text != m_contents;
}

// Some never close the file, and some file systems never tell.
void LiveCodingFile::awaitQuiet() {
    m_quiet.emplace(m_queue, latency, [this] {
        if (!m_isBeingWritten)
            return false;
        if (!isQuiet())
            return true;
        m_isBeingWritten = false;
        reload();
        return false;
    });
}

bool LiveCodingFile::isQuiet() {
    const auto quiet = std::chrono::steady_clock::now() - m_lastEvent;
    return quiet >= openLatency || (quiet >= latency && !platform::isOpenForWriting(m_url));
}

// Follows the events one by one, because a save may be spread over several batches.
bool LiveCodingFile::isSave(std::span<const FileEvent> events) {
    bool saved = false;
    for (const FileEvent event : events) {
        m_isBeingWritten = event == FileEvent::Modified;
        switch (event) {
        case FileEvent::MovedAway: // the rename counts, but what to read comes with a later write
            m_awaitsWrite = true;
            saved = false;
            break;
        case FileEvent::MovedIn:
        case FileEvent::Unknown:
            saved = true;
            break;
        case FileEvent::Written:
            saved = saved || m_awaitsWrite || everyWriteCounts();
            break;
        case FileEvent::Created:
        case FileEvent::Modified:
            break;
        }
    }
    return saved;
}

void LiveCodingFile::catchUp() {
    if (hasOtherText())
        reload();
}

void LiveCodingFile::setPaused(bool paused) {
    m_isPaused = paused;
    if (!paused && std::exchange(m_hasMissedSave, false))
        reload();
}

void LiveCodingFile::reload() {
    m_hasMissedSave = m_isPaused;
    if (m_isPaused)
        return;
    auto text = platform::readTextFile(m_url);
    m_awaitsWrite = !text || text->empty();
    if (!text) {
        m_log.line("Failed to read shader source file: " + text.error().message);
        return;
    }
    if (text->empty())
        return;
    if (*text == m_contents)
        return onSameText();
    m_contents = std::move(*text);
    m_onChange(m_contents);
}

} // namespace starloom
