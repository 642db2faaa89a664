// Paint! Move the mouse to draw; hold the left button for a broad brush and the right one to rub
// out. Space changes the colour, the arrow keys let the paint run, Escape wipes the canvas.
// Everything appears four times, as in a mirror.
//
// The canvas is the last frame: fx reads it with lpix and draws the brush on top.

enum { brushNow = 0, brushBefore = 8, colorNumber = 16 }; // addresses

// Until somebody moves the mouse the brush wanders by itself.
float2 brush() {
    bool idle = all(mousepos() == 0);
    float2 wander = resolution / 2 + float2(360 * sin(time * 3.2), 200 * sin(time * 4.1));
    return idle ? wander : mousepos();
}

float3 ink(uint number) {
    return 0.58 + 0.42 * cos(number * 1.1 + time * 1.5 + float3(0, 2.1, 4.2));
}

void cpu() {
    if (core != 0) // one core is enough to remember where the brush was
        return;
    registers[MousePointer] = Hide;
    poke64(peek64<float2>(brushNow), brushBefore);
    poke64(brush(), brushNow);
    if (keystroke(Space))
        poke16(ushort(peek16<ushort>(colorNumber) + 1), colorNumber);
}

void fx() {
    float2 flow = float2(keydown(Right) - keydown(Left), keydown(Down) - keydown(Up));
    cls(float3(0.97, 0.95, 0.91)); // paper
    bool wiped = keydown(Escape);
    float4 canvas = lpix(clamp(coords - flow * 2, 0, resolution - 1));
    if (!wiped && canvas.a > 0)
        cls(canvas.rgb);

    float2 now = peek64<float2>(brushNow);
    float2 before = peek64<float2>(brushBefore);
    if (all(before == 0))
        before = now;
    float3 color = mousebutton().y ? float3(0.97, 0.95, 0.91) : ink(peek16<ushort>(colorNumber));
    float width = any(mousebutton()) ? 46 : 14;
    for (int mirror = 0; mirror < 4; ++mirror) {
        float2 side = float2(mirror % 2 == 0 ? 1 : -1, mirror / 2 == 0 ? 1 : -1);
        float2 from = resolution / 2 + side * (before - resolution / 2);
        float2 to = resolution / 2 + side * (now - resolution / 2);
        line(from, to + 0.01, float4(color, 1), width);
        if (mouseclick().x)
            circ(to, 60, float4(color, 0.8));
    }
}
