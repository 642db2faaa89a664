// The oldest trick of the stage: a text that rides on a wave.
//
// print draws a straight line of text. But every pixel runs its own fx(), and where it prints is up
// to it: each column asks for the text at its own height, and the line bends.

float wave(float x) { return 60 * sin(x * 0.012 + time * 2) + 20 * sin(x * 0.031 - time * 3); }

float4 rainbow(float x) {
    return float4(0.6 + 0.4 * cos(x * 0.006 - time + float3(0, 2.1, 4.2)), 1);
}

void drawScroller(float size) {
    char text[] = "Hello from forty-two stars! Save the file and see it change ... ";
    int length = strlen(text);
    float width = stringWidth(length, size);
    // The text runs to the left and comes back at the right when it is through.
    float x = resolution.x - fmod(time * 180 + 900, width + resolution.x);
    float y = resolution.y / 2 - size / 2 + wave(coords.x);
    print(text, length, float2(x + 4, y + 4), float4(0, 0, 0, 0.6), size, Bold);
    print(text, length, float2(x, y), rainbow(coords.x), size, Bold);
}

void drawStars() {
    // Three layers, near ones faster. Every square of 80 pixels has one star, placed by a random
    // number that is made from the square's own.
    for (int layer = 1; layer <= 3; layer++) {
        float2 moved = float2(time * 30 * layer, 0);
        float2 square = floor((coords + moved) / 80);
        uint number = randomuint(uint(square.x + square.y * 1000 + layer * 100000));
        float2 star = square * 80 + float2(number % 70 + 5, number / 70 % 70 + 5);
        circ(star - moved, layer * 0.4, float4(1, 1, 1, 0.25 * layer));
    }
}

void fx() {
    cls(mix(float3(0.03, 0.02, 0.1), float3(0.2, 0.05, 0.25), coords.y / resolution.y));
    drawStars();
    drawScroller(110);
}
