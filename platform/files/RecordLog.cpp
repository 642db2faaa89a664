// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A record is a mark, the payload's length, a checksum of kind and payload, the kind, the payload;
// numbers are little-endian. After damage, reading goes on at the next mark that begins a record.
#include "platform/files/RecordLog.h"

#include "platform/WholeFile.h"
#include "platform/compression/Checksum.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

namespace platform {
namespace {

static_assert(std::endian::native == std::endian::little, "fields are written as they lie");

constexpr std::array<char, 4> mark{'\x89', 'S', 'L', '\n'};

struct Header {
    std::array<char, 4> mark = platform::mark;
    std::uint32_t length = 0;
    std::uint32_t checksum = 0;
    std::uint8_t kind = 0;
    std::array<std::uint8_t, 3> padding{};
};
static_assert(sizeof(Header) == 16);

std::uint32_t checksumOf(std::uint8_t kind, std::span<const std::byte> payload) {
    return checksum(payload, checksum(std::as_bytes(std::span(&kind, 1))));
}

void appendTo(std::vector<std::byte>& bytes, std::uint8_t kind,
              std::span<const std::byte> payload) {
    const Header header{.length = static_cast<std::uint32_t>(payload.size()),
                        .checksum = checksumOf(kind, payload),
                        .kind = kind};
    const auto fields = std::as_bytes(std::span(&header, 1));
    bytes.insert(bytes.end(), fields.begin(), fields.end());
    bytes.insert(bytes.end(), payload.begin(), payload.end());
}

Error failure(const std::filesystem::path& path) {
    return Error{"cannot write " + path.string() + ": " + std::strerror(errno)};
}

void makeFolder(const std::filesystem::path& folder) {
    std::error_code failed;
    if (std::filesystem::create_directories(folder, failed))
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all, failed);
}

bool isSameFile(int descriptor, const std::filesystem::path& path) {
    struct stat opened{};
    struct stat named{};
    return ::fstat(descriptor, &opened) == 0 && ::stat(path.c_str(), &named) == 0 &&
           opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

/// The last `limit` bytes of a regular file.
std::vector<std::byte> readEnd(const std::filesystem::path& path, std::size_t limit) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status{};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    const auto size = static_cast<std::size_t>(status.st_size);
    std::vector<std::byte> bytes(std::min(size, limit));
    const std::size_t begin = size - bytes.size();
    std::size_t count = 0;
    while (count < bytes.size()) {
        const ssize_t got = ::pread(file.get(), bytes.data() + count, bytes.size() - count,
                                    static_cast<off_t>(begin + count));
        if (got <= 0)
            break;
        count += static_cast<std::size_t>(got);
    }
    bytes.resize(count);
    return bytes;
}

} // namespace

// Another process may have replaced the file since it was opened.
Result<void> RecordLog::lock() {
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (!m_file) {
            makeFolder(m_path.parent_path());
            m_file = FileDescriptor(
                ::open(m_path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600));
            if (!m_file)
                return failure(m_path);
        }
        if (::flock(m_file.get(), LOCK_EX) != 0)
            return failure(m_path);
        if (isSameFile(m_file.get(), m_path))
            return {};
        m_file.reset();
    }
    return Error{"cannot write " + m_path.string() + ": it is replaced again and again"};
}

Result<void> RecordLog::append(std::uint8_t kind, std::span<const std::byte> payload) {
    if (payload.size() > maxPayload)
        return Error{"cannot write " + m_path.string() + ": the record is too long"};
    SL42_TRY_VOID(lock());
    std::vector<std::byte> bytes;
    appendTo(bytes, kind, payload);
    Result<void> written;
    if (!writeAll(m_file.get(), bytes)) // what was written of it counts as damage
        written = failure(m_path);
    ::flock(m_file.get(), LOCK_UN);
    return written;
}

Result<void> RecordLog::replace(std::span<const Record> records) {
    SL42_TRY_VOID(lock());
    std::vector<std::byte> bytes;
    for (const Record& record : records)
        appendTo(bytes, record.kind, record.payload);
    const std::string aside = m_path.string() + ".partial";
    FileDescriptor file(
        ::open(aside.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (!file || !writeAll(file.get(), bytes) || ::rename(aside.c_str(), m_path.c_str()) != 0) {
        Error error = failure(m_path);
        ::unlink(aside.c_str());
        ::flock(m_file.get(), LOCK_UN);
        return error;
    }
    m_file = std::move(file); // which ends the lock of the old one
    return {};
}

std::vector<Record> RecordLog::read(const std::filesystem::path& path, std::size_t limit) {
    const std::vector<std::byte> bytes = readEnd(path, limit);
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    std::vector<Record> records;
    std::size_t summed = 2 * bytes.size(); // a file made to be slow would ask for more
    std::size_t at = 0;
    while ((at = text.find(std::string_view(mark.data(), mark.size()), at)) != text.npos) {
        const std::size_t left = bytes.size() - at;
        Header header;
        if (left < sizeof header)
            break;
        std::memcpy(&header, &bytes[at], sizeof header);
        const bool fits = header.length <= std::min(left - sizeof header, maxPayload);
        if (fits && header.length > summed)
            break;
        summed -= fits ? header.length : 0;
        const auto payload = std::span(bytes).subspan(at + sizeof header, fits ? header.length : 0);
        if (fits && checksumOf(header.kind, payload) == header.checksum) {
            records.push_back({header.kind, {payload.begin(), payload.end()}});
            at += sizeof header + payload.size();
        } else {
            ++at;
        }
    }
    return records;
}

} // namespace platform
