// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The program of a new document, from behind the next empty line on. Its text is fixed at 1,355
// bytes, slips of the pen included.

/*
 Available properties:

 float2 coords     - The pixel that fx() is to draw
 float2 resolution - The size of the screen in pixels
 float  ttime      - Seconds since the song has begun

 Available functions:

 circ(float2 p, float r, float4 color)                 - Disc around p
 circb(float2 p, float r, float4 color, float t)       - Its border, t thick
 cls(float4 color)                                     - Set every pixel
 elli(float2 p, float2 size, float4 color)             - Ellipse around p
 ellib(float2 p, float2 size, float4 color, float t)   - Its border, t thick
 float4 pix(float2 p)                                  - Get a pixel
 pix(float4 color, float2 p)                           - Set a pixel
 print(char* text, int n, float2 p, float4 color)      - Write n letters at p
 rect(float2 p, float2 size, float4 color)             - Box, p is its top left
 rect(float2 p, float2 size, float4 color)             - Box with a border
 */

void fx() {
    // Fade what was on the screen
    cls(pix(coords)*.9);

    // A ball goes from side to side and bounces
    float2 pos = float2(abs(fract(time/5) * 2 - 1), 1-abs(sin(time)))
        * float2(resolution.x - 64, resolution.y/2-32)
        + float2(32, resolution.y/2);

    // All pixels close to it are white
    if (distance(coords, pos) < 32) {
        pix(1, coords);
    }
}
