// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/emit/ModuleEmitter.h"

#include "compute/spirv/emit/FunctionEmitter.h"

#include <array>

namespace compute::spirv {
namespace {

using spv::Op;

std::vector<std::uint32_t> wordsOf(const llvm::APInt& bits) {
    std::vector<std::uint32_t> words{static_cast<std::uint32_t>(
        bits.extractBitsAsZExtValue(std::min(32U, bits.getBitWidth()), 0))};
    if (bits.getBitWidth() > 32)
        words.push_back(static_cast<std::uint32_t>(bits.extractBitsAsZExtValue(32, 32)));
    return words;
}

} // namespace

Id ModuleEmitter::typeOf(llvm::Type* type) {
    if (type->isVoidTy())
        return m_code.nothing();
    if (type->isIntegerTy(1))
        return m_code.boolean();
    if (type->isPointerTy())
        return typeOf(llvm::Type::getInt64Ty(type->getContext()));
    if (auto* structure = llvm::dyn_cast<llvm::StructType>(type)) { // what a function returns
        std::vector<std::uint32_t> members;
        for (llvm::Type* member : structure->elements())
            members.push_back(typeOf(member));
        return m_code.structure(members);
    }
    if (auto* vector = llvm::dyn_cast<llvm::FixedVectorType>(type)) // of a wide access
        return m_code.type(Op::OpTypeVector,
                           {typeOf(vector->getElementType()), vector->getNumElements()});
    if (type->isHalfTy() && !m_lowering.features.float16)
        return typeOf(llvm::Type::getInt16Ty(type->getContext()));
    const unsigned bits = type->getPrimitiveSizeInBits().getFixedValue();
    if (type->isIntegerTy()) {
        if (bits == 8)
            m_code.capability(spv::Capability::Int8);
        else if (bits == 16)
            m_code.capability(spv::Capability::Int16);
        return m_code.integer(bits);
    }
    if (bits == 16) {
        m_code.capability(spv::Capability::Float16);
        m_requirements.float16 = true;
    } else if (bits == 64) {
        m_code.capability(spv::Capability::Float64);
        m_requirements.float64 = true;
    }
    return m_code.real(bits);
}

Id ModuleEmitter::constant(const llvm::Constant& value) {
    if (const auto* conversion = llvm::dyn_cast<llvm::ConstantExpr>(&value);
        conversion != nullptr && conversion->getOpcode() == llvm::Instruction::IntToPtr)
        return constant(*conversion->getOperand(0));
    llvm::Type* type = value.getType();
    if (const auto* number = llvm::dyn_cast<llvm::ConstantInt>(&value)) {
        if (type->isIntegerTy(1))
            return m_code.constant(number->isOne() ? Op::OpConstantTrue : Op::OpConstantFalse,
                                   m_code.boolean());
        return m_code.constant(Op::OpConstant, typeOf(type), wordsOf(number->getValue()));
    }
    if (const auto* number = llvm::dyn_cast<llvm::ConstantFP>(&value))
        return m_code.constant(Op::OpConstant, typeOf(type),
                               wordsOf(number->getValueAPF().bitcastToAPInt()));
    return m_code.constant(Op::OpConstantNull, typeOf(type));
}

Id ModuleEmitter::functionId(const llvm::Function& function) {
    Id& id = m_functions[&function];
    if (id == 0)
        id = m_code.newId();
    return id;
}

spv::StorageClass ModuleEmitter::storageOf(const Variable& variable) {
    switch (variable.storage) {
    case Variable::Storage::Function:
        return spv::StorageClass::Function;
    case Variable::Storage::Workgroup:
        return spv::StorageClass::Workgroup;
    case Variable::Storage::Private:
    case Variable::Storage::Constant:
        break;
    }
    return spv::StorageClass::Private;
}

Id ModuleEmitter::elementPointerType(unsigned number) {
    const Variable& variable = m_lowering.variables[number];
    return m_code.pointer(storageOf(variable), typeOf(variable.element));
}

Id ModuleEmitter::viewType(const BufferView& view) {
    Id& known = m_viewTypes[{view.bits, view.components}];
    if (known != 0)
        return known;
    if (view.bits == 8)
        m_code.capability(spv::Capability::Int8);
    else if (view.bits == 16)
        m_code.capability(spv::Capability::Int16);
    Id element = m_code.integer(view.bits);
    if (view.components > 1)
        element = m_code.type(Op::OpTypeVector, {element, view.components});
    const Id array = m_code.type(Op::OpTypeRuntimeArray, {element});
    m_code.decorate(array, spv::Decoration::ArrayStride, {view.elementBytes()});
    known = m_code.structure(std::array{array});
    m_code.decorate(known, spv::Decoration::Block);
    m_code.add(Assembler::Decorations, Op::OpMemberDecorate,
               {known, 0, numberOf(spv::Decoration::Offset), 0});
    return known;
}

Id ModuleEmitter::view(unsigned number) {
    Id& id = m_views[number];
    if (id != 0)
        return id;
    const BufferView& view = m_lowering.views[number];
    const Id pointer = m_code.pointer(spv::StorageClass::StorageBuffer, viewType(view));
    id = m_code.newId();
    m_code.add(Assembler::Globals, Op::OpVariable,
               {pointer, id, numberOf(spv::StorageClass::StorageBuffer)});
    m_code.decorate(id, spv::Decoration::DescriptorSet, {0});
    m_code.decorate(id, spv::Decoration::Binding, {view.binding});
    // Other views, other bindings and addresses may lead to the same memory.
    m_code.decorate(id, spv::Decoration::Aliased);
    m_interface.push_back(id);
    return id;
}

Id ModuleEmitter::viewBias(unsigned number) {
    const BufferView& view = m_lowering.views[number];
    return calculated(
        m_code.integer(32), Op::OpUDiv,
        {specialisation(FirstDescriptorBias + view.binding, 0), m_code.word(view.elementBytes())});
}

Id ModuleEmitter::specialisation(std::uint32_t number, std::uint32_t value) {
    Id& id = m_specialisations[number];
    if (id != 0)
        return id;
    id = m_code.newId();
    m_code.add(Assembler::Globals, Op::OpSpecConstant, {m_code.integer(32), id, value});
    m_code.decorate(id, spv::Decoration::SpecId, {number});
    return id;
}

Id ModuleEmitter::calculated(Id type, Op operation, std::initializer_list<Id> operands) {
    std::vector<std::uint32_t> words{numberOf(operation)};
    words.insert(words.end(), operands);
    return m_code.constant(Op::OpSpecConstantOp, type, words);
}

Id ModuleEmitter::hasSubgroups() {
    const Id size = m_code.word(m_lowering.features.subgroupThreads);
    const Id beyond =
        calculated(m_code.integer(32), Op::OpUMod, {specialisedWorkgroupWidth(), size});
    return calculated(m_code.boolean(), Op::OpIEqual, {beyond, m_code.word(0)});
}

Id ModuleEmitter::lengthByThreads() {
    const Id word = m_code.integer(32);
    const Id more = calculated(word, Op::OpIAdd,
                               {specialisedWorkgroupWidth(), m_code.word(simdgroupThreads - 1)});
    const Id threads =
        calculated(word, Op::OpBitwiseAnd, {more, m_code.word(~(simdgroupThreads - 1))});
    if (m_lowering.features.subgroupThreads == 0)
        return threads;
    return calculated(word, Op::OpSelect, {hasSubgroups(), m_code.word(1), threads});
}

Id ModuleEmitter::lengthConstant(unsigned number) {
    const Variable& variable = m_lowering.variables[number];
    const auto count = static_cast<std::uint32_t>(variable.count);
    if (variable.isSizedByThreads)
        return lengthByThreads();
    if (!variable.isSizedByArguments)
        return m_code.word(count);
    const std::uint32_t bytes = variable.element->getScalarSizeInBits() / 8;
    const Id word = m_code.integer(32);
    const Id elements = calculated(
        word, Op::OpUDiv, {specialisation(ThreadgroupArgumentBytes, 0), m_code.word(bytes)});
    return calculated(word, Op::OpIAdd, {elements, m_code.word(count)});
}

Id ModuleEmitter::arrayType(unsigned number) {
    const Variable& variable = m_lowering.variables[number];
    return m_code.type(Op::OpTypeArray, {typeOf(variable.element), lengthConstant(number)});
}

Id ModuleEmitter::initialValue(unsigned number, Id type) {
    const Variable& variable = m_lowering.variables[number];
    if (variable.storage == Variable::Storage::Workgroup)
        return m_code.constant(Op::OpConstantNull, type);
    if (variable.storage != Variable::Storage::Constant)
        return 0;
    std::vector<std::uint32_t> values;
    values.reserve(variable.values.size());
    for (const llvm::Constant* value : variable.values)
        values.push_back(constant(*value));
    return m_code.constant(Op::OpConstantComposite, type, values);
}

void ModuleEmitter::addVariables() {
    for (unsigned number = 0; number < m_lowering.variables.size(); ++number) {
        const Variable& variable = m_lowering.variables[number];
        const Id id = m_code.newId();
        m_variables[number] = id;
        if (variable.storage == Variable::Storage::Function)
            continue;
        const Id type = arrayType(number);
        std::vector<std::uint32_t> operands{m_code.pointer(storageOf(variable), type), id,
                                            numberOf(storageOf(variable))};
        if (const Id initial = initialValue(number, type); initial != 0)
            operands.push_back(initial);
        m_code.add(Assembler::Globals, Op::OpVariable, operands);
        m_interface.push_back(id);
        if (variable.storage != Variable::Storage::Workgroup)
            continue;
        const std::uint32_t bytes = variable.element->getScalarSizeInBits() / 8;
        m_groupBytes += static_cast<std::uint32_t>(variable.count) * bytes;
        m_groupBytesOfThread += variable.isSizedByThreads ? bytes : 0;
    }
}

Id ModuleEmitter::builtIn(spv::BuiltIn which, bool isVector) {
    Id& id = m_builtIns[which];
    if (id == 0) {
        id = m_code.newId();
        const Id word = m_code.integer(32);
        const Id type = isVector ? m_code.type(Op::OpTypeVector, {word, 3}) : word;
        m_code.add(Assembler::Globals, Op::OpVariable,
                   {m_code.pointer(spv::StorageClass::Input, type), id,
                    numberOf(spv::StorageClass::Input)});
        m_code.decorate(id, spv::Decoration::BuiltIn, {numberOf(which)});
        m_interface.push_back(id);
    }
    return id;
}

Id ModuleEmitter::pushConstants() {
    if (m_pushConstants != 0)
        return m_pushConstants;
    const Id address = m_code.integer(64);
    const Id word = m_code.integer(32);
    std::vector<Id> members;
    std::vector<std::size_t> offsets;
    const auto add = [&](Id type, std::size_t offset, std::size_t count = 1) {
        const std::size_t bytes = type == word ? sizeof(std::uint32_t) : sizeof(std::uint64_t);
        for (std::size_t i = 0; i < count; ++i) {
            members.push_back(type);
            offsets.push_back(offset + i * bytes);
        }
    };
    add(address, offsetof(PushConstants, bindings));
    add(address, offsetof(PushConstants, grid));
    add(address, offsetof(PushConstants, memory));
    add(word, offsetof(PushConstants, begin));
    add(word, offsetof(PushConstants, end));
    add(address, offsetof(PushConstants, spare));
    add(word, offsetof(PushConstants, size), 3);
    add(address, offsetof(PushConstants, direct), std::size_t{2} * directRecords);
    const Id type = m_code.structure(members);
    m_code.decorate(type, spv::Decoration::Block);
    for (std::uint32_t i = 0; i < offsets.size(); ++i)
        m_code.add(Assembler::Decorations, Op::OpMemberDecorate,
                   {type, i, numberOf(spv::Decoration::Offset), numberOf(offsets[i])});
    m_pushConstants = m_code.newId();
    m_code.add(Assembler::Globals, Op::OpVariable,
               {m_code.pointer(spv::StorageClass::PushConstant, type), m_pushConstants,
                numberOf(spv::StorageClass::PushConstant)});
    m_interface.push_back(m_pushConstants);
    return m_pushConstants;
}

Id ModuleEmitter::specialisedWorkgroupWidth() {
    constexpr std::uint32_t anyWidth = 64;
    return specialisation(WorkgroupWidth, anyWidth);
}

void ModuleEmitter::addWorkgroupSize() {
    const Id x = specialisedWorkgroupWidth();
    const Id y = specialisation(WorkgroupHeight, 1);
    const Id z = specialisation(WorkgroupDepth, 1);
    const Id type = m_code.type(Op::OpTypeVector, {m_code.integer(32), 3});
    const Id size = m_code.newId();
    m_code.add(Assembler::Globals, Op::OpSpecConstantComposite, {type, size, x, y, z});
    m_code.decorate(size, spv::Decoration::BuiltIn, {numberOf(spv::BuiltIn::WorkgroupSize)});
}

void ModuleEmitter::addModes(Id function) {
    const Features& features = m_lowering.features;
    const auto mode = [&](bool isThere, spv::Capability capability, spv::ExecutionMode what,
                          std::uint32_t bits) {
        if (!isThere)
            return;
        m_code.capability(capability);
        m_code.add(Assembler::Modes, Op::OpExecutionMode, {function, numberOf(what), bits});
    };
    mode(features.preservesNan, spv::Capability::SignedZeroInfNanPreserve,
         spv::ExecutionMode::SignedZeroInfNanPreserve, 32);
    mode(features.flushesDenormals, spv::Capability::DenormFlushToZero,
         spv::ExecutionMode::DenormFlushToZero, 32);
    mode(features.roundsToEven, spv::Capability::RoundingModeRTE,
         spv::ExecutionMode::RoundingModeRTE, 32);
    mode(m_requirements.float16, spv::Capability::RoundingModeRTE,
         spv::ExecutionMode::RoundingModeRTE, 16);
    if (features.subgroupsReconverge && m_requirements.subgroupThreads != 0) {
        m_code.extension("SPV_KHR_subgroup_uniform_control_flow");
        m_code.add(Assembler::Modes, Op::OpExecutionMode,
                   {function, numberOf(spv::ExecutionMode::SubgroupUniformControlFlowKHR)});
    }
}

void ModuleEmitter::addEntryPoint(Id function) {
    m_code.addText(Assembler::EntryPoints, Op::OpEntryPoint,
                   {numberOf(spv::ExecutionModel::GLCompute), function}, "main", m_interface);
}

platform::Result<Shader> ModuleEmitter::run() {
    for (const spv::Capability capability :
         {spv::Capability::Shader, spv::Capability::Int64,
          spv::Capability::PhysicalStorageBufferAddresses, spv::Capability::VulkanMemoryModel,
          spv::Capability::VulkanMemoryModelDeviceScope, spv::Capability::StorageBuffer8BitAccess,
          spv::Capability::StorageBuffer16BitAccess})
        m_code.capability(capability);
    m_code.add(Assembler::Model, Op::OpMemoryModel,
               {numberOf(spv::AddressingModel::PhysicalStorageBuffer64),
                numberOf(spv::MemoryModel::Vulkan)});
    addWorkgroupSize();
    addVariables();
    for (const llvm::Function& function : m_lowering.module)
        if (!function.isDeclaration())
            SL42_TRY_VOID(FunctionEmitter(*this, function).run());
    const Id entry = functionId(*m_lowering.kernel);
    addEntryPoint(entry);
    addModes(entry);
    return Shader{.words = m_code.words(),
                  .entry = "main",
                  .requirements = m_requirements,
                  .runsInGroups = m_lowering.runsInGroups(),
                  .followsPointers = m_followsPointers,
                  .directSlots = m_lowering.directSlots,
                  .describedBuffers = m_lowering.describedBuffers,
                  .groupBytes = m_groupBytes,
                  .groupBytesOfThread = m_groupBytesOfThread};
}

} // namespace compute::spirv
