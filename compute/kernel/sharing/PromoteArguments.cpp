// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/sharing/PromoteArguments.h"

#include "compute/kernel/Calls.h"
#include "compute/kernel/Signatures.h"
#include "compute/kernel/sharing/ChooseShared.h"
#include "compute/kernel/sharing/Inliner.h"
#include "compute/kernel/sharing/PrivatePointers.h"

#include <llvm/ADT/STLExtras.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/IntrinsicInst.h>
#include <llvm/IR/Module.h>
#include <llvm/IR/Operator.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace compute::kernel {
namespace {

/// Bytes of private memory that are passed as one value.
struct Piece {
    std::uint64_t begin;
    std::uint64_t end;
    llvm::Type* type; ///< null for copied bytes whose type does not show
    bool isWritten;
};

/// All that a function accesses through one parameter.
class Pieces {
public:
    Pieces(llvm::Argument& parameter, const llvm::DataLayout& layout) : m_layout(layout) {
        collect(parameter, 0);
    }

    /// The pieces in order of their offsets, without overlaps, each with a type. None when the
    /// accesses cannot be divided like that.
    std::optional<std::vector<Piece>> divide();

private:
    void collect(llvm::Value& pointer, std::int64_t offset);
    void add(std::int64_t offset, std::uint64_t size, llvm::Type* type, bool isWritten);
    bool mergeTyped();
    void divideCopies();

    const llvm::DataLayout& m_layout;
    std::vector<Piece> m_typed;
    std::vector<Piece> m_copied;
    bool m_isRegular = true;
};

void Pieces::add(std::int64_t offset, std::uint64_t size, llvm::Type* type, bool isWritten) {
    m_isRegular &= offset >= 0;
    const auto begin = static_cast<std::uint64_t>(offset);
    (type != nullptr ? m_typed : m_copied).push_back({begin, begin + size, type, isWritten});
}

void Pieces::collect(llvm::Value& pointer, std::int64_t offset) {
    for (llvm::Use& use : pointer.uses()) {
        llvm::User* user = use.getUser();
        if (auto* step = llvm::dyn_cast<llvm::GEPOperator>(user)) {
            llvm::APInt constant(64, 0);
            m_isRegular &= step->accumulateConstantOffset(m_layout, constant);
            collect(*step, offset + constant.getSExtValue());
        } else if (llvm::isa<llvm::LoadInst, llvm::StoreInst>(user)) {
            llvm::Type* type = llvm::getLoadStoreType(user);
            m_isRegular &= isPlainType(type) && &pointer == llvm::getLoadStorePointerOperand(user);
            add(offset, m_layout.getTypeStoreSize(type), type, llvm::isa<llvm::StoreInst>(user));
        } else if (auto* copy = llvm::dyn_cast<llvm::MemIntrinsic>(user)) {
            const auto* length = llvm::dyn_cast<llvm::ConstantInt>(copy->getLength());
            m_isRegular &= length != nullptr;
            add(offset, length != nullptr ? length->getZExtValue() : 0, nullptr,
                use.getOperandNo() == 0);
        } else {
            m_isRegular = false;
        }
    }
}

/// Accesses of the same bytes become one piece; those that only overlap, a whole number.
bool Pieces::mergeTyped() {
    std::ranges::sort(m_typed, {}, &Piece::begin);
    std::vector<Piece> merged;
    for (const Piece& piece : m_typed) {
        if (merged.empty() || merged.back().end <= piece.begin) {
            merged.push_back(piece);
            continue;
        }
        Piece& last = merged.back();
        last.isWritten |= piece.isWritten;
        const bool isSame = last.begin == piece.begin && last.end == piece.end;
        if (isSame && (last.type == piece.type || !last.type->isIntegerTy()) &&
            !piece.type->isPointerTy())
            continue;
        last.end = std::max(last.end, piece.end);
        const std::uint64_t size = last.end - last.begin;
        if (!isSame && (last.type->isPointerTy() || piece.type->isPointerTy() || size > 8 ||
                        (size & (size - 1)) != 0))
            return false;
        last.type = isSame ? piece.type
                           : llvm::IntegerType::get(piece.type->getContext(),
                                                    static_cast<unsigned>(8 * size));
    }
    m_typed = std::move(merged);
    return true;
}

/// Adds what is copied but not accessed otherwise, as words where there is room for them.
void Pieces::divideCopies() {
    const std::vector<Piece> typed = m_typed;
    std::ranges::sort(m_copied, {}, &Piece::begin);
    std::uint64_t done = 0;
    for (const Piece& copy : m_copied) {
        for (Piece& piece : m_typed)
            piece.isWritten |= copy.isWritten && piece.begin < copy.end && copy.begin < piece.end;
        std::uint64_t at = std::max(done, copy.begin);
        while (at < copy.end) {
            const auto next =
                std::ranges::find_if(typed, [&](const Piece& piece) { return piece.end > at; });
            if (next != typed.end() && next->begin <= at) {
                at = next->end;
                continue;
            }
            const std::uint64_t end =
                std::min(copy.end, next != typed.end() ? next->begin : copy.end);
            std::uint64_t size = 4;
            while (at % size != 0 || at + size > end)
                size /= 2;
            m_typed.push_back({at, at + size, nullptr, true});
            at += size;
        }
        done = std::max(done, copy.end);
    }
    std::ranges::sort(m_typed, {}, &Piece::begin);
}

std::optional<std::vector<Piece>> Pieces::divide() {
    if (!m_isRegular || !mergeTyped())
        return std::nullopt;
    divideCopies();
    return std::move(m_typed);
}

/// A parameter of the new function: a value of the old one, or a piece of what one points to.
struct Passed {
    llvm::Argument* parameter;
    const Piece* piece; ///< null for the value itself
};

class Conversion {
public:
    explicit Conversion(llvm::Function& function)
        : m_old(function),
          m_context(function.getContext()),
          m_layout(function.getParent()->getDataLayout()) {}

    /// The function that takes the place of the old one at all calls. Null, with nothing changed,
    /// when there would be too many values to pass, or bytes of no single type.
    llvm::Function* run();

private:
    bool plan();
    llvm::Value* address(llvm::IRBuilder<>& builder, llvm::Value* memory, const Piece& piece) {
        return builder.CreateConstGEP1_64(builder.getInt8Ty(), memory, piece.begin);
    }
    llvm::FunctionType& type() const;
    void adaptBody();
    void replaceCall(llvm::CallInst& call);

    llvm::Function& m_old;
    llvm::LLVMContext& m_context;
    const llvm::DataLayout& m_layout;
    llvm::MapVector<llvm::Argument*, std::vector<Piece>> m_memory;
    std::vector<Passed> m_in;
    std::vector<Passed> m_out; ///< the old result, if there is one, comes first
    llvm::Function* m_new = nullptr;
};

bool Conversion::plan() {
    constexpr std::size_t maxValues = 64;
    constexpr std::uint64_t maxBytes = 4096; // further away is nothing but wrong addresses
    for (llvm::Argument& parameter : m_old.args()) {
        if (!m_old.getAttributes().hasParamAttr(parameter.getArgNo(), byValueAttribute))
            continue;
        auto pieces = Pieces(parameter, m_layout).divide();
        if (!pieces || (!pieces->empty() && pieces->back().end > maxBytes))
            return false;
        for (Piece& piece : *pieces)
            if (piece.type == nullptr)
                piece.type = llvm::IntegerType::get(
                    m_context, static_cast<unsigned>(8 * (piece.end - piece.begin)));
        m_memory[&parameter] = std::move(*pieces);
    }
    if (!m_old.getReturnType()->isVoidTy())
        m_out.push_back({nullptr, nullptr});
    for (llvm::Argument& parameter : m_old.args()) {
        const auto memory = m_memory.find(&parameter);
        if (memory == m_memory.end()) {
            m_in.push_back({&parameter, nullptr});
            continue;
        }
        for (const Piece& piece : memory->second) {
            m_in.push_back({&parameter, &piece});
            if (piece.isWritten && !parameter.hasByValAttr())
                m_out.push_back({&parameter, &piece});
        }
    }
    return m_in.size() + m_out.size() <= maxValues;
}

llvm::FunctionType& Conversion::type() const {
    llvm::SmallVector<llvm::Type*> in;
    for (const Passed& passed : m_in)
        in.push_back(passed.piece != nullptr ? passed.piece->type : passed.parameter->getType());
    llvm::SmallVector<llvm::Type*> out;
    for (const Passed& passed : m_out)
        out.push_back(passed.piece != nullptr ? passed.piece->type : m_old.getReturnType());
    llvm::Type* result = out.empty()       ? llvm::Type::getVoidTy(m_context)
                         : out.size() == 1 ? out[0]
                                           : llvm::StructType::get(m_context, out);
    return *llvm::FunctionType::get(result, in, false);
}

/// The body works on copies of the memory, which promotion to registers removes.
void Conversion::adaptBody() {
    llvm::IRBuilder<> builder(&m_new->getEntryBlock(), m_new->getEntryBlock().begin());
    llvm::DenseMap<llvm::Argument*, llvm::AllocaInst*> copies;
    for (auto& [parameter, pieces] : m_memory) {
        const std::uint64_t bytes = pieces.empty() ? 1 : pieces.back().end;
        copies[parameter] = builder.CreateAlloca(llvm::ArrayType::get(builder.getInt8Ty(), bytes));
        copies[parameter]->setAlignment(llvm::Align(16));
    }
    llvm::AllocaInst* result = nullptr;
    if (!m_old.getReturnType()->isVoidTy())
        result = builder.CreateAlloca(m_old.getReturnType());
    for (unsigned i = 0; i < m_in.size(); ++i) {
        llvm::Argument& value = *m_new->getArg(i);
        if (m_in[i].piece == nullptr)
            m_in[i].parameter->replaceAllUsesWith(&value);
        else
            builder.CreateAlignedStore(&value,
                                       address(builder, copies[m_in[i].parameter], *m_in[i].piece),
                                       llvm::Align(1));
    }
    for (auto& [parameter, pieces] : m_memory)
        parameter->replaceAllUsesWith(copies[parameter]);

    llvm::BasicBlock* end = llvm::BasicBlock::Create(m_context, "result", m_new);
    for (llvm::BasicBlock& block : *m_new)
        if (auto* leave = llvm::dyn_cast_if_present<llvm::ReturnInst>(block.getTerminator())) {
            builder.SetInsertPoint(leave);
            if (result != nullptr)
                builder.CreateStore(leave->getReturnValue(), result);
            builder.CreateBr(end);
            leave->eraseFromParent();
        }
    builder.SetInsertPoint(end);
    llvm::SmallVector<llvm::Value*> values;
    for (const Passed& passed : m_out)
        values.push_back(passed.piece == nullptr
                             ? builder.CreateLoad(m_old.getReturnType(), result)
                             : builder.CreateAlignedLoad(
                                   passed.piece->type,
                                   address(builder, copies[passed.parameter], *passed.piece),
                                   llvm::Align(1)));
    if (values.empty())
        builder.CreateRetVoid();
    else if (values.size() == 1)
        builder.CreateRet(values[0]);
    else
        builder.CreateAggregateRet(values.data(), static_cast<unsigned>(values.size()));
}

void Conversion::replaceCall(llvm::CallInst& call) {
    llvm::IRBuilder<> builder(&call);
    const auto memory = [&](const Passed& passed) {
        return call.getArgOperand(passed.parameter->getArgNo());
    };
    llvm::SmallVector<llvm::Value*> arguments;
    for (const Passed& passed : m_in)
        arguments.push_back(
            passed.piece == nullptr
                ? memory(passed)
                : builder.CreateAlignedLoad(passed.piece->type,
                                            address(builder, memory(passed), *passed.piece),
                                            llvm::Align(1)));
    llvm::CallInst* made = builder.CreateCall(m_new, arguments);
    for (unsigned i = 0; i < m_out.size(); ++i) {
        llvm::Value* value = m_out.size() == 1 ? made : builder.CreateExtractValue(made, i);
        if (m_out[i].piece == nullptr)
            call.replaceAllUsesWith(value);
        else
            builder.CreateAlignedStore(value, address(builder, memory(m_out[i]), *m_out[i].piece),
                                       llvm::Align(1));
    }
    call.eraseFromParent();
}

llvm::Function* Conversion::run() {
    if (!plan())
        return nullptr;
    m_new = &changeType(m_old, type());
    for (llvm::User* call : llvm::make_early_inc_range(m_old.users()))
        replaceCall(*llvm::cast<llvm::CallInst>(call));
    adaptBody();
    m_old.deleteBody(); // an internal function must have one; foldInitialisers() removes the rest
    return m_new;
}

} // namespace

platform::Result<void> promoteArguments(PassContext& context) {
    std::vector<llvm::Function*> shared = calleesFirst(context.entry);
    std::erase_if(shared, [](const llvm::Function* function) { return !isShared(*function); });
    FunctionSimplifier simplifier(context.analyses);
    Inliner inliner(context, simplifier);
    for (llvm::Function* function : shared) {
        SL42_TRY_VOID(inliner.flatten(*function));
        context.analyses.functions().clear(*function, function->getName());
        if (llvm::Function* made = Conversion(*function).run()) {
            context.shared.push_back(made);
            simplifier.promote(*made);
        } else {
            function->removeFnAttr(sharedAttribute); // its calls are inlined after all
        }
    }
    return {};
}

} // namespace compute::kernel
