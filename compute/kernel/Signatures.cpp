// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/Signatures.h"

namespace compute::kernel {

llvm::Function& declareLike(llvm::Function& model, llvm::FunctionType& type,
                            const llvm::Twine& name) {
    auto* made =
        llvm::Function::Create(&type, llvm::GlobalValue::InternalLinkage, name, model.getParent());
    made->setAttributes(
        llvm::AttributeList::get(model.getContext(), model.getAttributes().getFnAttrs(), {}, {}));
    return *made;
}

llvm::Function& changeType(llvm::Function& function, llvm::FunctionType& type) {
    llvm::Function& made = declareLike(function, type, "");
    made.takeName(&function);
    made.splice(made.begin(), &function);
    return made;
}

} // namespace compute::kernel
