// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The input as a file, for what reads files by name.
#pragma once

#include "fuzz/Fuzzing.h"
#include "platform/base/FileDescriptor.h"

#include <filesystem>

namespace fuzz {

/// Lies in memory and is written again for each input.
class InputFile {
public:
    InputFile();
    void hold(View bytes);
    const std::filesystem::path& path() const { return m_path; }

private:
    platform::FileDescriptor m_file;
    std::filesystem::path m_path;
};

} // namespace fuzz
