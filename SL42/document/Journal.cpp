// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A journal file holds the document's path, a zero, its title, a zero, and the text.
#include "SL42/document/Journal.h"

#include "platform/TextFile.h"
#include "platform/WholeFile.h"

#include <algorithm>
#include <cstdlib>
#include <random>

namespace starloom {
namespace {

namespace fs = std::filesystem;

constexpr const char* extension = ".journal";

/// A name that no other process has or had.
std::string uniqueName() {
    std::random_device random;
    return std::to_string(std::chrono::system_clock::now().time_since_epoch().count()) + "-" +
           std::to_string(random()) + extension;
}

/// Takes the text up to the next zero off the front.
std::optional<std::string> takeField(std::string_view& bytes) {
    const auto end = bytes.find('\0');
    if (end == bytes.npos)
        return std::nullopt;
    std::string field(bytes.substr(0, end));
    bytes.remove_prefix(end + 1);
    return field;
}

std::optional<JournalEntry> readEntry(const fs::path& file) {
    std::error_code failed;
    const auto written = fs::last_write_time(file, failed);
    const auto bytes = platform::readWholeFile(file.string());
    if (failed || !bytes)
        return std::nullopt;
    std::string_view rest(reinterpret_cast<const char*>(bytes->data()), bytes->size());
    const auto document = takeField(rest);
    const auto title = takeField(rest);
    if (!document || !title || !platform::isValidUtf8(rest))
        return std::nullopt;
    return JournalEntry{.file = file,
                        .document = *document,
                        .title = *title,
                        .source = std::string(rest),
                        .lastChange =
                            std::chrono::time_point_cast<std::chrono::system_clock::duration>(
                                std::chrono::file_clock::to_sys(written))};
}

} // namespace

fs::path Journal::folderOfThisUser() {
    const char* state = std::getenv("XDG_STATE_HOME");
    const char* home = std::getenv("HOME");
    // The XDG base directory rules: a relative path counts as none.
    if (state && fs::path(state).is_absolute())
        return fs::path(state) / "starloom42/journal";
    if (home && fs::path(home).is_absolute())
        return fs::path(home) / ".local/state/starloom42/journal";
    return {};
}

Journal::Journal(const fs::path& folder) {
    if (!folder.empty())
        m_file.emplace(folder / uniqueName());
}

Journal::~Journal() {
    forget();
}

platform::Result<void> Journal::record(std::string_view title, std::string_view source) {
    if (!m_file)
        return {};
    std::string bytes = document.string();
    bytes.push_back('\0');
    bytes.append(title).push_back('\0');
    bytes.append(source);
    return m_file->replace(std::as_bytes(std::span(bytes)));
}

void Journal::forget() {
    if (m_file)
        m_file->remove();
}

std::vector<JournalEntry> Journal::recoverable(const fs::path& folder) {
    std::vector<JournalEntry> entries;
    std::error_code failed;
    for (const auto& file : fs::directory_iterator(folder, failed))
        if (file.path().extension() == extension && !platform::OwnedFile::isOwned(file.path()))
            if (auto entry = readEntry(file.path()))
                entries.push_back(std::move(*entry));
    std::ranges::sort(entries, std::greater(), &JournalEntry::lastChange);
    return entries;
}

bool Journal::discard(const JournalEntry& entry) {
    std::error_code failed;
    return fs::remove(entry.file, failed);
}

} // namespace starloom
