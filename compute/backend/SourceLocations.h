// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which lines of the program a kernel's machine code came from, and where in the program a thread
// stands that runs it. Signal handlers ask for it, so nothing here allocates, locks or fails.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

namespace compute {

/// The table of one kernel. Offsets count from the address that SourceLocations was given.
struct LocationTable {
    static constexpr std::uint32_t none = std::numeric_limits<std::uint32_t>::max();

    /// The code from this offset to that of the next range. Sorted by offset; the last one is empty
    /// and marks the end of the code.
    struct Range {
        std::int32_t offset = 0;
        std::uint32_t lines = none; ///< number of a list of lines
        std::uint32_t loop = none;  ///< innermost loop around it
    };
    /// An address that a call returns to. Sorted by offset.
    struct Return {
        std::int32_t offset = 0;
        std::uint32_t callee = none; ///< number of a function; none: not of the kernel
    };
    struct Loop {
        std::uint32_t lines = none;  ///< of its beginning
        std::uint32_t parent = none; ///< comes before it in the table
    };

    std::vector<Range> ranges;
    std::vector<Return> returns;
    std::vector<std::int32_t> functions; ///< where each begins; sorted
    std::vector<Loop> loops;
    /// Lists of lines, innermost first, one after the other, and the index where each list begins.
    std::vector<std::uint32_t> lines;
    std::vector<std::uint32_t> listBegins;
};

/// The position of a thread: the calls that led there and the loops around it. Its numbers mean
/// something only to the SourceLocations that filled it.
struct Stand {
    static constexpr std::size_t maxCalls = 8;
    static constexpr std::size_t maxLoops = 16;

    struct Loop {
        std::uint32_t number;
        std::uint32_t call; ///< of `calls`, in whose function the loop is
        bool operator==(const Loop&) const = default;
    };
    /// Lists of lines, innermost first.
    std::array<std::uint32_t, maxCalls> calls;
    std::uint32_t callCount = 0;
    /// Innermost first.
    std::array<Loop, maxLoops> loops;
    std::uint32_t loopCount = 0;
};

class SourceLocations {
public:
    /// `code`: the address that offsets count from.
    SourceLocations(LocationTable table, std::uintptr_t code)
        : m_table(std::move(table)), m_code(code) {}

    /// Finds the position of a thread whose next instruction is at `address` and whose stack, as
    /// far as it can be read, begins with `stack`. False when it does not run this kernel.
    bool find(std::uintptr_t address, std::span<const std::uintptr_t> stack, Stand& stand) const;

    /// The lines of the position, innermost first. Returns how many of `lines` it filled.
    std::size_t linesOf(const Stand& stand, std::span<std::uint32_t> lines) const;
    /// The same for the beginning of one of the loops around it.
    std::size_t linesOfLoop(const Stand& stand, std::size_t loop,
                            std::span<std::uint32_t> lines) const;

private:
    struct Frame;
    bool enter(std::int64_t offset, Frame& frame) const;
    void add(const Frame& frame, Stand& stand) const;
    bool isCalled(std::uint32_t function) const;
    const LocationTable::Return* returnTo(std::uintptr_t address) const;
    std::uint32_t functionAt(std::int64_t offset) const;
    std::size_t append(std::uint32_t list, std::span<std::uint32_t> lines) const;
    std::size_t appendCalls(const Stand& stand, std::size_t first,
                            std::span<std::uint32_t> lines) const;

    LocationTable m_table;
    std::uintptr_t m_code;
};

} // namespace compute
