// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/RestoreToken.h"

#include "platform/AsideFile.h"
#include "platform/WholeFile.h"

#include <algorithm>
#include <span>
#include <system_error>

namespace platform {
namespace {

/// Desktops use some forty characters.
constexpr std::size_t longestToken = 4096;

/// The bus ends the connection of whoever sends a string that is not text.
bool isToken(const std::string& text) {
    return !text.empty() && text.size() <= longestToken &&
           std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
}

} // namespace

RestoreToken::RestoreToken(const std::filesystem::path& stateFolder)
    : m_path(stateFolder / "window-capture-token") {}

std::string RestoreToken::read() const {
    std::error_code unreadable;
    if (!std::filesystem::is_regular_file(m_path, unreadable) ||
        std::filesystem::file_size(m_path, unreadable) > longestToken)
        return {};
    const auto bytes = readWholeFile(m_path);
    if (!bytes || bytes->empty())
        return {};
    std::string token(reinterpret_cast<const char*>(bytes->data()), bytes->size());
    return isToken(token) ? token : std::string();
}

void RestoreToken::replace(const std::string& token) const {
    std::error_code failed;
    if (!isToken(token)) {
        std::filesystem::remove(m_path, failed);
        return;
    }
    std::filesystem::create_directories(m_path.parent_path(), failed);
    auto file = AsideFile::create(m_path, 0600);
    if (file && writeAll(file->descriptor(), std::as_bytes(std::span(token))))
        static_cast<void>(file->commit());
}

} // namespace platform
