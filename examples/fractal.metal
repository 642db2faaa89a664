// A Julia set: square a complex number, add a constant, and see how long it takes to run away.
// The constant wanders along the edge of the Mandelbrot set, where the shapes are richest.

enum { steps = 64 };

float2 square(float2 z) { return float2(z.x * z.x - z.y * z.y, 2 * z.x * z.y); }

void fx() {
    float angle = 0.25 * time + 0.6;
    // The edge of the main heart, pushed out a little.
    float2 c = 0.5 * float2(cos(angle), sin(angle)) - 0.25 * float2(cos(2 * angle), sin(2 * angle));
    c *= 1.035;

    float2 z = (coords - resolution / 2) / 235;
    float nearest = 10; // how close the number comes to the origin on its way
    int count = 0;
    while (count < steps && dot(z, z) < 64) {
        z = square(z) + c;
        nearest = min(nearest, dot(z, z));
        ++count;
    }

    float3 inside = float3(0.5, 0.2, 0.35) * sqrt(nearest) + float3(0.03, 0.02, 0.07);
    // The fractional part of the count hides the steps between the bands.
    float smooth = count + 1 - log2(log2(max(dot(z, z), 2.0)) / 2);
    float3 outside = 0.5 + 0.5 * cos(0.16 * smooth + float3(3.4, 3.9, 4.6));
    cls(count == steps ? inside : outside * saturate(smooth / 14));
}
