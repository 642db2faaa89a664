// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/LikelyMistakes.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/ExprCXX.h>
#include <clang/AST/RecursiveASTVisitor.h>
#include <clang/AST/StmtCXX.h>
#include <clang/Sema/Sema.h>

#include <optional>
#include <string>

namespace compute::metal {
namespace {

class MistakeVisitor : public clang::RecursiveASTVisitor<MistakeVisitor> {
public:
    explicit MistakeVisitor(clang::Sema& sema) : m_sema(sema) {}

    bool VisitCompoundStmt(clang::CompoundStmt* block) {
        for (const clang::Stmt* statement : block->body())
            checkUnused(statement);
        return true;
    }
    bool VisitIfStmt(clang::IfStmt* statement) {
        checkUnused(statement->getThen());
        checkUnused(statement->getElse());
        return true;
    }
    bool VisitForStmt(clang::ForStmt* loop) {
        checkUnused(loop->getBody());
        checkUnused(loop->getInc());
        checkCounter(*loop);
        return true;
    }
    bool VisitWhileStmt(clang::WhileStmt* loop) {
        checkUnused(loop->getBody());
        return true;
    }
    bool VisitBinaryOperator(clang::BinaryOperator* comparison) {
        if (comparison->isRelationalOp() && !comparison->getOperatorLoc().isMacroID())
            checkSign(*comparison);
        if (comparison->getOpcode() == clang::BO_Comma)
            checkUnused(comparison->getLHS());
        return true;
    }
    bool VisitImplicitCastExpr(clang::ImplicitCastExpr* conversion) {
        if (conversion->getCastKind() == clang::CK_IntegralToFloating)
            checkQuotient(conversion->getSubExpr());
        return true;
    }

private:
    /// A value that stands for itself: a call that does nothing but compute, or an operator.
    void checkUnused(const clang::Stmt* statement) {
        const auto* expression = llvm::dyn_cast_or_null<clang::Expr>(statement);
        if (expression == nullptr || expression->getBeginLoc().isMacroID())
            return;
        expression = expression->IgnoreImplicit();
        if (expression->isTypeDependent() || expression->getType()->isVoidType())
            return;
        if (const auto* operation = llvm::dyn_cast<clang::CXXOperatorCallExpr>(expression)) {
            if (isPure(operation->getOperator()))
                warn(operation->getOperatorLoc(), "the result of this is not used");
            return;
        }
        const auto* call = llvm::dyn_cast<clang::CallExpr>(expression);
        const auto* function = call == nullptr ? nullptr : call->getDirectCallee();
        if (function != nullptr && isPure(*function))
            warn(call->getBeginLoc(),
                 "the result of '" + function->getNameAsString() + "' is not used");
    }

    static bool isPure(clang::OverloadedOperatorKind kind) {
        switch (kind) {
        case clang::OO_Plus:
        case clang::OO_Minus:
        case clang::OO_Star:
        case clang::OO_Slash:
        case clang::OO_Percent:
            return true;
        default:
            return false;
        }
    }

    /// The functions of the library that get values and give one. Those on numbers alone: reading a
    /// texture or a simulated memory may have a reason.
    bool isPure(const clang::FunctionDecl& function) const {
        if (!m_sema.SourceMgr.isInSystemHeader(function.getLocation()) ||
            llvm::isa<clang::CXXMethodDecl>(function) || function.getNumParams() == 0 ||
            function.getName().contains("barrier"))
            return false;
        return llvm::all_of(function.parameters(), [](const clang::ParmVarDecl* parameter) {
            const clang::QualType type = parameter->getType();
            return !type->isPointerType() &&
                   (!type->isReferenceType() || type->getPointeeType().isConstQualified());
        });
    }

    /// 1 / 2 is 0, and hardly meant to be where a number with a fraction is wanted.
    void checkQuotient(const clang::Expr* expression) {
        const auto* quotient = llvm::dyn_cast<clang::BinaryOperator>(expression->IgnoreParens());
        if (quotient == nullptr || quotient->getOpcode() != clang::BO_Div)
            return;
        const auto dividend = signedConstant(quotient->getLHS());
        const auto divisor = signedConstant(quotient->getRHS());
        if (dividend && divisor && *divisor != 0 && *dividend % *divisor != 0)
            warn(quotient->getOperatorLoc(),
                 "this is a quotient of whole numbers, " + std::to_string(*dividend / *divisor) +
                     "; write " + std::to_string(*dividend) + ".0 to get the fraction");
    }

    /// Steps of 0.1 and the like do not add up to what they stand for.
    void checkCounter(const clang::ForStmt& loop) {
        const auto* declaration = llvm::dyn_cast_or_null<clang::DeclStmt>(loop.getInit());
        const auto* counter = declaration != nullptr && declaration->isSingleDecl()
                                  ? llvm::dyn_cast<clang::VarDecl>(declaration->getSingleDecl())
                                  : nullptr;
        const auto* step = llvm::dyn_cast_or_null<clang::CompoundAssignOperator>(loop.getInc());
        if (counter == nullptr || step == nullptr || !counter->getType()->isFloatingType() ||
            (step->getOpcode() != clang::BO_AddAssign && step->getOpcode() != clang::BO_SubAssign))
            return;
        const auto* stepped =
            llvm::dyn_cast<clang::DeclRefExpr>(step->getLHS()->IgnoreParenImpCasts());
        const auto* amount =
            llvm::dyn_cast<clang::FloatingLiteral>(step->getRHS()->IgnoreParenImpCasts());
        if (stepped == nullptr || amount == nullptr || stepped->getDecl() != counter ||
            amount->getBeginLoc().isMacroID())
            return;
        // Exact is what is a whole number of 256ths.
        const double inParts = amount->getValue().convertToDouble() * 256;
        if (inParts != static_cast<double>(static_cast<long long>(inParts)))
            warn(step->getOperatorLoc(),
                 "this loop counts in steps that a float cannot hold exactly, so it may run once "
                 "more or less than it should; count with an int");
    }

    /// An unsigned number is never negative.
    void checkSign(const clang::BinaryOperator& comparison) {
        const clang::BinaryOperatorKind operation = comparison.getOpcode();
        if (const auto bound = signedConstant(comparison.getRHS());
            bound && isUnsigned(comparison.getLHS()))
            checkSign(comparison, operation, *bound);
        else if (const auto mirrored = signedConstant(comparison.getLHS());
                 mirrored && isUnsigned(comparison.getRHS()))
            checkSign(comparison, clang::BinaryOperator::reverseComparisonOp(operation), *mirrored);
    }

    void checkSign(const clang::BinaryOperator& comparison, clang::BinaryOperatorKind operation,
                   std::int64_t bound) {
        const bool isAlwaysFalse = operation == clang::BO_LT && bound == 0;
        const bool isAlwaysTrue = operation == clang::BO_GE && bound == 0;
        if (isAlwaysFalse || isAlwaysTrue)
            warn(comparison.getOperatorLoc(),
                 std::string("an unsigned number is never negative, so this is always ") +
                     (isAlwaysTrue ? "true" : "false"));
        else if (bound < 0)
            warn(comparison.getOperatorLoc(),
                 "an unsigned number is compared with a negative one, which becomes a large one "
                 "here; convert it with int(...)");
    }

    static bool isUnsigned(const clang::Expr* expression) {
        const clang::QualType type = expression->getType();
        if (!type->isUnsignedIntegerType() || type->isBooleanType())
            return false;
        return expression->IgnoreParenImpCasts()->getType()->isUnsignedIntegerType();
    }

    /// Of a number that is written out, with its sign.
    static std::optional<std::int64_t> signedConstant(const clang::Expr* expression) {
        expression = expression->IgnoreParenImpCasts();
        bool isNegative = false;
        if (const auto* minus = llvm::dyn_cast<clang::UnaryOperator>(expression);
            minus != nullptr && minus->getOpcode() == clang::UO_Minus) {
            isNegative = true;
            expression = minus->getSubExpr()->IgnoreParenImpCasts();
        }
        const auto* literal = llvm::dyn_cast<clang::IntegerLiteral>(expression);
        if (literal == nullptr || literal->getBeginLoc().isMacroID() ||
            literal->getValue().getActiveBits() > 62)
            return std::nullopt;
        const auto value = static_cast<std::int64_t>(literal->getValue().getZExtValue());
        return isNegative ? -value : value;
    }

    void warn(clang::SourceLocation location, const std::string& text) {
        const unsigned id =
            m_sema.Diags.getDiagnosticIDs()->getCustomDiagID(clang::DiagnosticIDs::Warning, text);
        m_sema.Diag(location, id);
    }

    clang::Sema& m_sema;
};

} // namespace

void warnOfLikelyMistakes(clang::Sema& sema, llvm::ArrayRef<clang::Decl*> declarations) {
    MistakeVisitor visitor(sema);
    for (clang::Decl* declaration : declarations)
        if (!sema.SourceMgr.isInSystemHeader(declaration->getLocation()))
            visitor.TraverseDecl(declaration);
}

} // namespace compute::metal
