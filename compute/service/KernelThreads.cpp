// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/KernelThreads.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <pthread.h>
#include <ucontext.h>
#include <unistd.h>
#include <vector>

namespace compute::service {

namespace {

/// What a thread was found doing, each time that it was asked.
struct KernelThread {
    pid_t id = 0;
    std::span<const std::uintptr_t> stack;   ///< as far as it can be read
    std::atomic<std::uint32_t> answered = 0; ///< number of the last question
    bool isAtWork = false;                   ///< and this is what it said
    Stand stand;
    /// Traps of this thread are not faults from then on.
    std::atomic<bool> isFollowed = false;
    /// So many instructions are still to be followed.
    std::atomic<std::uint32_t> steps = 0;
    /// So many of the stand's outermost loops it has not left since.
    std::atomic<std::uint32_t> loops = 0;
};

// Signal handlers have no argument of ours, hence the globals of this service.
constexpr std::size_t maxThreads = 1024;
std::array<KernelThread, maxThreads> threads;
std::atomic<std::uint32_t> threadCount = 0;
thread_local KernelThread* thisThread = nullptr;
std::atomic<const SourceLocations*> running = nullptr;
std::atomic<std::uint32_t> question = 0;

constexpr int questionSignal = SIGUSR1;
constexpr unsigned questions = 8;
constexpr std::chrono::milliseconds betweenQuestions(1);
/// Of a thread that is followed; some ten milliseconds.
constexpr std::uint32_t maxSteps = 20'000;
/// On a machine with a lot else to do. The console waits little longer.
constexpr std::chrono::milliseconds timeForQuestions(40);
constexpr std::chrono::milliseconds timeForAll(80);

std::uintptr_t programCounter(const void* context) {
    const mcontext_t& machine = static_cast<const ucontext_t*>(context)->uc_mcontext;
    return static_cast<std::uintptr_t>(machine.gregs[REG_RIP]);
}

std::uintptr_t stackPointer(const void* context) {
    const mcontext_t& machine = static_cast<const ucontext_t*>(context)->uc_mcontext;
    return static_cast<std::uintptr_t>(machine.gregs[REG_RSP]);
}

/// What lies on the thread's stack. An overflown one is read from where it can be.
std::span<const std::uintptr_t> stackOf(const KernelThread& thread, const void* context) {
    const auto begin = reinterpret_cast<std::uintptr_t>(thread.stack.data());
    const std::uintptr_t free = std::max(stackPointer(context), begin) - begin;
    return thread.stack.subspan(
        std::min<std::size_t>(free / sizeof(std::uintptr_t), thread.stack.size()));
}

bool findStand(const void* context, Stand& stand) {
    const SourceLocations* locations = running.load();
    return locations != nullptr && thisThread != nullptr &&
           locations->find(programCounter(context), stackOf(*thisThread, context), stand);
}

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

/// Whether the thread gets a SIGTRAP after its next instruction.
void trapNext(void* context, bool traps) {
    constexpr greg_t trapFlag = 0x100;
    greg_t& flags = static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL];
    flags = traps ? flags | trapFlag : flags & ~trapFlag;
}

void answer(int, siginfo_t*, void* context) {
    if (thisThread == nullptr)
        return;
    KernelThread& thread = *thisThread;
    thread.isAtWork = findStand(context, thread.stand);
    thread.loops = thread.stand.loopCount;
    if (thread.isAtWork && thread.steps > 0)
        trapNext(context, true);
    else
        thread.steps = 0;
    thread.answered = question.load();
}

using Clock = std::chrono::steady_clock;

void pauseFor(std::chrono::nanoseconds time) {
    const timespec pause{0, static_cast<long>(time.count())};
    ::nanosleep(&pause, nullptr);
}

/// Returns when the condition holds or the time has come.
template <class Condition>
void waitUntil(Clock::time_point end, const Condition& condition) {
    constexpr std::chrono::microseconds moment(200);
    while (!condition() && Clock::now() < end)
        pauseFor(moment);
}

std::span<KernelThread> allThreads() {
    return {threads.data(), std::min<std::size_t>(threadCount, maxThreads)};
}

/// All that one thread said.
struct Observed {
    std::size_t thread = 0;
    unsigned times = 0;
    Stand stand;             ///< the last one
    std::uint32_t loops = 0; ///< so many of its outermost loops were there each time
};

void add(const Stand& stand, Observed& observed) {
    observed.loops = observed.times == 0
                         ? stand.loopCount
                         : std::min(observed.loops, loopsInCommon(observed.stand, stand));
    observed.stand = stand;
    ++observed.times;
}

bool hasAnswered(const KernelThread& thread) {
    return thread.answered == question;
}

bool isAtWork(const KernelThread& thread) {
    return hasAnswered(thread) && thread.isAtWork;
}

void ask(std::span<const KernelThread> asked, Clock::time_point end) {
    question.fetch_add(1);
    for (const KernelThread& thread : asked)
        ::tgkill(::getpid(), thread.id, questionSignal);
    waitUntil(end, [&] { return std::ranges::all_of(asked, hasAnswered); });
}

/// The thread that was seen at work most often.
Observed observe(Clock::time_point end) {
    const std::span<KernelThread> asked = allThreads();
    std::vector<Observed> observed(asked.size());
    for (unsigned i = 0; i < questions && Clock::now() < end; ++i) {
        pauseFor(betweenQuestions);
        ask(asked, end);
        for (std::size_t k = 0; k < asked.size(); ++k)
            if (isAtWork(asked[k]))
                add(asked[k].stand, observed[k]);
    }
    const auto most = std::ranges::max_element(
        observed, {}, [](const Observed& one) { return std::pair(one.times, one.loops); });
    if (most == observed.end())
        return {};
    most->thread = static_cast<std::size_t>(most - observed.begin());
    return *most;
}

/// A short loop within one without end is where nearly all the time goes, but it is left all the
/// time, too. So the thread is followed, instruction by instruction.
void follow(Observed& observed, Clock::time_point end) {
    KernelThread& thread = threads[observed.thread];
    thread.isFollowed = true;
    thread.steps = maxSteps;
    ask({&thread, 1}, end);
    if (!isAtWork(thread))
        return;
    waitUntil(end, [&] { return thread.steps == 0; });
    thread.steps = 0;
    observed.loops = std::min(observed.loops, loopsInCommon(observed.stand, thread.stand));
    observed.loops = std::min(observed.loops, thread.loops.load());
    observed.stand = thread.stand;
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
    thread.stack = {static_cast<const std::uintptr_t*>(stack), bytes / sizeof(std::uintptr_t)};
    thisThread = &thread;
}

RunningKernel::RunningKernel(const SourceLocations* locations) {
    running = locations;
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

bool followThisThread(void* context) {
    if (thisThread == nullptr || !thisThread->isFollowed)
        return false;
    KernelThread& thread = *thisThread;
    Stand stand;
    if (findStand(context, stand))
        thread.loops = std::min(thread.loops.load(), loopsInCommon(thread.stand, stand));
    else
        thread.loops = 0;
    const bool goesOn = thread.loops > 1 && thread.steps > 1;
    trapNext(context, goesOn);
    thread.steps = goesOn ? thread.steps - 1 : 0;
    return true;
}

void writeHangingPlace(protocol::StatusPage& page) {
    const auto start = Clock::now();
    Observed observed = observe(start + timeForQuestions);
    if (observed.loops > 1)
        follow(observed, start + timeForAll);
    const SourceLocations* locations = running.load();
    if (observed.times == 0 || locations == nullptr)
        return;
    Lines lines{};
    const bool isLoop = observed.loops > 0;
    const std::size_t count =
        isLoop ? locations->linesOfLoop(observed.stand, observed.stand.loopCount - observed.loops,
                                        lines)
               : locations->linesOf(observed.stand, lines);
    page.isLoop = isLoop ? 1 : 0;
    write(lines, count, page);
}

} // namespace compute::service
