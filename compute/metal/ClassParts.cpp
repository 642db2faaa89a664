// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/ClassParts.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/DeclCXX.h>

#include <algorithm>

namespace compute::metal {
namespace {

/// A table of vectors may be a member.
constexpr std::size_t mostParts = 250'000;

std::size_t product(std::size_t a, std::size_t b) {
    return b != 0 && a > mostParts / b ? mostParts + 1 : a * b;
}

} // namespace

bool ClassParts::areTooMany(const clang::TagDecl& tag) {
    const auto* record = llvm::dyn_cast<clang::CXXRecordDecl>(&tag);
    return record != nullptr && countOf(*record) > mostParts;
}

std::size_t ClassParts::countOf(const clang::CXXRecordDecl& record) {
    const clang::CXXRecordDecl* definition = record.getDefinition();
    if (definition == nullptr || definition->isDependentContext())
        return 1;
    if (const auto known = m_counts.find(definition); known != m_counts.end())
        return known->second;
    std::size_t count = 1;
    const auto add = [&](const clang::CXXRecordDecl* part, std::size_t times) {
        if (part != nullptr)
            count = std::min(count + product(countOf(*part), times), mostParts + 1);
    };
    for (const clang::CXXBaseSpecifier& base : definition->bases())
        add(base.getType()->getAsCXXRecordDecl(), 1);
    for (const clang::FieldDecl* field : definition->fields()) {
        std::size_t times = 1;
        clang::QualType type = field->getType();
        while (const auto* array = definition->getASTContext().getAsConstantArrayType(type)) {
            times = product(times, array->getSize().getLimitedValue(mostParts + 1));
            type = array->getElementType();
        }
        add(type->getAsCXXRecordDecl(), times);
    }
    m_counts[definition] = count;
    return count;
}

} // namespace compute::metal
