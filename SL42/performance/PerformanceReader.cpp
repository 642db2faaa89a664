// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/performance/PerformanceReader.h"

#include "platform/base/Fnv.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <utility>

namespace starloom {

using performance::RecordKind;
using platform::Error;
using platform::Result;

Result<PerformanceReader> PerformanceReader::open(const std::string& path) {
    PerformanceReader reader(path);
    errno = 0;
    reader.m_file.open(path, std::ios::binary);
    if (!reader.m_file)
        return Error{path + ": " + std::strerror(errno)};
    std::string heading(performance::heading.size(), '\0');
    reader.m_file.read(heading.data(), static_cast<std::streamsize>(heading.size()));
    if (heading != performance::heading)
        return Error{path + ": This is no performance"};
    auto title = reader.readRecord();
    if (!title || title->kind != RecordKind::Title)
        return Error{path + ": The performance is damaged from its beginning on"};
    reader.m_title = std::move(title->contents);
    return reader;
}

Result<PerformanceReader::Record, PerformanceReader::Fault> PerformanceReader::readRecord() {
    std::array<char, performance::headLength> head{};
    if (!m_file.read(head.data(), head.size()))
        return Fault::CutOff;
    std::uint32_t length = 0;
    std::memcpy(&length, &head[1], sizeof length);
    if (length > performance::longestRecord)
        return Fault::Damaged;
    std::string bytes(head.data(), head.size());
    bytes.resize(head.size() + length);
    std::uint32_t sum = 0;
    if (!m_file.read(&bytes[head.size()], length) ||
        !m_file.read(reinterpret_cast<char*>(&sum), sizeof sum))
        return Fault::CutOff;
    if (sum != platform::fnv1a32(std::as_bytes(std::span(bytes))))
        return Fault::Damaged;
    return Record{static_cast<RecordKind>(head[0]), bytes.substr(head.size())};
}

std::optional<PerformanceFrame> PerformanceReader::next() {
    std::optional<std::string> program;
    while (!m_isOver) {
        auto record = readRecord();
        if (!record)
            return endWith(record.error());
        switch (record->kind) {
        case RecordKind::Program:
            program = std::move(record->contents);
            continue;
        case RecordKind::End:
            m_isOver = true;
            continue;
        case RecordKind::Title:
            return endWith(Fault::Damaged);
        case RecordKind::Frame:
            break;
        default:
            return endWith(Fault::Damaged);
        }
        auto frame = performance::decodeFrame(record->contents, m_last.state);
        if (!frame || frame->clock < m_last.clock || (!m_hasFrames && !program))
            return endWith(Fault::Damaged);
        m_last = *frame;
        m_hasFrames = true;
        frame->program = std::move(program);
        return frame;
    }
    return std::nullopt;
}

std::optional<PerformanceFrame> PerformanceReader::endWith(Fault fault) {
    m_isOver = true;
    std::ostringstream line;
    line << m_path
         << (fault == Fault::CutOff ? ": The performance is cut off after "
                                    : ": The performance is damaged after ")
         << std::fixed << std::setprecision(2) << m_last.clock
         << " s; what comes later is left out";
    m_damage = line.str();
    return std::nullopt;
}

} // namespace starloom
