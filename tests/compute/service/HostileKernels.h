// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What arbitrary machine code would do inside a service: these kernels are not generated but native
// code, run by the service's own threads behind its real lock-down.
#pragma once

#include <cstdint>
#include <string_view>

namespace test {

/// Places in the buffer that such kernels are given.
enum HostilePlace : unsigned {
    VictimPlace,  ///< process id of somebody else
    SuccessPlace, ///< how many attempts succeeded
    AmountPlace,  ///< of what could be had
};

using HostileKernel = void (*)(std::uint32_t* buffer, std::uint32_t threads);

/// Null when there is none of this name.
HostileKernel findHostileKernel(std::string_view name);

} // namespace test
