// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/Restrictions.h"

#include "compute/metal/AddressSpaces.h"
#include "compute/metal/ExplicitSpaces.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/Attr.h>
#include <clang/AST/RecursiveASTVisitor.h>
#include <clang/Sema/Sema.h>
#include <llvm/ADT/STLExtras.h>

#include <string>

namespace compute::metal {
namespace {

/// One variable of one thread.
constexpr std::uint64_t largestPrivateBytes = 1 << 20;
/// One table in the constant address space.
constexpr std::uint64_t largestConstantBytes = 16 << 20;

/// All that a threadgroup can share.
constexpr std::uint64_t largestSharedBytes = 32 << 10;

constexpr const char* notSupported = "' is not supported in this language";

class RestrictionVisitor : public clang::RecursiveASTVisitor<RestrictionVisitor> {
public:
    explicit RestrictionVisitor(clang::Sema& sema) : m_sema(sema), m_spaces(sema) {}

    bool shouldVisitTemplateInstantiations() const { return true; }

    bool VisitVarDecl(clang::VarDecl* variable) {
        const clang::QualType type = variable->getType();
        if (type->isDependentType() || llvm::isa<clang::ParmVarDecl>(variable))
            return true;
        if (type->isVariablyModifiedType())
            return refuse(variable->getLocation(), "the size of an array must be a constant");
        if (variable->hasGlobalStorage())
            checkGlobal(*variable);
        else
            checkSize(*variable, largestPrivateBytes);
        return true;
    }

    bool VisitFunctionDecl(clang::FunctionDecl* function) {
        if (function->isVariadic())
            refuse(function->getLocation(), "variadic functions are not supported");
        return true;
    }

    bool VisitDeclaratorDecl(clang::DeclaratorDecl* declaration) {
        m_spaces.check(*declaration);
        return true;
    }

    /// Attributes that change what code means or where it goes are not for programs.
    bool VisitDecl(clang::Decl* declaration) {
        dropHints(*declaration);
        for (const clang::Attr* attribute : declaration->attrs())
            if (!attribute->isImplicit() && !attribute->isInherited() && !isHarmless(*attribute))
                refuse(attribute->getLocation(),
                       std::string("attribute '") + attribute->getSpelling() + notSupported);
        return true;
    }

    /// `[[clang::optnone]]` and such advise a compiler that programs are not compiled by here.
    static void dropHints(clang::Decl& declaration) {
        if (declaration.hasAttrs())
            llvm::erase_if(declaration.getAttrs(), [](const clang::Attr* attribute) {
                return attribute->getScopeName() != nullptr &&
                       attribute->getScopeName()->isStr("clang") && !isHarmless(*attribute);
            });
        if (declaration.hasAttrs() && declaration.getAttrs().empty())
            declaration.dropAttrs();
    }

    /// The compiler's built-in functions are for the library's headers.
    bool VisitDeclRefExpr(clang::DeclRefExpr* reference) {
        const auto* function = llvm::dyn_cast<clang::FunctionDecl>(reference->getDecl());
        const auto spelling = m_sema.SourceMgr.getSpellingLoc(reference->getLocation());
        if (function != nullptr && function->getBuiltinID() != 0 &&
            !m_sema.SourceMgr.isInSystemHeader(spelling))
            refuse(reference->getLocation(), "'" + function->getNameAsString() + notSupported);
        return true;
    }

    bool VisitVectorTypeLoc(clang::VectorTypeLoc type) {
        return refuse(type.getNameLoc(),
                      "vector extensions are not supported; use float4 and such");
    }
    bool VisitDependentVectorTypeLoc(clang::DependentVectorTypeLoc type) {
        return refuse(type.getNameLoc(),
                      "vector extensions are not supported; use float4 and such");
    }
    bool VisitDependentSizedExtVectorTypeLoc(clang::DependentSizedExtVectorTypeLoc type) {
        return refuse(type.getNameLoc(),
                      "vector extensions are not supported; use float4 and such");
    }
    bool VisitAttributedTypeLoc(clang::AttributedTypeLoc type) {
        const clang::Attr* attribute = type.getAttr();
        if (attribute == nullptr || attribute->isImplicit())
            return true;
        return refuse(attribute->getLocation(),
                      std::string("attribute '") + attribute->getSpelling() + notSupported);
    }

    bool VisitCXXDeleteExpr(clang::CXXDeleteExpr* expression) {
        return refuse(expression->getBeginLoc(), std::string("'delete") + notSupported);
    }
    bool VisitAddrLabelExpr(clang::AddrLabelExpr* expression) {
        return refuse(expression->getBeginLoc(), "address of a label is not supported");
    }
    bool VisitGotoStmt(clang::GotoStmt* statement) {
        return refuse(statement->getBeginLoc(), std::string("'goto") + notSupported);
    }
    bool VisitIndirectGotoStmt(clang::IndirectGotoStmt* statement) {
        return refuse(statement->getBeginLoc(), "computed goto is not supported");
    }

private:
    void checkGlobal(const clang::VarDecl& variable) {
        if (variable.isStaticLocal() && isInThreadgroupMemory(variable.getType()))
            return checkShared(variable);
        const clang::QualType element =
            m_sema.Context.getBaseElementType(variable.getType().getNonReferenceType());
        const clang::CXXRecordDecl* record = element->getAsCXXRecordDecl();
        if (!element.isConstQualified() || (record != nullptr && record->hasMutableFields()))
            refuse(variable.getLocation(),
                   variable.isStaticLocal()
                       ? "static variable must reside in constant address space; a value that "
                         "changes lives in memory, with poke32 and peek32"
                       : "program scope variable must reside in constant address space");
        else if (variable.isStaticLocal() && variable.hasInit() && !isFixed(variable))
            refuse(variable.getLocation(), "initializer of a static variable must be a constant");
        checkSize(variable, largestConstantBytes);
    }

    void checkShared(const clang::VarDecl& variable) {
        const clang::QualType element = m_sema.Context.getBaseElementType(variable.getType());
        const clang::CXXRecordDecl* record = element->getAsCXXRecordDecl();
        const bool isInitialised =
            variable.hasInit() && (record == nullptr || !record->hasTrivialDefaultConstructor() ||
                                   variable.getInitStyle() != clang::VarDecl::CallInit);
        if (isInitialised)
            refuse(variable.getLocation(), "a variable in threadgroup memory cannot have an "
                                           "initializer; one thread of the group sets it");
        checkSize(variable, largestSharedBytes);
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

    static bool isHarmless(const clang::Attr& attribute) {
        switch (attribute.getKind()) {
        case clang::attr::Aligned:
        case clang::attr::AlwaysInline:
        case clang::attr::Annotate: // this and the next: what the language's attributes become
        case clang::attr::AnnotateType:
        case clang::attr::Const:
        case clang::attr::Deprecated:
        case clang::attr::Final:
        case clang::attr::Flatten:
        case clang::attr::NoInline:
        case clang::attr::Packed:
        case clang::attr::Pure:
        case clang::attr::Unused:
        case clang::attr::Used:
        case clang::attr::WarnUnused:
        case clang::attr::WarnUnusedResult:
            return true;
        default:
            return false;
        }
    }

    bool refuse(clang::SourceLocation location, const std::string& text) {
        const unsigned id =
            m_sema.Diags.getDiagnosticIDs()->getCustomDiagID(clang::DiagnosticIDs::Error, text);
        m_sema.Diag(location, id);
        return true;
    }

    clang::Sema& m_sema;
    ExplicitSpaces m_spaces;
};

} // namespace

void checkRestrictions(clang::Sema& sema, llvm::ArrayRef<clang::Decl*> declarations) {
    RestrictionVisitor visitor(sema);
    for (clang::Decl* declaration : declarations) // among them what the library's templates became
        if (!sema.SourceMgr.isInSystemHeader(declaration->getLocation()))
            visitor.TraverseDecl(declaration);
}

} // namespace compute::metal
