// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/TemplateOperators.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/ExprCXX.h>
#include <clang/AST/RecursiveASTVisitor.h>

namespace compute::metal {
namespace {

/// What may turn out to be selected lanes.
bool isMember(const clang::Expr* operand) {
    return llvm::isa<clang::CXXDependentScopeMemberExpr, clang::UnresolvedMemberExpr,
                     clang::MSPropertyRefExpr>(operand->IgnoreParens());
}

bool isDeferred(const clang::CXXOperatorCallExpr& call) {
    return call.isTypeDependent() && call.isInfixBinaryOp() &&
           llvm::isa<clang::UnresolvedLookupExpr>(call.getCallee()) &&
           (isMember(call.getArg(0)) || isMember(call.getArg(1)));
}

clang::Expr* operationOf(clang::ASTContext& context, clang::CXXOperatorCallExpr& call) {
    const auto code = clang::BinaryOperator::getOverloadedOpcode(call.getOperator());
    clang::Expr* left = call.getArg(0);
    clang::Expr* right = call.getArg(1);
    if (clang::BinaryOperator::isCompoundAssignmentOp(code))
        return clang::CompoundAssignOperator::Create(
            context, left, right, code, context.DependentTy, clang::VK_LValue, clang::OK_Ordinary,
            call.getOperatorLoc(), call.getFPFeatures());
    return clang::BinaryOperator::Create(context, left, right, code, context.DependentTy,
                                         clang::VK_PRValue, clang::OK_Ordinary,
                                         call.getOperatorLoc(), call.getFPFeatures());
}

void deferWithin(clang::ASTContext& context, clang::Stmt& statement) {
    for (clang::Stmt*& child : statement.children()) {
        if (child == nullptr)
            continue;
        deferWithin(context, *child);
        if (auto* call = llvm::dyn_cast<clang::CXXOperatorCallExpr>(child);
            call != nullptr && isDeferred(*call))
            child = operationOf(context, *call);
    }
}

class TemplateVisitor : public clang::RecursiveASTVisitor<TemplateVisitor> {
public:
    explicit TemplateVisitor(clang::ASTContext& context) : m_context(context) {}

    bool TraverseStmt(clang::Stmt*, DataRecursionQueue* = nullptr) { return true; }

    bool VisitFunctionDecl(clang::FunctionDecl* function) {
        if (function->isDependentContext() && function->doesThisDeclarationHaveABody())
            deferWithin(m_context, *function->getBody());
        return true;
    }

private:
    clang::ASTContext& m_context;
};

} // namespace

void deferOperators(clang::ASTContext& context, clang::DeclGroupRef declarations) {
    TemplateVisitor visitor(context);
    for (clang::Decl* declaration : declarations)
        visitor.TraverseDecl(declaration);
}

} // namespace compute::metal
