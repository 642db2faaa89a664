// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Keeps drawn pictures in a file from one start to the next. The file is no more than a short cut:
// whatever is wrong with it, the pictures are drawn again.
#pragma once

#include "SL42/font/FontPictures.h"

#include <filesystem>
#include <optional>
#include <string_view>

namespace starloom {

/// One file with the pictures of one key. Runs of blank and full pixels are counted instead of
/// stored, so that it has some 3 MB and blank pages of memory stay untouched. Consoles may share
/// it. A plain value.
class FontCache {
public:
    /// Without a file it keeps nothing.
    FontCache() = default;
    explicit FontCache(std::filesystem::path file) : m_file(std::move(file)) {}
    /// `font` in the cache folder (platform/UserFolders.h); nothing without a home.
    static FontCache ofThisUser();

    /// The pictures stored last, if they were stored under this key, have this size and are
    /// undamaged. The key says all that the pictures depend on.
    std::optional<FontPictures> load(std::string_view key, std::uint32_t size) const;
    /// Makes the folder and replaces the file in one step, or does nothing where that cannot be.
    void store(std::string_view key, const FontPictures& pictures) const;

private:
    std::filesystem::path m_file;
};

} // namespace starloom
