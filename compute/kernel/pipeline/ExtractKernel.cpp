// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/pipeline/ExtractKernel.h"

#include "compute/kernel/passes/FoldInitialisers.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/Bitcode/BitcodeReader.h>
#include <llvm/Bitcode/BitcodeWriter.h>
#include <llvm/IR/Constants.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Instructions.h>
#include <llvm/Support/MemoryBuffer.h>

namespace compute::kernel {
namespace {

/// Finds what a kernel reaches. Bodies are read as they are reached.
class Reach {
public:
    /// False when a body cannot be read.
    bool add(llvm::GlobalValue& start) {
        m_open.push_back(&start);
        while (!m_open.empty()) {
            llvm::GlobalValue* value = m_open.pop_back_val();
            if (m_reached.insert(value).second && !visit(*value))
                return false;
        }
        return true;
    }
    bool contains(const llvm::GlobalValue& value) const {
        return m_reached.contains(const_cast<llvm::GlobalValue*>(&value));
    }

private:
    bool visit(llvm::GlobalValue& value) {
        if (llvm::Error error = value.materialize()) {
            llvm::consumeError(std::move(error));
            return false;
        }
        if (auto* variable = llvm::dyn_cast<llvm::GlobalVariable>(&value)) {
            if (variable->hasInitializer())
                follow(*variable->getInitializer());
        } else if (auto* function = llvm::dyn_cast<llvm::Function>(&value)) {
            for (llvm::Instruction& instruction : llvm::instructions(*function))
                for (llvm::Value* operand : instruction.operands())
                    if (auto* constant = llvm::dyn_cast<llvm::Constant>(operand))
                        follow(*constant);
        }
        return true;
    }

    void follow(llvm::Constant& constant) {
        if (auto* value = llvm::dyn_cast<llvm::GlobalValue>(&constant)) {
            m_open.push_back(value);
            return;
        }
        if (constant.getNumOperands() == 0 || !m_seen.insert(&constant).second)
            return;
        for (llvm::Value* operand : constant.operands())
            if (auto* inner = llvm::dyn_cast<llvm::Constant>(operand))
                follow(*inner);
    }

    llvm::SmallVector<llvm::GlobalValue*> m_open;
    llvm::SmallPtrSet<llvm::GlobalValue*, 32> m_reached;
    llvm::SmallPtrSet<llvm::Constant*, 32> m_seen;
};

bool mentionsReached(llvm::Function& function, const Reach& reach) {
    return llvm::any_of(llvm::instructions(function), [&](llvm::Instruction& instruction) {
        return llvm::any_of(instruction.operands(), [&](llvm::Value* operand) {
            auto* variable =
                llvm::dyn_cast<llvm::GlobalVariable>(operand->stripInBoundsConstantOffsets());
            return variable != nullptr && reach.contains(*variable);
        });
    });
}

/// Reads the bodies that the list of initialisers leads to.
bool readInitialisers(llvm::Module& module) {
    llvm::GlobalVariable* list = module.getGlobalVariable("llvm.global_ctors");
    if (list == nullptr || !list->hasInitializer())
        return true;
    for (llvm::Function* function : listedInitialisers(module))
        if (llvm::Error error = function->materialize()) {
            llvm::consumeError(std::move(error));
            return false;
        }
    for (llvm::Function* function : initialiserFunctions(module))
        if (llvm::Error error = function->materialize()) {
            llvm::consumeError(std::move(error));
            return false;
        }
    return true;
}

/// Adds the initialisers of reached variables, until no more variables are reached by that, and
/// drops the calls of the others.
bool addInitialisers(llvm::Module& module, Reach& reach) {
    std::vector<llvm::Function*> open = initialiserFunctions(module);
    for (bool grew = true; grew;) {
        grew = false;
        for (llvm::Function*& function : open)
            if (function != nullptr && mentionsReached(*function, reach)) {
                if (!reach.add(*function))
                    return false;
                function = nullptr;
                grew = true;
            }
    }
    for (llvm::Function* function : open)
        if (function != nullptr)
            for (llvm::User* user : llvm::make_early_inc_range(function->users()))
                if (auto* call = llvm::dyn_cast<llvm::CallInst>(user))
                    call->eraseFromParent();
    for (llvm::Function* function : listedInitialisers(module))
        if (!reach.add(*function))
            return false;
    return true;
}

void removeUnreached(llvm::Module& module, const Reach& reach) {
    const auto isKept = [&](const llvm::GlobalValue& value) {
        return reach.contains(value) || value.getName() == "llvm.global_ctors";
    };
    std::vector<llvm::GlobalValue*> removed;
    for (llvm::Function& function : module)
        if (!isKept(function)) {
            function.deleteBody();
            removed.push_back(&function);
        }
    for (llvm::GlobalVariable& variable : module.globals())
        if (!isKept(variable)) {
            variable.setInitializer(nullptr);
            removed.push_back(&variable);
        }
    for (llvm::GlobalValue* value : removed) {
        value->removeDeadConstantUsers();
        if (value->use_empty())
            value->eraseFromParent();
    }
}

using Bitcode = llvm::SmallVector<char, 0>;

Bitcode bitcodeOf(const llvm::Module& module) {
    Bitcode bitcode;
    llvm::BitcodeWriter writer(bitcode);
    writer.writeModule(module);
    writer.writeStrtab();
    return bitcode;
}

platform::Error unreadable(const KernelDeclaration& kernel) {
    return {"kernel '" + kernel.name + "': its intermediate code cannot be read"};
}

} // namespace

void keepBitcode(Program& program) {
    program.bitcode = bitcodeOf(*program.module);
}

platform::Result<ExtractedKernel> extractKernel(const Program& program,
                                                const KernelDeclaration& kernel) {
    const Bitcode own = program.bitcode.empty() ? bitcodeOf(*program.module) : Bitcode();
    const Bitcode& bitcode = program.bitcode.empty() ? own : program.bitcode;

    ExtractedKernel extracted;
    extracted.context = std::make_unique<llvm::LLVMContext>();
    const llvm::MemoryBufferRef buffer({bitcode.data(), bitcode.size()}, kernel.name);
    auto module = llvm::getLazyBitcodeModule(buffer, *extracted.context, /*ShouldLazyLoad=*/true);
    if (!module) {
        llvm::consumeError(module.takeError());
        return unreadable(kernel);
    }
    extracted.module = std::move(*module);
    llvm::Function* function = extracted.module->getFunction(kernel.symbol);
    if (function == nullptr)
        return platform::Error{"kernel '" + kernel.name + "' has no code"};

    Reach reach;
    if (!reach.add(*function) || !readInitialisers(*extracted.module) ||
        !addInitialisers(*extracted.module, reach))
        return unreadable(kernel);
    removeUnreached(*extracted.module, reach);
    if (llvm::Error error = extracted.module->materializeAll()) {
        llvm::consumeError(std::move(error));
        return unreadable(kernel);
    }
    return extracted;
}

} // namespace compute::kernel
