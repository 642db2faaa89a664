// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The journal of a process that died, which may have died while it wrote, or not have written it.
#include "SL42/document/Journal.h"
#include "fuzz/InputFile.h"
#include "platform/TextFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::InputFile file;
    file.hold(fuzz::viewOf(data, size));
    const auto entry = starloom::Journal::read(file.path());
    if (!entry)
        return 0;
    fuzz::require(platform::isValidUtf8(entry->source) &&
                      platform::isValidUtf8(entry->good.value_or("")),
                  "what is offered is no text");
    const std::size_t kept = entry->document.native().size() + entry->title.size() +
                             entry->source.size() + entry->good.value_or("").size();
    fuzz::require(kept < size, "a journal holds more than its file");
    return 0;
}
