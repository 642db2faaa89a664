# SPDX-License-Identifier: MIT
# LLVM and Clang for the compute service. Only targets under compute/ link these two.
find_package(LLVM 19.1 REQUIRED CONFIG PATHS /usr/lib/llvm-19/lib/cmake/llvm NO_DEFAULT_PATH)
add_library(sl42_llvm INTERFACE)
target_include_directories(sl42_llvm SYSTEM INTERFACE ${LLVM_INCLUDE_DIRS})
target_link_directories(sl42_llvm INTERFACE ${LLVM_LIBRARY_DIRS})
target_link_libraries(sl42_llvm INTERFACE LLVM-19)
add_library(sl42_clang INTERFACE)
target_link_libraries(sl42_clang INTERFACE sl42_llvm clang-cpp)

sl42_precompiled(sl42_llvm_headers LINK sl42_llvm HEADERS
    <llvm/ADT/MapVector.h> <llvm/ADT/PostOrderIterator.h> <llvm/ADT/SetVector.h>
    <llvm/Analysis/LoopInfo.h> <llvm/Analysis/ValueTracking.h> <llvm/Analysis/VectorUtils.h>
    <llvm/IR/IRBuilder.h> <llvm/IR/InstIterator.h> <llvm/IR/IntrinsicInst.h> <llvm/IR/Module.h>
    <llvm/IR/Operator.h> <llvm/IR/PatternMatch.h> <llvm/Support/raw_ostream.h>
    <functional> <map> <memory> <optional> <span> <string> <vector>)
