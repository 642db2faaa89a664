// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/base/Fatal.h"

#include <cstdio>
#include <cstdlib>

namespace platform {

// The error may come from anywhere, so only a global can say where its message goes.
static std::span<char> keptMessage;

void keepFatalMessageIn(std::span<char> memory) {
    keptMessage = memory;
}

void fatalError(std::string_view message) {
    std::fflush(stdout);
    std::fprintf(stderr, "Fatal error: %.*s\n", static_cast<int>(message.size()), message.data());
    std::fflush(stderr);
    if (!keptMessage.empty())
        keptMessage[message.copy(keptMessage.data(), keptMessage.size() - 1)] = '\0';
    std::abort();
}

} // namespace platform
