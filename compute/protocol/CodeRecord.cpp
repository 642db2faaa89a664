// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/protocol/CodeRecord.h"

#include "platform/base/Fnv.h"

#include <algorithm>
#include <cstring>

namespace compute::protocol {

namespace {

constexpr std::size_t checkedFrom = offsetof(CodeRecord, shader);
static_assert(sizeof(CodeRecord) == 40, "it has no gaps, so that every byte counts");

CodeRecord headOf(std::span<const std::byte> bytes) {
    CodeRecord head;
    if (bytes.size() >= sizeof head)
        std::memcpy(&head, bytes.data(), sizeof head);
    return head;
}

std::uint64_t sumOf(std::span<const std::byte> record) {
    return platform::fnv1a64(record.subspan(checkedFrom));
}

} // namespace

std::vector<std::byte> copyRecord(std::span<const std::byte> memory) {
    const CodeRecord head = headOf(memory);
    if (head.mark != codeRecordMark || head.length > memory.size() - sizeof head)
        return {};
    std::vector<std::byte> record(sizeof head + head.length);
    std::memcpy(record.data(), &head, sizeof head);
    std::ranges::copy(memory.subspan(sizeof head, head.length), record.begin() + sizeof head);
    if (head.checksum != sumOf(record))
        record.clear();
    return record;
}

std::uint64_t checksumOf(std::span<const std::byte> record) {
    return headOf(record).checksum;
}

std::span<const std::byte> codeIn(std::span<const std::byte> record, const Fingerprint& shader) {
    if (record.size() < sizeof(CodeRecord) || headOf(record).shader != shader)
        return {};
    return record.subspan(sizeof(CodeRecord));
}

bool writeRecord(std::span<std::byte> memory, const Fingerprint& shader,
                 std::span<const std::byte> code) {
    CodeRecord head{.mark = codeRecordMark, .checksum = 0, .shader = shader, .length = code.size()};
    if (memory.size() < sizeof head || code.size() > memory.size() - sizeof head)
        return false;
    std::memcpy(memory.data(), &head, sizeof head);
    std::ranges::copy(code, memory.begin() + sizeof head);
    head.checksum = sumOf(memory.first(sizeof head + code.size()));
    std::memcpy(memory.data(), &head, sizeof head);
    return true;
}

} // namespace compute::protocol
