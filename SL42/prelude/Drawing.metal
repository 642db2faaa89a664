// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The drawing functions. Every thread computes how much of its own pixel a shape covers.
// Distances to ellipses are scaled ones; those to rectangles and triangles are exact.

// Pixels

half4 blend(half4 a, half4 b) {
    switch (blendMode) {
        case Replace:
            return a;
        case Alpha:
            return half4(a.rgb * a.a + b.rgb * (1 - a.a),
                         a.a + b.a * (1 - a.a));
        case Add:
            return a + b;
        default:
            return half4(1, 0, 1, 1);
    }
}

void pix(float4 color, float2 c) {
    bool local = all(round(c) == coords);
    uint idx = coordsToIndex(c);
    if (local) {
        pixel = float4(blend(half4(color), half4(pixel)));
    } else {
        screenMemory[idx] = blend(half4(color), screenMemory[idx]);
    }
}

void pix(float3 color, float2 c) {
    pix(float4(color, 1), c);
}

void pix(float color, float2 c) {
    pix(float4(color), c);
}

float4 pix(float2 c) {
    if (all(round(c) == coords)) {
        return pixel;
    }
    return float4(screenMemory[coordsToIndex(c)]);
}

float4 lpix(float2 c) {
    return float4(lastScreenMemory[coordsToIndex(c)]);
}

// Clearing

void cls() {
    pix(float4(0), coords);
}

void cls(float color) {
    pix(float4(color), coords);
}

void cls(float3 color) {
    pix(float4(color, 1), coords);
}

void cls(float4 color) {
    pix(color, coords);
}

// Shapes

void circ(float2 p, float r, float4 color) {
    float l = length(coords - p) - r;
    float alpha = 1 - smoothstep(0.0, 1.0, l);

    if (alpha == 0) {
        return;
    }

    color.a *= alpha;
    pix(color, coords);
}

void circb(float2 p, float r, float4 color, float thickness = 1) {
    thickness -= 1;
    float l = abs(length(coords - p) - r) - thickness / 2;
    float alpha = 1 - smoothstep(0.0, 1.0, l);

    if (alpha == 0) {
        return;
    }

    color.a *= alpha;
    pix(color, coords);
}

void elli(float2 p, float2 size, float4 color) {
    float aspect = size.x / size.y;
    float2 q = coords - p;
    q.y *= aspect;
    float l = length(q) - size.x;
    float e = abs(q.y / size.x);
    l *= e * e / aspect + 1;
    float alpha = 1 - smoothstep(0.0, 2.0, l);

    if (alpha == 0) {
        return;
    }

    color.a *= alpha;
    pix(color, coords);
}

void ellib(float2 p, float2 size, float4 color, float thickness = 1) {
    thickness -= 1;
    float2 q = coords - p;
    float2 inner = size - thickness / 2;
    float2 outer = size + thickness / 2;
    float innerAspect = inner.x / inner.y;
    float outerAspect = outer.x / outer.y;
    float2 innerQ = float2(q.x, q.y * innerAspect);
    float2 outerQ = float2(q.x, q.y * outerAspect);
    float innerL = length(innerQ) - inner.x;
    float outerL = length(outerQ) - outer.x;
    float l = max(outerL, -innerL);

    // The edge widens towards the ends of the vertical axis.
    float nearSize = l == outerL ? outer.x : inner.x;
    float aspect = l == outerL ? outerAspect : innerAspect;
    float e = abs(outerQ.y / nearSize);
    l *= e * e / aspect + 1;
    float alpha = 1 - smoothstep(0.0, e * e * 2 + 1, l);

    if (alpha == 0) {
        return;
    }

    color.a *= alpha;
    pix(color, coords);
}

void line(float2 a, float2 b, float4 color, float thickness = 0) {
    float2 ca = coords - a;
    float2 ba = b - a;
    float h = clamp(dot(ca, ba) / dot(ba, ba), 0.0, 1.0);
    float l = length(ca - ba * h) - thickness / 2;
    float alpha = 1 - smoothstep(0.0, 1.0, l);

    if (alpha == 0) {
        return;
    }

    color.a *= alpha;
    pix(color, coords);
}

void rect(float2 p, float2 size, float4 color, float radius = 0) {
    float2 q = abs(coords - p - size / 2) - size / 2 + radius;
    float l = length(max(q, 0.0)) + min(max(q.x, q.y), 0.0) - radius;
    float alpha;
    if (radius > 0) {
        alpha = 1 - smoothstep(0.0, 1.0, l);
    } else {
        alpha = 1 - step(0.0, l);
    }

    if (alpha == 0) {
        return;
    }

    color.a *= alpha;
    pix(color, coords);
}

void rectb(float2 p, float2 size, float4 color, float radius = 0, float thickness = 0) {
    float2 q = abs(coords - p - size / 2) - size / 2 + radius;
    float alpha;
    if (radius > 0) {
        float l = length(max(q, 0.0)) + min(max(q.x, q.y), 0.0) - radius;
        l = abs(l) - thickness / 2;
        alpha = 1 - smoothstep(0.0, 1.0, l);
    } else {
        float l = abs(max(q.x, q.y)) - thickness / 2;
        alpha = 1 - step(1.0, l);
    }

    if (alpha == 0) {
        return;
    }

    color.a *= alpha;
    pix(color, coords);
}

void tri(float2 p0, float2 p1, float2 p2, float4 color) {
    float2 e0 = p1 - p0;
    float2 e1 = p2 - p1;
    float2 e2 = p0 - p2;

    float2 v0 = coords - p0;
    float2 v1 = coords - p1;
    float2 v2 = coords - p2;

    float2 pq0 = v0 - e0 * clamp(dot(v0, e0) / dot(e0, e0), 0.0, 1.0);
    float2 pq1 = v1 - e1 * clamp(dot(v1, e1) / dot(e1, e1), 0.0, 1.0);
    float2 pq2 = v2 - e2 * clamp(dot(v2, e2) / dot(e2, e2), 0.0, 1.0);

    float s = sign(e0.x * e2.y - e0.y * e2.x);
    float2 d0 = float2(dot(pq0, pq0), s * (v0.x * e0.y - v0.y * e0.x));
    float2 d1 = float2(dot(pq1, pq1), s * (v1.x * e1.y - v1.y * e1.x));
    float2 d2 = float2(dot(pq2, pq2), s * (v2.x * e2.y - v2.y * e2.x));

    float2 d = min(min(d0, d1), d2);
    float l = -sqrt(d.x) * sign(d.y);
    float alpha = 1 - smoothstep(0.0, 1.0, l);

    if (alpha == 0) {
        return;
    }

    color.a *= alpha;
    pix(color, coords);
}

void trib(float2 p0, float2 p1, float2 p2, float4 color, float thickness = 0) {
    float2 e0 = p1 - p0;
    float2 e1 = p2 - p1;
    float2 e2 = p0 - p2;

    float2 v0 = coords - p0;
    float2 v1 = coords - p1;
    float2 v2 = coords - p2;

    float2 pq0 = v0 - e0 * clamp(dot(v0, e0) / dot(e0, e0), 0.0, 1.0);
    float2 pq1 = v1 - e1 * clamp(dot(v1, e1) / dot(e1, e1), 0.0, 1.0);
    float2 pq2 = v2 - e2 * clamp(dot(v2, e2) / dot(e2, e2), 0.0, 1.0);

    float s = sign(e0.x * e2.y - e0.y * e2.x);
    float2 d0 = float2(dot(pq0, pq0), s * (v0.x * e0.y - v0.y * e0.x));
    float2 d1 = float2(dot(pq1, pq1), s * (v1.x * e1.y - v1.y * e1.x));
    float2 d2 = float2(dot(pq2, pq2), s * (v2.x * e2.y - v2.y * e2.x));

    float2 d = min(min(d0, d1), d2);
    float l = abs(-sqrt(d.x) * sign(d.y)) - thickness / 2;
    float alpha = 1 - smoothstep(0.0, 1.0, l);

    if (alpha == 0) {
        return;
    }

    color.a *= alpha;
    pix(color, coords);
}

// Text

void print(thread const char* str,
           int charCount,
           float2 pos,
           float4 color,
           float size = 30.0,
           FontStyle style = Regular) {
    float2 p = (coords - pos) / float2(size / FontWNorm, size);
    if (p.x < 0 || p.y < 0 || p.x >= charCount || p.y >= 1) {
        return;
    }

    // Half a level finer than the scale asks for: small text stays crisp.
    float m = FontH / size;
    float mipLevel = max(0.5 * log2(m * m) - 0.5, 0.0);
    color.a *= getChar(str[int(p.x)], fract(p), style, mipLevel);

    if (color.a == 0) {
        return;
    }

    pix(color, coords);
}

