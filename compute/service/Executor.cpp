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

/// What elements of an array of textures are to which no texture was bound: no levels, but whoever
/// samples them all the same finds one black texel.
Result<std::shared_ptr<memory::GuardedMemory>> makeNoTexture() {
    auto memory = SL42_TRY(memory::GuardedMemory::allocatePacked(sizeof(TextureView) + 16));
    TextureView view;
    view.format = PixelFormat::RGBA32Float;
    std::ranges::fill(view.levels, TextureLevel{memory->data() + sizeof view, 1, 1, 16});
    std::memcpy(memory->data(), &view, sizeof view);
    return memory;
}
} // namespace

Result<std::unique_ptr<Executor>> Executor::create(Replies& replies, protocol::StatusPage& page) {
    auto memory = SL42_TRY(memory::GuardedMemory::allocate(argumentBytes));
    auto noTexture = SL42_TRY(makeNoTexture());
    return std::unique_ptr<Executor>(
        new Executor(replies, page, std::move(memory), std::move(noTexture)));
}

Executor::Executor(Replies& replies, protocol::StatusPage& page,
                   std::shared_ptr<memory::GuardedMemory> inlineArguments,
                   std::shared_ptr<memory::GuardedMemory> noTexture)
    : m_replies(replies),
      m_page(page),
      m_inlineArguments(std::move(inlineArguments)),
      m_noTexture(std::move(noTexture)),
      m_queue(1, executorStackBytes, markThisThreadAsKernels, [this](Job& job) { run(job); }) {}

void Executor::run(Job& job) {
    const auto start = std::chrono::steady_clock::now();
    m_page.command = 0;
    m_page.job = job.id.value;
    for (std::uint32_t i = 0; i < job.work.size(); ++i) {
        m_page.command = i;
        std::visit([&](const auto& work) { carryOut(work, job); }, job.work[i]);
    }
    m_page.job = 0;
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    protocol::JobDone reply{.job = job.id, .succeeded = job.error.empty(), .message = job.error};
    reply.milliseconds = time.count();
    job.clear();
    m_replies.send(reply);
}

void Executor::carryOut(const DispatchWork& work, const Job& job) {
    Bindings bindings = work.bindings;
    for (std::size_t i = work.firstInline; i < work.endOfInline; ++i) {
        const protocol::InlineBinding& binding = job.inlineBindings[i];
        std::byte* place = m_inlineArguments->data() + binding.index * protocol::maxInlineBytes;
        std::memcpy(place, job.bytes.data() + binding.offset, binding.length);
        bindings.buffers[binding.index] = place;
    }
    for (std::size_t i = work.firstInsertion; i < work.endOfInsertions; ++i) {
        const Insertion& insertion = job.insertions[i];
        std::memcpy(m_inlineArguments->data() + insertion.place, insertion.bytes.data(),
                    insertion.length);
    }
    for (std::size_t i = 0; i < maxSamplers; ++i)
        bindings.samplers[i] =
            reinterpret_cast<const SamplerRecord*>(m_inlineArguments->data() + placeOfSamplers) + i;
    std::ranges::replace(bindings.textures, nullptr,
                         reinterpret_cast<const TextureView*>(m_noTexture->data()));
    const RunningKernel mark(work.kernel->locations());
    work.kernel->run(bindings, work.threads, work.threadsPerThreadgroup, work.begin, work.end);
}

void Executor::carryOut(const FillWork& work, const Job&) {
    fill(work.range.bytes(), work.value);
}

void Executor::carryOut(const CopyWork& work, const Job&) {
    copy(work.source.bytes(), work.destination.bytes());
}

void Executor::carryOut(const MipmapWork& work, const Job&) {
    generateMipmaps(work.texture->view, work.texture->type);
}

} // namespace compute::service
