// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/vulkan/Snapshots.h"

#include <algorithm>
#include <cstring>

namespace compute::vulkan {

using platform::Lock;

namespace {

BufferRange wholeOf(const Piece& piece, const DeviceBuffer& buffer) {
    return {buffer.buffer.get(), 0, piece.bytes()};
}

} // namespace

void Snapshots::fill(const Piece& piece, Submission& submission) {
    if (!piece.isLocal() || piece.isFilled)
        return;
    if (piece.isCopy)
        std::memcpy(piece.mirror.data, piece.begin(), piece.bytes());
    submission.copy(wholeOf(piece, piece.mirror), piece.buffer.buffer.get(), 0);
    submission.separate();
}

void Snapshots::record(Batch& batch) {
    if (!m_interval)
        return;
    for (const Used& used : batch.used) {
        if (!used.piece->isLocal() || used.piece->isDirty || !batch.writes(used))
            continue;
        used.piece->isDirty = true;
        m_dirty.emplace_back(used.piece);
    }
    const auto now = std::chrono::steady_clock::now();
    if (m_dirty.empty() || (!m_isHastened && now - m_last < *m_interval))
        return;
    {
        const Lock lock(m_mutex);
        if (!m_pending.empty())
            return;
    }
    m_last = now;
    batch.submission->separate();
    for (const std::weak_ptr<Piece>& dirty : m_dirty) {
        const auto piece = dirty.lock();
        if (!piece)
            continue;
        piece->isDirty = false;
        batch.submission->copy(wholeOf(*piece, piece->buffer), piece->mirror.buffer.get(), 0);
        m_recorded.push_back(piece);
    }
    m_dirty.clear();
}

void Snapshots::submitted(Ticket ticket) {
    if (m_recorded.empty())
        return;
    const Lock lock(m_mutex);
    m_pending = std::move(m_recorded);
    m_recorded.clear();
    m_pendingTicket = ticket;
    m_isKnown = false;
}

bool Snapshots::isDue(Ticket landed) {
    const Lock lock(m_mutex);
    if (m_isKnown || m_pending.empty() || m_pendingTicket > landed)
        return false;
    m_isKnown = true;
    return true;
}

void Snapshots::finish(Ticket landed) {
    const Lock finishing(m_finishing);
    Pieces done;
    {
        const Lock lock(m_mutex);
        if (m_pending.empty() || m_pendingTicket > landed)
            return;
        done = m_pending; // the next one waits until this one is complete
    }
    for (const auto& piece : done)
        if (piece->isCopy)
            std::memcpy(piece->memory->data(), piece->mirror.data, piece->bytes());
    const Lock lock(m_mutex);
    m_pending.clear();
}

} // namespace compute::vulkan
