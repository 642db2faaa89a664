// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the targets share: how one of them says that something must not happen, and what becomes of
// the console's own way to stop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

namespace fuzz {

using View = std::span<const std::byte>;

inline View viewOf(const std::uint8_t* data, std::size_t size) {
    return std::as_bytes(std::span(data, size));
}
inline std::string_view textOf(View bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// A finding, unless `holds`.
inline void require(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "Broken: %s\n", what);
    std::abort();
}

/// What platform::fatalError() throws here. To stop with a fixed message is the right end for some
/// inputs, and each target says for which; anywhere else it is a finding, as nobody catches it.
struct Stopped {
    std::string message;
};

} // namespace fuzz
