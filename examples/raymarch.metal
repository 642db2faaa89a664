// A small world in three dimensions. From the eye, a ray goes out through every pixel, and at each
// step shape() says how far it can go without hitting anything.

float blob(float a, float b, float softness) { // the nearer of two, joined softly
    float h = saturate(0.5 + 0.5 * (b - a) / softness);
    return mix(b, a, h) - softness * h * (1 - h);
}

float shape(float3 p) {
    float3 q = p - float3(0, 1.1 + 0.15 * sin(time), 0);
    float ball = length(q) - 0.62;
    q.xz = rotate2d(q.xz, time * 0.7);
    q.xy = rotate2d(q.xy, 0.5);
    float ring = length(float2(length(q.xz) - 1.15, q.y)) - 0.18;
    float moon = length(p - float3(1.4 * cos(time * 1.3), 0.6, -1.4 * sin(time * 1.3))) - 0.36;
    return blob(blob(ball, ring, 0.3), moon, 0.4);
}

// How far along the ray the shape is; `far` when the ray misses it.
float march(float3 eye, float3 ray, float far) {
    float travelled = 2; // nothing is nearer than that
    for (int step = 0; step < 56 && travelled < far; ++step) {
        float room = shape(eye + ray * travelled);
        if (room < 0.0012 * travelled)
            return travelled;
        travelled += room;
    }
    return far;
}

float3 normalAt(float3 p) { // the direction in which the distance grows fastest
    float2 e = float2(0.003, -0.003);
    return normalize(e.xyy * shape(p + e.xyy) + e.yyx * shape(p + e.yyx) +
                     e.yxy * shape(p + e.yxy) + e.xxx * shape(p + e.xxx));
}

// The closer a ray to the light passes by the shape, the less arrives: soft shadows.
float shadow(float3 p, float3 light) {
    float lit = 1;
    float travelled = 0.04;
    for (int step = 0; step < 14 && lit > 0.02 && travelled < 3; ++step) {
        float room = shape(p + light * travelled);
        lit = min(lit, 8 * room / travelled);
        travelled += clamp(room, 0.06, 0.5);
    }
    return saturate(lit);
}

float3 sky(float3 ray) {
    return mix(float3(1, 0.78, 0.6), float3(0.36, 0.5, 0.76), saturate(ray.y * 2.4));
}

void fx() {
    float2 view = (coords - resolution / 2) / resolution.y;
    float3 eye = float3(0, 1.7, -4.4);
    float3 ray = normalize(float3(view.x, -view.y - 0.2, 1.25));
    float3 light = normalize(float3(-0.6, 0.8, -0.5));
    float3 color = sky(ray);

    // The floor is where the ray comes down to height 0.
    float toFloor = ray.y < 0 ? -eye.y / ray.y : 1000;
    float toShape = march(eye, ray, min(toFloor, 7.0));
    if (toShape < min(toFloor, 7.0)) {
        float3 p = eye + ray * toShape;
        float3 normal = normalAt(p);
        float sun = saturate(dot(normal, light)) * shadow(p + normal * 0.02, light);
        float gloss = pow(saturate(dot(reflect(ray, normal), light)), 24.0) * sun;
        float3 bounce = float3(0.3, 0.26, 0.24) * saturate(-normal.y);
        float3 arriving = 0.45 * sky(normal) + sun * float3(0.8, 0.72, 0.6) + bounce;
        color = float3(0.95, 0.4, 0.32) * arriving + gloss * 0.5;
    } else if (toFloor < 40) {
        float3 p = eye + ray * toFloor;
        float tiles = step(0.0, sin(p.x * pi) * sin(p.z * pi)) * 0.14 + 0.7;
        float nearShape = length(p.xz) < 5 ? shadow(p, light) : 1.0;
        float3 lit = tiles * (0.4 + nearShape * float3(0.62, 0.56, 0.5));
        color = mix(lit, color, smoothstep(4.0, 30.0, toFloor)); // distance fades into the sky
    }
    cls(color);
}
