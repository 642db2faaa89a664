// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/emit/Assembler.h"

namespace compute::spirv {
namespace {

constexpr std::uint32_t version = 0x00010500;

std::uint32_t firstWord(spv::Op operation, std::size_t words) {
    return static_cast<std::uint32_t>(words << 16) | static_cast<std::uint32_t>(operation);
}

/// Four characters a word, ended by at least one zero.
std::vector<std::uint32_t> wordsOf(std::string_view text) {
    std::vector<std::uint32_t> words(text.size() / 4 + 1);
    for (std::size_t i = 0; i < text.size(); ++i)
        words[i / 4] |= static_cast<std::uint32_t>(static_cast<unsigned char>(text[i]))
                        << (8 * (i % 4));
    return words;
}

} // namespace

void Assembler::add(Section section, spv::Op operation, std::span<const std::uint32_t> operands) {
    std::vector<std::uint32_t>& words = m_sections[section];
    words.push_back(firstWord(operation, operands.size() + 1));
    words.insert(words.end(), operands.begin(), operands.end());
}

void Assembler::addText(Section section, spv::Op operation,
                        std::initializer_list<std::uint32_t> operands, std::string_view text,
                        std::span<const std::uint32_t> more) {
    std::vector<std::uint32_t> all(operands);
    const std::vector<std::uint32_t> characters = wordsOf(text);
    all.insert(all.end(), characters.begin(), characters.end());
    all.insert(all.end(), more.begin(), more.end());
    add(section, operation, all);
}

void Assembler::capability(spv::Capability capability) {
    if (!std::exchange(m_capabilities[capability], true))
        add(Capabilities, spv::Op::OpCapability, {static_cast<std::uint32_t>(capability)});
}

void Assembler::extension(std::string_view name) {
    addText(Extensions, spv::Op::OpExtension, {}, name);
}

void Assembler::decorate(Id id, spv::Decoration decoration,
                         std::initializer_list<std::uint32_t> more) {
    std::vector<std::uint32_t> operands{id, static_cast<std::uint32_t>(decoration)};
    operands.insert(operands.end(), more.begin(), more.end());
    add(Decorations, spv::Op::OpDecorate, operands);
}

Id Assembler::unique(spv::Op operation, std::span<const std::uint32_t> before,
                     std::span<const std::uint32_t> after) {
    std::vector<std::uint32_t> key{static_cast<std::uint32_t>(operation)};
    key.insert(key.end(), before.begin(), before.end());
    key.insert(key.end(), after.begin(), after.end());
    Id& id = m_unique[key];
    if (id == 0) {
        id = newId();
        std::vector<std::uint32_t> operands(before.begin(), before.end());
        operands.push_back(id);
        operands.insert(operands.end(), after.begin(), after.end());
        add(Globals, operation, operands);
    }
    return id;
}

Id Assembler::type(spv::Op operation, std::initializer_list<std::uint32_t> operands) {
    return unique(operation, {}, std::span(operands.begin(), operands.size()));
}

Id Assembler::constant(spv::Op operation, Id type, std::span<const std::uint32_t> operands) {
    return unique(operation, std::span(&type, 1), operands);
}

Id Assembler::mathematics() {
    if (m_mathematics == 0) {
        m_mathematics = newId();
        addText(Imports, spv::Op::OpExtInstImport, {m_mathematics}, "GLSL.std.450");
    }
    return m_mathematics;
}

std::vector<std::uint32_t> Assembler::words() const {
    std::vector<std::uint32_t> all{spv::MagicNumber, version, 0, m_nextId, 0};
    for (const std::vector<std::uint32_t>& section : m_sections)
        all.insert(all.end(), section.begin(), section.end());
    return all;
}

} // namespace compute::spirv
