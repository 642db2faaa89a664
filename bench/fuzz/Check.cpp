// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/Check.h"

#include "bench/fuzz/Evaluator.h"
#include "bench/fuzz/Layout.h"
#include "bench/fuzz/Printer.h"
#include "compute/memory/RegionAllocator.h"
#include "compute/metal/Frontend.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>

namespace fuzz {
namespace {

using namespace compute;

template <class T>
void put(std::byte* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

template <class T>
T get(const std::byte* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

double numberAt(const std::byte* at, Scalar type) {
    return type == Scalar::Half ? static_cast<double>(get<_Float16>(at)) : get<float>(at);
}

std::int64_t integerAt(const std::byte* at, Scalar type) {
    std::int64_t value = 0;
    std::memcpy(&value, at, bytesOf(type));
    const unsigned unused = 64 - 8 * bytesOf(type);
    const auto raised = static_cast<std::int64_t>(static_cast<std::uint64_t>(value) << unused);
    return isSigned(type) ? raised >> unused : value;
}

/// An output as it lies in memory.
struct Output {
    Layout element;
    unsigned count;
    bool threadMajor;
    std::size_t threads;

    std::size_t bytes() const { return threads * count * element.bytes; }
    std::size_t offset(std::size_t thread, std::size_t index) const {
        return (threadMajor ? thread * count + index : index * threads + thread) * element.bytes;
    }
};

/// All memory of one run.
using memory::RegionVector;

class Memory {
public:
    Memory(const Program& program, const Inputs& inputs)
        : m_pixels(inputs.pixels().begin(), inputs.pixels().end()) {
        for (unsigned i = 0; i < std::size(inputTypes); ++i)
            m_buffers.push_back(encoded(inputs.buffer(i), inputTypes[i].scalar));
        m_buffers.emplace_back(std::size(atomicOperations) * countersPerOperation * 4);
        const std::size_t threads = std::size_t{program.width} * program.height;
        m_buffers.emplace_back(threads * regionBytes);
        const auto& variables = program.kernel().variables;
        for (unsigned i = 0; i < variables.size(); ++i)
            if (variables[i].form == Form::Output) {
                const Type type = variables[i].type;
                m_outputs.push_back(
                    {layoutOf(program, type.element()), type.count(), isThreadMajor(i), threads});
                m_names.push_back("v" + std::to_string(i));
                m_buffers.emplace_back(m_outputs.back().bytes());
            }
        constexpr PixelFormat formats[] = {PixelFormat::R8Unorm, PixelFormat::R8Unorm,
                                           PixelFormat::RG8Unorm, PixelFormat::R8Unorm,
                                           PixelFormat::RGBA8Unorm};
        const Texture& texture = program.texture;
        m_texture.format = formats[texture.channels];
        m_texture.levelCount = 1;
        m_texture.levels[0] = {nullptr, texture.width, texture.height,
                               std::uint64_t{texture.width} * texture.channels};
    }

    Workspace workspace() {
        Workspace result;
        for (std::uint32_t i = 0; i < m_buffers.size(); ++i)
            result.buffers[i] = m_buffers[i];
        result.texture = m_texture;
        result.texels = std::as_writable_bytes(std::span(m_pixels));
        return result;
    }

    /// Empty where everything is as expected.
    std::string difference(const Outcome& expected) const {
        const auto& counters = m_buffers[countersBuffer];
        for (std::size_t i = 0; i < expected.counters.size(); ++i)
            if (const auto found = get<std::uint32_t>(&counters[4 * i]);
                found != expected.counters[i])
                return describe("counter", i, expected.counters[i], found);
        for (std::size_t i = 0; i < m_outputs.size(); ++i)
            if (std::string text = outputDifference(i, expected.outputs[i]); !text.empty())
                return text;
        for (std::size_t i = 0; i < expected.region.size(); ++i)
            if (const auto found = static_cast<unsigned>(m_buffers[regionBuffer][i]);
                found != expected.region[i])
                return describe("bytes", i, unsigned{expected.region[i]}, found);
        return {};
    }

private:
    static RegionVector<std::byte> encoded(const std::vector<double>& numbers, Scalar type) {
        RegionVector<std::byte> bytes(numbers.size() * bytesOf(type));
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            std::byte* at = &bytes[i * bytesOf(type)];
            if (type == Scalar::Float)
                put(at, static_cast<float>(numbers[i]));
            else if (type == Scalar::Half)
                put(at, static_cast<_Float16>(numbers[i]));
            else
                std::memcpy(at, std::array{static_cast<std::int64_t>(numbers[i])}.data(),
                            bytesOf(type));
        }
        return bytes;
    }

    template <class T>
    static std::string describe(const std::string& what, std::size_t index, T expected, T found) {
        std::ostringstream text;
        text.precision(9);
        text << what << "[" << index << "]: expected " << expected << ", found " << found;
        return text.str();
    }

    std::string outputDifference(std::size_t output, const std::vector<Cell>& expected) const {
        const Output& o = m_outputs[output];
        const auto& bytes = m_buffers[firstOutputBuffer + output];
        const std::size_t cells = o.element.numbers.size();
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const std::size_t cell = i % cells;
            const std::size_t element = i / cells % o.count;
            const std::size_t thread = i / cells / o.count;
            const Layout::Number number = o.element.numbers[cell];
            const std::byte* at = &bytes[o.offset(thread, element) + number.offset];
            const std::string place = m_names[output] + " of thread " + std::to_string(thread) +
                                      ", element " + std::to_string(element) + ", number";
            if (!isFloating(number.type)) {
                const std::int64_t found = integerAt(at, number.type);
                if (found != expected[i].integer)
                    return describe(place, cell, expected[i].integer, found);
                continue;
            }
            const double found = numberAt(at, number.type);
            const double error = 2 * expected[i].error;
            if (!(std::abs(found - expected[i].number) <= error) && !std::isinf(error))
                return describe(place, cell, expected[i].number, found) + ", which is off by " +
                       std::to_string(std::abs(found - expected[i].number) / error) +
                       " times what is allowed";
        }
        return {};
    }

    RegionVector<std::uint8_t> m_pixels;
    std::vector<RegionVector<std::byte>> m_buffers;
    std::vector<Output> m_outputs;
    std::vector<std::string> m_names;
    TextureView m_texture;
};

/// Of a compiler's message, without the warnings around it.
std::string errorLine(const std::string& message) {
    std::istringstream lines(message);
    std::string line;
    while (std::getline(lines, line))
        if (line.find("error: ") != std::string::npos)
            return line;
    return message.substr(0, message.find('\n'));
}

} // namespace

void warmUpFrontEnd() {
    metal::warmUp();
}

struct Trial::State {
    explicit State(const Program& p) : program(p), inputs(p), expected(evaluate(p, inputs)) {}

    Program program;
    Inputs inputs;
    std::optional<Outcome> expected;
    std::optional<platform::Result<kernel::Program>> compiled;
};

Trial::Trial(const Program& program) : m_state(std::make_unique<State>(program)) {
    if (m_state->expected)
        m_state->compiled = metal::compile(print(program));
}

Trial::Trial(Trial&&) noexcept = default;
Trial::~Trial() = default;

std::string Trial::run(const Backend& backend) const {
    if (!m_state->expected)
        return "skipped: takes too many steps";
    if (!*m_state->compiled)
        return "not compiled: " + errorLine(m_state->compiled->error().message);
    auto kernel = backend.build(**m_state->compiled);
    if (!kernel)
        return "not compiled: " + errorLine(kernel.error().message);
    const Program& program = m_state->program;
    Memory memory(program, m_state->inputs);
    const auto done = backend.run(**kernel, memory.workspace(), {program.width, program.height, 1},
                                  {program.group, 1, 1});
    if (!done)
        return "not run: " + done.error().message;
    const std::string difference = memory.difference(*m_state->expected);
    return difference.empty() ? "" : "wrong: " + difference;
}

} // namespace fuzz
