// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Executor.h"

#include "compute/service/Blits.h"
#include "compute/service/Mipmaps.h"

#include <algorithm>
#include <cstring>

namespace compute::service {

using platform::Result;

namespace {

constexpr std::size_t executorStackBytes = 8u << 20;
constexpr std::size_t pageBytes = 4096;
constexpr std::size_t roomBytes = (argumentBytes + pageBytes - 1) / pageBytes * pageBytes;

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
    arguments = SL42_TRY(device.adoptInput(std::move(arguments)));
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
      m_queue(1, executorStackBytes, markThisThreadAsKernels, [this](Job& job) { run(job); }) {
    if (!device.worksAhead())
        return;
    m_writeBacks.emplace(
        1, executorStackBytes, giveThisThreadFaultStack, [this](News&) { m_device.writeBack(); },
        "snapshots");
    m_completions.emplace(1, executorStackBytes, markThisThreadAsKernels,
                          [this](Submitted& submitted) { complete(submitted); });
}

void Executor::add(Job& job) {
    {
        const platform::Lock lock(m_mutex);
        ++m_unfinished;
    }
    m_queue.add(job);
}

void Executor::finishAll() {
    {
        const platform::Lock lock(m_mutex);
        while (m_unfinished > 0)
            m_finished.wait(m_mutex);
    }
    m_device.writeAllBack();
}

// ---- jobs ---------------------------------------------------------------------------------------

void Executor::run(Job& job) {
    m_submitted.start = Clock::now();
    begin(job);
    auto ticket = carryOut(job);
    if (!ticket) {
        job.error = std::move(ticket.error().message);
        (void)wait(everything); // what had been handed over of it uses its kernels
    }
    m_submitted.ticket = ticket ? *ticket : 0;
    m_device.begin(0, {}); // lets go of the memory
    std::swap(m_submitted.job, job);
    if (m_completions)
        m_completions->add(m_submitted);
    else
        end(m_submitted);
    std::swap(m_submitted.job, job);
}

Result<Ticket> Executor::carryOut(Job& job) {
    if (job.work.empty())
        return Ticket{0};
    job.used.push_back(m_inlineArguments);
    job.used.push_back(m_noTexture);
    m_device.begin(job.id.value, job.used);
    for (std::uint32_t i = 0; i < job.work.size(); ++i) {
        enter(job, i);
        SL42_TRY_VOID(
            std::visit([&](const auto& work) { return carryOut(work, job); }, job.work[i]));
    }
    return submit();
}

void Executor::complete(Submitted& submitted) {
    if (auto done = wait(submitted.ticket); !done && submitted.job.error.empty())
        submitted.job.error = std::move(done.error().message);
    end(submitted);
    if (m_device.isWriteBackDue())
        m_writeBacks->add(m_news);
}

void Executor::end(Submitted& submitted) {
    const auto now = Clock::now();
    const std::chrono::duration<double, std::milli> time =
        now - std::max(submitted.start, m_lastEnd);
    m_lastEnd = now;
    Job& job = submitted.job;
    protocol::JobDone reply{.job = job.id, .succeeded = job.error.empty(), .message = job.error};
    reply.milliseconds = time.count();
    job.clear();
    {
        const platform::Lock lock(m_mutex);
        (void)m_jobs.pop();
        m_page.command = 0;
        m_page.job = m_jobs.empty() ? 0 : m_jobs.front();
    }
    m_replies.send(reply);
    const platform::Lock lock(m_mutex);
    if (--m_unfinished == 0)
        m_finished.notifyAll();
}

void Executor::begin(const Job& job) {
    const platform::Lock lock(m_mutex);
    m_jobs.push(std::uint64_t{job.id.value});
    if (m_jobs.size() > 1)
        return;
    m_page.command = 0;
    m_page.job = job.id.value;
}

void Executor::enter(const Job& job, std::uint32_t command) {
    m_device.enter(command);
    const platform::Lock lock(m_mutex);
    if (m_jobs.front() == job.id.value)
        m_page.command = command;
}

// ---- the device ---------------------------------------------------------------------------------

Result<Ticket> Executor::submit() {
    const Ticket ticket = SL42_TRY(m_device.submit());
    for (; m_unsubmittedRooms > 0; --m_unsubmittedRooms)
        m_roomTickets[(m_nextRoom + roomCount - m_unsubmittedRooms) % roomCount] = ticket;
    if (!m_device.worksAhead())
        m_nextRoom = 0; // the one that is still in the cache
    return ticket;
}

Result<void> Executor::finish() {
    return wait(SL42_TRY(submit()));
}

Result<void> Executor::wait(Ticket ticket) {
    auto done = m_device.wait(ticket);
    if (!done && m_device.isLost()) {
        m_device.writeBack();
        endForLostDevice();
    }
    return done;
}

Result<std::byte*> Executor::nextRoom() {
    if (m_unsubmittedRooms == roomCount)
        (void)SL42_TRY(submit());
    SL42_TRY_VOID(wait(m_roomTickets[m_nextRoom]));
    std::byte* room = m_inlineArguments->data() + m_nextRoom * roomBytes;
    m_nextRoom = (m_nextRoom + 1) % roomCount;
    ++m_unsubmittedRooms;
    return room;
}

// ---- work ---------------------------------------------------------------------------------------

Result<void> Executor::carryOut(const DispatchWork& work, const Job& job) {
    std::byte* room = SL42_TRY(nextRoom());
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

// What the device does not do in its turn is made by the processor, in the memory that both see.

Result<void> Executor::carryOut(const FillWork& work, const Job&) {
    if (m_device.fill(work.range.bytes(), work.value))
        return {};
    SL42_TRY_VOID(finish());
    fill(work.range.bytes(), work.value);
    return {};
}

Result<void> Executor::carryOut(const CopyWork& work, const Job&) {
    if (m_device.copy(work.source.bytes(), work.destination.bytes()))
        return {};
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
