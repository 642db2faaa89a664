// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/base/Fatal.h"

#include <cstdio>
#include <cstdlib>

namespace platform {

void fatalError(std::string_view message) {
    std::fflush(stdout);
    std::fprintf(stderr, "Fatal error: %.*s\n", static_cast<int>(message.size()), message.data());
    std::fflush(stderr);
    std::abort();
}

} // namespace platform
