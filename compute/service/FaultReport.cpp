// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/FaultReport.h"

#include "compute/service/KernelThreads.h"

#include <array>
#include <csignal>
#include <cstddef>
#include <memory>
#include <ucontext.h>
#include <unistd.h>

namespace compute::service {

using protocol::FaultAccess;
using protocol::FaultKind;
using protocol::FaultPlace;
using protocol::StatusPage;

namespace {

// Signal handlers have no argument of ours, hence the globals of this service.
std::atomic<StatusPage*> statusPage = nullptr;
std::atomic_flag somebodyReports = ATOMIC_FLAG_INIT;
thread_local bool runsKernels = false;
/// Whose driver's threads run kernels, too; null without one.
std::atomic<const Device*> deviceOfDriver = nullptr;
thread_local std::atomic<std::uint64_t> compiledRequest = 0;

constexpr int exitStatusOfFault = 70;
constexpr std::size_t faultStackBytes = 64u << 10;
/// Accesses this close to the stack pointer, on either side, count as an overflow of the stack.
constexpr std::uint64_t stackReach = 1u << 20;

std::uint64_t stackPointer(const void* context) {
    return static_cast<std::uint64_t>(
        static_cast<const ucontext_t*>(context)->uc_mcontext.gregs[REG_RSP]);
}

FaultKind kindOf(int signal, std::uint64_t address, const void* context) {
    switch (signal) {
    case SIGSEGV:
    case SIGBUS: {
        const std::uint64_t stack = stackPointer(context);
        const std::uint64_t distance = address > stack ? address - stack : stack - address;
        return distance < stackReach ? FaultKind::Stack : FaultKind::Memory;
    }
    case SIGFPE:
        return FaultKind::Arithmetic;
    case SIGILL:
    case SIGTRAP:
        return FaultKind::Instruction;
    default:
        return FaultKind::Abort;
    }
}

FaultAccess accessOf(const void* context) {
    constexpr greg_t pageFault = 14;
    constexpr greg_t isWrite = 2;
    const greg_t* registers = static_cast<const ucontext_t*>(context)->uc_mcontext.gregs;
    if (registers[REG_TRAPNO] == pageFault)
        return (registers[REG_ERR] & isWrite) != 0 ? FaultAccess::Write : FaultAccess::Read;
    return FaultAccess::Unknown;
}

/// A second thread that has something to report must not end the process before the first has
/// written all.
void waitIfSomebodyReports() {
    if (somebodyReports.test_and_set())
        while (true)
            ::pause();
}

/// The device may have gone on to a later job than the page says, or not have come to that one.
void writeWhatDeviceIsAt(StatusPage& page) {
    const Device* device = deviceOfDriver.load();
    const auto place = device != nullptr ? device->placeAtWork() : std::nullopt;
    if (!place || page.job.load() == 0)
        return;
    const bool hasBegun = place->commandBuffer >= page.job.load();
    page.job = hasBegun ? place->commandBuffer : page.job.load();
    page.command = hasBegun ? place->command : 0;
}

/// Runs on whichever thread faulted; may use nothing but lock-free atomics and _exit.
void report(int signal, siginfo_t* info, void* context) {
    if (signal == SIGTRAP && followThisThread(context))
        return;
    StatusPage& page = *statusPage.load();
    waitIfSomebodyReports();
    const auto address = reinterpret_cast<std::uint64_t>(info->si_addr);
    const bool mayRunKernels = runsKernels || deviceOfDriver.load() != nullptr;
    const FaultPlace place = compiledRequest.load() != 0             ? FaultPlace::Compiler
                             : mayRunKernels && page.job.load() != 0 ? FaultPlace::Kernel
                                                                     : FaultPlace::Service;
    page.request = compiledRequest.load();
    page.faultAddress = address;
    if (place == FaultPlace::Kernel) {
        writeWhatDeviceIsAt(page);
        page.faultAccess = static_cast<std::uint32_t>(accessOf(context));
        writePlace(context, page);
    }
    page.faultPlace = static_cast<std::uint32_t>(place);
    page.faultKind = static_cast<std::uint32_t>(kindOf(signal, address, context));
    ::_exit(exitStatusOfFault);
}

} // namespace

void reportFaultsTo(StatusPage& page) {
    statusPage = &page;
    struct sigaction action{};
    action.sa_sigaction = report;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigfillset(&action.sa_mask);
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS})
        ::sigaction(signal, &action, nullptr);
    answerForPlaces();
}

void giveThisThreadFaultStack() {
    // Lives as long as the thread, which the kernel must be told about when it ends.
    struct FaultStack {
        std::unique_ptr<std::byte[]> memory = std::make_unique<std::byte[]>(faultStackBytes);
        FaultStack() {
            const stack_t stack{memory.get(), 0, faultStackBytes};
            ::sigaltstack(&stack, nullptr);
        }
        ~FaultStack() {
            const stack_t none{nullptr, SS_DISABLE, 0};
            ::sigaltstack(&none, nullptr);
        }
    };
    thread_local const FaultStack stack;
}

CompilingFor::CompilingFor(protocol::RequestId request) {
    compiledRequest = request.value;
}

CompilingFor::~CompilingFor() {
    compiledRequest = 0;
}

void endFor(protocol::RequestId request, protocol::FaultKind what) {
    StatusPage& page = *statusPage.load();
    waitIfSomebodyReports();
    page.request = request.value;
    page.faultPlace = static_cast<std::uint32_t>(FaultPlace::Compiler);
    page.faultKind = static_cast<std::uint32_t>(what);
    ::_exit(exitStatusOfFault);
}

void markThisThreadAsKernels() {
    runsKernels = true;
    addKernelThread();
    giveThisThreadFaultStack();
}

void takeUnknownThreadsForKernels(const Device& device) {
    deviceOfDriver = &device;
}

void endForLostDevice() {
    StatusPage& page = *statusPage.load();
    waitIfSomebodyReports();
    writeWhatDeviceIsAt(page);
    page.faultPlace = static_cast<std::uint32_t>(FaultPlace::Kernel);
    page.faultKind = static_cast<std::uint32_t>(FaultKind::DeviceLost);
    ::_exit(exitStatusOfFault);
}

void reportPlaceOf(protocol::JobId job) {
    StatusPage& page = *statusPage.load();
    if (page.job.load() != job.value)
        return;
    writeWhatDeviceIsAt(page);
    writeHangingPlace(page);
    waitIfSomebodyReports();
    page.faultPlace = static_cast<std::uint32_t>(FaultPlace::Kernel);
    page.faultKind = static_cast<std::uint32_t>(FaultKind::Asked);
    ::_exit(exitStatusOfFault);
}

} // namespace compute::service
