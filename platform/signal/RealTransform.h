// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The Fourier transform of real samples, for one length.
#pragma once

#include <cstddef>
#include <memory>
#include <span>

namespace platform {

/// Reuses its memory: transforming allocates nothing. One thread at a time.
class RealTransform {
public:
    /// `length` is a power of two from 2 on. Null when there is no memory for it.
    static std::unique_ptr<RealTransform> create(std::size_t length);
    virtual ~RealTransform() = default;

    virtual std::size_t length() const = 0;
    /// Takes length() samples and gives length() / 2 bins in packed form: bin k stands for k
    /// periods in the block, but bin 0 holds the constant part in `real` and the alternating one (k
    /// = length() / 2) in `imaginary`, both of which have no phase. Nothing is scaled.
    virtual void transform(std::span<const float> samples, std::span<float> real,
                           std::span<float> imaginary) = 0;
};

} // namespace platform
