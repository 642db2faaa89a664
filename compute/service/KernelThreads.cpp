// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/KernelThreads.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <ctime>
#include <pthread.h>
#include <ucontext.h>
#include <unistd.h>

namespace compute::service {

using host::CodePlaces;
using host::Stand;

namespace {

/// What a thread was found doing, each time that it was asked.
struct KernelThread {
    pid_t id = 0;
    std::uintptr_t stackBegin = 0; ///< lowest address that can be read
    std::uintptr_t stackEnd = 0;
    std::atomic<std::uint32_t> answered = 0; ///< number of the last question
    bool isAtWork = false;                   ///< and this is what it said
    Stand stand;
};

// Signal handlers have no argument of ours, hence the globals of this service.
constexpr std::size_t maxThreads = 1024;
std::array<KernelThread, maxThreads> threads;
std::atomic<std::uint32_t> threadCount = 0;
thread_local KernelThread* thisThread = nullptr;
std::atomic<const CodePlaces*> running = nullptr;
std::atomic<std::uint32_t> question = 0;

constexpr int questionSignal = SIGUSR1;
constexpr std::chrono::milliseconds betweenQuestions(2);

std::uintptr_t programCounter(const void* context) {
    const mcontext_t& machine = static_cast<const ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
    return static_cast<std::uintptr_t>(machine.gregs[REG_RIP]);
#else
    return machine.pc;
#endif
}

std::uintptr_t stackPointer(const void* context) {
    const mcontext_t& machine = static_cast<const ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
    return static_cast<std::uintptr_t>(machine.gregs[REG_RSP]);
#else
    return machine.sp;
#endif
}

/// What lies on the thread's stack. An overflown one is read from where it can be.
std::span<const std::uintptr_t> stackOf(const KernelThread& thread, const void* context) {
    constexpr std::uintptr_t word = sizeof(std::uintptr_t);
    const std::uintptr_t begin = std::max(stackPointer(context), thread.stackBegin) / word * word;
    if (begin >= thread.stackEnd)
        return {};
    return {reinterpret_cast<const std::uintptr_t*>(begin), (thread.stackEnd - begin) / word};
}

bool findStand(const void* context, Stand& stand) {
    const CodePlaces* places = running.load();
    return places != nullptr && thisThread != nullptr &&
           places->find(programCounter(context), stackOf(*thisThread, context), stand);
}

void answer(int, siginfo_t*, void* context) {
    if (thisThread == nullptr)
        return;
    thisThread->isAtWork = findStand(context, thisThread->stand);
    thisThread->answered = question.load();
}

void pauseFor(std::chrono::nanoseconds time) {
    const timespec pause{0, static_cast<long>(time.count())};
    ::nanosleep(&pause, nullptr);
}

std::span<KernelThread> allThreads() {
    return {threads.data(), std::min<std::size_t>(threadCount, maxThreads)};
}

/// All that one thread said.
struct Observed {
    unsigned times = 0;
    Stand stand;             ///< the last one
    std::uint32_t loops = 0; ///< so many of its outermost loops were there each time
};

/// How many outermost loops two stands of the same thread have in common.
std::uint32_t loopsInCommon(const Stand& first, const Stand& second) {
    const auto depth = [](const Stand& stand, const Stand::Loop& loop) {
        return stand.callCount - loop.call;
    };
    std::uint32_t common = 0;
    while (common < first.loopCount && common < second.loopCount) {
        const Stand::Loop& one = first.loops[first.loopCount - common - 1];
        const Stand::Loop& other = second.loops[second.loopCount - common - 1];
        if (one.number != other.number || depth(first, one) != depth(second, other))
            break;
        ++common;
    }
    return common;
}

void add(const Stand& stand, Observed& observed) {
    observed.loops = observed.times == 0
                         ? stand.loopCount
                         : std::min(observed.loops, loopsInCommon(observed.stand, stand));
    observed.stand = stand;
    ++observed.times;
}

void ask() {
    question.fetch_add(1);
    for (const KernelThread& thread : allThreads())
        ::tgkill(::getpid(), thread.id, questionSignal);
}

/// The thread that was seen at work most often.
Observed observe(std::chrono::steady_clock::time_point end) {
    std::array<Observed, maxThreads> observed;
    while (std::chrono::steady_clock::now() < end) {
        ask();
        pauseFor(betweenQuestions);
        for (std::size_t i = 0; i < allThreads().size(); ++i)
            if (threads[i].answered == question && threads[i].isAtWork)
                add(threads[i].stand, observed[i]);
    }
    return *std::ranges::max_element(
        observed, {}, [](const Observed& one) { return std::pair(one.times, one.loops); });
}

using Lines = std::array<std::uint32_t, protocol::maxPlaceLines>;

void write(const Lines& lines, std::size_t count, protocol::StatusPage& page) {
    for (std::size_t i = 0; i < count; ++i)
        page.lines[i] = lines[i];
    page.lineCount = static_cast<std::uint32_t>(count);
}

} // namespace

void addKernelThread() {
    const std::uint32_t number = threadCount.fetch_add(1);
    if (number >= maxThreads)
        return;
    KernelThread& thread = threads[number];
    thread.id = ::gettid();
    pthread_attr_t attributes;
    void* stack = nullptr;
    std::size_t bytes = 0;
    if (::pthread_getattr_np(::pthread_self(), &attributes) == 0) {
        ::pthread_attr_getstack(&attributes, &stack, &bytes);
        ::pthread_attr_destroy(&attributes);
    }
    thread.stackBegin = reinterpret_cast<std::uintptr_t>(stack);
    thread.stackEnd = thread.stackBegin + bytes;
    thisThread = &thread;
}

RunningKernel::RunningKernel(const CodePlaces* places) {
    running = places;
}

RunningKernel::~RunningKernel() {
    running = nullptr;
}

void writePlace(const void* context, protocol::StatusPage& page) {
    Stand stand;
    Lines lines{};
    if (findStand(context, stand))
        write(lines, running.load()->linesOf(stand, lines), page);
}

void answerForPlaces() {
    struct sigaction action{};
    action.sa_sigaction = answer;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    sigfillset(&action.sa_mask);
    ::sigaction(questionSignal, &action, nullptr);
}

void writeSharedPlace(std::chrono::milliseconds patience, protocol::StatusPage& page) {
    const Observed observed = observe(std::chrono::steady_clock::now() + patience);
    const CodePlaces* places = running.load();
    if (observed.times == 0 || places == nullptr)
        return;
    Lines lines{};
    const bool isLoop = observed.loops > 0;
    const std::size_t count =
        isLoop
            ? places->linesOfLoop(observed.stand, observed.stand.loopCount - observed.loops, lines)
            : places->linesOf(observed.stand, lines);
    page.isLoop = isLoop ? 1 : 0;
    write(lines, count, page);
}

} // namespace compute::service
