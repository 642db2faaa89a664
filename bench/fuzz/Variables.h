// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The variables of one thread, of all functions that it has entered, as cells in a row.
#pragma once

#include "bench/fuzz/Cells.h"

namespace fuzz {

/// A function that is being run.
struct Frame {
    const Function* function;
    std::vector<std::size_t> bases; ///< of each variable: its first cell
};

/// The cells that a place names.
struct Location {
    std::size_t base = 0;
    std::vector<unsigned> lanes = {}; ///< of those from `base` on, where not all in order
};

class Variables {
public:
    explicit Variables(const Program& program) : m_program(&program) {}

    /// Makes room for a function's variables. Pointers point at the variable before them.
    Frame enter(const Function& function);
    /// Gives it back; the newest first.
    void leave(const Frame& frame);

    /// An address is a cell with the number of another one.
    Cell& cell(std::size_t at) { return m_cells[at]; }
    Value load(const Location& location, std::size_t cells) const;
    void store(const Location& location, const Value& value);

private:
    const Program* m_program;
    std::vector<Cell> m_cells;
};

} // namespace fuzz
