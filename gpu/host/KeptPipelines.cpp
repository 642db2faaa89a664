// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/KeptPipelines.h"

#include "compute/protocol/CodeRecord.h"
#include "platform/UserFolders.h"
#include "platform/digest/Sha256.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace gpu::host {

namespace protocol = compute::protocol;
using platform::FileCache;
using platform::SharedMemory;

namespace {

/// What is replaced sooner, while somebody is typing, is not worth a file.
constexpr std::chrono::seconds keepInterval{5};
constexpr std::uintmax_t maxFileBytes = 64u << 20;
constexpr std::size_t maxFiles = 2048;
/// Of one kernel's file: a service that keeps changing its mind shall not wear out the disk.
constexpr unsigned maxWrites = 8;

std::string nameFor(const std::string& driver, const KernelText& text) {
    platform::Sha256 digest;
    for (const std::string_view piece :
         {std::string_view(driver), std::string_view(text.source), std::string_view(text.function)})
        digest.addPiece(std::as_bytes(std::span(piece)));
    digest.addPiece(text.constants);
    return digest.finish();
}

} // namespace

FileCache KeptPipelines::ofThisUser() {
    const char* variable = std::getenv("SL42_VULKAN_CACHE");
    const auto folder = platform::cacheFolder();
    if (!folder || (variable != nullptr && std::string_view(variable) == "0"))
        return {};
    return FileCache(*folder / "pipelines");
}

KeptPipelines::KeptPipelines(const WakeUp& wakeUp, FileCache files)
    : m_wakeUp(wakeUp), m_files(std::move(files)) {}

void KeptPipelines::vouchFor(std::string_view source) {
    if (!isVouchedFor(source))
        m_ownTexts.emplace_back(source);
}

bool KeptPipelines::isVouchedFor(std::string_view source) const {
    return std::ranges::find(m_ownTexts, source) != m_ownTexts.end();
}

void KeptPipelines::textIsSent(const std::string& source) {
    if (m_isMixed || source == m_text || isVouchedFor(source))
        return;
    m_isMixed = !m_text.empty();
    m_text = source;
    if (m_isMixed)
        for (const auto& kept : inUse())
            kept->m_isSpoiled = true;
}

bool KeptPipelines::prepare(std::shared_ptr<KeptPipeline>& kept, const std::string& driver,
                            const std::function<KernelText()>& text) {
    if (driver.empty() || !m_files.isOn()) {
        kept = nullptr;
        return true;
    }
    const bool isForDriver = kept && kept->m_driver == driver;
    if (isForDriver && !kept->m_isLost)
        return kept->m_isFound;
    const bool isBlamed = isForDriver && kept->m_isBlamed;
    kept = std::make_shared<KeptPipeline>(driver);
    kept->m_isSpoiled = m_isMixed;
    m_all.push_back(kept);
    m_disk.post(
        [this, kept = kept, text = text(), reads = !isBlamed] { find(*kept, text, reads); });
    return false;
}

void KeptPipelines::find(KeptPipeline& kept, const KernelText& text, bool reads) const {
    kept.m_name = nameFor(kept.m_driver, text);
    const auto memory = SharedMemory::create(protocol::codeMemoryBytes, "pipeline");
    const std::span<std::byte> room = memory ? (*memory)->bytes() : std::span<std::byte>();
    if (!room.empty()) {
        if (reads) {
            const auto record = protocol::copyRecord(m_files.read(kept.m_name, room.size()));
            std::ranges::copy(record, room.begin());
            kept.m_checksum = protocol::checksumOf(record);
            kept.m_isFromFile = !record.empty();
        }
        kept.m_memory = *memory;
    }
    kept.m_isFound = true;
    m_wakeUp.signal();
}

std::vector<std::shared_ptr<KeptPipeline>> KeptPipelines::inUse() {
    std::vector<std::shared_ptr<KeptPipeline>> used;
    for (const auto& weak : m_all)
        if (auto kept = weak.lock())
            used.push_back(std::move(kept));
    m_all.assign(used.begin(), used.end());
    return used;
}

void KeptPipelines::keepNowAndThen() {
    const auto now = Clock::now();
    if (m_all.empty() || now - m_keptAt < keepInterval)
        return;
    m_keptAt = now;
    keep(now - keepInterval);
}

void KeptPipelines::keep(Clock::time_point madeBefore) {
    auto all = inUse();
    std::erase_if(all, [&](const auto& kept) { return kept->m_madeAt > madeBefore; });
    m_disk.post([this, all = std::move(all)] {
        for (const auto& kept : all)
            write(*kept);
    });
}

void KeptPipelines::write(KeptPipeline& kept) const {
    if (!kept.m_memory || kept.m_writes >= maxWrites ||
        protocol::checksumOf(kept.m_memory->bytes()) == kept.m_checksum)
        return;
    const auto record = protocol::copyRecord(kept.m_memory->bytes());
    // Looked at after the copy: what was copied before another program was about is in order.
    if (record.empty() || kept.m_isSpoiled)
        return;
    kept.m_checksum = protocol::checksumOf(record);
    ++kept.m_writes;
    if (m_files.write(kept.m_name, record))
        m_files.trim(maxFileBytes, maxFiles);
}

void KeptPipelines::serviceEnded(bool isWished) {
    for (const auto& kept : inUse()) {
        kept->m_isSpoiled = true;
        kept->m_isLost = true;
        kept->m_isBlamed = !isWished && kept->m_isFound; // or it cannot have been sent
    }
    m_text.clear();
    m_isMixed = false;
}

void KeptPipelines::finish() {
    keep(Clock::now());
    m_disk.finish();
}

} // namespace gpu::host
