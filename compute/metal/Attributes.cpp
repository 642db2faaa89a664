// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/Attributes.h"

#include "compute/metal/AddressSpaces.h"
#include "compute/metal/InstantiationAttributes.h"
#include "compute/metal/ProgramConsumer.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/Attr.h>
#include <clang/AST/Decl.h>
#include <clang/Basic/DiagnosticSema.h>
#include <clang/Basic/ParsedAttrInfo.h>
#include <clang/Sema/ParsedAttr.h>
#include <clang/Sema/Sema.h>
#include <llvm/ADT/STLExtras.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string>

namespace compute::metal {
namespace {

using clang::AttributeCommonInfo;
using clang::ParsedAttr;
using clang::ParsedAttrInfo;

enum class Place { Parameter, Function, Variable };

struct AttributeRule {
    const char* name;
    Place place;
    unsigned arguments;
    int largest = 0; ///< of an index argument, which counts from zero
};

/// Index limits: 31 buffers, 128 textures, 16 samplers, as devices of the language have them.
constexpr AttributeRule rules[] = {
    {"buffer", Place::Parameter, 1, 30},
    {"texture", Place::Parameter, 1, 127},
    {"sampler", Place::Parameter, 1, 15},
    {"thread_position_in_grid", Place::Parameter, 0},
    {"threads_per_grid", Place::Parameter, 0},
    {"thread_position_in_threadgroup", Place::Parameter, 0},
    {"threadgroup_position_in_grid", Place::Parameter, 0},
    {"threads_per_threadgroup", Place::Parameter, 0},
    {"dispatch_threads_per_threadgroup", Place::Parameter, 0},
    {"threadgroups_per_grid", Place::Parameter, 0},
    {"thread_index_in_threadgroup", Place::Parameter, 0},
    {"thread_index_in_simdgroup", Place::Parameter, 0},
    {"threads_per_simdgroup", Place::Parameter, 0},
    {"thread_execution_width", Place::Parameter, 0},
    {"simdgroup_index_in_threadgroup", Place::Parameter, 0},
    {"simdgroups_per_threadgroup", Place::Parameter, 0},
    {"dispatch_simdgroups_per_threadgroup", Place::Parameter, 0},
    {"quadgroup_index_in_threadgroup", Place::Parameter, 0},
    {"quadgroups_per_threadgroup", Place::Parameter, 0},
    {"dispatch_quadgroups_per_threadgroup", Place::Parameter, 0},
    {"thread_index_in_quadgroup", Place::Parameter, 0},
    {"grid_origin", Place::Parameter, 0},
    {"grid_size", Place::Parameter, 0},
    {"stage_in", Place::Parameter, 0},
    {"function_constant", Place::Variable, 1, 65535},
    {"kernel", Place::Function, 0},
    {"host_name", Place::Function, 1},
    {"max_total_threads_per_threadgroup", Place::Function, 1, 65535},
    {"threadgroup", Place::Parameter, 1, 30},
};

/// One blank before and after each name.
constexpr llvm::StringLiteral ignoredNames =
    " "
    "accept_intersection alias_implicit_imageblock always_inline amplification_count "
    "amplification_id attribute barycentric_coord base_instance base_vertex "
    "center_no_perspective center_perspective centroid_no_perspective centroid_perspective "
    "clip_distance color continue_search curve_parameter depth direction distance "
    "early_fragment_tests flat fragment front_facing function_groups geometry_id "
    "geometry_intersection_function_table_offset id imageblock_data index instance_id "
    "instance_intersection_function_table_offset intersection invariant key_frame_count "
    "max_distance max_total_threadgroups_per_mesh_grid mesh min_distance motion_end_time "
    "motion_start_time noinline object object_to_world_transform opaque_primitive origin "
    "patch patch_id payload point_coord point_size position position_in_patch "
    "primitive_culled primitive_data primitive_id raster_order_group "
    "render_target_array_index required_threads_per_threadgroup sample_id sample_mask "
    "sample_no_perspective sample_perspective shared stencil stitchable tile time user "
    "user_instance_id vertex vertex_id viewport_array_index visible world_space_direction "
    "world_space_origin world_to_object_transform ";

/// What the words `threadgroup` and `kernel` have become when an attribute is read
/// (AddressSpaces.h, Language.h).
constexpr llvm::StringLiteral threadgroupKeyword = "__local";
constexpr llvm::StringLiteral kernelKeyword = "__sl42_kernel";

/// Of memory whose changes other threads see at once, as all memory is here.
constexpr llvm::StringLiteral coherentKeyword = "coherent";

std::string annotationName(llvm::StringRef name) {
    return ("sl42." + name).str();
}

const AttributeRule* findRule(llvm::StringRef name) {
    if (name == threadgroupKeyword)
        name = "threadgroup";
    if (name == kernelKeyword)
        name = "kernel";
    const auto* rule = llvm::find_if(rules, [&](const auto& each) { return name == each.name; });
    return rule == std::end(rules) ? nullptr : rule;
}

bool belongsOn(const AttributeRule& rule, const clang::Decl& declaration) {
    switch (rule.place) {
    case Place::Parameter:
        return llvm::isa<clang::ParmVarDecl, clang::FieldDecl>(declaration);
    case Place::Function:
        return declaration.getAsFunction() != nullptr;
    case Place::Variable:
        return llvm::isa<clang::VarDecl, clang::FieldDecl>(declaration);
    }
    llvm_unreachable("unhandled place");
}

const char* placeName(Place place) {
    switch (place) {
    case Place::Parameter:
        return "parameters";
    case Place::Function:
        return "functions";
    case Place::Variable:
        return "variables";
    }
    llvm_unreachable("unhandled place");
}

/// The first argument as an expression. Clang hands a lone name, such as an enumerator that host
/// and program share, through as it was spelled, so it is looked up here.
clang::Expr* argumentExpression(clang::Sema& sema, const ParsedAttr& attribute) {
    if (attribute.getNumArgs() == 0)
        return nullptr;
    if (attribute.isArgExpr(0))
        return attribute.getArgAsExpr(0);
    const clang::IdentifierLoc* name = attribute.getArgAsIdent(0);
    clang::CXXScopeSpec scope;
    clang::UnqualifiedId id;
    id.setIdentifier(name->Ident, name->Loc);
    return sema
        .ActOnIdExpression(sema.getCurScope(), scope, clang::SourceLocation(), id,
                           /*HasTrailingLParen=*/false, /*IsAddressOfOperand=*/false)
        .get();
}

/// An index has to be a number known now, unless it depends on a template parameter.
bool checkIndex(clang::Sema& sema, const AttributeRule& rule, const ParsedAttr& attribute,
                const clang::Expr* argument) {
    if (rule.largest == 0 || attribute.getNumArgs() == 0)
        return true;
    if (argument != nullptr && argument->isValueDependent())
        return true;
    auto value = argument != nullptr ? argument->getIntegerConstantExpr(sema.Context)
                                     : std::optional<llvm::APSInt>();
    if (!value) {
        sema.Diag(attribute.getLoc(), clang::diag::err_attribute_argument_type)
            << attribute << clang::AANT_ArgumentIntegerConstant;
        return false;
    }
    if (*value >= 0 && *value <= rule.largest)
        return true;
    auto id = sema.Diags.getCustomDiagID(
        clang::DiagnosticsEngine::Error,
        "'%0' attribute parameter is out of bounds: must be between 0 and %1");
    sema.Diag(argument->getExprLoc(), id) << rule.name << rule.largest;
    return false;
}

/// All attributes in one object: Clang looks a plugin's attribute up by its spelling.
class LanguageAttribute final : public ParsedAttrInfo {
public:
    LanguageAttribute() {
        OptArgs = 15;
        static const auto spellings = [] {
            std::array<Spelling, 2 * std::size(rules) + 7> all{};
            for (std::size_t i = 0; i < std::size(rules); ++i)
                all[i] = {AttributeCommonInfo::AS_CXX11, rules[i].name};
            auto* other = all.data() + std::size(rules);
            for (const AttributeRule& rule : rules) // of instantiations
                *other++ = {AttributeCommonInfo::AS_Declspec, rule.name};
            *other++ = {AttributeCommonInfo::AS_CXX11, threadgroupKeyword.data()};
            for (const auto syntax :
                 {AttributeCommonInfo::AS_CXX11, AttributeCommonInfo::AS_Keyword,
                  AttributeCommonInfo::AS_Declspec})
                *other++ = {syntax, kernelKeyword.data()};
            for (const auto syntax :
                 {AttributeCommonInfo::AS_Keyword, AttributeCommonInfo::AS_Declspec})
                *other++ = {syntax, InstantiationAttributes::filler.data()};
            *other++ = {AttributeCommonInfo::AS_Keyword, coherentKeyword.data()};
            return all;
        }();
        Spellings = spellings;
    }

    AttrHandling handleDeclAttribute(clang::Sema& sema, clang::Decl* declaration,
                                     const ParsedAttr& attribute) const override {
        if (attribute.getAttrName()->isStr(InstantiationAttributes::filler) ||
            attribute.getAttrName()->isStr(coherentKeyword))
            return AttributeApplied;
        const AttributeRule* rule = findRule(attribute.getAttrName()->getName());
        if (rule == nullptr)
            return NotHandled;
        if (!check(sema, *rule, *declaration, attribute))
            return AttributeNotApplied;
        if (rule->place == Place::Variable && !isProgramScope(*declaration))
            // The parameter or member is there in any case. A constant is not: it has no value.
            return isConstantMember(*declaration) ? refuseConstant(sema, attribute)
                                                  : AttributeApplied;
        clang::Expr* argument = argumentExpression(sema, attribute);
        if (!checkIndex(sema, *rule, attribute, argument))
            return AttributeNotApplied;
        llvm::SmallVector<clang::Expr*, 1> arguments;
        if (argument != nullptr)
            arguments.push_back(argument);
        // The annotation for types, because code generation leaves that one alone.
        declaration->addAttr(clang::AnnotateTypeAttr::Create(
            sema.Context, annotationName(rule->name), arguments.data(), unsigned(arguments.size()),
            attribute));
        makeExternal(*rule, *declaration);
        return AttributeApplied;
    }

private:
    static bool check(clang::Sema& sema, const AttributeRule& rule, const clang::Decl& declaration,
                      const ParsedAttr& attribute) {
        if (!belongsOn(rule, declaration)) {
            auto id = sema.Diags.getCustomDiagID(clang::DiagnosticsEngine::Error,
                                                 "'%0' attribute only applies to %1");
            sema.Diag(attribute.getLoc(), id) << rule.name << placeName(rule.place);
            return false;
        }
        if (attribute.getNumArgs() != rule.arguments) {
            sema.Diag(attribute.getLoc(), clang::diag::err_attribute_wrong_number_arguments)
                << attribute << rule.arguments;
            return false;
        }
        return true;
    }

    static bool isProgramScope(const clang::Decl& declaration) {
        const auto* variable = llvm::dyn_cast<clang::VarDecl>(&declaration);
        return variable != nullptr && variable->isFileVarDecl();
    }

    static bool isConstantMember(const clang::Decl& declaration) {
        const auto* field = llvm::dyn_cast<clang::FieldDecl>(&declaration);
        return field != nullptr && field->getType().isConstQualified();
    }

    static AttrHandling refuseConstant(clang::Sema& sema, const ParsedAttr& attribute) {
        auto id = sema.Diags.getCustomDiagID(
            clang::DiagnosticsEngine::Error,
            "nobody gives a function constant its value here; write it down, as in 'constant float "
            "speed = 1'");
        sema.Diag(attribute.getLoc(), id);
        return AttributeNotApplied;
    }

    /// A function constant gets its value later, so it must not be asked for an initialiser now.
    static void makeExternal(const AttributeRule& rule, clang::Decl& declaration) {
        if (rule.place == Place::Variable && isProgramScope(declaration))
            llvm::cast<clang::VarDecl>(declaration).setStorageClass(clang::SC_Extern);
    }
};

/// What AddressSpaces.h puts on declarations. It leaves nothing there.
class SpaceAttribute final : public ParsedAttrInfo {
public:
    SpaceAttribute() {
        static const Spelling spellings[] = {
            {AttributeCommonInfo::AS_GNU, AddressSpaces::attribute.data()},
            {AttributeCommonInfo::AS_Keyword, AddressSpaces::memberKeyword.data()}};
        Spellings = spellings;
        IsSupportedByPragmaAttribute = 1;
    }

    void getPragmaAttributeMatchRules(
        llvm::SmallVectorImpl<std::pair<clang::attr::SubjectMatchRule, bool>>& subjects,
        const clang::LangOptions&) const override {
        subjects.emplace_back(clang::attr::SubjectMatchRule_function_is_member, true);
        subjects.emplace_back(clang::attr::SubjectMatchRule_variable_is_local, true);
    }

    AttrHandling handleDeclAttribute(clang::Sema& sema, clang::Decl* declaration,
                                     const ParsedAttr&) const override {
        // Only programs have the attribute, and this is who reads them.
        static_cast<ProgramConsumer&>(sema.Consumer).addressSpaces().qualify(*declaration);
        return AttributeApplied;
    }
};

} // namespace

void registerAttributes() {
    static const clang::ParsedAttrInfoRegistry::Add<LanguageAttribute> attributes(
        "starloom", "attributes of the shading language");
    static const clang::ParsedAttrInfoRegistry::Add<SpaceAttribute> space(
        "starloom-spaces", "address spaces of declarations");
}

const clang::AnnotateTypeAttr* findAttribute(const clang::Decl& declaration, llvm::StringRef name) {
    const std::string wanted = annotationName(name);
    for (const auto* annotation : declaration.specific_attrs<clang::AnnotateTypeAttr>())
        if (annotation->getAnnotation() == wanted)
            return annotation;
    return nullptr;
}

bool isIgnoredAttribute(llvm::StringRef name) {
    return ignoredNames.contains((" " + name + " ").str());
}

} // namespace compute::metal
