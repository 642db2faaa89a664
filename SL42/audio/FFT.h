// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Turns blocks of samples into the spectra that programs read: each bin against its own slowly
// decaying peak, a falling peak-hold of that, and its running sum.
#pragma once

#include "SL42/hardware/FFTValues.h"
#include "platform/signal/RealTransform.h"

#include <array>
#include <memory>
#include <span>
#include <vector>

namespace starloom {

/// One thread at a time. After the first block of a length, blocks of that length allocate nothing.
class FFT {
public:
    /// Analyses one block, which must not be empty, and returns the new values. Bin k stands for k
    /// periods in the block. Bins that the block is too short for read 0 in `raw` and keep their
    /// other values; a bin that has never held anything is not a number. Stops the program when
    /// there is no memory for the transform.
    const FFTValues& process(std::span<const float> samples);

private:
    std::span<const float> procSamples(std::span<const float> samples);

    /// Peaks of the squared magnitudes; they lose 1 % a block.
    std::array<float, 256> m_maxSpectrum{};
    FFTValues m_fftValues;
    std::unique_ptr<platform::RealTransform> m_transform;
    std::vector<float> m_real;
    std::vector<float> m_imaginary;
};

} // namespace starloom
