// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Variables.h"

namespace fuzz {

Frame Variables::enter(const Function& function) {
    Frame frame{&function, {}};
    for (const Variable& v : function.variables) {
        frame.bases.push_back(m_cells.size());
        const bool isAddress = v.form == Form::Pointer || v.form == Form::Reference;
        m_cells.resize(m_cells.size() + (isAddress ? 1 : m_program->cellsOf(v.type)));
        if (v.form == Form::Pointer && frame.bases.size() > 1)
            m_cells.back().integer = static_cast<std::int64_t>(frame.bases[frame.bases.size() - 2]);
    }
    return frame;
}

void Variables::leave(const Frame& frame) {
    if (!frame.bases.empty())
        m_cells.resize(frame.bases.front());
}

Value Variables::load(const Location& location, std::size_t cells) const {
    const auto first = m_cells.begin() + static_cast<std::ptrdiff_t>(location.base);
    if (location.lanes.empty())
        return {first, first + static_cast<std::ptrdiff_t>(cells)};
    Value result;
    for (const unsigned lane : location.lanes)
        result.push_back(first[lane]);
    return result;
}

void Variables::store(const Location& location, const Value& value) {
    for (std::size_t i = 0; i < value.size(); ++i)
        m_cells[location.base + (location.lanes.empty() ? i : location.lanes[i])] = value[i];
}

} // namespace fuzz
