// Hello!
//
// fx() runs once for every pixel of the screen, 960 across and 540 down, many times a second.
// Change a number, save, and look.

void fx() {
    cls(float3(0.06, 0.08, 0.18));                      // night over the whole screen
    circ(resolution / 2, 130, float4(1, 0.87, 0.5, 1)); // a moon: centre, radius, colour

    // A second circle in the colour of the night drifts over the moon. `time` is in seconds.
    float2 shadow = resolution / 2 + float2(50 + 15 * sin(time), -20);
    circ(shadow, 115, float4(0.06, 0.08, 0.18, 1));
}
