// Conway's game of life on 4096 cores. A cell with three living neighbours is born, one with two
// or three lives on, every other dies. There are two worlds in memory: the cores read one and
// write the other, and the next time it is the other way round.

enum { columns = 160, rows = 90, cells = columns * rows, framesPerStep = 3 };
enum { counters = 0, worlds = 65536, worldSize = 65536 }; // addresses

// A cell is one byte. 128 and more is alive, and the older the higher; below 128 it is the fading
// memory of a cell that was.
enum { newborn = 128, oldest = 255, justDied = 100 };

int cellAddress(uint world, int x, int y) {
    int column = (x + columns) % columns; // the world is a ring in both directions
    int row = (y + rows) % rows;
    return worlds + int(world % 2) * worldSize + row * columns + column;
}

int cell(uint world, int x, int y) { return peek8<uchar>(cellAddress(world, x, y)); }

int firstState(uint index) { return randomuint(index + 1) % 3 == 0 ? newborn : 0; }

int nextState(uint world, int x, int y) {
    int neighbours = 0;
    for (int j = -1; j <= 1; ++j) {
        for (int i = -1; i <= 1; ++i)
            neighbours += (i != 0 || j != 0) && cell(world, x + i, y + j) >= newborn;
    }
    int now = cell(world, x, y);
    if (now >= newborn)
        return neighbours == 2 || neighbours == 3 ? min(now + 4, int(oldest)) : int(justDied);
    return neighbours == 3 ? int(newborn) : max(now - 3, 0);
}

void cpu() {
    uint frame = peek32<uint>(counters + core * 4); // each core counts for itself
    poke32(frame + 1, counters + core * 4);
    if (frame % framesPerStep != 0)
        return;
    uint world = frame / framesPerStep;
    for (uint index = core; index < cells; index += 4096) {
        int x = index % columns;
        int y = index / columns;
        int state = frame == 0 ? firstState(index) : nextState(world, x, y);
        poke8(state, cellAddress(world + 1, x, y));
    }
}

void fx() {
    uint world = (peek32<uint>(counters) + framesPerStep - 1) / framesPerStep;
    int2 place = int2(coords) / 6;
    int state = cell(world, place.x, place.y);

    float3 color = float3(0.04, 0.05, 0.1) + float3(0.25, 0.08, 0.34) * state / 127.0;
    if (state >= newborn) {
        float age = (state - newborn) / 127.0;
        color = mix(float3(1, 0.94, 0.7), float3(0.15, 0.66, 0.6), sqrt(age));
    }
    bool gap = int(coords.x) % 6 == 5 || int(coords.y) % 6 == 5;
    cls(gap ? color * 0.55 : color);
}
