// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/code/RuntimeFunctions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

// Conversions that the compiler's support library defines for processors without them.
extern "C" {
float __extendhfsf2(_Float16 value);
_Float16 __truncsfhf2(float value);
}

namespace compute::host {
namespace {

struct RuntimeFunction {
    std::string_view symbol;
    void* address;
};

template <class F>
void* addressOf(F* function) {
    return reinterpret_cast<void*>(function);
}

using Unary = float(float);
using Binary = float(float, float);
using Ternary = float(float, float, float);

const auto& table() {
    static const auto functions = std::to_array<RuntimeFunction>({
        {"memcpy", addressOf(std::memcpy)},
        {"memmove", addressOf(std::memmove)},
        {"memset", addressOf(std::memset)},
        {"__extendhfsf2", addressOf(__extendhfsf2)},
        {"__truncsfhf2", addressOf(__truncsfhf2)},
        {"fmodf", addressOf<Binary>(std::fmod)},
        {"fmaf", addressOf<Ternary>(std::fma)},
        {"floorf", addressOf<Unary>(std::floor)},
        {"ceilf", addressOf<Unary>(std::ceil)},
        {"truncf", addressOf<Unary>(std::trunc)},
        {"rintf", addressOf<Unary>(std::rint)},
        {"nearbyintf", addressOf<Unary>(std::nearbyint)},
        {"roundf", addressOf<Unary>(std::round)},
    });
    return functions;
}

} // namespace

void* runtimeFunction(std::string_view symbol) {
    const auto found = std::ranges::find(table(), symbol, &RuntimeFunction::symbol);
    return found == table().end() ? nullptr : found->address;
}

} // namespace compute::host
