// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/ConstantOperands.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/ExprCXX.h>
#include <clang/AST/RecursiveASTVisitor.h>
#include <clang/Sema/Sema.h>

namespace compute::metal {
namespace {

class OperandVisitor : public clang::RecursiveASTVisitor<OperandVisitor> {
public:
    explicit OperandVisitor(clang::Sema& sema) : m_sema(sema), m_context(sema.Context) {}

    bool shouldVisitTemplateInstantiations() const { return true; }

    bool VisitBinaryOperator(clang::BinaryOperator* operation) {
        if (isUndefined(*operation))
            operation->setRHS(fromMemory(operation->getRHS()));
        return true;
    }

private:
    bool isUndefined(const clang::BinaryOperator& operation) const {
        const clang::Expr* operand = operation.getRHS();
        clang::Expr::EvalResult result;
        if ((!operation.isShiftOp() && !operation.isMultiplicativeOp()) ||
            operation.isTypeDependent() || operand->isValueDependent() ||
            !operation.getType()->isIntegerType() ||
            !operand->EvaluateAsInt(result, m_context, clang::Expr::SE_AllowUndefinedBehavior))
            return false;
        if (result.HasUndefinedBehavior)
            return true;
        const llvm::APSInt& value = result.Val.getInt();
        if (operation.isShiftOp())
            return value.isNegative() || value.uge(m_context.getIntWidth(operation.getType()));
        return operation.getOpcode() != clang::BO_Mul &&
               (value.isZero() || (value.isSigned() && value.isAllOnes()));
    }

    /// The same value by way of a temporary variable, whose value Clang does not fold.
    clang::Expr* fromMemory(clang::Expr* value) const {
        const clang::QualType type = value->getType().getUnqualifiedType();
        clang::Expr* temporary =
            m_sema.CreateMaterializeTemporaryExpr(type, value, /*BoundToLvalueReference=*/false);
        return clang::ImplicitCastExpr::Create(m_context, type, clang::CK_LValueToRValue, temporary,
                                               nullptr, clang::VK_PRValue, {});
    }

    clang::Sema& m_sema;
    clang::ASTContext& m_context;
};

} // namespace

void hideUndefinedOperands(clang::Sema& sema, llvm::ArrayRef<clang::Decl*> declarations) {
    OperandVisitor visitor(sema);
    for (clang::Decl* declaration : declarations)
        if (!sema.SourceMgr.isInSystemHeader(declaration->getLocation()))
            visitor.TraverseDecl(declaration);
}

} // namespace compute::metal
