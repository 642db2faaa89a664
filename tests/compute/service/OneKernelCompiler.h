// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A compiler for a service whose kernels are given: every name in every text is the same one.
#pragma once

#include "compute/service/Compiler.h"

namespace test {

template <class OneKernel>
class OneKernelLibrary final : public compute::service::Library {
public:
    std::vector<compute::protocol::Kernel> kernels() const override {
        return {{std::string("kernel"), {}, {}}};
    }
    const std::string& warnings() const override { return m_warnings; }
    compute::protocol::ConstantDeclarations constants() const override { return {}; }
    platform::Result<std::shared_ptr<const compute::Kernel>>
    build(std::string_view, const compute::ConstantValues&, const std::stop_token&,
          std::shared_ptr<compute::KeptCode>) const override {
        return std::shared_ptr<const compute::Kernel>(std::make_shared<OneKernel>());
    }

private:
    std::string m_warnings;
};

template <class OneKernel>
class OneKernelCompiler final : public compute::service::Compiler {
public:
    void warmUp() override {}
    /// Only the empty text is refused.
    platform::Result<std::shared_ptr<const compute::service::Library>>
    compile(std::string_view source, const std::stop_token&) override {
        if (source.empty())
            return platform::Error{"empty"};
        return std::shared_ptr<const compute::service::Library>(
            std::make_shared<OneKernelLibrary<OneKernel>>());
    }
};

} // namespace test
