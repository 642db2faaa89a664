// Bricks: a game. Left and Right, or A and D, move the bat, Space serves. It plays by itself until
// you press Space.
//
// One core keeps the game: a single step each frame, everything in memory. fx only looks.

enum { columns = 14, rows = 6, standing = 255, fading = 30 };
enum { // addresses
    ball = 0, speed = 8, bat = 16, score = 20, best = 24, lives = 28, shake = 32, glow = 36,
    place = 40, trail = 64, wall = 256
};
enum { trailLength = 10, batWidth = 130, batHeight = 16, batY = 492, radius = 9, top = 50 };

// A game without lives is one that nobody plays: the machine shows how it is done.
bool isDemo() { return peek32<int>(lives) == 0; }

int brickAt(float2 p) { // -1 where there is none
    int column = int(floor((p.x - 32) / 64));
    int row = int(floor((p.y - 90) / 28));
    bool outside = column < 0 || column >= columns || row < 0 || row >= rows;
    return outside ? -1 : row * columns + column;
}

bool isStanding(float2 p) {
    int brick = brickAt(p);
    return brick >= 0 && peek8<uchar>(wall + brick) == standing;
}

void serve() {
    poke64(float2(peek32<float>(bat), batY - radius - 1), ball);
    poke64(float2(0), speed); // it waits on the bat
}

void newGame(int newLives) {
    for (int brick = 0; brick < columns * rows; ++brick)
        poke8(standing, wall + brick);
    poke32(0, score);
    poke32(newLives, lives);
    poke32(480.0, bat);
    serve();
}

// Breaks the brick there, if one stands there.
bool breakAt(float2 p) {
    if (!isStanding(p))
        return false;
    int brick = brickAt(p);
    poke8(fading, wall + brick);
    if (!isDemo())
        poke32(peek32<int>(score) + 10 * (rows - brick / columns), score);
    poke32(3.0, shake);
    return true;
}

bool wallIsDown() {
    int left = 0;
    for (int brick = 0; brick < columns * rows; ++brick)
        left += peek8<uchar>(wall + brick) == standing;
    return left == 0;
}

void moveBat() {
    float x = peek32<float>(bat);
    float2 p = peek64<float2>(ball);
    if (isDemo()) // it aims a little beside the ball, now left, now right
        x += clamp(p.x + 40 * sin(p.y * 0.013 + p.x) - x, -11.0, 11.0);
    else
        x += 11 * ((keydown(Right) || keydown('d')) - (keydown(Left) || keydown('a')));
    poke32(clamp(x, 40 + batWidth / 2.0, 920 - batWidth / 2.0), bat);
}

void moveBall() {
    float2 p = peek64<float2>(ball);
    float2 v = peek64<float2>(speed);
    p += v;
    if (p.x < 32 + radius || p.x > 928 - radius) {
        v.x = p.x < 480 ? abs(v.x) : -abs(v.x);
        p.x = clamp(p.x, 32.0 + radius, 928.0 - radius);
    }
    if (p.y < top + radius)
        v.y = abs(v.y);
    // The side that goes first is the one that breaks a brick.
    if (breakAt(p + float2(0, v.y > 0 ? radius : -radius)))
        v.y = -v.y;
    else if (breakAt(p + float2(v.x > 0 ? radius : -radius, 0)))
        v.x = -v.x;
    float aside = p.x - peek32<float>(bat);
    if (v.y > 0 && abs(p.y - batY + radius) < 8 && abs(aside) < batWidth / 2 + radius) {
        // The farther from the middle of the bat, the flatter it goes on; and always a bit faster.
        float fast = min(length(v) + 0.06, 6.5);
        float angle = clamp(aside / batWidth * 2, -1.0, 1.0) * 1.05;
        v = fast * float2(sin(angle), -cos(angle));
        poke32(1.0, glow);
    }
    poke64(p, ball);
    poke64(v, speed);
}

void lose() {
    poke32(8.0, shake);
    poke32(max(peek32<int>(lives) - 1, 0), lives);
    serve();
}

void cpu() {
    if (core != 0)
        return;
    if (peek32<float>(bat) == 0) // memory is empty: the machine has just been switched on
        newGame(0);
    if (keystroke(Space) && isDemo())
        newGame(3);
    moveBat();
    bool waits = all(peek64<float2>(speed) == 0);
    if (waits)
        serve(); // stays on the bat
    if (waits && (keystroke(Space) || isDemo()))
        poke64(float2(2.2, -3.8), speed);
    for (int half = 0; half < 2; ++half) // two short steps go through nothing
        moveBall();
    if (peek64<float2>(ball).y > 560)
        lose();
    if (wallIsDown())
        newGame(peek32<int>(lives)); // a new wall

    for (int brick = 0; brick < columns * rows; ++brick) {
        int state = peek8<uchar>(wall + brick);
        if (state > 0 && state < standing)
            poke8(state - 1, wall + brick);
    }
    int next = (peek32<int>(place) + 1) % trailLength;
    poke32(next, place);
    poke64(peek64<float2>(ball), trail + next * 8);
    poke32(peek32<float>(shake) * 0.85, shake);
    poke32(peek32<float>(glow) * 0.92, glow);
    poke32(max(peek32<int>(best), peek32<int>(score)), best);
}

float3 rowColor(int row) { return 0.6 + 0.4 * cos(row * 0.62 + float3(5.9, 1.5, 3.3)); }

void drawWall() {
    int brick = brickAt(coords); // a pixel can only lie in one
    if (brick < 0)
        return;
    int state = peek8<uchar>(wall + brick);
    if (state == 0)
        return;
    float2 corner = float2(32 + brick % columns * 64, 90 + brick / columns * 28) + 2;
    float3 color = rowColor(brick / columns);
    float left = state == standing ? 1.0 : state / float(fading);
    if (state != standing)
        color = mix(color, float3(1), left); // broken ones flash and shrink
    float2 size = float2(60, 24) * left;
    corner += (float2(60, 24) - size) / 2;
    float light = 1.1 - 0.35 * (coords.y - corner.y) / 24;
    rect(corner, size, float4(color * light, 1), 4 * left + 0.1);
}

void printNumber(int number, int digits, float2 p, float4 color) {
    char text[8];
    for (int i = digits - 1; i >= 0; --i) {
        text[i] = '0' + number % 10;
        number /= 10;
    }
    print(text, digits, p, color, 36, Bold);
}

void drawText() {
    if (coords.y < 48) {
        printNumber(peek32<int>(score), 5, float2(32, 6), float4(1, 0.85, 0.5, 1));
        printNumber(peek32<int>(best), 5, float2(800, 6), float4(0.6, 0.65, 0.8, 1));
        for (int i = 0; i < peek32<int>(lives); ++i)
            circ(float2(452 + 28 * i, 26), 8, float4(1, 0.95, 0.85, 1));
    }
    if (isDemo() && coords.y > 330 && coords.y < 390) {
        char words[] = "PRESS SPACE TO PLAY";
        int count = strlen(words);
        float2 p = float2(480 - stringWidth(count, 44) / 2, 336);
        print(words, count, p, float4(1, 1, 1, 0.55 + 0.4 * sin(time * 4)), 44, Bold);
    }
}

void fx() {
    float2 here = coords;
    float2 p = peek64<float2>(ball);
    float jolt = peek32<float>(shake);
    coords = here + round(jolt * float2(sin(time * 90), cos(time * 70))); // the whole picture jumps

    // A dark room, lit by the ball.
    float lit = 1 / (1 + 0.0001 * dot(coords - p, coords - p));
    bool wallOrTop = abs(coords.x - 480) > 448 || coords.y < top;
    bool lines = any(abs(fract(coords / 40 + float2(0.2, time * 0.3)) - 0.5) > 0.485);
    float3 room = mix(float3(0.05, 0.05, 0.12), float3(0.1, 0.05, 0.14), coords.y / 540);
    room += float3(0.35, 0.3, 0.5) * lit * (lines ? 0.8 : 0.35);
    cls(wallOrTop ? float3(0.13, 0.14, 0.22) : room);

    drawWall();
    float2 batPlace = float2(peek32<float>(bat), batY + batHeight / 2);
    float flash = peek32<float>(glow);
    rect(batPlace - float2(batWidth, batHeight) / 2, float2(batWidth, batHeight),
         float4(mix(float3(0.45, 0.75, 0.95), float3(1), flash), 1), 8);
    for (int i = 1; i <= trailLength; ++i) { // the oldest first
        int index = (peek32<int>(place) + i) % trailLength;
        float young = i / float(trailLength);
        circ(peek64<float2>(trail + index * 8), radius * young, float4(1, 0.7, 0.4, 0.3 * young));
    }
    circ(p, radius, float4(1, 0.97, 0.88, 1));
    drawText();
    coords = here;
}
