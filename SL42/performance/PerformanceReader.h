// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Reads a performance frame by frame. Files come from anywhere: they may be cut off, damaged or
// made to harm.
#pragma once

#include "SL42/performance/PerformanceFormat.h"
#include "SL42/performance/PerformanceFrame.h"
#include "platform/base/Result.h"

#include <fstream>
#include <optional>
#include <string>

namespace starloom {

/// One thread. Holds one frame in memory.
class PerformanceReader {
public:
    /// The error is one line with the path: there is no such file, or it holds no performance.
    static platform::Result<PerformanceReader> open(const std::string& path);

    /// What the program was called.
    const std::string& title() const { return m_title; }
    /// The next frame; none at the end, and where the file is damaged.
    std::optional<PerformanceFrame> next();
    /// Why there is nothing more although the performance was not ended, in one line with the path;
    /// none while there are frames and where it was ended.
    const std::optional<std::string>& damage() const { return m_damage; }

private:
    struct Record {
        performance::RecordKind kind{};
        std::string contents;
    };
    enum class Fault { CutOff, Damaged };

    explicit PerformanceReader(std::string path) : m_path(std::move(path)) {}
    platform::Result<Record, Fault> readRecord();
    std::optional<PerformanceFrame> endWith(Fault fault);

    std::string m_path;
    std::ifstream m_file;
    std::string m_title;
    PerformanceFrame m_last; ///< its clock and its state
    bool m_hasFrames = false;
    bool m_isOver = false;
    std::optional<std::string> m_damage;
};

} // namespace starloom
