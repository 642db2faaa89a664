// Coral: two substances in a dish. One is fed all the time and spreads fast; the other eats it, grows
// from it, and dies off slowly. Where they meet they draw branches, rings and mazes. Most food
// arrives in the middle. Hold the left mouse button to sow, the right one to clear;
// Space empties the dish.
//
// There are two dishes in memory, so that nobody reads what somebody else is writing. cpu makes one
// step from the second dish to the first, and fx, which runs after it, one step back.

enum { columns = 320, rows = 180, cells = columns * rows, zoom = 3 };
enum { steps = 0, dishes = 65536, dishSize = cells * 8 }; // addresses

// A cell is two floats: how much of the food is gone, and how much has grown. Memory begins as
// zeros, so the dish begins full of food and empty of coral.
int address(int dish, int x, int y) {
    x = (x + columns) % columns; // the dish is a ring in both directions
    y = (y + rows) % rows;
    return dishes + dish * dishSize + (y * columns + x) * 8;
}

float2 cell(int dish, int x, int y) { return peek64<float2>(address(dish, x, y)); }

float2 grown(int dish, int x, int y) {
    float2 now = cell(dish, x, y);
    float2 sides = cell(dish, x - 1, y) + cell(dish, x + 1, y) + cell(dish, x, y - 1) +
                   cell(dish, x, y + 1);
    float2 corners = cell(dish, x - 1, y - 1) + cell(dish, x + 1, y - 1) +
                     cell(dish, x - 1, y + 1) + cell(dish, x + 1, y + 1);
    float2 flow = 0.2 * sides + 0.05 * corners - now;
    float food = 1 - now.x;
    float eaten = food * now.y * now.y;
    float feed = 0.044 - 0.014 * cos(2 * pi * x / columns);
    return now + float2(flow.x + eaten - feed * now.x,
                        0.5 * flow.y + eaten - (feed + 0.0615) * now.y);
}

bool sown(int x, int y, uint step) {
    float2 p = float2(x, y) * zoom;
    if (mousebutton().x && distance(p, mousepos()) < 12)
        return true;
    // A handful of seeds in the first step.
    for (uint seed = 1; seed < 30 && step == 0; ++seed) {
        float2 place = float2(randomuint(seed) % 960, randomuint(seed + 100) % 540);
        if (distance(p, place) < 14)
            return true;
    }
    return false;
}

bool cleared(int x, int y) {
    return keystroke(Space) || (mousebutton().y && distance(float2(x, y) * zoom, mousepos()) < 50);
}

void cpu() {
    uint step = peek32<uint>(steps + core * 4); // each core counts for itself
    poke32(step + 1, steps + core * 4);
    for (uint index = core; index < cells; index += 4096) {
        int x = index % columns;
        int y = index / columns;
        float2 next = grown(1, x, y);
        if (sown(x, y, step))
            next.y = 0.5;
        poke64(cleared(x, y) ? float2(0) : next, address(0, x, y));
    }
}

// The dish between the cells: nine of them, near ones weighted most. x and y are the slope, z is
// the height.
float3 surface(float2 p) {
    float2 middle = round(p);
    float2 f = p - middle;
    float3 across = float3(0.5 * (0.5 - f.x) * (0.5 - f.x), 0.75 - f.x * f.x,
                           0.5 * (0.5 + f.x) * (0.5 + f.x));
    float3 down = float3(0.5 * (0.5 - f.y) * (0.5 - f.y), 0.75 - f.y * f.y,
                         0.5 * (0.5 + f.y) * (0.5 + f.y));
    float3 acrossSlope = float3(f.x - 0.5, -2 * f.x, f.x + 0.5);
    float3 downSlope = float3(f.y - 0.5, -2 * f.y, f.y + 0.5);
    float3 sum = 0;
    for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 3; ++i) {
            float height = cell(0, int(middle.x) + i - 1, int(middle.y) + j - 1).y;
            sum += height * float3(acrossSlope[i] * down[j], across[i] * downSlope[j],
                                   across[i] * down[j]);
        }
    }
    return sum;
}

void fx() {
    int2 place = int2(coords) / zoom;
    if (all(int2(coords) % zoom == 1)) // one pixel of nine
        poke64(grown(0, place.x, place.y), address(1, place.x, place.y));

    float3 s = surface((coords - 1) / zoom);
    float height = saturate(s.z * 2.6);
    float3 water = mix(float3(0.01, 0.09, 0.16), float3(0.02, 0.2, 0.27), coords.y / 540);
    float3 flesh = mix(float3(0.55, 0.06, 0.22), float3(1, 0.56, 0.4), height);
    float3 color = mix(water, flesh, smoothstep(0.12, 0.4, height));
    float3 normal = normalize(float3(-s.xy * 5, 1));
    float3 light = normalize(float3(-0.5, -0.7, 0.6));
    float shine = saturate(dot(normal, normalize(light + float3(0, 0, 1))));
    color *= 0.45 + 0.75 * saturate(dot(normal, light));
    cls(color + 0.5 * pow(shine, 40.0) * smoothstep(0.1, 0.3, height));
}
