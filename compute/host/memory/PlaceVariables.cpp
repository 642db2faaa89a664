// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/memory/PlaceVariables.h"

#include "compute/kernel/GroupOperations.h"
#include "compute/kernel/Signatures.h"
#include "compute/kernel/containment/AddressRanges.h"

#include <llvm/ADT/DenseMap.h>
#include <llvm/ADT/SetVector.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/ReplaceConstant.h>

#include <algorithm>
#include <memory>

namespace compute::host {
namespace {

using kernel::Target;

/// The variables and tables that have to move.
class MovedVariables {
public:
    explicit MovedVariables(llvm::Module& module) : m_layout(module.getDataLayout()) {
        for (llvm::Function& function : module) {
            kernel::AddressRanges& ranges = *m_ranges.emplace_back(
                std::make_unique<kernel::AddressRanges>(module.getDataLayout()));
            m_rangesOf[&function] = &ranges;
            collectUnconfined(function, ranges);
        }
        for (llvm::Function& function : module)
            for (llvm::Instruction& instruction : llvm::instructions(function))
                if (llvm::isa<llvm::AllocaInst>(instruction) && escapes(instruction))
                    m_all.insert(&instruction);
        for (llvm::GlobalVariable& table : module.globals())
            if (escapes(table) || refersToOthers(*table.getInitializer()))
                m_all.insert(&table);
    }

    std::vector<llvm::AllocaInst*> variables() const { return all<llvm::AllocaInst>(); }
    std::vector<llvm::GlobalVariable*> tables() const { return all<llvm::GlobalVariable>(); }

private:
    template <class T>
    std::vector<T*> all() const {
        std::vector<T*> found;
        for (llvm::Value* value : m_all)
            if (auto* object = llvm::dyn_cast<T>(value))
                found.push_back(object);
        return found;
    }

    /// Collects those that some access may leave.
    void collectUnconfined(llvm::Function& function, kernel::AddressRanges& ranges) {
        llvm::SmallVector<kernel::MemoryAccess, 2> accesses;
        for (llvm::Instruction& instruction : llvm::instructions(function)) {
            accesses.clear();
            kernel::findAccesses(instruction, m_layout, accesses);
            for (const kernel::MemoryAccess& access : accesses)
                for (const Target& target : ranges.targets(*access.pointer()))
                    if ((target.kind == Target::Kind::Variable ||
                         target.kind == Target::Kind::Table) &&
                        !ranges.isConfined(target, access))
                        m_all.insert(const_cast<llvm::Value*>(target.base));
        }
    }

    /// Whether the address escapes to where it cannot be followed: into memory, another function or
    /// an integer, or around a loop that adds to it.
    bool escapes(llvm::Value& object) const {
        llvm::SmallSetVector<const llvm::Value*, 16> pointers;
        pointers.insert(&object);
        for (unsigned i = 0; i < pointers.size(); ++i) {
            if (isLost(object, *pointers[i]))
                return true;
            for (const llvm::Use& use : pointers[i]->uses()) {
                const llvm::User* user = use.getUser();
                if (llvm::isa<llvm::GEPOperator, llvm::PHINode, llvm::SelectInst, llvm::FreezeInst,
                              llvm::InsertElementInst, llvm::ExtractElementInst,
                              llvm::ShuffleVectorInst>(user))
                    pointers.insert(user);
                else if (const llvm::AllocaInst* list = kernel::listWrittenBy(use, m_layout))
                    addElements(*list, pointers);
                else if (!isFollowable(use))
                    return true;
            }
        }
        return false;
    }

    bool isLost(const llvm::Value& object, const llvm::Value& pointer) const {
        const auto* instruction = llvm::dyn_cast<llvm::Instruction>(&pointer);
        return instruction != nullptr &&
               llvm::none_of(m_rangesOf.lookup(instruction->getFunction())->targets(pointer),
                             [&](const Target& target) { return target.base == &object; });
    }

    static bool refersToOthers(const llvm::Constant& value) {
        return llvm::isa<llvm::GlobalVariable>(value) ||
               llvm::any_of(value.operands(), [](const llvm::Use& operand) {
                   return refersToOthers(*llvm::cast<llvm::Constant>(operand.get()));
               });
    }

    static void addElements(const llvm::AllocaInst& list,
                            llvm::SmallSetVector<const llvm::Value*, 16>& pointers) {
        llvm::SmallVector<const llvm::Value*> addresses = {&list};
        while (!addresses.empty())
            for (const llvm::User* user : addresses.pop_back_val()->users())
                if (llvm::isa<llvm::LoadInst>(user))
                    pointers.insert(user);
                else if (llvm::isa<llvm::GEPOperator>(user))
                    addresses.push_back(user);
    }

    static bool isFollowable(const llvm::Use& use) {
        const llvm::User* user = use.getUser();
        if (llvm::isa<llvm::StoreInst>(user))
            return use.getOperandNo() == 1;
        if (llvm::isa<llvm::AtomicRMWInst, llvm::AtomicCmpXchgInst>(user))
            return use.getOperandNo() == 0;
        if (const auto* call = llvm::dyn_cast<llvm::IntrinsicInst>(user)) {
            const bool storesIt = use.getOperandNo() == 0 &&
                                  (call->getIntrinsicID() == llvm::Intrinsic::masked_store ||
                                   call->getIntrinsicID() == llvm::Intrinsic::masked_scatter);
            return !storesIt;
        }
        return llvm::isa<llvm::LoadInst, llvm::ICmpInst>(user);
    }

    const llvm::DataLayout& m_layout;
    std::vector<std::unique_ptr<kernel::AddressRanges>> m_ranges;
    llvm::DenseMap<const llvm::Function*, kernel::AddressRanges*> m_rangesOf;
    llvm::SmallSetVector<llvm::Value*, 8> m_all;
};

/// Passes the pointer to KernelMemory on to the functions that need it.
class MemoryParameters {
public:
    explicit MemoryParameters(std::span<llvm::Argument* const> entries) {
        for (llvm::Argument* parameter : entries)
            m_parameters[parameter->getParent()] = parameter;
    }

    /// The parameter of the function that the instruction is in. A function without one is replaced
    /// by one that has it.
    llvm::Argument& at(const llvm::Instruction& instruction) {
        llvm::Function& function = *const_cast<llvm::Function*>(instruction.getFunction());
        if (llvm::Argument* known = m_parameters.lookup(&function))
            return *known;
        llvm::Function& extended = extend(function);
        llvm::Argument& parameter = *extended.getArg(extended.arg_size() - 1);
        m_parameters[&extended] = &parameter;
        for (llvm::User* user : llvm::make_early_inc_range(function.users()))
            passTo(extended, *llvm::cast<llvm::CallInst>(user));
        function.eraseFromParent();
        return parameter;
    }

private:
    static llvm::Function& extend(llvm::Function& function) {
        llvm::LLVMContext& context = function.getContext();
        llvm::SmallVector<llvm::Type*> types(function.getFunctionType()->params());
        types.push_back(llvm::PointerType::get(context, 0));
        llvm::Function& extended = kernel::changeType(
            function, *llvm::FunctionType::get(function.getReturnType(), types, false));
        extended.setLinkage(function.getLinkage());
        extended.copyAttributesFrom(&function);
        extended.copyMetadata(&function, 0);
        for (llvm::Argument& parameter : function.args())
            parameter.replaceAllUsesWith(extended.getArg(parameter.getArgNo()));
        kernel::describeRecord(*extended.getArg(extended.arg_size() - 1), sizeof(KernelMemory),
                               true);
        return extended;
    }

    void passTo(llvm::Function& extended, llvm::CallInst& call) {
        llvm::SmallVector<llvm::Value*> arguments(call.args());
        arguments.push_back(&at(call));
        llvm::IRBuilder<> builder(&call);
        llvm::CallInst* made = builder.CreateCall(&extended, arguments);
        made->setCallingConv(call.getCallingConv());
        made->setAttributes(call.getAttributes());
        made->takeName(&call);
        call.replaceAllUsesWith(made);
        call.eraseFromParent();
    }

    llvm::DenseMap<llvm::Function*, llvm::Argument*> m_parameters;
};

llvm::Value* loadPlace(llvm::Argument& memory, std::size_t offset) {
    llvm::IRBuilder<> builder(memory.getContext());
    builder.SetInsertPointPastAllocas(memory.getParent());
    return builder.CreateAlignedLoad(
        builder.getPtrTy(), builder.CreateConstGEP1_64(builder.getInt8Ty(), &memory, offset),
        llvm::Align(alignof(KernelMemory)));
}

/// Replaces the variable by the memory at `base` + `offset`. Its lifetime markers are dropped,
/// since they are only valid for variables on the stack.
void replaceVariable(llvm::AllocaInst& variable, llvm::Value& base, std::uint64_t offset) {
    for (llvm::User* user : llvm::make_early_inc_range(variable.users()))
        if (auto* marker = llvm::dyn_cast<llvm::LifetimeIntrinsic>(user))
            marker->eraseFromParent();
    llvm::IRBuilder<> builder(llvm::cast<llvm::Instruction>(&base)->getNextNode());
    llvm::Value* place = builder.CreateConstGEP1_64(builder.getInt8Ty(), &base, offset);
    variable.replaceAllUsesWith(place);
    variable.eraseFromParent();
}

/// Moves the variables of all functions into one frame, one after the other: since there is no
/// recursion, each function is active at most once.
std::uint64_t moveVariables(llvm::ArrayRef<llvm::AllocaInst*> variables,
                            const llvm::DataLayout& layout, MemoryParameters& parameters) {
    std::uint64_t bytes = 0;
    llvm::DenseMap<llvm::Function*, llvm::Value*> frames;
    for (llvm::AllocaInst* variable : variables) {
        llvm::Argument& parameter = parameters.at(*variable);
        llvm::Value*& frame = frames[parameter.getParent()];
        if (frame == nullptr)
            frame = loadPlace(parameter, offsetof(KernelMemory, frame));
        bytes = llvm::alignTo(bytes, variable->getAlign());
        const auto size = variable->getAllocationSize(layout);
        replaceVariable(*variable, *frame, bytes);
        bytes += size ? size->getFixedValue() : 0;
    }
    return bytes;
}

/// Makes the functions read the tables from their image.
void moveTables(llvm::ArrayRef<llvm::GlobalVariable*> tables, const TableImage& image,
                MemoryParameters& parameters) {
    llvm::convertUsersOfConstantsToInstructions(
        llvm::SmallVector<llvm::Constant*>(tables.begin(), tables.end()));
    llvm::DenseMap<std::pair<llvm::Function*, llvm::GlobalVariable*>, llvm::Value*> places;
    for (llvm::GlobalVariable* table : tables)
        for (llvm::Use& use : llvm::make_early_inc_range(table->uses())) {
            auto* user = llvm::dyn_cast<llvm::Instruction>(use.getUser());
            if (user == nullptr)
                continue; // another table, which has the address in its image
            llvm::Argument& parameter = parameters.at(*user);
            llvm::Value*& place = places[{parameter.getParent(), table}];
            if (place == nullptr) {
                llvm::Value* start = loadPlace(parameter, offsetof(KernelMemory, tables));
                llvm::IRBuilder<> builder(llvm::cast<llvm::Instruction>(start)->getNextNode());
                place =
                    builder.CreateConstGEP1_64(builder.getInt8Ty(), start, image.offset(*table));
            }
            use.set(place);
        }
    for (llvm::GlobalVariable* table : tables)
        table->setInitializer(llvm::Constant::getNullValue(table->getValueType()));
    for (llvm::GlobalVariable* table : tables) {
        table->removeDeadConstantUsers();
        table->eraseFromParent();
    }
}

/// Has the functions find what a threadgroup shares. Returns its bytes.
std::uint64_t moveGroupVariables(llvm::Module& module, MemoryParameters& parameters) {
    const llvm::DataLayout& layout = module.getDataLayout();
    std::vector<llvm::GlobalVariable*> variables;
    for (llvm::GlobalVariable& variable : module.globals())
        if (kernel::isGroupVariable(variable))
            variables.push_back(&variable);
    if (variables.empty())
        return 0;
    llvm::convertUsersOfConstantsToInstructions(
        llvm::SmallVector<llvm::Constant*>(variables.begin(), variables.end()));
    // The arguments come last: their length is not known here.
    const auto isArguments = [](const llvm::GlobalVariable* variable) {
        return variable->getName() == kernel::groupArgumentsSymbol;
    };
    std::ranges::sort(variables, {}, isArguments);
    std::uint64_t bytes = 0;
    llvm::DenseMap<llvm::Function*, llvm::Value*> starts;
    for (llvm::GlobalVariable* variable : variables) {
        bytes = llvm::alignTo(bytes, variable->getAlign().valueOrOne());
        for (llvm::Use& use : llvm::make_early_inc_range(variable->uses())) {
            auto& user = *llvm::cast<llvm::Instruction>(use.getUser());
            llvm::Argument& parameter = parameters.at(user);
            llvm::Value*& start = starts[parameter.getParent()];
            if (start == nullptr)
                start = loadPlace(parameter, offsetof(KernelMemory, shared));
            llvm::IRBuilder<> builder(llvm::cast<llvm::Instruction>(start)->getNextNode());
            use.set(builder.CreateConstGEP1_64(builder.getInt8Ty(), start, bytes));
        }
        if (!isArguments(variable))
            bytes += layout.getTypeAllocSize(variable->getValueType()).getFixedValue();
        variable->eraseFromParent();
    }
    return bytes;
}

} // namespace

platform::Result<Placement> placeVariables(llvm::Module& module,
                                           std::span<llvm::Argument* const> memory) {
    const llvm::DataLayout& layout = module.getDataLayout();
    Placement placement;
    MemoryParameters parameters(memory);
    placement.sharedBytes = moveGroupVariables(module, parameters);
    const MovedVariables moved(module); // must not be used after the first variable has moved
    const auto variables = moved.variables();
    const auto tables = moved.tables();
    placement.tables = SL42_TRY(TableImage::make(tables, layout));
    placement.frameBytes = moveVariables(variables, layout, parameters);
    moveTables(tables, placement.tables, parameters);
    placement.tables.forgetTables();
    return placement;
}

} // namespace compute::host
