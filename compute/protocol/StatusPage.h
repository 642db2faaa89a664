// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A page of memory that outlives the service: what it was doing when it ended. The console makes
// it, the service writes it, also from signal handlers; the console takes every value as a claim
// to be checked.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace compute::protocol {

enum class FaultKind : std::uint32_t {
    None,
    Memory,      ///< an access outside mapped memory, or to memory that the system cannot supply
    Stack,       ///< the stack of a thread was used up
    Arithmetic,  ///< a trapping division
    Instruction, ///< an instruction that the processor refuses
    Abort,       ///< the service gave up by itself, out of memory for instance
    DeviceLost,  ///< the graphics device stopped working
    Asked,       ///< the console asked where it stands, to end it then
    Time,        ///< the compiler worked too long on one question
    HeapMemory,  ///< the compiler took too much memory; for which question is said if it is known
};
inline constexpr FaultKind lastFault = FaultKind::DeviceLost;

/// Which work the fault happened in.
enum class FaultPlace : std::uint32_t { Service, Kernel, Compiler };

/// What an access outside of memory wanted there.
enum class FaultAccess : std::uint32_t { Unknown, Read, Write };

/// Lines that the page has room for.
inline constexpr std::size_t maxPlaceLines = 8;

struct StatusPage {
    std::atomic<std::uint64_t> job;     ///< JobId being executed; 0 when idle
    std::atomic<std::uint32_t> command; ///< index into its commands
    std::atomic<std::uint32_t> faultPlace;
    std::atomic<std::uint64_t> request; ///< RequestId that the faulty thread was compiling, or 0
    std::atomic<std::uint64_t> faultAddress;
    std::atomic<std::uint32_t> faultAccess;
    /// Where in the program's text it happened: the line, then those of the calls around it.
    std::array<std::atomic<std::uint32_t>, maxPlaceLines> lines;
    std::atomic<std::uint32_t> lineCount;
    std::atomic<std::uint32_t> isLoop;    ///< the first line is where a loop begins that goes on
    std::atomic<std::uint32_t> faultKind; ///< written last
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free && sizeof(StatusPage) <= 4096);
inline constexpr std::size_t statusPageBytes = 4096;

} // namespace compute::protocol
