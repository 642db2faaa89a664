// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/signal/RealTransform.h"

#include <kissfft/kiss_fftr.h>

#include <bit>
#include <cassert>
#include <vector>

namespace platform {
namespace {

struct FreeSetup {
    void operator()(kiss_fftr_cfg setup) const { kiss_fftr_free(setup); }
};
using Setup = std::unique_ptr<kiss_fftr_state, FreeSetup>;

class KissTransform final : public RealTransform {
public:
    KissTransform(Setup setup, std::size_t length)
        : m_setup(std::move(setup)), m_length(length), m_bins(length / 2 + 1) {}

    std::size_t length() const override { return m_length; }
    void transform(std::span<const float> samples, std::span<float> real,
                   std::span<float> imaginary) override {
        assert(samples.size() >= m_length && real.size() >= m_length / 2 &&
               imaginary.size() >= m_length / 2);
        kiss_fftr(m_setup.get(), samples.data(), m_bins.data());
        for (std::size_t k = 0; k < m_length / 2; ++k) {
            real[k] = m_bins[k].r;
            imaginary[k] = m_bins[k].i;
        }
        imaginary[0] = m_bins[m_length / 2].r;
    }

private:
    Setup m_setup;
    std::size_t m_length;
    std::vector<kiss_fft_cpx> m_bins;
};

} // namespace

std::unique_ptr<RealTransform> RealTransform::create(std::size_t length) {
    assert(length >= 2 && std::has_single_bit(length));
    Setup setup(kiss_fftr_alloc(static_cast<int>(length), 0, nullptr, nullptr));
    if (!setup)
        return nullptr;
    return std::make_unique<KissTransform>(std::move(setup), length);
}

} // namespace platform
