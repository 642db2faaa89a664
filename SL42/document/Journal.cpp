// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A journal file holds fields that each end with a zero (the document's path, that of its history,
// its title, whether the newest text is saved elsewhere, and the length of the text that drew a
// picture or nothing), then that text, then the newest one.
#include "SL42/document/Journal.h"

#include "platform/TextFile.h"
#include "platform/UserFolders.h"
#include "platform/WholeFile.h"

#include <algorithm>
#include <charconv>
#include <random>
#include <utility>

namespace starloom {
namespace {

namespace fs = std::filesystem;

constexpr const char* extension = ".journal";
constexpr const char* savedElsewhere = "saved";
/// How long a process that is to be started again may take to get at its journal.
constexpr std::chrono::minutes successorsTime{5};
/// No journal of ours is longer: two texts, and some room for what stands before them.
constexpr std::uintmax_t maxLength = 2 * platform::maxTextFileLength + 65'536;
/// What reading all journals of a folder may cost; those that were changed last go first.
constexpr std::uintmax_t maxLengthOfAll = 4 * maxLength;

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

/// The text that drew a picture, off the front. False when the file is damaged.
bool takeGood(std::string_view& bytes, std::optional<std::string>& good) {
    const auto length = takeField(bytes);
    if (!length)
        return false;
    if (length->empty())
        return true;
    std::size_t count = 0;
    const char* const end = length->data() + length->size();
    const auto parsed = std::from_chars(length->data(), end, count);
    if (parsed.ec != std::errc() || parsed.ptr != end || count > bytes.size())
        return false;
    good = bytes.substr(0, count);
    bytes.remove_prefix(count);
    return platform::isValidUtf8(*good);
}

} // namespace

std::optional<JournalEntry> Journal::read(const fs::path& file) {
    std::error_code failed;
    const auto written = fs::last_write_time(file, failed);
    if (failed || fs::file_size(file, failed) > maxLength || failed)
        return std::nullopt;
    const auto bytes = platform::readWholeFile(file.string());
    if (!bytes)
        return std::nullopt;
    std::string_view rest(reinterpret_cast<const char*>(bytes->data()), bytes->size());
    const auto document = takeField(rest);
    const auto history = takeField(rest);
    const auto title = takeField(rest);
    const auto saved = takeField(rest);
    std::optional<std::string> good;
    if (!document || !history || !title || !saved || !takeGood(rest, good) ||
        !platform::isValidUtf8(rest))
        return std::nullopt;
    return JournalEntry{.file = file,
                        .document = *document,
                        .history = *history,
                        .title = *title,
                        .source = std::string(rest),
                        .good = std::move(good),
                        .saved = *saved == savedElsewhere,
                        .lastChange =
                            std::chrono::time_point_cast<std::chrono::system_clock::duration>(
                                std::chrono::file_clock::to_sys(written))};
}

fs::path Journal::folderOfThisUser() {
    const auto folder = platform::stateFolder();
    return folder ? *folder / "journal" : fs::path();
}

Journal::Journal(const fs::path& folder) {
    if (folder.empty())
        return;
    m_path = folder / uniqueName();
    m_file.emplace(m_path);
}

Journal::~Journal() {
    if (m_file)
        m_file->remove();
}

fs::path Journal::file() const {
    return m_path;
}

platform::Result<void> Journal::record(std::string_view title, std::string_view source) {
    m_title = title;
    m_newest = source;
    m_saved = false;
    return write();
}

platform::Result<void> Journal::recordGood(std::string_view title, std::string_view source) {
    if (m_good == source)
        return {};
    m_title = title;
    m_good = source;
    if (!m_newest) // it was not recorded, because the document was opened with it
        m_newest = source;
    return write();
}

platform::Result<void> Journal::write() {
    if (!m_file)
        return {};
    std::string bytes;
    const std::string goodLength = m_good ? std::to_string(m_good->size()) : std::string();
    for (const std::string& field : {document.string(), history.string(), m_title,
                                     std::string(m_saved ? savedElsewhere : ""), goodLength})
        bytes.append(field).push_back('\0');
    bytes.append(m_good.value_or("")).append(m_newest.value_or(""));
    return m_file->replace(std::as_bytes(std::span(bytes)));
}

void Journal::forget() {
    m_saved = true;
    if (m_newest)
        (void)write(); // what is offered once too often does no harm
}

/// The journals of dead processes that may be read, the latest change first.
static std::vector<fs::path> deadJournals(const fs::path& folder) {
    std::error_code failed;
    std::vector<std::pair<fs::file_time_type, fs::path>> files;
    for (const auto& file : fs::directory_iterator(folder, failed))
        if (file.path().extension() == extension && !platform::OwnedFile::isOwned(file.path()))
            files.emplace_back(fs::last_write_time(file.path(), failed), file.path());
    std::ranges::sort(files, std::greater());
    std::vector<fs::path> paths;
    std::uintmax_t length = 0;
    for (auto& [time, file] : files) {
        const auto size = fs::file_size(file, failed);
        if (!failed && size <= maxLength && (length += size) <= maxLengthOfAll)
            paths.push_back(std::move(file));
    }
    return paths;
}

std::vector<JournalEntry> Journal::recoverable(const fs::path& folder) {
    std::vector<JournalEntry> entries;
    for (const fs::path& file : deadJournals(folder))
        if (auto entry = read(file)) {
            if (!entry->saved)
                entries.push_back(std::move(*entry));
            else if (entry->lastChange < std::chrono::system_clock::now() - successorsTime)
                discard(*entry);
        }
    return entries;
}

bool Journal::discard(const JournalEntry& entry) {
    std::error_code failed;
    return fs::remove(entry.file, failed);
}

} // namespace starloom
