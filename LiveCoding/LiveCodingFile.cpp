// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "LiveCoding/LiveCodingFile.h"

#include "platform/TextFile.h"
#include "platform/WholeFile.h"
#include "platform/files/OpenFile.h"

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

LiveCodingFile::LiveCodingFile(fs::path url, std::string contents, platform::Log& log,
                               OnChange onChange)
    : m_url(std::move(url)),
      m_contents(std::move(contents)),
      m_log(log),
      m_onChange(std::move(onChange)) {}

Result<std::unique_ptr<LiveCodingFile>>
LiveCodingFile::create(const std::string& title, const std::string& type, std::string contents,
                       const std::string& editor, platform::MainQueue& queue, platform::Log& log,
                       OnChange onChange) {
    const fs::path folder = SL42_TRY(temporaryFolder());
    const fs::path url = folder / (title + "_" + randomUuid() + "." + type);
    SL42_TRY_VOID(platform::writeWholeFile(url.string(), std::as_bytes(std::span(contents))));
    std::unique_ptr<LiveCodingFile> file(
        new LiveCodingFile(url, std::move(contents), log, std::move(onChange)));
    SL42_TRY_VOID(file->startWatching(queue));
    SL42_TRY_VOID(platform::openFile(url, editor));
    return file;
}

Result<std::unique_ptr<LiveCodingFile>>
LiveCodingFile::watch(const fs::path& path, std::string contents, platform::MainQueue& queue,
                      platform::Log& log, OnChange onChange) {
    std::error_code failed;
    fs::path url = fs::canonical(path, failed);
    if (failed)
        return platform::Error{"cannot watch " + path.string() + ": " + failed.message()};
    std::unique_ptr<LiveCodingFile> file(
        new LiveCodingFile(std::move(url), std::move(contents), log, std::move(onChange)));
    SL42_TRY_VOID(file->startWatching(queue));
    return file;
}

Result<void> LiveCodingFile::startWatching(platform::MainQueue& queue) {
    m_watcher = SL42_TRY(platform::FileWatcher::watch(
        m_url, latency, queue, [this](auto events) { handleEvents(events); }));
    return {};
}

void LiveCodingFile::handleEvents(std::span<const FileEvent> events) {
    if (!isSave(events))
        return;
    if (m_isBeingWritten)
        m_awaitsWrite = true;
    else
        reload();
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
            saved = saved || m_awaitsWrite || reloadOnEveryWrite;
            break;
        case FileEvent::Created:
        case FileEvent::Modified:
            break;
        }
    }
    return saved;
}

void LiveCodingFile::reload() {
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
