// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/InFlight.h"

#include <cstring>

namespace compute::vulkan {

using platform::Lock;
using platform::Result;

namespace {

/// What no kernel writes stays as it is: the console may have written it meanwhile.
void copyFromDevice(const Batch& batch) {
    for (const Used& used : batch.used)
        if (used.piece->isCopy && !used.piece->isLocal() && batch.writes(used))
            std::memcpy(used.piece->memory->data(), used.piece->buffer.data, used.piece->bytes());
}

} // namespace

Result<std::unique_ptr<InFlight>>
InFlight::create(const std::shared_ptr<const LogicalDevice>& device, VkPipelineLayout layout,
                 std::uint32_t lostAfter) {
    std::unique_ptr<InFlight> made(new InFlight);
    made->m_timeline = SL42_TRY(Timeline::create(device, lostAfter));
    const Lock lock(made->m_mutex);
    for (std::size_t i = 0; i < count; ++i) {
        auto batch = std::make_unique<Batch>();
        batch->submission = SL42_TRY(Submission::create(device, layout));
        made->m_free.push_back(std::move(batch));
    }
    return made;
}

Result<std::unique_ptr<Batch>> InFlight::acquire() {
    while (true) {
        Ticket first = 0;
        {
            const Lock lock(m_mutex);
            if (!m_free.empty()) {
                auto batch = std::move(m_free.back());
                m_free.pop_back();
                return batch;
            }
            first = m_flying.front()->ticket;
        }
        SL42_TRY_VOID(wait(first));
    }
}

void InFlight::giveBack(std::unique_ptr<Batch> batch) {
    batch->used.clear();
    batch->followsPointers = false;
    const Lock lock(m_mutex);
    m_free.push_back(std::move(batch));
}

/// The console may write at any time, and kernels may or may not see it; so nobody waits for those
/// that read. What they write must have been taken back first.
Result<void> InFlight::copyToDevice(const Batch& batch) {
    for (const Used& used : batch.used) {
        if (!used.piece->isCopy || used.piece->isLocal())
            continue;
        SL42_TRY_VOID(wait(used.piece->writtenBy));
        std::memcpy(used.piece->buffer.data, used.piece->begin(), used.piece->bytes());
    }
    return {};
}

Result<Ticket> InFlight::submit(std::unique_ptr<Batch> batch) {
    auto submitted = tryToSubmit(*batch);
    if (!submitted) {
        giveBack(std::move(batch));
        return submitted;
    }
    batch->ticket = *submitted;
    for (const Used& used : batch->used) {
        used.piece->isFilled = true;
        if (batch->writes(used))
            used.piece->writtenBy = *submitted;
    }
    const Lock lock(m_mutex);
    m_flying.push(std::move(batch));
    m_last = *submitted;
    return submitted;
}

Result<Ticket> InFlight::tryToSubmit(const Batch& batch) {
    const VkCommandBuffer commands = SL42_TRY(batch.submission->end());
    SL42_TRY_VOID(copyToDevice(batch));
    return m_timeline->submit(commands);
}

Batch* InFlight::oldest(Ticket ticket) {
    const Lock lock(m_mutex);
    if (m_flying.empty() || m_flying.front()->ticket > ticket)
        return nullptr;
    return m_flying.front().get();
}

void InFlight::land() {
    std::unique_ptr<Batch> batch;
    {
        const Lock lock(m_mutex);
        batch = m_flying.pop();
    }
    m_landed = batch->ticket;
    giveBack(std::move(batch)); // its memory goes without the lock
}

Result<void> InFlight::wait(Ticket ticket) {
    while (true) {
        const Lock waiting(m_waiting);
        const Batch* batch = oldest(ticket);
        if (batch == nullptr)
            return {};
        SL42_TRY_VOID(m_timeline->wait(batch->ticket));
        copyFromDevice(*batch);
        land();
    }
}

} // namespace compute::vulkan
