// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/audio/FFT.h"

#include "platform/base/Fatal.h"

#include <algorithm>
#include <bit>

namespace starloom {

// Squared magnitudes of the packed bins. A block whose length is not a power of two is cut to the
// largest one in it, but still gives a value for every two samples; those beyond the transform are
// 0.
std::span<const float> FFT::procSamples(std::span<const float> samples) {
    if (samples.empty())
        platform::fatalError("A block of sound is empty");
    const std::size_t length = std::bit_floor(samples.size());
    const std::size_t half = samples.size() / 2;
    if (half == 0)
        return {};
    if (!m_transform || m_transform->length() != length)
        m_transform = platform::RealTransform::create(length);
    if (!m_transform)
        platform::fatalError("Can't create FFT Setup.");
    m_real.assign(half, 0);
    m_imaginary.assign(half, 0);
    m_transform->transform(samples, m_real, m_imaginary);
    for (std::size_t k = 0; k < half; ++k)
        m_real[k] = m_real[k] * m_real[k] + m_imaginary[k] * m_imaginary[k];
    return m_real;
}

const FFTValues& FFT::process(std::span<const float> samples) {
    constexpr float peakDecay = 0.99F;
    constexpr float smoothedDecay = 0.9F;
    const auto spectrum = procSamples(samples);
    m_fftValues.raw.fill(0);
    for (std::size_t i = 0; i < std::min(m_maxSpectrum.size(), spectrum.size()); ++i) {
        const float decayed = m_maxSpectrum[i] * peakDecay;
        const float peak = spectrum[i] > decayed ? spectrum[i] : decayed;
        m_maxSpectrum[i] = peak;
        const float raw = spectrum[i] / peak; // not a number in a bin that was always silent
        m_fftValues.raw[i] = raw;
        const float held = m_fftValues.smoothed[i] * smoothedDecay;
        m_fftValues.smoothed[i] = held > raw ? held : raw;
        m_fftValues.integrated[i] += raw;
    }
    return m_fftValues;
}

} // namespace starloom
