// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Libraries, functions and pipeline states: light objects around what Programs.h holds, so that
// several of them share one text and one piece of machine code.
#pragma once

#include "gpu/Library.h"
#include "gpu/host/Programs.h"

namespace gpu::host {

class HostLibrary final : public Library {
public:
    HostLibrary(std::shared_ptr<Program> program, const CompileTimes& times)
        : m_program(std::move(program)), m_times(times) {}

    const std::vector<std::string>& functionNames() const override {
        return m_program->functionNames;
    }
    Result<std::shared_ptr<Function>>
    makeFunction(std::string_view name, const FunctionConstantValues& constants) override;
    const std::string& warnings() const override { return m_program->warnings; }
    const CompileTimes& compileTimes() const override { return m_times; }

private:
    std::shared_ptr<Program> m_program;
    CompileTimes m_times;
};

class HostFunction final : public Function {
public:
    HostFunction(std::shared_ptr<Program> program, const compute::protocol::Kernel& kernel,
                 compute::protocol::Constants constants);

    const std::string& name() const override { return m_name; }
    const std::vector<Argument>& arguments() const override { return m_arguments; }

    const std::shared_ptr<Program>& program() const { return m_program; }
    const compute::protocol::Constants& constants() const { return m_constants; }

private:
    std::shared_ptr<Program> m_program;
    std::string m_name;
    std::vector<Argument> m_arguments;
    compute::protocol::Constants m_constants;
};

class HostPipelineState final : public ComputePipelineState {
public:
    HostPipelineState(std::shared_ptr<Pipeline> pipeline, std::string label,
                      const CompileTimes& times);

    const std::string& functionName() const override { return m_pipeline->function; }
    const std::string& label() const override { return m_label; }
    const std::vector<Argument>& arguments() const override { return m_arguments; }
    const CompileTimes& compileTimes() const override { return m_times; }
    bool isStopped() const override { return m_pipeline->stopped; }
    Fingerprint fingerprint() const override { return m_pipeline->fingerprint; }

    const std::shared_ptr<Pipeline>& pipeline() const { return m_pipeline; }

private:
    std::shared_ptr<Pipeline> m_pipeline;
    std::string m_label;
    std::vector<Argument> m_arguments;
    CompileTimes m_times;
};

} // namespace gpu::host
