// SPDX-License-Identifier: MIT
// A structure that builds on another, a union of views of the same bits, bit fields, enumerations.
// grid 12 group 12
// buffer 0: out float[12] == (i * 2 + 3) * (i + 1)
// buffer 1: out uint[12] == unpack('<I', pack('<f', i + 0.5))[0]
// buffer 2: out uint[12] == (i & 7) | (i * 3 & 31) << 3 | (i & 1) << 8
// buffer 3: out int[12] == (10, 20, -5)[i % 3]
// python
// from struct import pack, unpack
// end
#include <metal_stdlib>
using namespace metal;

struct Shape {
    float width, height;
    float area() const thread { return width * height; }
};
struct Frame : Shape {
    float border;
    Frame(float w, float h, float b) : Shape{w + b, h}, border(b) {}
};
union Bits {
    float number;
    uint word;
};
struct Flags {
    uint kind : 3;
    uint level : 5;
    uint last : 1;
};
enum class Price : int { Low = 10, High = 20, Refund = -5 };

kernel void build(device float* a [[buffer(0)]], device uint* b [[buffer(1)]], device uint* c [[buffer(2)]],
                  device int* d [[buffer(3)]], uint id [[thread_position_in_grid]]) {
    const Frame frame(id * 2, id + 1, 3);
    a[id] = frame.area();
    Bits bits;
    bits.number = id + 0.5f;
    b[id] = bits.word;
    Flags flags = {id, id * 3, id};
    c[id] = flags.kind | flags.level << 3 | flags.last << 8;
    const Price price = id % 3 == 0 ? Price::Low : id % 3 == 1 ? Price::High : Price::Refund;
    d[id] = static_cast<int>(price);
}
