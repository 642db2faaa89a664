// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The compute service: a child of the console that compiles and runs what strangers wrote.
#include "compute/service/KernelCompiler.h"
#include "compute/service/Run.h"

int main(int argumentCount, char** arguments) {
    compute::service::KernelCompiler compiler;
    return compute::service::run(argumentCount, arguments, compiler);
}
