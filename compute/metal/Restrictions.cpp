// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/Restrictions.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/RecursiveASTVisitor.h>
#include <clang/Sema/Sema.h>

namespace compute::metal {
namespace {

/// One variable of one thread.
constexpr std::uint64_t largestPrivateBytes = 1 << 20;
/// One table in the constant address space.
constexpr std::uint64_t largestConstantBytes = 16 << 20;

class RestrictionVisitor : public clang::RecursiveASTVisitor<RestrictionVisitor> {
public:
    explicit RestrictionVisitor(clang::Sema& sema) : m_sema(sema) {}

    bool shouldVisitTemplateInstantiations() const { return true; }

    bool VisitVarDecl(clang::VarDecl* variable) {
        const clang::QualType type = variable->getType();
        if (type->isDependentType() || llvm::isa<clang::ParmVarDecl>(variable))
            return true;
        if (variable->hasGlobalStorage())
            checkGlobal(*variable);
        else
            checkSize(*variable, largestPrivateBytes);
        return true;
    }

    bool VisitCXXDeleteExpr(clang::CXXDeleteExpr* expression) {
        return refuse(expression->getBeginLoc(), "'delete' is not supported in this language");
    }
    bool VisitAddrLabelExpr(clang::AddrLabelExpr* expression) {
        return refuse(expression->getBeginLoc(), "address of a label is not supported");
    }
    bool VisitIndirectGotoStmt(clang::IndirectGotoStmt* statement) {
        return refuse(statement->getBeginLoc(), "computed goto is not supported");
    }

private:
    void checkGlobal(const clang::VarDecl& variable) {
        const clang::QualType element =
            m_sema.Context.getBaseElementType(variable.getType().getNonReferenceType());
        const clang::CXXRecordDecl* record = element->getAsCXXRecordDecl();
        if (!element.isConstQualified() || (record != nullptr && record->hasMutableFields()))
            refuse(variable.getLocation(),
                   variable.isStaticLocal()
                       ? "static variable must reside in constant address space"
                       : "program scope variable must reside in constant address space");
        else if (variable.isStaticLocal() && variable.hasInit() && !isFixed(variable))
            refuse(variable.getLocation(), "initializer of a static variable must be a constant");
        checkSize(variable, largestConstantBytes);
    }

    bool isFixed(const clang::VarDecl& variable) const {
        return variable.getInit()->isValueDependent() || variable.hasConstantInitialization() ||
               variable.getInit()->isConstantInitializer(m_sema.Context, false);
    }

    void checkSize(const clang::VarDecl& variable, std::uint64_t largest) {
        const clang::QualType type = variable.getType();
        if (type->isIncompleteType() || type->isUndeducedType() || type->isReferenceType())
            return;
        if (std::uint64_t(m_sema.Context.getTypeSizeInChars(type).getQuantity()) > largest)
            refuse(variable.getLocation(), "variable is too large");
    }

    bool refuse(clang::SourceLocation location, const char* text) {
        const unsigned id =
            m_sema.Diags.getDiagnosticIDs()->getCustomDiagID(clang::DiagnosticIDs::Error, text);
        m_sema.Diag(location, id);
        return true;
    }

    clang::Sema& m_sema;
};

} // namespace

void checkRestrictions(clang::Sema& sema, llvm::ArrayRef<clang::Decl*> declarations) {
    RestrictionVisitor visitor(sema);
    for (clang::Decl* declaration : declarations)
        visitor.TraverseDecl(declaration);
}

} // namespace compute::metal
