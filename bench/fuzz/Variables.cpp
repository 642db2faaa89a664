// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Variables.h"

#include <algorithm>

namespace fuzz {

Frame Variables::enter(const Function& function) {
    Frame frame{&function, {}};
    for (const Variable& v : function.variables) {
        frame.bases.push_back(m_cells.size());
        const bool isAddress = v.form == Form::Pointer || v.form == Form::Reference;
        m_cells.resize(m_cells.size() + (isAddress ? 1 : size(v)));
        if (v.form == Form::Pointer && frame.bases.size() > 1)
            m_cells.back().integer = static_cast<std::int64_t>(frame.bases[frame.bases.size() - 2]);
    }
    return frame;
}

void Variables::leave(const Frame& frame) {
    if (!frame.bases.empty())
        m_cells.resize(frame.bases.front());
}

std::span<const Cell> Variables::cells(std::size_t first, std::size_t count) const {
    return std::span(m_cells).subspan(first, count);
}

Value Variables::load(const Location& location, unsigned lanes) const {
    Value result;
    for (unsigned i = 0; i < lanes; ++i)
        result[i] = m_cells[location.base + location.lanes[i]];
    return result;
}

void Variables::store(const Location& location, unsigned lanes, const Value& value) {
    for (unsigned i = 0; i < lanes; ++i)
        m_cells[location.base + location.lanes[i]] = value[i];
}

unsigned Variables::elementSize(const Variable& variable) const {
    if (variable.structure < 0)
        return variable.type.lanes;
    unsigned cells = 0;
    for (const Type& field : m_program.structures[static_cast<unsigned>(variable.structure)].fields)
        cells += field.lanes;
    return cells;
}

std::size_t Variables::size(const Variable& variable) const {
    return std::size_t{elementSize(variable)} * std::max(1u, variable.count);
}

} // namespace fuzz
