// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/Dump.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace compute::kernel {

platform::Result<Dump> Dump::create(const std::string& folder) {
    platform::FileDescriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!descriptor)
        return platform::Error{"cannot open " + folder + ": " + std::strerror(errno)};
    return Dump(std::move(descriptor));
}

void Dump::write(std::string_view kernel, unsigned number, std::string_view stage,
                 std::string_view extension, std::string_view content) const {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%02u", number);
    std::string file = std::string(kernel) + "." + digits + "-" + std::string(stage) + "." +
                       std::string(extension);
    for (char& character : file)
        if (character == '/')
            character = '_';
    const platform::FileDescriptor output(
        openat(m_folder.get(), file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    while (output && !content.empty()) {
        const ssize_t written = ::write(output.get(), content.data(), content.size());
        if (written <= 0)
            return;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace compute::kernel
