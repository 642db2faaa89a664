// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The variables of one thread, of all functions that it has entered, as cells in a row.
#pragma once

#include "bench/fuzz/Cells.h"

#include <span>

namespace fuzz {

/// A function that is being run.
struct Frame {
    const Function* function;
    std::vector<std::size_t> bases; ///< of each variable: its first cell
};

/// The cells that a place names.
struct Location {
    std::size_t base = 0;
    std::array<unsigned, 4> lanes{0, 1, 2, 3};
};

class Variables {
public:
    explicit Variables(const Program& program) : m_program(program) {}

    /// Makes room for a function's variables. Pointers point at the variable before them.
    Frame enter(const Function& function);
    /// Gives it back; the newest first.
    void leave(const Frame& frame);

    /// An address is a cell with the number of another one.
    Cell& cell(std::size_t at) { return m_cells[at]; }
    std::span<const Cell> cells(std::size_t first, std::size_t count) const;
    Value load(const Location& location, unsigned lanes) const;
    void store(const Location& location, unsigned lanes, const Value& value);

    /// How many cells an element of the variable takes, or all of it.
    unsigned elementSize(const Variable& variable) const;
    std::size_t size(const Variable& variable) const;

private:
    const Program& m_program;
    std::vector<Cell> m_cells;
};

} // namespace fuzz
