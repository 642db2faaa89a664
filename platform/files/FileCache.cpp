// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/FileCache.h"

#include "platform/base/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <string_view>
#include <vector>

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr mode_t othersRights = S_IRWXG | S_IRWXO;
constexpr std::string_view asideSuffix = ".partial";
/// Whoever writes a file for longer is gone.
constexpr std::chrono::hours longestWrite{1};

bool isPrivate(const struct stat& status) {
    return status.st_uid == ::geteuid() && (status.st_mode & othersRights) == 0;
}

/// None when it is not there, or not this user's alone.
FileDescriptor openFolder(const fs::path& folder) {
    FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status{};
    if (opened && (::fstat(opened.get(), &status) != 0 || !isPrivate(status)))
        opened.reset();
    return opened;
}

FileDescriptor makeFolder(const fs::path& folder) {
    std::error_code failed;
    fs::create_directories(folder.parent_path(), failed);
    ::mkdir(folder.c_str(), S_IRWXU);
    return openFolder(folder);
}

struct Entry {
    fs::path path;
    fs::file_time_type usedAt;
    std::uintmax_t bytes = 0;
};

/// Without those that are being written.
std::vector<Entry> filesIn(const fs::path& folder) {
    std::vector<Entry> files;
    std::error_code failed;
    for (fs::directory_iterator entry(folder, failed); !failed && entry != end(entry);
         entry.increment(failed)) {
        std::error_code gone;
        if (!fs::is_regular_file(entry->symlink_status(gone)))
            continue;
        Entry file{entry->path(), entry->last_write_time(gone), entry->file_size(gone)};
        const bool isAside = file.path.native().ends_with(asideSuffix);
        if (gone || (isAside && file.usedAt > fs::file_time_type::clock::now() - longestWrite))
            continue;
        if (isAside)
            fs::remove(file.path, gone);
        else
            files.push_back(std::move(file));
    }
    return files;
}

} // namespace

Bytes FileCache::read(const std::string& name, std::size_t maxBytes) const {
    const FileDescriptor folder = openFolder(m_folder);
    if (!folder)
        return {};
    const FileDescriptor file(
        ::openat(folder.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status{};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        !isPrivate(status) || static_cast<std::uintmax_t>(status.st_size) > maxBytes)
        return {};
    Bytes bytes(static_cast<std::size_t>(status.st_size));
    std::size_t count = 0;
    while (count < bytes.size()) {
        const ssize_t more = ::read(file.get(), &bytes[count], bytes.size() - count);
        if (more < 0 && errno == EINTR)
            continue;
        if (more <= 0)
            return {};
        count += static_cast<std::size_t>(more);
    }
    ::futimens(file.get(), nullptr);
    return bytes;
}

bool FileCache::write(const std::string& name, std::span<const std::byte> bytes) const {
    const FileDescriptor folder = isOn() ? makeFolder(m_folder) : FileDescriptor();
    if (!folder)
        return false;
    // No two threads have the same number; one that is gone may have had it.
    const std::string aside = name + "." + std::to_string(::gettid()) + std::string(asideSuffix);
    ::unlinkat(folder.get(), aside.c_str(), 0);
    const FileDescriptor file(::openat(folder.get(), aside.c_str(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                       S_IRUSR | S_IWUSR));
    if (file && writeAll(file.get(), bytes) &&
        ::renameat(folder.get(), aside.c_str(), folder.get(), name.c_str()) == 0)
        return true;
    if (file)
        ::unlinkat(folder.get(), aside.c_str(), 0);
    return false;
}

void FileCache::trim(std::uintmax_t maxBytes, std::size_t maxFiles) const {
    if (!openFolder(m_folder))
        return;
    std::vector<Entry> files = filesIn(m_folder);
    std::ranges::sort(files, std::ranges::greater(), &Entry::usedAt);
    std::uintmax_t bytes = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        bytes += files[i].bytes;
        std::error_code gone;
        if (bytes > maxBytes || i >= maxFiles)
            fs::remove(files[i].path, gone);
    }
}

} // namespace platform
