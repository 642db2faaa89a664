// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/ModuleChecks.h"

#include "compute/kernel/GroupOperations.h"
#include "compute/metal/AddressSpaces.h"
#include "compute/metal/Language.h"

#include <clang/AST/Decl.h>
#include <clang/AST/GlobalDecl.h>
#include <clang/CodeGen/ModuleBuilder.h>
#include <clang/Sema/Sema.h>
#include <llvm/ADT/DenseMap.h>
#include <llvm/ADT/SCCIterator.h>
#include <llvm/ADT/SmallPtrSet.h>
#include <llvm/ADT/StringExtras.h>
#include <llvm/Analysis/CallGraph.h>
#include <llvm/IR/AttributeMask.h>
#include <llvm/IR/InstrTypes.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/IntrinsicInst.h>

#include <algorithm>

namespace compute::metal {
namespace {

/// The library declares, under names that begin so, what compiles but cannot run here. Behind that
/// stands what it is, with _ for a blank.
constexpr llvm::StringRef unsupportedPrefix = "__sl42_unsupported_";

/// What the library's is_function_constant_defined calls.
constexpr llvm::StringRef questionSymbol = "__sl42_is_defined";

class ModuleFinisher {
public:
    ModuleFinisher(clang::Sema& sema, clang::CodeGenerator& generator, llvm::Module& module)
        : m_sema(sema), m_generator(generator), m_module(module) {}

    /// Marks what a threadgroup shares: static variables, with annotations.
    void markSharedVariables() {
        llvm::GlobalVariable* annotations = m_module.getGlobalVariable("llvm.global.annotations");
        if (annotations == nullptr)
            return;
        for (const llvm::Use& entry : annotations->getInitializer()->operands()) {
            const auto* parts = llvm::cast<llvm::ConstantStruct>(entry.get());
            auto* variable =
                llvm::dyn_cast<llvm::GlobalVariable>(parts->getOperand(0)->stripPointerCasts());
            const auto* text =
                llvm::dyn_cast<llvm::GlobalVariable>(parts->getOperand(1)->stripPointerCasts());
            const auto* name = text != nullptr
                                   ? llvm::dyn_cast<llvm::ConstantDataArray>(text->getInitializer())
                                   : nullptr;
            if (variable == nullptr || name == nullptr || name->getAsCString() != sharedAnnotation)
                continue;
            variable->addAttribute(kernel::groupVariableAttribute);
            variable->setLinkage(llvm::GlobalValue::InternalLinkage);
            variable->setComdat(nullptr);
            variable->setConstant(false);
            variable->setAlignment(std::max(variable->getAlign().valueOrOne(), llvm::Align(16)));
        }
        annotations->eraseFromParent();
        for (llvm::GlobalVariable& text : llvm::make_early_inc_range(m_module.globals()))
            if (text.getSection() == "llvm.metadata" && text.use_empty())
                text.eraseFromParent();
    }

    /// Puts an external variable in the place of each question whether a constant has a value.
    void answerQuestions(std::vector<kernel::ConstantDeclaration>& constants) {
        llvm::Function* question = m_module.getFunction(questionSymbol);
        if (question == nullptr)
            return;
        for (llvm::User* user : llvm::make_early_inc_range(question->users())) {
            auto* call = llvm::dyn_cast<llvm::CallInst>(user);
            const llvm::Value* asked =
                call != nullptr ? call->getArgOperand(0)->stripPointerCasts() : nullptr;
            const auto constant = std::ranges::find_if(constants, [&](const auto& each) {
                return asked != nullptr && asked->getName() == each.symbol;
            });
            if (constant == constants.end()) {
                report(*question, "is_function_constant_defined asks about a function constant");
                return;
            }
            constant->isOptional = true;
            llvm::Type* type = call->getType();
            auto* answer = m_module.getOrInsertGlobal(constant->answerSymbol(), type);
            call->replaceAllUsesWith(new llvm::LoadInst(type, answer, "", call->getIterator()));
            call->eraseFromParent();
        }
        question->eraseFromParent();
    }

    void checkRecursion() {
        llvm::CallGraph graph(m_module);
        for (auto each = llvm::scc_begin(&graph); !each.isAtEnd(); ++each)
            if (each.hasCycle())
                reportCycle(*each);
    }

    /// Everything that is called must be in the program, the library or the compiler itself.
    void checkUndefined(const std::vector<kernel::ConstantDeclaration>& constants) {
        for (const llvm::Function& function : m_module)
            if (function.isDeclaration() && !function.isIntrinsic() && !function.use_empty() &&
                !function.getName().starts_with(unsupportedPrefix) &&
                kernel::groupOperation(function) == kernel::GroupOperation::None)
                report(function, "function '%0' is used but not defined");
        for (const llvm::GlobalVariable& variable : m_module.globals())
            if (variable.isDeclaration() && !variable.use_empty() &&
                !isConstant(constants, variable.getName()))
                report(variable, "variable '%0' is used but not defined");
    }

    /// Says what a kernel uses, directly or not, that cannot run here, and where.
    void findUnsupported(const llvm::Function& kernel,
                         kernel::KernelDeclaration& declaration) const {
        llvm::SmallPtrSet<const llvm::Function*, 32> seen{&kernel};
        std::vector<const llvm::Function*> waiting{&kernel};
        // The line of the program by which each is reached: what the library does has none.
        llvm::DenseMap<const llvm::Function*, unsigned> lines;
        while (!waiting.empty()) {
            const llvm::Function& function = *waiting.back();
            waiting.pop_back();
            const unsigned line = lines.lookup(&function);
            const auto refuse = [&](const llvm::Twine& reason) {
                declaration.unsupported = reason.str();
                if (line > 0)
                    declaration.unsupportedAt = placeOnLine(line);
            };
            if (function.getName().starts_with(unsupportedPrefix))
                return refuse(
                    llvm::join(
                        llvm::split(function.getName().drop_front(unsupportedPrefix.size()), '_'),
                        " ") +
                    " cannot run here");
            for (const llvm::BasicBlock& block : function)
                for (const llvm::Instruction& instruction : block)
                    for (const llvm::Use& operand : instruction.operands())
                        if (const auto* used = llvm::dyn_cast<llvm::Function>(operand.get()))
                            if (seen.insert(used).second) {
                                const llvm::DebugLoc& place = instruction.getDebugLoc();
                                lines[used] = place && place.getLine() > 0 ? place.getLine() : line;
                                waiting.push_back(used);
                            }
        }
    }

    std::string symbol(const clang::NamedDecl& declaration) {
        const auto* function = llvm::dyn_cast<clang::FunctionDecl>(&declaration);
        const clang::GlobalDecl global =
            function != nullptr ? clang::GlobalDecl(function)
                                : clang::GlobalDecl(llvm::cast<clang::VarDecl>(&declaration));
        const llvm::Constant* value = m_generator.GetAddrOfGlobal(global, false);
        return value != nullptr ? value->stripPointerCasts()->getName().str() : std::string();
    }

    /// The target's own calling convention means nothing to the back ends, and what C++ promises
    /// about references does not hold in a program that indexes where it likes.
    void normaliseFunctions() {
        for (llvm::Function& function : m_module) {
            if (function.isIntrinsic())
                continue;
            function.setCallingConv(llvm::CallingConv::C);
            removePromises(function);
            for (llvm::BasicBlock& block : function)
                for (llvm::Instruction& instruction : llvm::make_early_inc_range(block))
                    normaliseInstruction(instruction);
        }
    }

private:
    /// Instructions know their line only; its first word is near enough.
    std::string placeOnLine(unsigned line) const {
        const clang::SourceManager& sources = m_sema.SourceMgr;
        const clang::SourceLocation begin =
            sources.translateLineCol(sources.getMainFileID(), line, 1);
        const llvm::StringRef text =
            sources.getBufferData(sources.getMainFileID())
                .drop_front(begin.isValid() ? sources.getFileOffset(begin) : 0);
        const std::size_t blanks = text.size() - text.ltrim(" \t").size();
        return std::string(metal::sourceName) + ":" + std::to_string(line) + ":" +
               std::to_string(begin.isValid() ? blanks + 1 : 1);
    }

    static void normaliseInstruction(llvm::Instruction& instruction) {
        if (llvm::isa<llvm::UnreachableInst>(instruction)) {
            returnNothing(instruction);
        } else if (auto* call = llvm::dyn_cast<llvm::CallBase>(&instruction)) {
            call->setCallingConv(llvm::CallingConv::C);
            removePromises(*call);
            const llvm::Intrinsic::ID intrinsic = call->getIntrinsicID();
            if (intrinsic == llvm::Intrinsic::var_annotation ||
                intrinsic == llvm::Intrinsic::assume)
                call->eraseFromParent();
        }
    }

    /// Where C++ says that control never comes, the machine would run into whatever follows.
    static void returnNothing(llvm::Instruction& unreachable) {
        llvm::Type* type = unreachable.getFunction()->getReturnType();
        llvm::ReturnInst::Create(unreachable.getContext(),
                                 type->isVoidTy() ? nullptr : llvm::Constant::getNullValue(type),
                                 unreachable.getIterator());
        unreachable.eraseFromParent();
    }

    template <class FunctionOrCall>
    static void removePromises(FunctionOrCall& target) {
        llvm::AttributeMask promises;
        promises.addAttribute(llvm::Attribute::Dereferenceable)
            .addAttribute(llvm::Attribute::DereferenceableOrNull)
            .addAttribute(llvm::Attribute::NonNull)
            .addAttribute(llvm::Attribute::NoUndef);
        llvm::AttributeMask hindrances;
        hindrances.addAttribute(llvm::Attribute::NoInline).addAttribute(llvm::Attribute::NoReturn);
        target.setAttributes(target.getAttributes()
                                 .removeRetAttributes(target.getContext(), promises)
                                 .removeFnAttributes(target.getContext(), hindrances));
        for (unsigned i = 0; i < target.arg_size(); ++i)
            target.removeParamAttrs(i, promises);
    }

    static bool isConstant(const std::vector<kernel::ConstantDeclaration>& constants,
                           llvm::StringRef name) {
        return std::ranges::any_of(constants, [&](const auto& each) {
            return name == each.symbol || name == each.answerSymbol();
        });
    }

    /// As the program spells it, where the generated code still knows.
    std::string sourceName(const llvm::GlobalValue& value) {
        const auto* declaration = declarationOf(value);
        return declaration != nullptr ? declaration->getNameAsString() : value.getName().str();
    }

    const clang::NamedDecl* declarationOf(const llvm::GlobalValue& value) {
        return llvm::dyn_cast_or_null<clang::NamedDecl>(
            m_generator.GetDeclForMangledName(value.getName()));
    }

    clang::SourceLocation locationOf(const llvm::GlobalValue& value) {
        const auto* declaration = declarationOf(value);
        return declaration != nullptr ? declaration->getLocation() : clang::SourceLocation();
    }

    void report(const llvm::GlobalValue& value, llvm::StringRef text) {
        const unsigned id =
            m_sema.Diags.getDiagnosticIDs()->getCustomDiagID(clang::DiagnosticIDs::Error, text);
        m_sema.Diags.Report(locationOf(value), id) << sourceName(value);
    }

    void reportCycle(const std::vector<llvm::CallGraphNode*>& cycle) {
        const llvm::Function* first = nullptr; // in the order of the text
        for (const llvm::CallGraphNode* node : cycle)
            if (const llvm::Function* function = node->getFunction())
                if (first == nullptr || locationOf(*function) < locationOf(*first))
                    first = function;
        if (first != nullptr)
            report(*first, "function '%0' calls itself; recursion is not supported");
    }

    clang::Sema& m_sema;
    clang::CodeGenerator& m_generator;
    llvm::Module& m_module;
};

} // namespace

void finishModule(clang::Sema& sema, clang::CodeGenerator& generator, const Reflection& reflection,
                  kernel::Program& program) {
    llvm::Module& module = *generator.GetModule();
    ModuleFinisher finisher(sema, generator, module);
    finisher.markSharedVariables();
    for (const auto& each : reflection.constants) {
        program.constants.push_back(each.declaration);
        program.constants.back().symbol = finisher.symbol(*each.variable);
    }
    finisher.answerQuestions(program.constants);
    for (const auto& each : reflection.kernels) {
        kernel::KernelDeclaration declaration = each.declaration;
        declaration.symbol = finisher.symbol(*each.function);
        const llvm::Function* function = module.getFunction(declaration.symbol);
        if (function != nullptr && declaration.unsupported.empty())
            finisher.findUnsupported(*function, declaration);
        program.kernels.push_back(std::move(declaration));
    }
    finisher.checkUndefined(program.constants);
    finisher.checkRecursion();
    finisher.normaliseFunctions();
}

} // namespace compute::metal
