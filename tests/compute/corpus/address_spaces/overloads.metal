// SPDX-License-Identifier: MIT
// Functions and members overloaded by address space alone.
// grid 8 group 8
// buffer 0: in int[8] = i * 3
// buffer 1: in int[8] = i * i
// buffer 2: out int[8] == 1000 + i * 3 + 200 + i * i + 30 + i
// buffer 3: out int[8] == (i * 3 + 1) * 2 + (i * i + 5)
#include <metal_stdlib>
using namespace metal;

static int from(device const int* p) { return 1000 + *p; }
static int from(constant int* p) { return 200 + *p; }
static int from(thread const int* p) { return 30 + *p; }

template <typename Pointer>
struct View {
    Pointer data;
    auto operator[](uint k) const { return data[k]; }
};
struct Row {
    int values[2];
    device int& operator[](size_t k) device { return values[k]; }
    constant int& operator[](size_t k) constant { return values[k]; }
    thread int& operator[](size_t k) thread { return values[k]; }
    const thread int& operator[](size_t k) const thread { return values[k]; }
};

kernel void spaces(device const int* a [[buffer(0)]], constant int* b [[buffer(1)]],
                   device int* c [[buffer(2)]], device Row* rows [[buffer(3)]],
                   uint id [[thread_position_in_grid]]) {
    int mine = id;
    c[id] = from(a + id) + from(b + id) + from(&mine);
    Row row;
    row[0] = View<device const int*>{a}[id] + 1;
    row[1] = View<constant int*>{b}[id] + 5;
    if (id % 2 == 0) {
        rows[id / 2][0] = row[0] * 2 + row[1];
    }
    if (id % 2 == 1) {
        device Row& shared = rows[id / 2];
        shared[1] = row[0] * 2 + row[1];
    }
}
