// SPDX-License-Identifier: MIT
// Quaternions: product, rotation of vectors, interpolation on the sphere, conversion to a matrix.
// grid 32 group 32
// buffer 0: out float3[32] ~= rotated(i * 0.2, (1, 2, 3)) within 2e-6
// buffer 1: out float3[32] ~= rotated(i * 0.2, (1, 2, 3)) within 3e-6
// buffer 2: out float4[32] ~= (0, 0, sin(0.6 * i / 31), cos(0.6 * i / 31)) within 2e-6
// python
// def rotated(a, v):    # about the unit vector (1, 1, 1) / sqrt(3), by the formula of Rodrigues
//     k = 3 ** -0.5
//     x, y, z = v
//     c, s, d = cos(a), sin(a), k * (x + y + z) * (1 - cos(a)) * k
//     return (x * c + k * (z - y) * s + d, y * c + k * (x - z) * s + d, z * c + k * (y - x) * s + d)
// end
#include <metal_stdlib>
using namespace metal;

struct Quaternion {
    float4 v;
    static Quaternion about(float3 axis, float angle) { return {float4(axis * sin(angle / 2), cos(angle / 2))}; }
    Quaternion operator*(Quaternion o) const thread {
        return {float4(v.w * o.v.xyz + o.v.w * v.xyz + cross(v.xyz, o.v.xyz), v.w * o.v.w - dot(v.xyz, o.v.xyz))};
    }
    Quaternion conjugate() const thread { return {float4(-v.xyz, v.w)}; }
    float3 rotate(float3 x) const thread { return ((*this * Quaternion{float4(x, 0)}) * conjugate()).v.xyz; }
    float3x3 matrix() const thread {
        const float3 q2 = v.xyz * 2;
        const float3 d = v.xyz * q2, w = v.w * q2;
        const float xy = v.x * q2.y, xz = v.x * q2.z, yz = v.y * q2.z;
        return float3x3({1 - d.y - d.z, xy + w.z, xz - w.y}, {xy - w.z, 1 - d.x - d.z, yz + w.x},
                        {xz + w.y, yz - w.x, 1 - d.x - d.y});
    }
};

static Quaternion slerp(Quaternion a, Quaternion b, float t) {
    const float c = dot(a.v, b.v);
    if (c > 0.9999)
        return {normalize(mix(a.v, b.v, t))};
    const float angle = acos(c);
    return {(sin((1 - t) * angle) * a.v + sin(t * angle) * b.v) / sin(angle)};
}

kernel void rotate(device float3* a [[buffer(0)]], device float3* b [[buffer(1)]],
                   device float4* c [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    const Quaternion q = Quaternion::about(float3(1 / sqrt(3.0)), id * 0.2);
    a[id] = q.rotate(float3(1, 2, 3));
    b[id] = q.matrix() * float3(1, 2, 3);
    const float3 z(0, 0, 1);
    c[id] = slerp(Quaternion::about(z, 0), Quaternion::about(z, 1.2), id / 31.0).v;
}
