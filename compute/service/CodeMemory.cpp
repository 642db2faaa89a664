// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/CodeMemory.h"

#include "compute/protocol/CodeRecord.h"

#include <sys/mman.h>
#include <unistd.h>

namespace compute::service {

using protocol::codeMemoryBytes;

std::shared_ptr<KeptCode> CodeMemory::map(const platform::FileDescriptor& memory) {
    if (!memory || ::lseek(memory.get(), 0, SEEK_END) < static_cast<off_t>(codeMemoryBytes))
        return nullptr;
    void* mapping =
        ::mmap(nullptr, codeMemoryBytes, PROT_READ | PROT_WRITE, MAP_SHARED, memory.get(), 0);
    if (mapping == MAP_FAILED)
        return nullptr;
    return std::shared_ptr<KeptCode>(
        new CodeMemory({static_cast<std::byte*>(mapping), codeMemoryBytes}));
}

CodeMemory::~CodeMemory() {
    ::munmap(m_memory.data(), m_memory.size());
}

std::vector<std::byte> CodeMemory::load(const Fingerprint& shader) const {
    const std::vector<std::byte> record = protocol::copyRecord(m_memory);
    const auto code = protocol::codeIn(record, shader);
    return {code.begin(), code.end()};
}

void CodeMemory::store(const Fingerprint& shader, std::span<const std::byte> code) {
    (void)protocol::writeRecord(m_memory, shader, code);
}

} // namespace compute::service
