// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A history is a log of records: the document's path, the texts, and what became of them, which
// refers to them by number. All but the path begin with that number.
#include "SL42/document/History.h"

#include "SL42/document/Compression.h"
#include "platform/UserFolders.h"
#include "platform/files/PathKey.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <ranges>
#include <set>
#include <utility>

namespace starloom {
namespace {

namespace fs = std::filesystem;
using platform::Bytes;
using platform::Record;
using platform::Result;
using std::chrono::system_clock;

constexpr const char* extension = ".history";
/// Who was not among the last texts is not asked about any more.
constexpr std::size_t maxRecent = 64;
/// What a file that another version let grow, or that was damaged, may cost.
constexpr std::size_t readLimit = 2 * History::maxLength;

enum Kind : std::uint8_t { Document = 1, Text = 2, Compiled = 3, Drew = 4, Picture = 5 };

template <class T>
void put(Bytes& bytes, const T& value) {
    const auto raw = std::as_bytes(std::span(&value, 1));
    bytes.insert(bytes.end(), raw.begin(), raw.end());
}

/// Off the front; none when there are too few bytes.
template <class T>
std::optional<T> take(std::span<const std::byte>& bytes) {
    if (bytes.size() < sizeof(T))
        return std::nullopt;
    T value;
    std::memcpy(&value, bytes.data(), sizeof value);
    bytes = bytes.subspan(sizeof value);
    return value;
}

Bytes payloadOf(const HistoryEntry& entry) {
    Bytes bytes;
    put(bytes, entry.number);
    put(bytes,
        std::int64_t{
            std::chrono::floor<std::chrono::milliseconds>(entry.time).time_since_epoch().count()});
    bytes.insert(bytes.end(), entry.packed.begin(), entry.packed.end());
    return bytes;
}

Bytes payloadOf(std::uint64_t number, std::span<const std::byte> value) {
    Bytes bytes;
    put(bytes, number);
    bytes.insert(bytes.end(), value.begin(), value.end());
    return bytes;
}

Bytes asByte(bool value) {
    return {std::byte{value}};
}

Record documentRecord(const fs::path& document) {
    const auto bytes = std::as_bytes(std::span(document.native()));
    return {Document, {bytes.begin(), bytes.end()}};
}

/// All that is known of an entry.
std::vector<Record> recordsOf(const HistoryEntry& entry) {
    std::vector<Record> records{{Text, payloadOf(entry)}};
    if (entry.compiled)
        records.push_back({Compiled, payloadOf(entry.number, asByte(*entry.compiled))});
    if (entry.drew)
        records.push_back({Drew, payloadOf(entry.number, {})});
    if (!entry.picture.empty())
        records.push_back({Picture, payloadOf(entry.number, entry.picture)});
    return records;
}

void addText(HistoryContents& contents, std::uint64_t number, std::span<const std::byte> rest) {
    const auto milliseconds = take<std::int64_t>(rest);
    if (!milliseconds)
        return;
    HistoryEntry entry;
    entry.number = number;
    entry.time = system_clock::time_point(std::chrono::milliseconds(*milliseconds));
    entry.packed.assign(rest.begin(), rest.end());
    contents.entries.push_back(std::move(entry));
}

void addNote(HistoryContents& contents, std::uint8_t kind, std::uint64_t number,
             std::span<const std::byte> value) {
    const auto at = std::ranges::find(contents.entries.rbegin(), contents.entries.rend(), number,
                                      &HistoryEntry::number);
    if (at == contents.entries.rend())
        return;
    if (kind == Compiled && !value.empty())
        at->compiled = value[0] != std::byte{0};
    else if (kind == Drew)
        at->drew = true;
    else if (kind == Picture)
        at->picture.assign(value.begin(), value.end());
}

void add(HistoryContents& contents, const Record& record) {
    std::span<const std::byte> rest(record.payload);
    if (record.kind == Document) {
        contents.document.assign(reinterpret_cast<const char*>(rest.data()), rest.size());
    } else if (const auto number = take<std::uint64_t>(rest)) {
        if (record.kind == Text)
            addText(contents, *number, rest);
        else
            addNote(contents, record.kind, *number, rest);
    }
}

/// For the name of a file: the beginning tells a person what it is, the rest makes it unique.
std::string nameFor(const std::string& stem, const std::string& unique) {
    constexpr std::size_t longestStem = 60;
    return stem.substr(0, longestStem) + "-" + unique + extension;
}

std::string randomKey() {
    std::random_device random;
    return std::to_string((std::uint64_t{random()} << 32) | random());
}

void removeOld(const fs::path& folder) {
    std::error_code failed;
    const auto oldest = fs::file_time_type::clock::now() - History::maxAge;
    for (const fs::path& file : History::files(folder))
        if (fs::last_write_time(file, failed) < oldest && !failed)
            fs::remove(file, failed);
}

} // namespace

std::string HistoryEntry::text() const {
    auto unpacked = Unpacker::tryUnpack(packed);
    return unpacked ? *std::move(unpacked) : std::string();
}

const char* HistoryEntry::outcome() const {
    if (drew)
        return "drew";
    if (!compiled)
        return "replaced at once";
    return *compiled ? "compiled" : "did not compile";
}

fs::path History::folderOfThisUser() {
    const auto folder = platform::stateFolder();
    return folder ? *folder / "history" : fs::path();
}

fs::path History::fileOf(const fs::path& folder, const fs::path& document) {
    return folder / nameFor(document.stem().string(), platform::keyOf(document));
}

HistoryContents History::read(const fs::path& file) {
    HistoryContents contents;
    for (const Record& record : platform::RecordLog::read(file, readLimit))
        add(contents, record);
    return contents;
}

std::vector<fs::path> History::files(const fs::path& folder) {
    std::vector<std::pair<fs::file_time_type, fs::path>> found;
    std::error_code failed;
    for (const auto& file : fs::directory_iterator(folder, failed))
        if (file.path().extension() == extension)
            found.emplace_back(fs::last_write_time(file.path(), failed), file.path());
    std::ranges::sort(found, std::greater());
    std::vector<fs::path> files;
    for (auto& [time, file] : found)
        files.push_back(std::move(file));
    return files;
}

History::History(const fs::path& folder)
    : m_folder(folder),
      m_log(folder.empty() ? fs::path() : folder / nameFor("Untitled", randomKey())) {}

void History::open() {
    if (std::exchange(m_isOpen, true) || m_folder.empty())
        return;
    std::error_code none;
    const auto length = fs::file_size(file(), none);
    m_length = none ? 0 : length;
    removeOld(m_folder);
    const auto entries = read(file()).entries;
    for (const HistoryEntry& entry : entries)
        m_last = std::max(m_last, entry.number);
    if (!entries.empty()) {
        const HistoryEntry& newest = entries.back();
        m_current = newest.number;
        remember({newest.number, newest.text(), newest.compiled, newest.drew});
    }
}

void History::setDocument(const fs::path& document) {
    const fs::path target = m_folder.empty() ? fs::path() : fileOf(m_folder, document);
    if (target == file())
        return;
    const fs::path old = file();
    std::vector<HistoryEntry> earlier;
    if (m_isOpen)
        earlier = read(old).entries;
    const bool wasUnnamed = m_document.empty();
    continueAt(target);
    m_document = document;
    open();
    std::set<std::pair<system_clock::time_point, Bytes>> known;
    for (HistoryEntry& entry : read(target).entries)
        known.emplace(entry.time, std::move(entry.packed));
    bool kept = true;
    for (HistoryEntry& entry : earlier)
        if (!known.contains({entry.time, entry.packed}))
            kept = append(entry).hasValue() && kept;
    std::error_code ignored;
    if (wasUnnamed && kept)
        fs::remove(old, ignored);
    onChange();
}

void History::continueAt(const fs::path& file) {
    m_log = platform::RecordLog(file);
    m_recent.clear();
    m_last = m_current = m_revisited = 0;
    m_isOpen = false;
}

void History::remember(Recent entry) {
    m_recent.push_back(std::move(entry));
    if (m_recent.size() > maxRecent)
        m_recent.pop_front();
}

History::Recent* History::find(const std::string& text) {
    const auto at = std::ranges::find(m_recent.rbegin(), m_recent.rend(), text, &Recent::text);
    return at == m_recent.rend() ? nullptr : &*at;
}

Result<void> History::append(const HistoryEntry& entry) {
    if (m_length == 0) {
        const Record first = documentRecord(m_document);
        SL42_TRY_VOID(m_log.append(first.kind, first.payload));
    }
    HistoryEntry numbered = entry;
    numbered.number = m_last + 1;
    for (const Record& record : recordsOf(numbered)) {
        SL42_TRY_VOID(m_log.append(record.kind, record.payload));
        m_length += record.payload.size();
    }
    m_current = ++m_last;
    remember({m_last, entry.text(), entry.compiled, entry.drew});
    return {};
}

/// Makes the newest entry with the text current, or, of several, that with the number. False when
/// there is none.
bool History::returnTo(std::string_view text, std::uint64_t number) {
    const auto entries = read(file()).entries;
    for (const HistoryEntry& entry : std::ranges::reverse_view(entries))
        if ((number == 0 || entry.number == number) && entry.text() == text) {
            remember({entry.number, std::string(text), entry.compiled, entry.drew});
            m_current = entry.number;
            onChange();
            return true;
        }
    return false;
}

Result<void> History::resume(std::string_view text) {
    if (m_folder.empty())
        return {};
    open();
    return returnTo(text, 0) ? Result<void>() : record(text);
}

Result<void> History::record(std::string_view text) {
    if (m_folder.empty())
        return {};
    open();
    if (const auto revisited = std::exchange(m_revisited, 0);
        revisited != 0 && returnTo(text, revisited))
        return {};
    if (!m_recent.empty() && m_recent.back().text == text) {
        m_current = m_recent.back().number;
        return {};
    }
    if (m_length > maxLength)
        trim();
    HistoryEntry entry;
    entry.time = system_clock::now();
    entry.packed = SL42_TRY(Packer::pack(text));
    SL42_TRY_VOID(append(entry));
    onChange();
    return {};
}

void History::note(std::uint8_t kind, std::uint64_t number, std::span<const std::byte> value) {
    if (m_folder.empty()) // record() has said it if nothing is kept
        return;
    const Bytes payload = payloadOf(number, value);
    (void)m_log.append(kind, payload);
    m_length += payload.size();
    onChange();
}

void History::noteCompiled(const std::string& text, bool compiled) {
    if (Recent* entry = find(text); entry && entry->compiled != compiled) {
        entry->compiled = compiled;
        note(Compiled, entry->number, asByte(compiled));
    }
}

void History::noteDrew(const std::string& text) {
    if (Recent* entry = find(text); entry && !std::exchange(entry->drew, true))
        note(Drew, entry->number, {});
}

void History::notePicture(std::uint64_t number, std::span<const std::byte> png) {
    note(Picture, number, png);
}

void History::trim() {
    const auto contents = read(file());
    std::vector<Record> kept;
    std::size_t length = 0;
    for (auto entry = contents.entries.rbegin(); entry != contents.entries.rend(); ++entry) {
        auto records = recordsOf(*entry);
        for (const Record& record : records)
            length += record.payload.size();
        if (length > keptLength)
            break;
        kept.insert(kept.end(), std::make_move_iterator(records.rbegin()),
                    std::make_move_iterator(records.rend()));
    }
    kept.push_back(documentRecord(m_document));
    std::ranges::reverse(kept);
    if (m_log.replace(kept)) // else everything stays, and the next text tries again
        m_length = length;
}

} // namespace starloom
