// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Compiled program text, the functions in it, and the pipelines made from them.
#pragma once

#include "gpu/FunctionConstantValues.h"
#include "gpu/Types.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace gpu {

/// A kernel function of a library, specialised with its constants but not yet compiled for the
/// device. Made by Library::makeFunction.
class Function {
public:
    virtual ~Function() = default;

    /// As the program spells it.
    virtual const std::string& name() const = 0;
    /// In the order of the declaration.
    virtual const std::vector<Argument>& arguments() const = 0;

    const std::string& label() const { return m_label; }
    void setLabel(std::string label) { m_label = std::move(label); }

private:
    std::string m_label;
};

/// A program text that compiled. Made by Device::makeLibrary; safe to keep when the device has
/// been restarted in between.
class Library {
public:
    virtual ~Library() = default;

    /// Names of the kernel functions, in the order of the text.
    virtual const std::vector<std::string>& functionNames() const = 0;
    /// Fails when there is no kernel of that name, or when a constant that the program declares is
    /// missing or has another type than declared. Does not block.
    virtual Result<std::shared_ptr<Function>>
    makeFunction(std::string_view name, const FunctionConstantValues& constants = {}) = 0;
    /// The compiler's warnings, empty for most programs.
    virtual const std::string& warnings() const = 0;
    virtual const CompileTimes& compileTimes() const = 0;

    const std::string& label() const { return m_label; }
    void setLabel(std::string label) { m_label = std::move(label); }

private:
    std::string m_label;
};

/// Machine code for one function. Made by Device::makeComputePipelineState.
class ComputePipelineState {
public:
    virtual ~ComputePipelineState() = default;

    virtual const std::string& functionName() const = 0;
    virtual const std::string& label() const = 0;
    /// In the order of the declaration, with what the code does with each.
    virtual const std::vector<Argument>& arguments() const = 0;
    virtual const CompileTimes& compileTimes() const = 0;
    /// True once the kernel has exceeded the time limit or faulted. Its dispatches are dropped
    /// from then on; a newly made state of the same function starts afresh.
    virtual bool isStopped() const = 0;
    /// Equal for two states only if their machine code is the same, whatever text it came from;
    /// zero when that is not known.
    virtual Fingerprint fingerprint() const = 0;
};

} // namespace gpu
