// Seven polished balls on a floor of tiles. Drag with the left mouse button to walk around them; when
// nobody drags, the view turns by itself. Every pixel sends a ray out, and a second one where the
// first is reflected.

enum { view = 0, mouseBefore = 8 }; // addresses

enum { balls = 7 };

float4 ball(int number) { // the middle and the radius
    if (number == 0)
        return float4(0, 1.25 + 0.1 * sin(time * 1.5), 0, 1);
    float angle = (number - 1) * pi / 3 + time * 0.4;
    float hop = abs(sin(time * 2 + number * 2.1));
    return float4(2.3 * cos(angle), 0.5 + 0.7 * hop, 2.3 * sin(angle), 0.5);
}

float3 colorOf(int number) {
    if (number == 0)
        return float3(0.95, 0.96, 1);
    return 0.56 + 0.42 * cos(number * pi / 3 + float3(0, 2.1, 4.2));
}

// How far along the ray the ball is; a large number when the ray misses it.
float hit(float3 eye, float3 ray, float4 ball) {
    float3 way = eye - ball.xyz;
    float b = dot(way, ray);
    float h = b * b - dot(way, way) + ball.w * ball.w;
    if (h < 0)
        return 1000;
    float t = -b - sqrt(h);
    return t > 0.001 ? t : 1000;
}

constexpr float3 sun() { return float3(-0.46, 0.76, -0.46); } // towards it; its length is 1

// How much of the sun arrives: the closer a ball comes to the way there, the less.
float lightAt(float3 p) {
    float lit = 1;
    for (int i = 0; i < balls; ++i) {
        float4 b = ball(i);
        float3 way = b.xyz - p;
        float along = dot(way, sun());
        float away = sqrt(max(dot(way, way) - along * along, 0.0)) - b.w;
        if (along > 0)
            lit = min(lit, smoothstep(-0.06, 0.02 + 0.1 * along, away));
    }
    return lit;
}

float3 sky(float3 ray) {
    float3 air = mix(float3(1, 0.8, 0.62), float3(0.2, 0.42, 0.75), saturate(ray.y * 1.6 + 0.15));
    return air + float3(1, 0.8, 0.5) * pow(saturate(dot(ray, sun())), 200.0);
}

// What a ray meets: the colour, and where and in which direction it goes on from there.
struct Meeting {
    float3 color;
    float gloss; // how much of what is reflected is seen
    float3 place;
    float3 normal;
};

Meeting meet(float3 eye, float3 ray) {
    float nearest = ray.y < -0.001 ? -eye.y / ray.y : 1000;
    int which = -1;
    for (int i = 0; i < balls; ++i) {
        float t = hit(eye, ray, ball(i));
        which = t < nearest ? i : which;
        nearest = min(nearest, t);
    }
    Meeting m = {sky(ray), 0, eye + ray * nearest, float3(0, 1, 0)};
    if (nearest > 60)
        return m;
    float3 own;
    if (which < 0) {
        float2 tile = floor(m.place.xz);
        own = int(tile.x + tile.y) % 2 == 0 ? float3(0.86, 0.84, 0.8) : float3(0.24, 0.26, 0.33);
        m.gloss = 0.12;
    } else {
        float4 b = ball(which);
        m.normal = (m.place - b.xyz) / b.w;
        own = colorOf(which);
        m.gloss = which == 0 ? 0.75 : 0.25;
    }
    float lit = saturate(dot(m.normal, sun())) * lightAt(m.place + m.normal * 0.01);
    float3 shine = pow(saturate(dot(reflect(ray, m.normal), sun())), 60.0) * lit;
    float3 arriving = lit * float3(0.85, 0.78, 0.66) + 0.3 * sky(m.normal);
    float fresnel = pow(1 - saturate(-dot(ray, m.normal)), 4.0);
    m.gloss += (1 - m.gloss) * 0.5 * fresnel;
    float fog = smoothstep(8.0, 45.0, nearest);
    m.color = mix(own * arriving + shine, sky(float3(ray.x, 0.02, ray.z)), fog);
    m.gloss *= 1 - fog;
    return m;
}

void cpu() { // one core turns the view: two angles at address 0
    if (core != 0)
        return;
    float2 angles = peek64<float2>(view);
    if (all(angles == 0))
        angles = float2(0.6, 0.36);
    if (mousebutton().x)
        angles += (mousepos() - peek64<float2>(mouseBefore)) * float2(0.008, 0.006);
    else
        angles.x += 0.003;
    angles.y = clamp(angles.y, 0.06, 1.4);
    poke64(angles, view);
    poke64(mousepos(), mouseBefore);
}

void fx() {
    float2 angles = peek64<float2>(view);
    float3 back = float3(sin(angles.x) * cos(angles.y), sin(angles.y), -cos(angles.x) * cos(angles.y));
    float3 target = float3(0, 0.9, 0);
    float3 eye = target + back * 7;
    float3 right = normalize(cross(float3(0, 1, 0), -back));
    float3 up = cross(-back, right);
    float2 p = (coords - resolution / 2) / resolution.y;
    float3 ray = normalize(-back * 1.5 + right * p.x - up * p.y);

    Meeting first = meet(eye, ray);
    float3 color = first.color;
    if (first.gloss > 0.02) {
        Meeting second = meet(first.place + first.normal * 0.002, reflect(ray, first.normal));
        color = mix(color, second.color, first.gloss);
    }
    cls(color * (1 - 0.25 * dot(p, p)));
}
