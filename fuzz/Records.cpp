// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What is kept of a driver's work, as it lies in memory that a captured service writes and in
// files. The first byte says whether mark and checksum are put right first, or else nothing behind
// them would ever be looked at.
#include "compute/protocol/CodeRecord.h"
#include "fuzz/Fuzzing.h"
#include "platform/base/Fnv.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace protocol = compute::protocol;
using fuzz::View;

/// As if all that is there belonged to the record.
static void putMarksRight(std::vector<std::byte>& memory) {
    if (memory.size() < sizeof(protocol::CodeRecord))
        return;
    const std::uint64_t mark = protocol::codeRecordMark;
    std::memcpy(memory.data(), &mark, sizeof mark);
    const std::uint64_t sum =
        platform::fnv1a64(View(memory).subspan(offsetof(protocol::CodeRecord, shader)));
    std::memcpy(&memory[offsetof(protocol::CodeRecord, checksum)], &sum, sizeof sum);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const View bytes = fuzz::viewOf(data, size).subspan(1);
    std::vector<std::byte> memory(bytes.begin(), bytes.end());
    if ((data[0] & 1) != 0)
        putMarksRight(memory);
    const auto record = protocol::copyRecord(memory);
    if (record.empty())
        return 0;
    fuzz::require(record.size() <= memory.size() &&
                      std::equal(record.begin(), record.end(), memory.begin()),
                  "a record is not what lies in the memory");
    fuzz::require(protocol::copyRecord(record) == record, "a record is none once it is copied");
    protocol::CodeRecord head;
    std::memcpy(&head, record.data(), sizeof head);
    const auto code = protocol::codeIn(record, head.shader);
    fuzz::require(code.size() == head.length, "the code is not as long as it says");
    std::vector<std::byte> again(record.size());
    fuzz::require(protocol::writeRecord(again, head.shader, code) && again == record,
                  "a record changes on its way");
    return 0;
}
