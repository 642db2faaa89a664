// SPDX-License-Identifier: MIT
// A view of rows and columns over memory of any address space.
// grid 12 group 12
// buffer 0: in float[12] = i * i % 7
// buffer 1: inout float[12] = i == i + 2 * b0[i % 4 * 3 + i // 4]
#include <metal_stdlib>
using namespace metal;

template <typename T>
struct Grid {
    T* data;
    uint columns;
};
template <typename T>
struct DeviceGrid {
    device T* data;
    uint columns;
    device T& at(uint row, uint column) const thread { return data[row * columns + column]; }
};
template <typename T>
struct ConstantGrid {
    constant T* data;
    uint columns;
    constant T& at(uint row, uint column) const thread { return data[row * columns + column]; }
};

static void add(device float& to, float value) { to += value; }
static void add(thread float& to, float value) { to -= value; }

kernel void views(constant float* a [[buffer(0)]], device float* b [[buffer(1)]],
                  uint id [[thread_position_in_grid]]) {
    const ConstantGrid<float> from{a, 3};
    const DeviceGrid<float> to{b, 4};
    const uint row = id / 4, column = id % 4;
    float twice = 0;
    add(twice, -2 * from.at(column, row));
    add(to.at(row, column), twice);
}
