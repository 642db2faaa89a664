// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/Reflection.h"

#include "compute/metal/Attributes.h"
#include "compute/metal/Language.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/Attr.h>
#include <clang/AST/DeclTemplate.h>
#include <clang/Sema/Sema.h>
#include <llvm/ADT/StringSwitch.h>

#include <map>
#include <optional>
#include <set>

namespace compute::metal {
namespace {

struct AttributeKind {
    const char* attribute;
    ParameterKind kind;
};
constexpr AttributeKind resources[] = {
    {"buffer", ParameterKind::Buffer},
    {"texture", ParameterKind::Texture},
    {"sampler", ParameterKind::Sampler},
    {"threadgroup", ParameterKind::ThreadgroupMemory},
};
constexpr AttributeKind threadValues[] = {
    {"thread_position_in_grid", ParameterKind::ThreadPositionInGrid},
    {"threads_per_grid", ParameterKind::ThreadsPerGrid},
    {"thread_position_in_threadgroup", ParameterKind::ThreadPositionInThreadgroup},
    {"threadgroup_position_in_grid", ParameterKind::ThreadgroupPositionInGrid},
    {"threads_per_threadgroup", ParameterKind::ThreadsPerThreadgroup},
    {"dispatch_threads_per_threadgroup", ParameterKind::DispatchThreadsPerThreadgroup},
    {"threadgroups_per_grid", ParameterKind::ThreadgroupsPerGrid},
    {"thread_index_in_threadgroup", ParameterKind::ThreadIndexInThreadgroup},
    {"thread_index_in_simdgroup", ParameterKind::ThreadIndexInSimdgroup},
    {"simdgroup_index_in_threadgroup", ParameterKind::SimdgroupIndexInThreadgroup},
    {"simdgroups_per_threadgroup", ParameterKind::SimdgroupsPerThreadgroup},
    {"dispatch_simdgroups_per_threadgroup", ParameterKind::DispatchSimdgroupsPerThreadgroup},
    {"threads_per_simdgroup", ParameterKind::ThreadsPerSimdgroup},
    {"thread_execution_width", ParameterKind::ThreadsPerSimdgroup},
    {"thread_index_in_quadgroup", ParameterKind::ThreadIndexInQuadgroup},
    {"quadgroup_index_in_threadgroup", ParameterKind::QuadgroupIndexInThreadgroup},
    {"quadgroups_per_threadgroup", ParameterKind::QuadgroupsPerThreadgroup},
    {"dispatch_quadgroups_per_threadgroup", ParameterKind::DispatchQuadgroupsPerThreadgroup},
};
/// Values of the language that this system has no counterpart of.
constexpr const char* unsupportedValues[] = {"grid_origin", "grid_size", "stage_in"};

const char* attributeName(ParameterKind kind) {
    for (const auto& each : resources)
        if (each.kind == kind)
            return each.attribute;
    for (const auto& each : threadValues)
        if (each.kind == kind)
            return each.attribute;
    llvm_unreachable("every kind has an attribute");
}

std::optional<std::uint32_t> indexOf(const clang::AnnotateTypeAttr& annotation,
                                     const clang::ASTContext& context) {
    if (annotation.args_size() != 1)
        return std::nullopt;
    const clang::Expr* argument = *annotation.args_begin();
    if (argument->isValueDependent() || !argument->isIntegerConstantExpr(context))
        return std::nullopt;
    return std::uint32_t(argument->EvaluateKnownConstInt(context).getZExtValue());
}

/// Whether the value is a number even where grids have several axes.
constexpr bool isOneNumber(ParameterKind kind) {
    switch (kind) {
    case ParameterKind::ThreadIndexInThreadgroup:
    case ParameterKind::ThreadIndexInSimdgroup:
    case ParameterKind::SimdgroupIndexInThreadgroup:
    case ParameterKind::SimdgroupsPerThreadgroup:
    case ParameterKind::ThreadsPerSimdgroup:
    case ParameterKind::ThreadIndexInQuadgroup:
    case ParameterKind::QuadgroupIndexInThreadgroup:
    case ParameterKind::QuadgroupsPerThreadgroup:
    case ParameterKind::DispatchSimdgroupsPerThreadgroup:
    case ParameterKind::DispatchQuadgroupsPerThreadgroup:
        return true;
    default:
        return false;
    }
}

/// Which resource a value of this type binds, by the library class that it is.
std::optional<ParameterKind> resourceKind(clang::QualType type) {
    if (type->isReferenceType() || type->isPointerType())
        return ParameterKind::Buffer;
    const clang::CXXRecordDecl* record = type->getAsCXXRecordDecl();
    if (record == nullptr || !record->getIdentifier())
        return std::nullopt;
    const auto* space = llvm::dyn_cast<clang::NamespaceDecl>(
        record->getDeclContext()->getEnclosingNamespaceContext());
    if (space == nullptr || space->getName() != "metal")
        return std::nullopt;
    if (record->getName() == "sampler")
        return ParameterKind::Sampler;
    if (record->getName().starts_with("texture") || record->getName().starts_with("depth"))
        return ParameterKind::Texture;
    return std::nullopt;
}

/// What a parameter of this type is for, if nothing of the kind runs here.
std::optional<llvm::StringRef> absentFeature(clang::QualType type) {
    const clang::CXXRecordDecl* record = type->getAsCXXRecordDecl();
    if (record == nullptr || !record->getIdentifier() ||
        !record->getASTContext().getSourceManager().isInSystemHeader(record->getLocation()))
        return std::nullopt;
    return llvm::StringSwitch<std::optional<llvm::StringRef>>(record->getName())
        .Cases("acceleration_structure", "intersection_function_table", "ray tracing")
        .Case("visible_function_table", "function tables")
        .Case("imageblock", "imageblocks")
        .Cases("mesh", "mesh_grid_properties", "meshes")
        .Case("command_buffer", "command encoding")
        .Default(std::nullopt);
}

/// What a template of the library with an element type and a number was given.
struct Elements {
    clang::QualType element;
    std::uint64_t count = 1;
};
std::optional<Elements> elementsOf(const clang::ClassTemplateSpecializationDecl& record,
                                   llvm::StringRef name) {
    const auto& arguments = record.getTemplateArgs();
    if (record.getName() != name || arguments.size() < 2 ||
        arguments[0].getKind() != clang::TemplateArgument::Type ||
        arguments[1].getKind() != clang::TemplateArgument::Integral)
        return std::nullopt;
    return Elements{arguments[0].getAsType(),
                    arguments[1].getAsIntegral().getLimitedValue(UINT32_MAX)};
}

/// array<texture2d<float>, 4> and such.
std::optional<Elements> resourceArray(clang::QualType type) {
    const auto* array =
        llvm::dyn_cast_or_null<clang::ClassTemplateSpecializationDecl>(type->getAsCXXRecordDecl());
    const auto elements = array != nullptr ? elementsOf(*array, "array") : std::nullopt;
    if (!elements ||
        resourceKind(elements->element).value_or(ParameterKind::Buffer) == ParameterKind::Buffer)
        return std::nullopt;
    return elements;
}

/// What the class of a texture says about what can be bound to it.
void describeTexture(clang::QualType type, Parameter& parameter) {
    const auto* record =
        llvm::cast<clang::ClassTemplateSpecializationDecl>(type->getAsCXXRecordDecl());
    llvm::StringRef shape = record->getName();
    const bool isDepth = shape.consume_front("depth");
    shape.consume_front("texture");
    parameter.textureType = llvm::StringSwitch<TextureType>(shape)
                                .Case("1d", TextureType::D1)
                                .Case("1d_array", TextureType::D1Array)
                                .Case("2d_array", TextureType::D2Array)
                                .Case("2d_ms", TextureType::D2Multisample)
                                .Case("2d_ms_array", TextureType::D2MultisampleArray)
                                .Case("3d", TextureType::D3)
                                .Case("cube", TextureType::Cube)
                                .Case("cube_array", TextureType::CubeArray)
                                .Case("_buffer", TextureType::Buffer)
                                .Default(TextureType::D2);
    const clang::QualType texel = record->getTemplateArgs()[0].getAsType();
    parameter.texels = isDepth                                     ? TexelKind::Depth
                       : texel->isUnsignedIntegerType()            ? TexelKind::Unsigned
                       : texel->isSignedIntegerOrEnumerationType() ? TexelKind::Signed
                                                                   : TexelKind::Color;
}

struct Components {
    std::uint8_t count = 0;
    std::uint8_t bytes = 0;
};

/// What a vector of the library is made of; a scalar is made of itself.
std::optional<Elements> lanesOf(clang::QualType type) {
    const auto* vector =
        llvm::dyn_cast_or_null<clang::ClassTemplateSpecializationDecl>(type->getAsCXXRecordDecl());
    return vector != nullptr ? elementsOf(*vector, "vec") : Elements{type};
}

/// The shape of a thread attribute's value: one to three unsigned integers of 16 or 32 bits.
std::optional<Components> threadValueShape(clang::QualType type, const clang::ASTContext& context) {
    const auto lanes = lanesOf(type);
    if (!lanes || !lanes->element->isUnsignedIntegerType() || lanes->element->isBooleanType() ||
        lanes->count < 1 || lanes->count > 3)
        return std::nullopt;
    const std::uint64_t bytes = context.getTypeSize(lanes->element) / 8;
    if (bytes != 2 && bytes != 4)
        return std::nullopt;
    return Components{std::uint8_t(lanes->count), std::uint8_t(bytes)};
}

std::optional<DataType> scalarType(clang::QualType type) {
    const auto* builtin = type->getAs<clang::BuiltinType>();
    if (builtin == nullptr)
        return std::nullopt;
    switch (builtin->getKind()) {
    case clang::BuiltinType::Bool:
        return DataType::Bool;
    case clang::BuiltinType::Char_S:
    case clang::BuiltinType::SChar:
        return DataType::Char;
    case clang::BuiltinType::Char_U:
    case clang::BuiltinType::UChar:
        return DataType::UChar;
    case clang::BuiltinType::Short:
        return DataType::Short;
    case clang::BuiltinType::UShort:
        return DataType::UShort;
    case clang::BuiltinType::Int:
        return DataType::Int;
    case clang::BuiltinType::UInt:
        return DataType::UInt;
    case clang::BuiltinType::Float16:
    case clang::BuiltinType::Half:
        return DataType::Half;
    case clang::BuiltinType::Float:
        return DataType::Float;
    default:
        return std::nullopt;
    }
}

/// Of a function constant.
std::optional<DataType> constantType(clang::QualType type) {
    const auto lanes = lanesOf(type);
    const auto scalar = lanes ? scalarType(lanes->element) : std::nullopt;
    if (!scalar || lanes->count < 1 || lanes->count > 4)
        return std::nullopt;
    return vectorOf(*scalar, lanes->count);
}

/// Reads the parameters of one kernel.
class KernelReader {
public:
    KernelReader(clang::Sema& sema, clang::FunctionDecl& function)
        : m_sema(sema), m_function(function) {
        m_result.name = functionName();
    }

    kernel::KernelDeclaration read() {
        if (!m_function.getReturnType()->isVoidType())
            error(m_function.getLocation(), "kernel function must return 'void'");
        std::vector<clang::ParmVarDecl*> unplaced;
        m_result.parameters.resize(m_function.getNumParams());
        for (unsigned i = 0; i < m_function.getNumParams(); ++i)
            readLocatedParameter(i);
        for (unsigned i : m_withoutIndex)
            placeParameter(i);
        return std::move(m_result);
    }

private:
    std::string functionName() const {
        if (const auto* annotation = findAttribute(m_function, "host_name"))
            if (annotation->args_size() == 1)
                if (const auto* text = llvm::dyn_cast<clang::StringLiteral>(
                        (*annotation->args_begin())->IgnoreParenImpCasts()))
                    return text->getString().str();
        return m_function.getQualifiedNameAsString();
    }

    void readLocatedParameter(unsigned number) {
        readParameter(number);
        if (m_result.unsupported.empty() || !m_result.unsupportedAt.empty())
            return;
        const clang::PresumedLoc place =
            m_sema.SourceMgr.getPresumedLoc(m_function.getParamDecl(number)->getLocation());
        if (place.isValid())
            m_result.unsupportedAt = std::string(sourceName) + ":" +
                                     std::to_string(place.getLine()) + ":" +
                                     std::to_string(place.getColumn());
    }

    void readParameter(unsigned number) {
        const clang::ParmVarDecl& declaration = *m_function.getParamDecl(number);
        Parameter& parameter = m_result.parameters[number];
        parameter.name = declaration.getNameAsString();
        for (const auto& value : threadValues)
            if (findAttribute(declaration, value.attribute))
                return readThreadValue(declaration, value, parameter);
        for (const char* name : unsupportedValues)
            if (findAttribute(declaration, name)) {
                m_result.unsupported = std::string("'") + name + "' is not supported";
                return;
            }
        if (const auto feature = absentFeature(declaration.getType())) {
            m_result.unsupported = feature->str() + " cannot run here";
            return;
        }
        for (const auto& resource : resources)
            if (const auto* annotation = findAttribute(declaration, resource.attribute))
                return readResource(declaration, resource, *annotation, parameter);
        const auto kind = readType(declaration, parameter);
        if (!kind)
            return error(declaration.getLocation(),
                         "invalid type %0 for input declaration in a kernel function",
                         declaration.getType());
        parameter.kind = *kind;
        m_withoutIndex.push_back(number);
    }

    void readThreadValue(const clang::ParmVarDecl& declaration, const AttributeKind& value,
                         Parameter& parameter) {
        const auto shape = threadValueShape(declaration.getType(), m_sema.Context);
        const bool isScalarOnly = isOneNumber(value.kind);
        if (!shape || (isScalarOnly && shape->count != 1)) {
            const std::string text =
                std::string("type %0 is not valid for attribute '") + value.attribute + "'";
            return error(declaration.getLocation(), text, declaration.getType());
        }
        parameter.kind = value.kind;
        parameter.components = shape->count;
        parameter.componentBytes = shape->bytes;
    }

    /// What a parameter of that type binds.
    static std::optional<ParameterKind> readType(const clang::ParmVarDecl& declaration,
                                                 Parameter& parameter) {
        const auto array = resourceArray(declaration.getType());
        const clang::QualType type = array ? array->element : declaration.getType();
        const auto kind = resourceKind(type);
        if (array)
            parameter.count = static_cast<std::uint32_t>(array->count);
        if (kind == ParameterKind::Texture)
            describeTexture(type, parameter);
        return kind;
    }

    void readResource(const clang::ParmVarDecl& declaration, const AttributeKind& resource,
                      const clang::AnnotateTypeAttr& annotation, Parameter& parameter) {
        auto kind = readType(declaration, parameter);
        const auto index = indexOf(annotation, m_sema.Context);
        if (kind == ParameterKind::Buffer && resource.kind == ParameterKind::ThreadgroupMemory)
            kind = resource.kind;
        if (kind != resource.kind) {
            const std::string text =
                std::string("type %0 is not valid for attribute '") + resource.attribute + "'";
            return error(declaration.getLocation(), text, declaration.getType());
        }
        parameter.kind = resource.kind;
        parameter.index = index.value_or(0);
        const std::uint32_t most = maxArguments(parameter.kind);
        if (parameter.index >= most || parameter.count > most - parameter.index)
            return error(annotation.getLocation(), std::string("the array needs more '") +
                                                       resource.attribute +
                                                       "' indices than there are");
        for (std::uint32_t i = parameter.index; i < parameter.index + parameter.count; ++i)
            if (!m_used[resource.kind].insert(i).second)
                return error(annotation.getLocation(), std::string("'") + resource.attribute +
                                                           "' index " + std::to_string(i) +
                                                           " is used by more than one parameter");
    }

    /// Parameters without an index take the first ones that are free.
    void placeParameter(unsigned number) {
        Parameter& parameter = m_result.parameters[number];
        std::set<std::uint32_t>& used = m_used[parameter.kind];
        const std::uint32_t most = maxArguments(parameter.kind);
        while (parameter.index < most && !areFree(used, parameter))
            ++parameter.index;
        for (std::uint32_t i = 0; i < parameter.count && i < most; ++i)
            used.insert(parameter.index + i);
        if (parameter.index >= most || parameter.count > most - parameter.index)
            error(m_function.getParamDecl(number)->getLocation(),
                  std::string("no '") + attributeName(parameter.kind) + "' index is left");
    }

    static bool areFree(const std::set<std::uint32_t>& used, const Parameter& parameter) {
        const auto next = used.lower_bound(parameter.index);
        return next == used.end() || *next - parameter.index >= parameter.count;
    }

    void error(clang::SourceLocation location, llvm::StringRef text) {
        const unsigned id =
            m_sema.Diags.getDiagnosticIDs()->getCustomDiagID(clang::DiagnosticIDs::Error, text);
        m_sema.Diag(location, id);
    }
    void error(clang::SourceLocation location, llvm::StringRef text, clang::QualType type) {
        const unsigned id =
            m_sema.Diags.getDiagnosticIDs()->getCustomDiagID(clang::DiagnosticIDs::Error, text);
        m_sema.Diag(location, id) << type;
    }

    clang::Sema& m_sema;
    clang::FunctionDecl& m_function;
    kernel::KernelDeclaration m_result;
    std::map<ParameterKind, std::set<std::uint32_t>> m_used;
    std::vector<unsigned> m_withoutIndex;
};

/// Walks the declarations and collects.
class Reflector {
public:
    explicit Reflector(clang::Sema& sema) : m_sema(sema) {}

    Reflection take() { return std::move(m_result); }

    void visit(clang::Decl* declaration) {
        if (auto* function = llvm::dyn_cast<clang::FunctionDecl>(declaration))
            visitFunction(*function);
        else if (auto* variable = llvm::dyn_cast<clang::VarDecl>(declaration))
            visitVariable(*variable);
        else if (llvm::isa<clang::NamespaceDecl, clang::LinkageSpecDecl>(declaration))
            for (clang::Decl* each : llvm::cast<clang::DeclContext>(declaration)->decls())
                visit(each);
    }

private:
    void visitFunction(clang::FunctionDecl& function) {
        if (findAttribute(function, "kernel") != nullptr &&
            function.isThisDeclarationADefinition() && !function.isDependentContext())
            m_result.kernels.push_back({&function, KernelReader(m_sema, function).read()});
    }

    void visitVariable(clang::VarDecl& variable) {
        const auto* annotation = findAttribute(variable, "function_constant");
        if (annotation == nullptr)
            return;
        const auto type = constantType(variable.getType());
        const auto index = indexOf(*annotation, m_sema.Context);
        if (!type || !index || !variable.getType().isConstQualified()) {
            const unsigned id = m_sema.Diags.getCustomDiagID(
                clang::DiagnosticsEngine::Error, "invalid type %0 for a function constant");
            m_sema.Diag(variable.getLocation(), id) << variable.getType();
            return;
        }
        m_result.constants.push_back(
            {&variable, {variable.getQualifiedNameAsString(), "", *index, *type, false}});
    }

    clang::Sema& m_sema;
    Reflection m_result;
};

} // namespace

Reflection reflect(clang::Sema& sema, llvm::ArrayRef<clang::Decl*> declarations) {
    Reflector reflector(sema);
    for (clang::Decl* declaration : declarations)
        reflector.visit(declaration);
    return reflector.take();
}

} // namespace compute::metal
