// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A file that is written beside its destination and renamed into place when it is complete, so that
// whoever looks sees the old contents or the new ones.
#pragma once

#include "platform/base/FileDescriptor.h"
#include "platform/base/Result.h"

#include <string>

namespace platform {

/// Movable. What was not committed is removed when the object goes or, where the process was
/// killed, by the next one that writes to the same destination.
class AsideFile {
public:
    /// Makes an empty file in the folder of `destination`; a symbolic link will keep pointing where
    /// it does. The error is one line with the destination and the reason, also when something
    /// stands there that is not a regular file (a folder, a device). The permissions are those of
    /// the new file, less what the process withholds from all its files.
    static Result<AsideFile> create(const std::string& destination, unsigned permissions = 0666);

    AsideFile(AsideFile&& other) noexcept;
    AsideFile& operator=(AsideFile&&) = delete;
    ~AsideFile();

    /// Where the contents go until then.
    const std::string& path() const { return m_path; }
    /// Open for writing, until commit().
    int descriptor() const { return m_file.get(); }
    /// Puts the file in its place. After an error the old contents stand as they did.
    Result<void> commit();

private:
    AsideFile(std::string destination, std::string path, FileDescriptor file);

    std::string m_destination;
    std::string m_path; ///< empty once it is gone
    FileDescriptor m_file;
};

} // namespace platform
