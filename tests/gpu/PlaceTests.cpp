// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where in a program's text a kernel is said to have gone wrong. The texts mark the lines that are
// expected: the place itself with @1, the call that led there with @2 and so on.
#include "tests/gpu/DeviceTest.h"

#include <algorithm>
#include <cstdlib>

using Code = gpu::CommandBufferError::Code;

namespace test {
namespace {

struct WrongKernel {
    const char* name;
    std::string body;
    const char* what;
};

/// What 1000 threads run.
std::string inKernel(const std::string& statements) {
    return "kernel void run(device uint* data [[buffer(0)]],"
           " uint i [[thread_position_in_grid]]) {" +
           statements + "\n}";
}

/// The lines of @1, @2, ... in a text.
std::vector<std::uint32_t> markedLines(const std::string& text) {
    std::vector<std::uint32_t> lines;
    for (char number = '1'; number <= '9'; ++number) {
        const std::size_t at = text.find(std::string("@") + number);
        if (at == std::string::npos)
            break;
        const auto begin = text.begin();
        lines.push_back(static_cast<std::uint32_t>(
            1 + std::count(begin, begin + static_cast<std::ptrdiff_t>(at), '\n')));
    }
    return lines;
}

class PlaceTest : public DeviceTest {
protected:
    PlaceTest() { device->setTimeLimit(std::chrono::milliseconds(250)); }

    void expectPlace(const WrongKernel& wrong) {
        SCOPED_TRACE(wrong.name);
        const auto lines = markedLines(text(wrong.body));
        // On a machine that has a lot else to do, the service may not have had the time to see
        // where it hangs.
        gpu::CommandBufferError error = errorOf(wrong.body);
        for (int i = 0; i < 8 && error.code == Code::TimeLimit && error.lines != lines; ++i)
            error = errorOf(wrong.body);
        EXPECT_EQ(error.what, wrong.what);
        EXPECT_EQ(error.lines, lines);
    }

    gpu::CommandBufferError errorOf(const std::string& body) {
        const auto data = bufferOf(std::vector<std::uint32_t>(4096, 1));
        const auto error = dispatch(pipeline(body), {data}, 1000)->error();
        return error.value_or(gpu::CommandBufferError());
    }
};
SL42_ON_EVERY_DEVICE(PlaceTest);

constexpr const char* endless = "still in this loop after 0.25 s";
constexpr const char* wrote = "wrote outside of memory";
constexpr const char* read = "read outside of memory";

TEST_P(PlaceTest, AccessesOutsideOfMemory) {
    SL42_ON_THE_PROCESSOR_ONLY();
    for (const WrongKernel& wrong : {
             WrongKernel{"write in straight code", inKernel(R"(
    data[i] = data[i] * 3;
    data[i + 0x7fff0000u] = i; // @1
    data[i + 1000] = data[i] + 1;)"),
                         wrote},
             {"read in a loop", inKernel(R"(
    uint sum = 0;
    for (uint k = 0; k < i + 200; ++k) {
        sum = sum * 5 + 1;
        sum += data[(sum & 0xffffffu) * 64]; // @1
    }
    data[i] = sum;)"),
              read},
             {"read that is moved in front of its loop", inKernel(R"(
    uint sum = i;
    for (uint k = 0; k < 100; ++k)
        sum = sum * 3 + data[i + 0x7ff00000u]; // @1
    data[i] = sum;)"),
              read},
             {"write where threads part", inKernel(R"(
    if (i % 3 == 1)
        data[i] = 0;
    else if (i == 998)
        data[i * 0x700000u] = 7; // @1
    else
        data[i] = i;)"),
              wrote},
             {"read where threads part", inKernel(R"(
    uint found = 3;
    if ((data[i] ^ i) > 900)
        found =
            data[i * i * 0x4000u]; // @1
    data[i] = found;)"),
              read},
             {"read that is the same for all", inKernel(R"(
    uint one = data[0] << 30;
    uint wrong = data[one]; // @1
    data[i] = wrong;)"),
              read},
         })
        expectPlace(wrong);
}

TEST_P(PlaceTest, LoopsWithoutEnd) {
    SL42_ON_THE_PROCESSOR_ONLY();
    for (const WrongKernel& wrong : {
             WrongKernel{"the same way for all", inKernel(R"(
    for (int k = 0; k < 8; ++k)
        data[i] += k;
    while (data[0] != 77) { // @1
        data[1] = data[2] * 3;
        data[2] = data[1] + 1;
    })"),
                         endless},
             {"for some threads", inKernel(R"(
    uint x = i;
    for (uint k = 0; // @1
         k != 999;
         k += 2) {
        x = x * 1664525u + 1013904223u;
        if (i < 990 && k > i)
            break;
    }
    data[i] = x;)"),
              endless},
             {"empty", inKernel(R"(
    data[i] = 1;
    if (i == 500)
        for (;;) // @1
            ;)"),
              endless},
             {"around a loop that ends", inKernel(R"(
    uint x = i;
    do { // @1
        for (uint k = 0; k < 9 + x % 5; ++k)
            x = x * 1664525u + data[k];
        x |= 1;
    } while (x != 0);
    data[i] = x;)"),
              endless},
             {"in a loop that would end", inKernel(R"(
    float x = 1;
    for (uint k = 0; k < 10; ++k) {
        float step = 0.125f * k;
        while (x < 4.0f) // @1
            x = 0.5f * x + step;
    }
    data[i] = uint(x);)"),
              endless},
         })
        expectPlace(wrong);
}

/// What threadgroups of 64 of these threads run, which have memory in common.
std::string inThreadgroups(const std::string& statements) {
    return "kernel void run(device uint* data [[buffer(0)]],"
           " uint i [[thread_position_in_grid]], uint t [[thread_index_in_threadgroup]]) {"
           " threadgroup uint shared[64];"
           " const auto wait = [] { threadgroup_barrier(mem_flags::mem_threadgroup); };" +
           statements + "\n}";
}

TEST_P(PlaceTest, ThreadsThatWorkTogether) {
    SL42_ON_THE_PROCESSOR_ONLY();
    for (const WrongKernel& wrong : {
             WrongKernel{"loop in front of a barrier", inThreadgroups(R"(
    shared[t] = i;
    while (data[0] != 77) // @1
        data[1] = data[2] * 3;
    wait();
    data[i] = shared[t ^ 1];)"),
                         endless},
             {"loop behind a barrier, for some threads", inThreadgroups(R"(
    shared[t] = i;
    wait();
    uint x = shared[t ^ 1];
    if (t % 32 == 5)
        for (uint k = 0; k != 999; k += 2) // @1
            x = x * 1664525u + k;
    wait();
    data[i] = x;)"),
              endless},
             {"write in front of a barrier", inThreadgroups(R"(
    shared[t] = i;
    data[i + 0x7fff0000u] = i; // @1
    wait();
    data[i] = shared[t ^ 1];)"),
              wrote},
             {"read between barriers, for some threads", inThreadgroups(R"(
    shared[t] = i;
    wait();
    if (i == 998)
        shared[t] = data[i * 0x700000u]; // @1
    wait();
    data[i] = shared[t ^ 1];)"),
              read},
             {"write in a loop around a barrier", inThreadgroups(R"(
    for (uint k = 0; k < 8; ++k) {
        shared[t] = i;
        wait();
        data[(k << 28) + i] = shared[t ^ 1]; // @1
        wait();
    })"),
              wrote},
         })
        expectPlace(wrong);
}

// Barriers cut such a loop into pieces, of which any may be at work. What runs them has no line,
// and is at work more often than not; the place of a thread's memory may be of the statement
// before.
TEST_P(PlaceTest, LoopsAroundBarriers) {
    SL42_ON_THE_PROCESSOR_ONLY();
    const std::string body = inThreadgroups(R"(
    shared[t] = i; // @1
    uint x = 1;
    do {
        wait();
        x = x * 1664525u + shared[t ^ 1] | 1;
        wait();
        shared[t] = x;
    } while (x != 0); // @2
    data[i] = x;)");
    const auto lines = markedLines(text(body));
    gpu::CommandBufferError error = errorOf(body);
    for (int i = 0; i < 40 && error.code == Code::TimeLimit && error.lines.empty(); ++i)
        error = errorOf(body);
    EXPECT_EQ(error.code, Code::TimeLimit);
    EXPECT_TRUE(error.what.starts_with("still ")) << error.what;
    ASSERT_FALSE(error.lines.empty());
    EXPECT_GE(error.lines.front(), lines[0]);
    EXPECT_LE(error.lines.front(), lines[1]);
}

TEST_P(PlaceTest, CallsThatLedThere) {
    SL42_ON_THE_PROCESSOR_ONLY();
    for (const WrongKernel& wrong : {
             WrongKernel{"write", R"(
void put(device uint* data, uint at) {
    data[at] = 1; // @1
}
void twice(device uint* data, uint at) {
    put(data, at);
    put(data, at << 23); // @2
}
kernel void run(device uint* data [[buffer(0)]], uint i [[thread_position_in_grid]]) {
    put(data, i);
    twice(data, i + 300); // @3
})",
                         wrote},
             {"loop", R"(
uint settle(uint x) {
    while (x % 16 != 5) // @1
        x += 4;
    return x;
}
kernel void run(device uint* data [[buffer(0)]], uint i [[thread_position_in_grid]]) {
    uint x = settle(i * 16 + 1);
    x += settle(i * 16 + 2); // @2
    data[i] = x;
})",
              endless},
         })
        expectPlace(wrong);
}

/// Services that are started meanwhile call what is large, and do not copy it to each call.
class SharedPlaceTest : public PlaceTest {
protected:
    SharedPlaceTest() {
        ::setenv("SL42_SHARE", "100", 1);
        device = gpu::Device::systemDefault();
        queue = device->makeCommandQueue();
        device->setTimeLimit(std::chrono::milliseconds(250));
    }
    ~SharedPlaceTest() override {
        queue.reset();
        device.reset();
        ::unsetenv("SL42_SHARE");
    }

    /// Two functions that a kernel shares, `outer` calling `inner`, and a kernel with several calls
    /// of which one goes wrong.
    static std::string withCalls(const std::string& wrong, const std::string& parameters) {
        std::string work;
        for (int i = 0; i < 70; ++i)
            work += "    x = (x ^ " + std::to_string(3 + 2 * i) + "u) * " + std::to_string(7 + i) +
                    "u;\n";
        return "uint inner(device uint* data, uint x, uint at) {\n" + work + wrong +
               "    return x;\n}\n"
               "uint outer(device uint* data, uint x, uint at) {\n" +
               work +
               "    x += inner(data, x, at); // @2\n"
               "    return x ^ inner(data, x + 1, 0);\n}\n"
               "kernel void run(device uint* data [[buffer(0)]],"
               " uint i [[thread_position_in_grid]]) {\n"
               "    uint x = outer(data, i, 0);\n"
               "    x += outer(data, x, 1);\n"
               "    if (i > 7)\n"
               "        x += outer(data, x, " +
               parameters +
               "); // @3\n"
               "    x += outer(data, x, 0) * inner(data, x, 0) * inner(data, x, 2);\n"
               "    data[i] = x;\n}\n";
    }
};
SL42_ON_EVERY_DEVICE(SharedPlaceTest);

TEST_P(SharedPlaceTest, CallsThatLedThere) {
    SL42_ON_THE_PROCESSOR_ONLY();
    expectPlace({"write", withCalls("    data[at] = x; // @1\n", "i + 0x70000000u"), wrote});
    expectPlace({"read", withCalls("    x ^= data[at]; // @1\n", "i * 0x01000000u"), read});
    expectPlace({"loop",
                 withCalls("    while (at > 5) // @1\n"
                           "        at = (at ^ data[0]) | 8;\n",
                           "i"),
                 endless});
}

} // namespace
} // namespace test
