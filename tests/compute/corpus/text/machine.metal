// SPDX-License-Identifier: MIT
// A small machine with a stack runs two programs: one with a stack, one with registers.
// grid 16 group 16
// buffer 1: out int[16] == (i + 7) * i if i % 2 == 0 else sum(k for k in range(i + 1))
#include <metal_stdlib>
using namespace metal;

enum Code : uchar { End, Input, Times, Plus };

static int polynomial(int x) {
    const uchar code[] = {Input, 7, Plus, Input, Times, End};
    int stack[4], top = 0;
    for (uint pc = 0; code[pc] != End; ++pc)
        switch (code[pc]) {
        case Input:
            stack[top++] = x;
            break;
        case Times:
            --top;
            stack[top - 1] *= stack[top];
            break;
        case Plus:
            --top;
            stack[top - 1] += stack[top];
            break;
        default:
            stack[top++] = code[pc];
        }
    return stack[0];
}

kernel void interpret(device int* out [[buffer(1)]],
                      uint id [[thread_position_in_grid]]) {
    if (id % 2 == 0) {
        out[id] = polynomial(id);
        return;
    }
    int registers[2] = {int(id), 0};
    enum { Add, Decrement, Loop, Stop };
    const int code[] = {Add, Decrement, Loop, Stop};
    for (int pc = 0; code[pc] != Stop;)
        switch (code[pc]) {
        case Add:
            registers[1] += registers[0];
            ++pc;
            break;
        case Decrement:
            --registers[0];
            ++pc;
            break;
        case Loop:
            pc = registers[0] > 0 ? 0 : pc + 1;
            break;
        }
    out[id] = registers[1];
}
