// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Messages as the service decodes those of the console: each over the one before, whose memory it
// uses. The first four bytes say how long the first of two messages is.
#include "compute/protocol/Codec.h"
#include "fuzz/Fuzzing.h"

#include <algorithm>

namespace protocol = compute::protocol;
using fuzz::View;

/// What is accepted is exactly what the console would have sent.
static void decodeOver(protocol::Request& request, View bytes) {
    const bool accepted = protocol::decodeInto(request, bytes);
    const auto alone = protocol::decode<protocol::Request>(bytes);
    fuzz::require(accepted == alone.has_value(),
                  "what was decoded before decides what is accepted");
    if (!accepted)
        return;
    std::vector<std::byte> again;
    protocol::Encoder(again).put(request);
    fuzz::require(std::ranges::equal(again, bytes), "a message changes on its way");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    View rest = fuzz::viewOf(data, size);
    std::uint32_t length = 0;
    if (rest.size() < sizeof length)
        return 0;
    std::memcpy(&length, rest.data(), sizeof length);
    rest = rest.subspan(sizeof length);
    const View first = rest.first(std::min<std::size_t>(length, rest.size()));
    protocol::Request request;
    decodeOver(request, first);
    decodeOver(request, rest.subspan(first.size()));
    return 0;
}
