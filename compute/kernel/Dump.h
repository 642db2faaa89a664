// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A folder that receives the intermediate code after every pass, for people who debug the compiler.
// The folder is opened early and files are made relative to it, because the service may open
// nothing else once it is locked down.
#pragma once

#include "platform/base/FileDescriptor.h"
#include "platform/base/Result.h"

#include <string>
#include <string_view>

namespace compute::kernel {

/// May be used by several threads at once.
class Dump {
public:
    static platform::Result<Dump> create(const std::string& folder);

    /// Writes `kernel.NN-stage.extension`, replacing what is there. Failures are ignored: a dump
    /// must not change what the program does.
    void write(std::string_view kernel, unsigned number, std::string_view stage,
               std::string_view extension, std::string_view content) const;
    /// Its descriptor.
    int folder() const { return m_folder.get(); }

private:
    explicit Dump(platform::FileDescriptor folder) : m_folder(std::move(folder)) {}
    platform::FileDescriptor m_folder;
};

} // namespace compute::kernel
