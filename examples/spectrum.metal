// What does the microphone hear? fft(bin) is how loud one of 256 pitches is, from the lowest up;
// fftsum(first, count) adds several. Smoothed values move calmly, Integrated ones keep growing,
// which turns loudness into movement. Hold R to see the raw ones.

enum { bars = 48 };

float loudness(int bar) { // each bar covers more bins than the one before, as the ear does
    int first = int(pow(bar / float(bars), 2.2) * 240);
    int next = int(pow((bar + 1) / float(bars), 2.2) * 240);
    int count = max(next - first, 1);
    float sum = keydown('r') ? fftsum(first, count) : fftsum(first, count, Smoothed);
    return saturate(sqrt(max(sum / count, 0.0)));
}

void fx() {
    float drift = 0.2 * time + 0.01 * fft(4, Integrated);
    float3 sky = 0.5 + 0.5 * cos(drift + coords.x / 700 + float3(3.6, 4.2, 5.0));
    cls(sky * (0.12 + 0.4 * coords.y / resolution.y));

    int bar = int(coords.x / resolution.x * bars);
    float width = resolution.x / bars;
    float base = 400;
    // Silence still breathes a little, so that one can see that it works.
    float breath = 26 + 20 * sin(time * 2 + bar * 0.4) * sin(time + bar * 0.13);
    float height = breath + 320 * loudness(bar);
    float3 color = 0.6 + 0.4 * cos(bar * 0.09 + drift + float3(0, 2.1, 4.2));
    float x = bar * width + 2;
    rect(float2(x, base - height), float2(width - 4, height), float4(color, 1), 3);
    // Its mirror image fades out downwards.
    float fade = 0.45 * saturate(1 - (coords.y - base) / 110);
    rect(float2(x, base + 4), float2(width - 4, height * 0.6), float4(color, fade), 3);

    float2 sun = float2(480, 150);
    float bass = saturate(fftsum(0, 4, Smoothed));
    circb(sun, 70 + 60 * bass, float4(1, 0.9, 0.75, 0.9), 3);
    circ(sun, 48 + 30 * bass, float4(1, 0.8, 0.6, 0.9));
}
