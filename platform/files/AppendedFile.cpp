// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/AppendedFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace platform {

static Error writeFailure(const std::filesystem::path& path, const std::string& reason) {
    return Error{"cannot write " + path.string() + ": " + reason};
}

Result<std::unique_ptr<AppendedFile>> AppendedFile::create(const std::filesystem::path& path) {
    FileDescriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0666));
    if (!file)
        return writeFailure(path, std::strerror(errno));
    return std::unique_ptr<AppendedFile>(new AppendedFile(path, std::move(file)));
}

AppendedFile::AppendedFile(std::filesystem::path path, FileDescriptor file)
    : m_path(std::move(path)), m_file(std::move(file)), m_thread([this] { run(); }) {}

AppendedFile::~AppendedFile() {
    if (m_thread.joinable())
        static_cast<void>(finish());
}

void AppendedFile::append(std::string_view bytes) {
    {
        const Lock lock(m_mutex);
        if (m_error)
            return;
        if (m_waiting.size() + bytes.size() > mostWaiting)
            m_error = writeFailure(m_path, "The disk is too slow");
        else
            m_waiting += bytes;
    }
    m_changed.notifyOne();
}

std::optional<Error> AppendedFile::error() const {
    const Lock lock(m_mutex);
    return m_error;
}

Result<void> AppendedFile::finish() {
    {
        const Lock lock(m_mutex);
        m_isLast = true;
    }
    m_changed.notifyOne();
    m_thread.join();
    if (::close(m_file.release()) != 0)
        fail(std::strerror(errno));
    if (const auto failure = error())
        return *failure;
    return {};
}

void AppendedFile::run() {
    while (const auto piece = nextPiece()) {
        std::string_view rest = *piece;
        while (!rest.empty()) {
            const ssize_t count = ::write(m_file.get(), rest.data(), rest.size());
            if (count < 0 && errno == EINTR)
                continue;
            if (count < 0)
                return fail(std::strerror(errno));
            rest.remove_prefix(static_cast<std::size_t>(count));
        }
    }
}

std::optional<std::string> AppendedFile::nextPiece() {
    const Lock lock(m_mutex);
    while (m_waiting.empty() && !m_isLast)
        m_changed.wait(m_mutex);
    if (m_waiting.empty())
        return std::nullopt;
    return std::exchange(m_waiting, {});
}

void AppendedFile::fail(const std::string& reason) {
    const Lock lock(m_mutex);
    if (!m_error)
        m_error = writeFailure(m_path, reason);
}

} // namespace platform
