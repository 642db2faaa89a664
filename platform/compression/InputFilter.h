// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Decompressing piece by piece: whoever reads pulls, and the filter fetches what it needs.
#pragma once

#include "platform/base/Result.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace platform {

/// Reads raw DEFLATE (RFC 1951). The stream may come from a stranger. One thread.
class InputFilter {
public:
    /// Hands out at most `length` further compressed bytes, which stay valid until the next call;
    /// none when there are no more.
    using Fetch = std::function<std::span<const std::byte>(std::size_t length)>;

    /// `bufferSize` is how many bytes are fetched at once. Fails when there is no memory.
    static Result<InputFilter> inflating(std::size_t bufferSize, Fetch fetch);
    InputFilter(InputFilter&&) noexcept;
    InputFilter& operator=(InputFilter&&) noexcept;
    ~InputFilter();

    /// The next bytes, at most `length`; none at the end of the stream. Fails when the stream is
    /// malformed, ends early, or is followed by something else.
    Result<std::vector<std::byte>> read(std::size_t length);

private:
    class Inflater;
    explicit InputFilter(std::unique_ptr<Inflater> inflater);

    std::unique_ptr<Inflater> m_inflater;
};

} // namespace platform
