// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Turning a point about the origin.

float2 rotate2d(float2 p, float a) {
    return cos(a) * p + sin(a) * float2(-p.y, p.x);
}

