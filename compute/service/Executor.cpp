// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Executor.h"

#include "compute/service/Blits.h"
#include "compute/service/Mipmaps.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace compute::service {

using platform::Result;

namespace {

constexpr std::size_t executorStackBytes = 8u << 20;
constexpr std::size_t pageBytes = 4096;
constexpr std::size_t roomBytes = (argumentBytes + pageBytes - 1) / pageBytes * pageBytes;
/// So many dispatches can be with the device at once.
constexpr std::size_t roomCount = 16;

/// What elements of an array of textures are to which no texture was bound: no levels, but whoever
/// samples them all the same finds one black texel.
Result<Memory> makeNoTexture(Device& device) {
    auto memory = SL42_TRY(memory::GuardedMemory::allocatePacked(sizeof(TextureView) + 16));
    memory = SL42_TRY(device.adopt(std::move(memory)));
    TextureView view;
    view.format = PixelFormat::RGBA32Float;
    std::ranges::fill(view.levels, TextureLevel{memory->data() + sizeof view, 1, 1, 16});
    view = viewFor(device, view);
    std::memcpy(memory->data(), &view, sizeof view);
    return memory;
}

} // namespace

Result<std::unique_ptr<Executor>> Executor::create(Replies& replies, protocol::StatusPage& page,
                                                   Device& device) {
    auto arguments = SL42_TRY(memory::GuardedMemory::allocate(roomCount * roomBytes));
    arguments = SL42_TRY(device.adopt(std::move(arguments)));
    auto noTexture = SL42_TRY(makeNoTexture(device));
    return std::unique_ptr<Executor>(
        new Executor(replies, page, device, std::move(arguments), std::move(noTexture)));
}

Executor::Executor(Replies& replies, protocol::StatusPage& page, Device& device,
                   Memory inlineArguments, Memory noTexture)
    : m_replies(replies),
      m_page(page),
      m_device(device),
      m_inlineArguments(std::move(inlineArguments)),
      m_noTexture(std::move(noTexture)),
      m_queue(1, executorStackBytes, markThisThreadAsKernels, [this](Job& job) { run(job); }) {}

void Executor::run(Job& job) {
    const auto start = std::chrono::steady_clock::now();
    m_page.command = 0;
    m_page.job = job.id.value;
    if (auto done = carryOut(job); !done)
        job.error = std::move(done.error().message);
    m_device.begin({}); // lets go of the memory
    m_page.job = 0;
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    protocol::JobDone reply{.job = job.id, .succeeded = job.error.empty(), .message = job.error};
    reply.milliseconds = time.count();
    job.clear();
    m_replies.send(reply);
}

Result<void> Executor::carryOut(Job& job) {
    if (job.work.empty())
        return {};
    job.used.push_back(m_inlineArguments);
    job.used.push_back(m_noTexture);
    m_device.begin(job.used);
    for (std::uint32_t i = 0; i < job.work.size(); ++i) {
        m_page.command = i;
        m_device.enter(i);
        SL42_TRY_VOID(
            std::visit([&](const auto& work) { return carryOut(work, job); }, job.work[i]));
    }
    return finish();
}

Result<void> Executor::finish() {
    m_usedRooms = 0;
    auto finished = m_device.finish();
    if (!finished && m_device.isLost())
        endForLostDevice(m_device.commandAtWork());
    return finished;
}

Result<void> Executor::carryOut(const DispatchWork& work, const Job& job) {
    if (m_usedRooms == roomCount)
        SL42_TRY_VOID(finish());
    std::byte* room = m_inlineArguments->data() + m_usedRooms++ * roomBytes;
    Bindings bindings = work.bindings;
    for (std::size_t i = work.firstInline; i < work.endOfInline; ++i) {
        const protocol::InlineBinding& binding = job.inlineBindings[i];
        std::byte* place = room + binding.index * protocol::maxInlineBytes;
        std::memcpy(place, job.bytes.data() + binding.offset, binding.length);
        bindings.buffers[binding.index] = place;
    }
    for (std::size_t i = work.firstInsertion; i < work.endOfInsertions; ++i) {
        const Insertion& insertion = job.insertions[i];
        std::memcpy(room + insertion.place, insertion.bytes.data(), insertion.length);
    }
    for (std::size_t i = 0; i < maxSamplers; ++i)
        bindings.samplers[i] = reinterpret_cast<const SamplerRecord*>(room + placeOfSamplers) + i;
    std::ranges::replace(bindings.textures, nullptr,
                         reinterpret_cast<const TextureView*>(m_noTexture->data()));
    const RunningKernel mark(work.kernel->locations());
    work.kernel->run(bindings, work.threads, work.threadsPerThreadgroup, work.begin, work.end);
    return {};
}

// Fills, copies and mipmaps are made by the processor, in the memory that it shares with the
// device.

Result<void> Executor::carryOut(const FillWork& work, const Job&) {
    SL42_TRY_VOID(finish());
    fill(work.range.bytes(), work.value);
    return {};
}

Result<void> Executor::carryOut(const CopyWork& work, const Job&) {
    SL42_TRY_VOID(finish());
    copy(work.source.bytes(), work.destination.bytes());
    return {};
}

Result<void> Executor::carryOut(const MipmapWork& work, const Job&) {
    SL42_TRY_VOID(finish());
    generateMipmaps(work.texture->view, work.texture->type);
    return {};
}

} // namespace compute::service
