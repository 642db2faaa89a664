// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One of this folder's kernels in a comparison with other devices: frame after frame over memory
// that is the same on all of them, and commands one line each, answered in JSON.
#pragma once

#include "bench/BenchKernel.h"

#include <memory>
#include <vector>

namespace bench {

/// A kernel on the device that is measured.
class Subject {
public:
    virtual ~Subject() = default;

    virtual std::string device() const = 0;
    /// To the end.
    virtual void draw(const Frame& frame) = 0;
    virtual std::span<const std::byte> memory() = 0;
    /// Time of processors since some time, of all that draws.
    virtual double processorMilliseconds() const = 0;
};

double now(); ///< milliseconds

class Harness {
public:
    /// `start`: when work on the kernel's text began. Draws frame 0.
    Harness(const BenchKernel& kernel, std::unique_ptr<Subject> subject, double start);

    /// Obeys "frames N", "dump FILE" and "quit" from the standard input.
    void serve();
    /// Draws frames and prints their times, all in one line.
    void print(unsigned frames);

private:
    /// Draws the next frames and returns the milliseconds of each.
    std::vector<double> draw(unsigned frames);
    std::span<const std::byte> result() const;

    const BenchKernel m_kernel;
    const std::unique_ptr<Subject> m_subject;
    std::uint32_t m_drawn = 0;
    double m_firstMilliseconds = 0; ///< from the text to the end of frame 0
};

} // namespace bench
