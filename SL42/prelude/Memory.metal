// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Typed access to main memory, one byte at a time, so that any address works.

// Memory

template <typename T>
T peek8(int idx) {
    return as_type<T>(memory[idx]);
}

template <typename T>
T peek16(int idx) {
    return as_type<T>(uchar2(memory[idx], memory[idx + 1]));
}

template <typename T>
T peek32(int idx) {
    return as_type<T>(uchar4(memory[idx],
                             memory[idx + 1],
                             memory[idx + 2],
                             memory[idx + 3]));
}

template <typename T>
T peek64(int idx) {
    return as_type<T>(float2(peek32<float>(idx),
                             peek32<float>(idx + 4)));
}

template <typename T>
T peek128(int idx) {
    return as_type<T>(float4(peek32<float>(idx),
                             peek32<float>(idx + 4),
                             peek32<float>(idx + 8),
                             peek32<float>(idx + 12)));
}

template <typename T>
void poke8(T v, int idx) {
    memory[idx] = uchar(v);
}

template <typename T>
void poke16(T v, int idx) {
    uchar2 bytes = as_type<uchar2>(v);
    memory[idx] = bytes.x;
    memory[idx + 1] = bytes.y;
}

template <typename T>
void poke32(T v, int idx) {
    uchar4 bytes = as_type<uchar4>(v);
    memory[idx] = bytes.x;
    memory[idx + 1] = bytes.y;
    memory[idx + 2] = bytes.z;
    memory[idx + 3] = bytes.w;
}

template <typename T>
void poke64(T v, int idx) {
    float2 words = as_type<float2>(v);
    poke32(words.x, idx);
    poke32(words.y, idx + 4);
}

template <typename T>
void poke128(T v, int idx) {
    float4 words = as_type<float4>(v);
    poke32(words.x, idx);
    poke32(words.y, idx + 4);
    poke32(words.z, idx + 8);
    poke32(words.w, idx + 12);
}

