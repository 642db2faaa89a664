// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Parts.h"

#include <utility>

namespace fuzz {
namespace {

bool isUsable(const Variable& v, Use use, bool onlyUniform) {
    if (onlyUniform && v.form != Form::Counter && !v.isUniform)
        return false;
    switch (v.form) {
    case Form::Counter:
    case Form::Capture:
        return use == Use::Read;
    case Form::Output:
    case Form::Pointer:
        return use != Use::Address;
    default:
        return true;
    }
}

class Search {
public:
    Search(const Program& program, const std::function<bool(Type)>& accepts)
        : m_program(program), m_accepts(accepts) {}

    void visit(Part& part) {
        const Type type = part.type;
        if (m_accepts(type))
            m_found.push_back(part);
        if (type.isArray() || type.isMatrix()) {
            visit(part, anyElement, type.element());
        } else if (type.isStructure()) {
            const auto& fields = m_program.fields(type);
            for (unsigned i = 0; i < fields.size(); ++i)
                visit(part, static_cast<int>(i), fields[i]);
        }
    }
    std::vector<Part> found() { return std::move(m_found); }

private:
    void visit(Part& part, int step, Type type) {
        const Type whole = std::exchange(part.type, type);
        part.path.push_back(step);
        visit(part);
        part.path.pop_back();
        part.type = whole;
    }

    const Program& m_program;
    const std::function<bool(Type)>& m_accepts;
    std::vector<Part> m_found;
};

} // namespace

std::vector<Part> findParts(const Program& program, const Function& function, Use use,
                            bool onlyUniform, const std::function<bool(Type)>& accepts) {
    Search search(program, accepts);
    for (unsigned i = 0; i < function.variables.size(); ++i)
        if (const Variable& v = function.variables[i]; isUsable(v, use, onlyUniform)) {
            const bool isOutput = v.form == Form::Output; // of which only elements have a name
            Part part{i, {}, isOutput ? v.type.element() : v.type};
            if (isOutput)
                part.path.push_back(anyElement);
            search.visit(part);
        }
    return search.found();
}

} // namespace fuzz
