// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What programs use as functions and attributes, and has to be macros.
#pragma once
#pragma clang system_header

// The front end puts a variable in the place of the call, which the kernel pipeline sets.
extern "C" bool __sl42_is_defined(const volatile void* constant);
#define is_function_constant_defined(constant) (__sl42_is_defined(&(constant)))

// On functions and arguments.

#define METAL_FUNC inline __attribute__((always_inline))
#define METAL_ALIGN(bytes) alignas(bytes)
#define METAL_CONST __attribute__((const))
#define METAL_PURE __attribute__((pure))
#define METAL_CONST_ARG(argument)
