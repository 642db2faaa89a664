// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Kernels as machine code: parameters, grids, tiles, memory protection.
#include "compute/host/HostKernel.h"

#include "tests/compute/kernel/ProgramText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <numeric>
#include <sstream>

namespace {

using namespace compute;
using kernel::ParameterKind;

std::shared_ptr<host::HostKernel> compile(const kernel::Program& program) {
    host::warmUp();
    auto canonical = kernel::canonicalise(program, "k", {});
    if (!canonical) {
        ADD_FAILURE() << canonical.error().message;
        return nullptr;
    }
    auto made = host::generate(std::move(*canonical));
    if (!made) {
        ADD_FAILURE() << made.error().message;
        return nullptr;
    }
    return *made;
}

TEST(HostKernelTests, RunsOneThreadForEachPosition) {
    const auto compiled = compile(tests::makeOneDimensional(R"(
        %index = zext i32 %x to i64
        %place = getelementptr inbounds i32, ptr %out, i64 %index
        %old = load i32, ptr %place, align 4
        %value = mul i32 %x, 3
        %new = add i32 %old, %value
        store i32 %new, ptr %place, align 4
        ret void)"));
    for (const std::uint32_t width : {1u, 7u, 4096u, 5000u, 100'003u}) {
        std::vector<std::uint32_t> out(width + 1, 1);
        host::Bindings bindings;
        bindings.buffers[0] = reinterpret_cast<std::byte*>(out.data());
        compiled->run(bindings, {width, 1, 1}, {32, 1, 1});
        for (std::uint32_t x = 0; x < width; ++x)
            ASSERT_EQ(out[x], 1 + 3 * x) << "width " << width;
        EXPECT_EQ(out[width], 1u) << "wrote past the end";
    }
}

} // namespace
