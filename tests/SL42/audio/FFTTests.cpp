// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/audio/FFT.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

namespace starloom {
namespace {

std::vector<float> noise(std::size_t length, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> sample(-1, 1);
    std::vector<float> samples(length);
    for (float& value : samples)
        value = sample(random);
    return samples;
}

/// Bins of the packed form, straight from the definition.
std::vector<std::complex<double>> directTransform(const std::vector<float>& samples) {
    const std::size_t n = samples.size();
    const auto bin = [&](std::size_t k) {
        std::complex<double> sum = 0;
        for (std::size_t i = 0; i < n; ++i)
            sum += static_cast<double>(samples[i]) *
                   std::polar(1.0, -2 * std::numbers::pi * static_cast<double>(i * k % n) /
                                       static_cast<double>(n));
        return sum;
    };
    std::vector<std::complex<double>> bins;
    for (std::size_t k = 0; k < n / 2; ++k)
        bins.push_back(bin(k));
    bins[0] = {bins[0].real(), bin(n / 2).real()};
    return bins;
}

} // namespace

TEST(RealTransform, AgreesWithTheDefinition) {
    for (const std::size_t length : {2U, 4U, 64U, 1024U}) {
        const auto samples = noise(length, 1);
        const auto expected = directTransform(samples);
        const auto transform = platform::RealTransform::create(length);
        std::vector<float> real(length / 2);
        std::vector<float> imaginary(length / 2);
        transform->transform(samples, real, imaginary);
        // Rounding grows with the logarithm of the length; values with its square root.
        const double tolerance = 1e-6 * std::sqrt(length) * std::log2(2.0 * length);
        for (std::size_t k = 0; k < length / 2; ++k) {
            EXPECT_NEAR(real[k], expected[k].real(), tolerance) << length << ": " << k;
            EXPECT_NEAR(imaginary[k], expected[k].imag(), tolerance) << length << ": " << k;
        }
    }
}

TEST(FFT, ComparesEachBinWithItsPeak) {
    FFT fft;
    const auto loud = noise(1024, 2);
    std::vector<float> quiet = loud;
    for (float& sample : quiet)
        sample /= 2;
    FFTValues values = fft.process(loud);
    for (const auto* spectrum : {&values.raw, &values.smoothed, &values.integrated})
        for (const float value : *spectrum)
            ASSERT_EQ(value, 1.0F);
    // A quarter of the power, against a peak that has lost 1 %; then one that has lost 2 %.
    values = fft.process(quiet);
    for (std::size_t i = 0; i < 256; ++i) {
        ASSERT_NEAR(values.raw[i], 0.25 / 0.99, 1e-5);
        ASSERT_NEAR(values.smoothed[i], 0.9, 1e-6);
        ASSERT_NEAR(values.integrated[i], 1 + 0.25 / 0.99, 1e-5);
    }
    EXPECT_NEAR(fft.process(quiet).raw[7], 0.25 / (0.99 * 0.99), 1e-5);
    EXPECT_NEAR(fft.process(quiet).smoothed[7], 0.9 * 0.9 * 0.9, 1e-5);
}

TEST(FFT, SilenceFromTheStartIsNotANumber) {
    FFT fft;
    const std::vector<float> silence(1024);
    EXPECT_TRUE(std::isnan(fft.process(silence).raw[10]));
    const FFTValues& values = fft.process(noise(1024, 9));
    EXPECT_EQ(values.raw[10], 1.0F);
    EXPECT_EQ(values.smoothed[10], 1.0F);
    EXPECT_TRUE(std::isnan(values.integrated[10]));
}

} // namespace starloom
