// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From a lowered kernel to a SPIR-V module: what all functions of it share (types, variables, push
// constants, what is built in), and then each function.
#pragma once

#include "compute/spirv/ShaderInterface.h"
#include "compute/spirv/emit/Assembler.h"
#include "compute/spirv/passes/Lowering.h"

#include <llvm/IR/Constants.h>
#include <llvm/IR/InstrTypes.h>

#include <map>

namespace compute::spirv {

class ModuleEmitter {
public:
    explicit ModuleEmitter(const Lowering& lowering) : m_lowering(lowering) {}

    /// The error names what SPIR-V has no counterpart for.
    platform::Result<Shader> run();

    // For the functions

    Assembler& code() { return m_code; }
    const Lowering& lowering() const { return m_lowering; }
    Requirements& requirements() { return m_requirements; }
    void followPointers() { m_followsPointers = true; }
    Id typeOf(llvm::Type* type);
    Id constant(const llvm::Constant& value);
    Id functionId(const llvm::Function& function);
    /// The variable; of those of a function, one that is declared in it.
    Id variable(unsigned number) { return m_variables.at(number); }
    Id elementPointerType(unsigned number);
    static spv::StorageClass storageOf(const Variable& variable);
    /// A variable that the device fills, of three numbers or one.
    Id builtIn(spv::BuiltIn which, bool isVector);
    Id pushConstants();
    /// The variable that a view of a buffer is.
    Id view(unsigned number);
    /// How many of a view's elements its descriptor begins before the buffer.
    Id viewBias(unsigned number);
    /// The type of the array that a variable is.
    Id arrayType(unsigned number);
    Id lengthConstant(unsigned number);
    /// A constant: whether the workgroup consists of full subgroups.
    Id hasSubgroups();

private:
    void addVariables();
    Id initialValue(unsigned number, Id type);
    Id viewType(const BufferView& view);
    /// The one of this number.
    Id specialisation(std::uint32_t number, std::uint32_t value);
    Id specialisedWorkgroupWidth();
    Id lengthByThreads();
    /// An operation on constants of which some are only known then.
    Id calculated(Id type, spv::Op operation, std::initializer_list<Id> operands);
    void addWorkgroupSize();
    void addEntryPoint(Id function);
    void addModes(Id function);

    const Lowering& m_lowering;
    Assembler m_code;
    Requirements m_requirements;
    bool m_followsPointers = false;
    std::uint32_t m_groupBytes = 0;
    std::uint32_t m_groupBytesOfThread = 0;
    std::map<unsigned, Id> m_variables;
    std::map<unsigned, Id> m_views;
    std::map<std::pair<unsigned, unsigned>, Id> m_viewTypes; ///< by bits and components
    std::map<std::uint32_t, Id> m_specialisations;
    std::map<const llvm::Function*, Id> m_functions;
    std::map<spv::BuiltIn, Id> m_builtIns;
    std::vector<Id> m_interface; ///< variables of the module
    Id m_pushConstants = 0;
};

} // namespace compute::spirv
