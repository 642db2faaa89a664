// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The compiler of the service proper: front end, kernel pipeline and host back end behind the
// service's own interface.
#pragma once

#include "compute/service/Compiler.h"

namespace compute::service {

class KernelCompiler final : public Compiler {
public:
    void warmUp() override;
    platform::Result<std::shared_ptr<const Library>> compile(std::string_view source) override;
};

} // namespace compute::service
