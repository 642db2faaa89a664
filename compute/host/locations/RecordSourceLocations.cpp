// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/locations/RecordSourceLocations.h"

#include "compute/kernel/LoopLines.h"

#include <llvm/BinaryFormat/ELF.h>
#include <llvm/CodeGen/DebugHandlerBase.h>
#include <llvm/CodeGen/MachineDominators.h>
#include <llvm/CodeGen/MachineLoopInfo.h>
#include <llvm/IR/DebugInfoMetadata.h>
#include <llvm/IR/Dominators.h>
#include <llvm/IR/Module.h>
#include <llvm/MC/MCContext.h>
#include <llvm/MC/MCSectionELF.h>
#include <llvm/MC/MCStreamer.h>
#include <llvm/Object/ObjectFile.h>
#include <llvm/Support/Endian.h>

#include <map>
#include <memory>

namespace compute::host {
namespace {

constexpr const char* sectionName = ".places";
constexpr unsigned offsetBytes = 4;

/// Numbers lists of lines; equal lists have the same number.
class LineLists {
public:
    explicit LineLists(LocationTable& table) : m_table(table) {}

    /// None for instructions that come from no line. That includes those that only kept the line of
    /// a call around them, because their neighbours know more.
    std::uint32_t number(const llvm::DILocation* location) {
        if (location == nullptr || location->getLine() == 0)
            return LocationTable::none;
        const auto [known, isNew] = m_locations.try_emplace(location, LocationTable::none);
        if (isNew)
            known->second = add(linesOf(*location));
        return known->second;
    }

private:
    static std::vector<std::uint32_t> linesOf(const llvm::DILocation& location) {
        constexpr std::size_t maxLines = 8;
        std::vector<std::uint32_t> lines;
        for (const llvm::DILocation* place = &location; place != nullptr && lines.size() < maxLines;
             place = place->getInlinedAt())
            if (place->getLine() != 0)
                lines.push_back(place->getLine());
        return lines;
    }
    std::uint32_t add(const std::vector<std::uint32_t>& lines) {
        const auto next = static_cast<std::uint32_t>(m_table.listBegins.size());
        const auto [known, isNew] = m_lists.try_emplace(lines, next);
        if (isNew) {
            m_table.listBegins.push_back(static_cast<std::uint32_t>(m_table.lines.size()));
            m_table.lines.insert(m_table.lines.end(), lines.begin(), lines.end());
        }
        return known->second;
    }

    LocationTable& m_table;
    llvm::DenseMap<const llvm::DILocation*, std::uint32_t> m_locations;
    std::map<std::vector<std::uint32_t>, std::uint32_t> m_lists;
};

class Recorder final : public llvm::DebugHandlerBase {
public:
    Recorder(llvm::AsmPrinter& printer, const LoopBegins& loops, std::string_view origin,
             LocationTable& table)
        : DebugHandlerBase(&printer),
          m_printer(printer),
          m_begins(loops),
          m_origin(origin),
          m_table(table),
          m_lists(table) {}

    void beginInstruction(const llvm::MachineInstr* instruction) override;
    void endInstruction() override;
    void endModule() override;

protected:
    void beginFunctionImpl(const llvm::MachineFunction*) override {}
    void endFunctionImpl(const llvm::MachineFunction*) override {}

private:
    void beginFunction(const llvm::MachineFunction& function);
    void beginBlock(const llvm::MachineBasicBlock& block);
    std::uint32_t addLoop(const llvm::MachineLoop* loop);
    llvm::DebugLoc beginOf(const llvm::MachineLoop& loop) const;
    llvm::MCSymbol* labelHere();
    void addRange(std::uint32_t lines, std::uint32_t loop);

    llvm::AsmPrinter& m_printer;
    const LoopBegins& m_begins;
    std::string_view m_origin;
    LocationTable& m_table;
    LineLists m_lists;

    const llvm::Function* m_function = nullptr; ///< machine functions may reuse each other's memory
    const llvm::MachineBasicBlock* m_block = nullptr;
    const llvm::MachineInstr* m_instruction = nullptr;
    llvm::MCSection* m_code = nullptr;
    std::unique_ptr<llvm::MachineDominatorTree> m_dominators;
    std::unique_ptr<llvm::MachineLoopInfo> m_loops;
    llvm::DenseMap<const llvm::MachineLoop*, std::uint32_t> m_loopNumbers;
    std::uint32_t m_loop = LocationTable::none; ///< around m_block

    // In the order of the table.
    std::vector<const llvm::MCSymbol*> m_ranges;
    std::vector<const llvm::MCSymbol*> m_returns;
    std::vector<const llvm::Function*> m_callees;
    std::vector<const llvm::Function*> m_functions;
};

/// Code generation may have rotated the loop, which removes its last branch, or split its header.
llvm::DebugLoc Recorder::beginOf(const llvm::MachineLoop& loop) const {
    const auto known = m_begins.find(loop.getHeader()->getBasicBlock());
    if (known != m_begins.end())
        return known->second;
    for (const llvm::MachineBasicBlock* block : loop.getHeader()->predecessors())
        for (const llvm::MachineInstr& instruction : block->terminators())
            if (loop.contains(block) && kernel::saysWhereLoopBegins(instruction.getDebugLoc()))
                return instruction.getDebugLoc();
    return {};
}

/// The number of the loop, or of the innermost loop around it that the program has.
std::uint32_t Recorder::addLoop(const llvm::MachineLoop* loop) {
    if (loop == nullptr)
        return LocationTable::none;
    if (const auto known = m_loopNumbers.find(loop); known != m_loopNumbers.end())
        return known->second;
    const std::uint32_t parent = addLoop(loop->getParentLoop());
    const std::uint32_t lines = m_lists.number(beginOf(*loop).get());
    std::uint32_t number = parent;
    if (lines != LocationTable::none) {
        number = static_cast<std::uint32_t>(m_table.loops.size());
        m_table.loops.push_back({.lines = lines, .parent = parent});
    }
    return m_loopNumbers[loop] = number;
}

llvm::MCSymbol* Recorder::labelHere() {
    llvm::MCSymbol* label = m_printer.OutContext.createTempSymbol();
    m_printer.OutStreamer->emitLabel(label);
    return label;
}

void Recorder::addRange(std::uint32_t lines, std::uint32_t loop) {
    if (!m_table.ranges.empty() && m_table.ranges.back().lines == lines &&
        m_table.ranges.back().loop == loop)
        return;
    m_ranges.push_back(labelHere());
    m_table.ranges.push_back({.offset = 0, .lines = lines, .loop = loop});
}

void Recorder::beginFunction(const llvm::MachineFunction& function) {
    m_function = &function.getFunction();
    m_functions.push_back(m_function);
    m_code = function.getSection();
    m_loops.reset();
    m_loopNumbers.clear();
    // The analysis does not change the function.
    m_dominators =
        std::make_unique<llvm::MachineDominatorTree>(const_cast<llvm::MachineFunction&>(function));
    m_loops = std::make_unique<llvm::MachineLoopInfo>(*m_dominators);
    m_block = nullptr;
}

void Recorder::beginBlock(const llvm::MachineBasicBlock& block) {
    m_block = &block;
    m_loop = addLoop(m_loops->getLoopFor(&block));
    for (const llvm::MachineInstr& instruction : block)
        if (const std::uint32_t lines = m_lists.number(instruction.getDebugLoc().get());
            lines != LocationTable::none)
            return addRange(lines, m_loop);
    addRange(m_loop != LocationTable::none ? m_table.loops[m_loop].lines : LocationTable::none,
             m_loop);
}

void Recorder::beginInstruction(const llvm::MachineInstr* instruction) {
    m_instruction = instruction;
    const llvm::MachineFunction& function = *instruction->getMF();
    if (&function.getFunction() != m_function)
        beginFunction(function);
    if (instruction->getParent() != m_block)
        beginBlock(*instruction->getParent());
    if (const std::uint32_t lines = m_lists.number(instruction->getDebugLoc().get());
        lines != LocationTable::none)
        addRange(lines, m_loop);
}

void Recorder::endInstruction() {
    if (!m_instruction->isCall())
        return;
    const llvm::Function* callee = nullptr;
    for (const llvm::MachineOperand& operand : m_instruction->operands())
        if (operand.isGlobal())
            callee = llvm::dyn_cast<llvm::Function>(operand.getGlobal());
    m_returns.push_back(labelHere());
    m_callees.push_back(callee);
}

void Recorder::endModule() {
    if (m_code == nullptr)
        return;
    llvm::MCStreamer& out = *m_printer.OutStreamer;
    out.switchSection(m_code);
    m_ranges.push_back(labelHere());
    m_table.ranges.push_back({});
    llvm::DenseMap<const llvm::Function*, std::uint32_t> numbers;
    for (const llvm::Function* function : m_functions)
        numbers.try_emplace(function, static_cast<std::uint32_t>(numbers.size()));
    for (const llvm::Function* callee : m_callees) {
        const auto known = numbers.find(callee);
        m_table.returns.push_back(
            {.offset = 0, .callee = known != numbers.end() ? known->second : LocationTable::none});
    }
    m_table.functions.resize(m_functions.size());

    out.switchSection(m_printer.OutContext.getELFSection(sectionName, llvm::ELF::SHT_PROGBITS, 0));
    const llvm::MCSymbol* origin =
        m_printer.OutContext.getOrCreateSymbol(llvm::StringRef(m_origin.data(), m_origin.size()));
    const auto emit = [&](const llvm::MCSymbol* symbol) {
        out.emitAbsoluteSymbolDiff(symbol, origin, offsetBytes);
    };
    for (const llvm::MCSymbol* symbol : m_ranges)
        emit(symbol);
    for (const llvm::MCSymbol* symbol : m_returns)
        emit(symbol);
    for (const llvm::Function* function : m_functions)
        emit(m_printer.getSymbol(function));
}

} // namespace

LoopBegins findLoopBegins(llvm::Module& module) {
    LoopBegins begins;
    for (llvm::Function& function : module) {
        if (function.isDeclaration())
            continue;
        const llvm::DominatorTree dominators(function);
        const llvm::LoopInfo loops(dominators);
        for (const llvm::Loop* loop : loops.getLoopsInPreorder())
            if (const llvm::DebugLoc begin = kernel::beginOf(*loop))
                begins[loop->getHeader()] = begin;
    }
    return begins;
}

void recordSourceLocations(llvm::AsmPrinter& printer, const LoopBegins& loops,
                           std::string_view origin, LocationTable& table) {
    printer.addDebugHandler(std::make_unique<Recorder>(printer, loops, origin, table));
}

bool readOffsets(llvm::MemoryBufferRef object, LocationTable& table) {
    auto file = llvm::object::ObjectFile::createObjectFile(object);
    if (!file) {
        llvm::consumeError(file.takeError());
        return false;
    }
    llvm::StringRef bytes;
    for (const llvm::object::SectionRef& section : (*file)->sections()) {
        auto name = section.getName();
        auto contents = section.getContents();
        if (name && contents && *name == sectionName)
            bytes = *contents;
        llvm::consumeError(name.takeError());
        llvm::consumeError(contents.takeError());
    }
    const std::size_t count = table.ranges.size() + table.returns.size() + table.functions.size();
    if (bytes.size() != count * offsetBytes)
        return false;
    const auto next = [&] {
        const auto offset =
            static_cast<std::int32_t>(llvm::support::endian::read32le(bytes.data()));
        bytes = bytes.drop_front(offsetBytes);
        return offset;
    };
    for (LocationTable::Range& range : table.ranges)
        range.offset = next();
    for (LocationTable::Return& call : table.returns)
        call.offset = next();
    for (std::int32_t& function : table.functions)
        function = next();
    return true;
}

} // namespace compute::host
