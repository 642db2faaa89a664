// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Documents as they are opened: whatever the bytes are, a text of bounded length comes out, or an
// error, or the console stops because it is no text. What came out survives being stored.
#include "SL42/document/Compression.h"
#include "fuzz/Fuzzing.h"
#include "platform/TextFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const auto text = starloom::Unpacker::unpack(fuzz::viewOf(data, size));
        if (!text)
            return 0;
        fuzz::require(text->size() <= platform::maxTextFileLength, "a document is too long");
        fuzz::require(platform::isValidUtf8(*text), "a document is no text");
        const auto packed = starloom::Packer::pack(*text);
        fuzz::require(packed.hasValue(), "a document cannot be stored");
        fuzz::require(*starloom::Unpacker::unpack(*packed) == *text, "storing changes a document");
    } catch (const fuzz::Stopped& stopped) {
        fuzz::require(stopped.message == "Error occurred decoding decompressed string",
                      stopped.message.c_str());
    }
    return 0;
}
