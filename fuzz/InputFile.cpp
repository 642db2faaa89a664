// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "fuzz/InputFile.h"

#include <sys/mman.h>
#include <unistd.h>

namespace fuzz {

InputFile::InputFile()
    : m_file(::memfd_create("input", MFD_CLOEXEC)),
      m_path("/proc/self/fd/" + std::to_string(m_file.get())) {}

void InputFile::hold(View bytes) {
    const bool held =
        ::ftruncate(m_file.get(), 0) == 0 &&
        ::pwrite(m_file.get(), bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size());
    require(held, "there is no memory for the input");
}

} // namespace fuzz
