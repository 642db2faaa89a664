// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/ExplicitSpaces.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/Decl.h>
#include <clang/AST/TypeLoc.h>
#include <clang/Lex/Lexer.h>
#include <clang/Lex/Preprocessor.h>
#include <clang/Sema/Sema.h>

namespace compute::metal {
namespace {

/// What does not need a space, or gets it from elsewhere.
bool isDecidedElsewhere(clang::QualType pointee) {
    return pointee.hasAddressSpace() || pointee->isFunctionType() || pointee->isDependentType() ||
           pointee->getContainedDeducedType() != nullptr ||
           pointee->getAs<clang::SubstTemplateTypeParmType>() != nullptr;
}

} // namespace

void ExplicitSpaces::check(const clang::DeclaratorDecl& declaration) {
    if (declaration.isImplicit() || declaration.getTypeSourceInfo() == nullptr)
        return;
    clang::TypeLoc type = declaration.getTypeSourceInfo()->getTypeLoc();
    if (const auto function = type.IgnoreParens().getAs<clang::FunctionTypeLoc>())
        type = function.getReturnLoc();
    checkType(type);
}

void ExplicitSpaces::checkType(clang::TypeLoc type) {
    for (; !type.isNull(); type = type.getNextTypeLoc()) {
        clang::SourceLocation sign;
        clang::TypeLoc pointee;
        if (const auto pointer = type.getAs<clang::PointerTypeLoc>()) {
            sign = pointer.getSigilLoc();
            pointee = pointer.getPointeeLoc();
        } else if (const auto reference = type.getAs<clang::ReferenceTypeLoc>()) {
            sign = reference.getSigilLoc();
            pointee = reference.getPointeeLoc();
        } else {
            continue;
        }
        if (isDecidedElsewhere(pointee.getType()) || isExplicit(sign) ||
            !m_reported.insert(sign).second)
            continue;
        const unsigned id = m_sema.Diags.getCustomDiagID(
            clang::DiagnosticsEngine::Error,
            "a %select{reference|pointer}0 needs an address space in front of its type: 'thread' "
            "for "
            "variables of a function, otherwise 'device', 'constant' or 'threadgroup'");
        m_sema.Diag(sign, id) << type.getType()->isPointerType();
        return;
    }
}

/// Whether one of the words between the sign and what it belongs to is a macro: `thread` is one, as
/// are its relatives, and another one may contain it.
bool ExplicitSpaces::isExplicit(clang::SourceLocation sign) const {
    const clang::SourceManager& sources = m_sema.SourceMgr;
    if (sign.isInvalid() || sign.isMacroID() || !sources.isInMainFile(sign))
        return true;
    llvm::StringRef text =
        sources.getBufferData(sources.getMainFileID()).take_front(sources.getFileOffset(sign));
    while (text.rtrim().ends_with("(")) // a reference to an array
        text = text.rtrim().drop_back();
    int depth = 0; // within the brackets of the type
    for (std::size_t end = text.size(); end > 0; --end) {
        const char last = text[end - 1];
        if (llvm::StringRef(">])").contains(last))
            ++depth;
        else if (llvm::StringRef("<[(").contains(last) && --depth < 0)
            return false;
        else if (depth == 0 && llvm::StringRef(",;{}=*&").contains(last))
            return false;
        if (!clang::isAsciiIdentifierContinue(last))
            continue;
        const llvm::StringRef upToWord = text.take_front(end);
        const llvm::StringRef word = upToWord.take_back(
            end - (upToWord.find_last_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                             "0123456789_") +
                   1));
        if (depth == 0 && m_sema.PP.isMacroDefined(word))
            return true;
        end -= word.size() - 1;
    }
    return false;
}

} // namespace compute::metal
