// Two kinds of random. randomuint(x) mixes up a number and gives the same answer for it each time:
// that decides which way each tile of the maze leans. randomfloat() gives something new on every
// call and in every frame: that is the grain on the picture and the sparks.

enum { tile = 30 };

void fx() {
    cls(mix(float3(0.1, 0.12, 0.26), float3(0.06, 0.07, 0.16), coords.y / resolution.y));

    int2 place = int2(coords) / int(tile);
    uint number = uint(place.y * 32 + place.x);
    uint decision = randomuint(number + 1);

    // Now and then a tile makes up its mind anew and turns over.
    float turning = time * 0.4 + float(decision % 1000) / 1000;
    bool lean = randomuint(decision + uint(turning)) % 2 == 0;
    float settle = smoothstep(0.0, 0.25, fract(turning));

    float2 middle = (float2(place) + 0.5) * float(tile);
    float angle = pi / 4 + (lean ? pi / 2 : 0) + (1 - settle) * pi / 2;
    float2 arm = rotate2d(float2(tile * 0.7071, 0), angle);
    float3 color = mix(float3(0.99, 0.45, 0.4), float3(0.45, 0.75, 0.95),
                       middle.x / resolution.x + 0.2 * sin(time + middle.y / 90));
    line(middle - arm, middle + arm, float4(color * (0.55 + 0.45 * settle), 1), 7);

    // One pixel in some four thousand flares up for a single frame.
    if (randomuint() % 4096 == 0)
        pix(randomfloat3() * 0.5 + 0.5, coords);
    pix(float4(float3(randomfloat()), 0.05), coords); // film grain
}
