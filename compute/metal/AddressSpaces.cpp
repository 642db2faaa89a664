// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/AddressSpaces.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/Attr.h>
#include <clang/AST/DeclCXX.h>
#include <clang/AST/TypeLoc.h>
#include <clang/Basic/LangOptions.h>
#include <clang/Lex/Preprocessor.h>
#include <clang/Sema/Sema.h>

namespace compute::metal {
namespace {

namespace tok = clang::tok;
using clang::LangAS;

struct Space {
    const char* word;
    const char* meaning; ///< Clang's words for it; constants cannot be changed
    const char* keyword; ///< the one among them that names a space
    tok::TokenKind kind;
    LangAS space;
};
constexpr Space spaces[] = {
    {"device", "__global", "__global", tok::kw___global, LangAS::sycl_global},
    {"threadgroup", "__local", "__local", tok::kw___local, LangAS::sycl_local},
    {"constant", "const __private", "__private", tok::kw___private, LangAS::sycl_private},
};

const Space* findSpace(tok::TokenKind kind) {
    for (const Space& each : spaces)
        if (each.kind == kind)
            return &each;
    return nullptr;
}

/// The same type in another space. It is written with as many parts.
clang::QualType inSpace(LangAS space, clang::ASTContext& context, clang::QualType type) {
    if (const auto* array = llvm::dyn_cast<clang::ConstantArrayType>(type.getTypePtr()))
        return context.getConstantArrayType(
            inSpace(space, context, array->getElementType()), array->getSize(),
            array->getSizeExpr(), array->getSizeModifier(), array->getIndexTypeCVRQualifiers());
    if (const auto* array = llvm::dyn_cast<clang::IncompleteArrayType>(type.getTypePtr()))
        return context.getIncompleteArrayType(inSpace(space, context, array->getElementType()),
                                              array->getSizeModifier(),
                                              array->getIndexTypeCVRQualifiers());
    if (const auto* array = llvm::dyn_cast<clang::DependentSizedArrayType>(type.getTypePtr()))
        return context.getDependentSizedArrayType(inSpace(space, context, array->getElementType()),
                                                  array->getSizeExpr(), array->getSizeModifier(),
                                                  array->getIndexTypeCVRQualifiers(),
                                                  array->getBracketsRange());
    if (type.getAddressSpace() == space || !type.hasLocalQualifiers())
        return type;
    clang::Qualifiers qualifiers = type.getLocalQualifiers();
    qualifiers.setAddressSpace(space);
    return context.getQualifiedType(type.getLocalUnqualifiedType(), qualifiers);
}

void setSpace(LangAS space, clang::ASTContext& context, clang::DeclaratorDecl& declaration) {
    const clang::QualType type = inSpace(space, context, declaration.getType());
    declaration.setType(type);
    if (clang::TypeSourceInfo* written = declaration.getTypeSourceInfo())
        written->overrideType(type); // templates are instantiated from what is written
}

void setMemberSpace(clang::Sema& sema, clang::CXXMethodDecl& method, LangAS space) {
    const auto* type = llvm::dyn_cast<clang::FunctionProtoType>(method.getType().getTypePtr());
    clang::TypeSourceInfo* written = method.getTypeSourceInfo();
    if (type == nullptr || written == nullptr ||
        !llvm::isa<clang::FunctionProtoType>(written->getType().getTypePtr()))
        return;
    clang::FunctionProtoType::ExtProtoInfo info = type->getExtProtoInfo();
    if (info.TypeQuals.hasAddressSpace())
        return;
    info.TypeQuals.addAddressSpace(space);
    const clang::QualType qualified =
        sema.Context.getFunctionType(type->getReturnType(), type->getParamTypes(), info);
    method.setType(qualified);
    written->overrideType(qualified);
}

/// What a threadgroup shares outlives its function, as a static variable does. A local constant is
/// one of the thread's own variables.
void placeVariable(clang::Sema& sema, clang::VarDecl& variable) {
    const clang::QualType type = variable.getType();
    switch (type.getAddressSpace()) {
    case LangAS::sycl_local:
        variable.setStorageClass(clang::SC_Static);
        variable.addAttr(clang::AnnotateAttr::CreateImplicit(sema.Context, sharedAnnotation,
                                                             nullptr, 0, variable.getLocation()));
        return;
    case LangAS::sycl_private:
        return setSpace(LangAS::Default, sema.Context, variable);
    default:
        return;
    }
}

} // namespace

AddressSpaces::AddressSpaces(clang::Preprocessor& preprocessor) : m_preprocessor(preprocessor) {
    for (const Space& each : spaces)
        preprocessor.getIdentifierInfo(each.keyword)->revertIdentifierToTokenID(each.kind);
}

void AddressSpaces::begin(clang::LangOptions& options) {
    options.SYCLIsDevice = true;
    std::string added;
    for (const Space& each : spaces)
        added += std::string("#define ") + each.word + " " + each.meaning + "\n";
    added += "#pragma clang attribute push(__attribute__((" + attribute.str() +
             ")), apply_to = any(function(is_member), variable(is_local)))\n"
             ";\n"; // so that the end of the text is not read before this
    m_preprocessor.setPredefines(m_preprocessor.getPredefines() + added);
}

void AddressSpaces::watch(clang::Token& token) {
    if (token.is(tok::eof) && m_sema != nullptr)
        m_sema->PragmaAttributeStack.clear(); // what the constructor began
    m_classScope.watch(token);
    if (token.is(tok::kw___private) && m_closed.isInvalid() &&
        m_classScope.isPlainMember(m_preprocessor)) {
        token.setKind(tok::kw___w64);
        token.setIdentifierInfo(m_preprocessor.getIdentifierInfo(memberKeyword));
        return;
    }
    if (token.is(tok::r_paren)) {
        m_closed = token.getLocation();
        return;
    }
    if (token.isOneOf(tok::kw_const, tok::kw_volatile))
        return;
    const Space* space = findSpace(token.getKind());
    if (space == nullptr)
        m_closed = {};
    else if (m_closed.isValid())
        m_memberSpaces.try_emplace(m_closed, space->space);
}

void AddressSpaces::qualify(clang::Decl& declaration) const {
    if (auto* variable = llvm::dyn_cast<clang::VarDecl>(&declaration)) {
        if (variable->hasLocalStorage())
            placeVariable(*m_sema, *variable);
        return;
    }
    if (auto* field = llvm::dyn_cast<clang::FieldDecl>(&declaration)) {
        if (!field->getDeclContext()->isDependentContext()) // or each instance would be refused
            setSpace(LangAS::sycl_private, m_sema->Context, *field);
        return;
    }
    auto* method = llvm::dyn_cast<clang::CXXMethodDecl>(declaration.getAsFunction());
    if (method == nullptr || method->isStatic())
        return;
    const clang::FunctionTypeLoc written = method->getFunctionTypeLoc();
    if (written.isNull())
        return;
    if (const auto found = m_memberSpaces.find(written.getRParenLoc());
        found != m_memberSpaces.end())
        setMemberSpace(*m_sema, *method, found->second);
}

void AddressSpaces::end(clang::LangOptions& options) {
    options.SYCLIsDevice = false;
}

bool isInThreadgroupMemory(clang::QualType type) {
    return type.getAddressSpace() == LangAS::sycl_local;
}

std::string spellAddressSpaces(llvm::StringRef message) {
    std::string result = message.str();
    for (const Space& each : spaces)
        for (std::size_t at = 0; (at = result.find(each.meaning, at)) != std::string::npos;)
            result.replace(at, llvm::StringRef(each.meaning).size(), each.word);
    return result;
}

} // namespace compute::metal
