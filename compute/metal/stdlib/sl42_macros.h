// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Macros that libraries for the language put on their functions.
#pragma once
#pragma clang system_header

#define METAL_FUNC inline __attribute__((always_inline))
#define METAL_ALIGN(bytes) alignas(bytes)
#define METAL_CONST __attribute__((const))
#define METAL_PURE __attribute__((pure))
#define METAL_CONST_ARG(argument)
