// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Messages of a captured service, as the console decodes them.
#include "compute/protocol/Codec.h"
#include "fuzz/Fuzzing.h"

#include <algorithm>

namespace protocol = compute::protocol;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::View bytes = fuzz::viewOf(data, size);
    const auto reply = protocol::decode<protocol::Reply>(bytes);
    if (!reply)
        return 0;
    std::vector<std::byte> again;
    protocol::Encoder(again).put(*reply);
    fuzz::require(std::ranges::equal(again, bytes), "a message changes on its way");
    return 0;
}
