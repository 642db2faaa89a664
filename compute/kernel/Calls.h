// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which functions of a program call which, and what they pass: the walks over the call graph that
// inlining, sharing and the vectoriser have in common.
#pragma once

#include <llvm/ADT/ArrayRef.h>
#include <llvm/IR/Function.h>
#include <llvm/IR/InstrTypes.h>

#include <vector>

namespace compute::kernel {

/// Whether it calls a function of the program, as opposed to an intrinsic.
bool isCallOfProgram(const llvm::CallBase& call);

/// The function of the program that the instruction calls; null when it does anything else.
llvm::Function* calledFunction(const llvm::Instruction& instruction);

/// The roots and every function of the program that they reach. Each comes after all functions that
/// it calls, except where calls form a cycle.
std::vector<llvm::Function*> calleesFirst(llvm::ArrayRef<llvm::Function*> roots);
/// The same in the opposite order.
std::vector<llvm::Function*> callersFirst(llvm::ArrayRef<llvm::Function*> roots);

/// Whether all uses of the function are direct calls.
bool isOnlyCalled(const llvm::Function& function);

/// The argument that the call passes for a parameter of the function that it calls.
llvm::Value* passedFor(const llvm::Argument& parameter, const llvm::User& call);

/// The constant that every call passes for the parameter; null when there is none. The function
/// must be called at least once, and only called.
llvm::Constant* constantPassedFor(const llvm::Argument& parameter);

} // namespace compute::kernel
