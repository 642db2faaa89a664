// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Integer functions at the ends of their ranges, against references that work bit by bit in 128
// bits (random programs try them everywhere else), and packed colours.
#include <metal_stdlib>

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using Wide = __int128;

template <class T>
class IntegerTest : public testing::Test {
protected:
    static constexpr int width = int(sizeof(T) * 8);
    static constexpr Wide low = metal::numeric_limits<T>::min();
    static constexpr Wide high = metal::numeric_limits<T>::max();
    static T saturated(Wide x) { return T(x < low ? low : x > high ? high : x); }
    static bool bit(T x, int i) { return ((ulong(x) >> i) & 1) != 0; }

    /// The ends of the range, their neighbours, and random numbers of all lengths.
    static std::vector<T> values() {
        std::vector<T> all = {T(0), T(1), T(2), T(-1), T(low), T(high), T(low + 1), T(high - 1)};
        std::mt19937_64 random(42);
        for (int i = 0; i < 40; ++i)
            all.push_back(T(random() >> (random() % ulong(width)))); // fewer and fewer bits
        return all;
    }
};
using Integers = testing::Types<char, uchar, short, ushort, int, uint, long, ulong>;
TYPED_TEST_SUITE(IntegerTest, Integers);

TYPED_TEST(IntegerTest, PairsMatchWideArithmetic) {
    using T = TypeParam;
    for (T a : this->values())
        for (T b : this->values()) {
            const Wide x = a;
            const Wide y = b;
            EXPECT_EQ(metal::addsat(a, b), this->saturated(x + y));
            EXPECT_EQ(metal::subsat(a, b), this->saturated(x - y));
            EXPECT_EQ(metal::hadd(a, b), T((x + y) >> 1));
            EXPECT_EQ(metal::rhadd(a, b), T((x + y + 1) >> 1));
            EXPECT_EQ(metal::absdiff(a, b), std::make_unsigned_t<T>(x > y ? x - y : y - x));
            // The product of two 64-bit numbers without sign does not fit a signed 128-bit one.
            const Wide upper = T(-1) > T(0) ? Wide(((unsigned __int128)x * y) >> this->width)
                                            : (x * y) >> this->width;
            EXPECT_EQ(metal::mulhi(a, b), T(upper));
            if (this->width < 64)
                EXPECT_EQ(metal::madsat(a, b, T(7)), this->saturated(x * y + 7));
        }
}

TYPED_TEST(IntegerTest, BitsMatchCounting) {
    using T = TypeParam;
    for (T a : this->values()) {
        int ones = 0;
        int highest = -1;
        int lowest = this->width;
        for (int i = 0; i < this->width; ++i)
            if (this->bit(a, i)) {
                ++ones;
                highest = i;
                lowest = std::min(lowest, i);
            }
        EXPECT_EQ(metal::popcount(a), T(ones));
        EXPECT_EQ(metal::clz(a), T(this->width - 1 - highest));
        EXPECT_EQ(metal::ctz(a), T(lowest));
        const T reversed = metal::reverse_bits(a);
        for (int i = 0; i < this->width; ++i) {
            EXPECT_EQ(this->bit(reversed, i), this->bit(a, this->width - 1 - i));
            const T rotated = metal::rotate(a, T(i));
            EXPECT_EQ(this->bit(rotated, i), this->bit(a, 0));
            EXPECT_EQ(this->bit(rotated, (i + 3) % this->width), this->bit(a, 3));
        }
    }
}

TEST(Integer, MultipliesNumbersOf24Bits) {
    EXPECT_EQ(metal::mul24(0x01000002, 3), 6);
    EXPECT_EQ(metal::mad24(-5, 7, 1), -34);
}

TEST(Packing, EveryCodeSurvivesARoundTrip) {
    for (uint i = 0; i < 65536; ++i) {
        const uint codes = i | (65535 - i) << 16;
        EXPECT_EQ(metal::pack_float_to_unorm2x16(metal::unpack_unorm2x16_to_float(codes)), codes);
        EXPECT_EQ(metal::pack_float_to_unorm4x8(metal::unpack_unorm4x8_to_float(codes)), codes);
        EXPECT_EQ(metal::pack_float_to_unorm565(metal::unpack_unorm565_to_float(ushort(i))), i);
        EXPECT_EQ(metal::pack_float_to_unorm10a2(metal::unpack_unorm10a2_to_float(codes)), codes);
        // The most negative code of a signed format equals the next.
        const uint low = (i & 0xffff) == 0x8000 ? 0x8001 : i;
        const uint both = low | low << 16;
        EXPECT_EQ(metal::pack_float_to_snorm2x16(metal::unpack_snorm2x16_to_float(both)), both);
    }
    EXPECT_EQ(metal::pack_float_to_unorm4x8(float4(-1, 2, NAN, 0.5f)), 0x8000ff00u);
    EXPECT_EQ(metal::pack_float_to_snorm4x8(float4(-2, 1, NAN, -0.5f)), 0xc0007f81u);
    EXPECT_FLOAT_EQ(metal::unpack_snorm4x8_to_float(0x80).x, -1);
}

} // namespace
