// A small world in three dimensions. From the eye, a ray goes out through every pixel, and at each
// step world() says how far it can go without hitting anything.

float blob(float a, float b, float smoothness) { // the nearer of two, joined softly
    float h = saturate(0.5 + 0.5 * (b - a) / smoothness);
    return mix(b, a, h) - smoothness * h * (1 - h);
}

float world(float3 p) {
    float floorDistance = p.y;
    float3 q = p - float3(0, 1.1 + 0.15 * sin(time), 0);
    float ball = length(q) - 0.62;
    q.xz = rotate2d(q.xz, time * 0.7);
    q.xy = rotate2d(q.xy, 0.5);
    float ring = length(float2(length(q.xz) - 1.15, q.y)) - 0.2;
    float3 m = p - float3(1.5 * cos(time), 0.45, 1.5 * sin(time));
    float moon = length(m) - 0.42;
    return min(blob(blob(ball, ring, 0.3), moon, 0.35), floorDistance);
}

float march(float3 eye, float3 ray) {
    float travelled = 0;
    for (int step = 0; step < 56 && travelled < 14; ++step) {
        float room = world(eye + ray * travelled);
        if (room < 0.003 * travelled)
            break;
        travelled += room;
    }
    return travelled;
}

float3 normalAt(float3 p) { // the direction in which the distance grows fastest
    float2 e = float2(0.003, -0.003);
    return normalize(e.xyy * world(p + e.xyy) + e.yyx * world(p + e.yyx) +
                     e.yxy * world(p + e.yxy) + e.xxx * world(p + e.xxx));
}

float shadow(float3 p, float3 light) {
    float lit = 1;
    float travelled = 0.05;
    for (int step = 0; step < 14 && lit > 0.02 && travelled < 4; ++step) {
        float room = world(p + light * travelled);
        lit = min(lit, 9 * room / travelled);
        travelled += clamp(room, 0.08, 0.6);
    }
    return saturate(lit);
}

float3 sky(float3 ray) {
    return mix(float3(0.98, 0.76, 0.6), float3(0.36, 0.5, 0.74), saturate(ray.y * 2.2 + 0.25));
}

void fx() {
    float2 view = (coords - resolution / 2) / resolution.y;
    float3 eye = float3(0, 1.7, -4.4);
    float3 ray = normalize(float3(view.x, -view.y - 0.16, 1.25));
    float3 color = sky(ray);

    float travelled = march(eye, ray);
    if (travelled < 14) {
        float3 p = eye + ray * travelled;
        float3 normal = normalAt(p);
        float3 light = normalize(float3(-0.6, 0.8, -0.5));
        float tiles = step(0, sin(p.x * pi) * sin(p.z * pi)) * 0.12 + 0.75;
        float3 surface = p.y < 0.02 ? float3(tiles) : float3(0.95, 0.42, 0.34);
        float sun = saturate(dot(normal, light)) * shadow(p + normal * 0.01, light);
        float gloss = pow(saturate(dot(reflect(ray, normal), light)), 24) * sun;
        float3 ambient = 0.45 * sky(normal);
        float3 lit = surface * (ambient + sun * float3(0.85, 0.75, 0.62)) + gloss * 0.5;
        color = mix(lit, color, smoothstep(5, 14, travelled)); // distance fades into the sky
    }
    cls(color);
}
