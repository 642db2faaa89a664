// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A SPIR-V module as it grows: sections of words in the order that SPIR-V wants them
// in ("Logical Layout of a Module"), and types and constants of which there is one each.
#pragma once

#include <spirv/unified1/GLSL.std.450.h>
#include <spirv/unified1/spirv.hpp11>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace compute::spirv {

/// The word that stands for an enumerator of SPIR-V.
constexpr std::uint32_t numberOf(auto value) {
    return static_cast<std::uint32_t>(value);
}

using Id = std::uint32_t;

class Assembler {
public:
    enum Section : std::uint8_t {
        Capabilities,
        Extensions,
        Imports,
        Model,
        EntryPoints,
        Modes,
        Names,
        Decorations,
        Globals, ///< types, constants and variables
        Functions,
        SectionCount
    };

    Id newId() { return m_nextId++; }
    void add(Section section, spv::Op operation, std::span<const std::uint32_t> operands);
    void add(Section section, spv::Op operation, std::initializer_list<std::uint32_t> operands) {
        add(section, operation, std::span(operands.begin(), operands.size()));
    }
    /// With text behind the first operands, and more behind that.
    void addText(Section section, spv::Op operation, std::initializer_list<std::uint32_t> operands,
                 std::string_view text, std::span<const std::uint32_t> more = {});

    void capability(spv::Capability capability);
    void extension(std::string_view name);
    void decorate(Id id, spv::Decoration decoration,
                  std::initializer_list<std::uint32_t> more = {});
    void name(Id id, std::string_view text) { addText(Names, spv::Op::OpName, {id}, text); }

    /// The one type of this kind.
    Id type(spv::Op operation, std::initializer_list<std::uint32_t> operands = {});
    /// Of a function: the type of its result, then those of its parameters.
    Id functionType(std::span<const std::uint32_t> types) {
        return unique(spv::Op::OpTypeFunction, {}, types);
    }
    Id structure(std::span<const std::uint32_t> members) {
        return unique(spv::Op::OpTypeStruct, {}, members);
    }
    Id integer(unsigned bits) { return type(spv::Op::OpTypeInt, {bits, 0}); }
    Id real(unsigned bits) { return type(spv::Op::OpTypeFloat, {bits}); }
    Id boolean() { return type(spv::Op::OpTypeBool); }
    Id nothing() { return type(spv::Op::OpTypeVoid); }
    Id pointer(spv::StorageClass storage, Id to) {
        return type(spv::Op::OpTypePointer, {static_cast<std::uint32_t>(storage), to});
    }

    /// The one constant of this value.
    Id constant(spv::Op operation, Id type, std::span<const std::uint32_t> operands);
    Id constant(spv::Op operation, Id type, std::initializer_list<std::uint32_t> operands = {}) {
        return constant(operation, type, std::span(operands.begin(), operands.size()));
    }
    Id word(std::uint32_t value) { return constant(spv::Op::OpConstant, integer(32), {value}); }

    /// GLSL.std.450.
    Id mathematics();

    /// The whole module.
    std::vector<std::uint32_t> words() const;

private:
    Id unique(spv::Op operation, std::span<const std::uint32_t> before,
              std::span<const std::uint32_t> after);

    Id m_nextId = 1;
    Id m_mathematics = 0;
    std::array<std::vector<std::uint32_t>, SectionCount> m_sections;
    std::map<std::vector<std::uint32_t>, Id> m_unique;
    std::map<spv::Capability, bool> m_capabilities;
};

} // namespace compute::spirv
