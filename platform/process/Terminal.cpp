// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/process/Terminal.h"

#include <sys/stat.h>
#include <unistd.h>

namespace platform {

bool standardErrorIsTerminal() {
    return ::isatty(STDERR_FILENO) == 1;
}

bool standardErrorIsHeard() {
    struct stat status{};
    return standardErrorIsTerminal() ||
           (::fstat(STDERR_FILENO, &status) == 0 && S_ISFIFO(status.st_mode));
}

} // namespace platform
