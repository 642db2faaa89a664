// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Blits.h"

#include "compute/workers/Workers.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace compute::service {

namespace {

// Waking a worker costs some microseconds; a core moves this much in a few times that.
constexpr std::size_t bytesPerTask = std::size_t{1} << 20;

template <class Body>
void forRanges(std::size_t length, const Body& body) {
    if (length < 2 * bytesPerTask)
        return body(0, length);
    const auto tasks = static_cast<std::uint32_t>((length + bytesPerTask - 1) / bytesPerTask);
    workers::run(tasks, [&](std::uint32_t first, std::uint32_t last) {
        const std::size_t begin = first * bytesPerTask;
        body(begin, std::min(last * bytesPerTask, length) - begin);
    });
}

bool overlap(std::span<const std::byte> a, std::span<const std::byte> b) {
    const std::less<const std::byte*> before;
    return before(a.data(), b.data() + b.size()) && before(b.data(), a.data() + a.size());
}

} // namespace

void fill(std::span<std::byte> bytes, std::uint8_t value) {
    forRanges(bytes.size(), [&](std::size_t begin, std::size_t length) {
        std::memset(bytes.data() + begin, value, length);
    });
}

void copy(std::span<const std::byte> source, std::span<std::byte> destination) {
    if (overlap(source, destination)) {
        std::memmove(destination.data(), source.data(), source.size());
        return;
    }
    forRanges(source.size(), [&](std::size_t begin, std::size_t length) {
        std::memcpy(destination.data() + begin, source.data() + begin, length);
    });
}

} // namespace compute::service
