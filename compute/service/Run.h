// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The life of a service from start to end.
#pragma once

#include "compute/service/Compiler.h"

namespace compute::service {

/// Body of main(); returns the exit status. The console passes its socket and the status page as
/// the descriptors named in compute/protocol/Channel.h. With `--probe` alone the process tests its
/// own lock-down.
int run(int argumentCount, char** arguments, Compiler& compiler);

} // namespace compute::service
