// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The end of every program: closes the machine class and runs its entry functions. The host binds
// the arguments in this order.

};

kernel void processor(device uchar* memory [[buffer(0)]],
                      device uchar* registers [[buffer(1)]],
                      constant float &time [[buffer(2)]],
                      constant uint &sample [[buffer(3)]],
                      constant uint &sampleRate [[buffer(4)]],
                      device half4* screenMemory [[buffer(5)]],
                      device half4* lastScreenMemory [[buffer(6)]],
                      device float2* audioBuffer [[buffer(7)]],
                      constant FFTValues *fft [[buffer(8)]],
                      constant MouseValues *mouse [[buffer(9)]],
                      constant KeyboardValues *keyboard [[buffer(10)]],
                      uint coord [[thread_position_in_grid]],
                      uint gridSize [[threads_per_grid]]) {
    SL42 sl42;
    sl42.memory = memory;
    sl42.registers = registers;
    sl42.time = time;
    sl42.sample = sample;
    sl42.sampleRate = sampleRate;
    sl42.genAudioTimers();
    sl42.fftValues = fft;
    sl42.mouse = mouse;
    sl42.keyboard = keyboard;
    sl42.coords = float2(0, 0);
    sl42.randomSeed = sl42.randomuint(sample + coord);
    sl42.screenMemory = screenMemory;
    sl42.lastScreenMemory = lastScreenMemory;
    sl42.audioBuffer = audioBuffer;
    sl42.core = coord;
    sl42.cpu();
}

kernel void video(device uchar* memory [[buffer(0)]],
                  device uchar* registers [[buffer(1)]],
                  constant float &time [[buffer(2)]],
                  constant uint &sample [[buffer(3)]],
                  constant uint &sampleRate [[buffer(4)]],
                  device half4* screenMemory [[buffer(5)]],
                  device half4* lastScreenMemory [[buffer(6)]],
                  device float2* audioBuffer [[buffer(7)]],
                  constant FFTValues *fft [[buffer(8)]],
                  constant MouseValues *mouse [[buffer(9)]],
                  constant KeyboardValues *keyboard [[buffer(10)]],
                  texture2d<float, access::sample> fontTex [[texture(2)]],
                  uint2 coord [[thread_position_in_grid]],
                  uint2 gridSize [[threads_per_grid]]) {
    SL42 sl42;
    sl42.memory = memory;
    sl42.registers = registers;
    sl42.time = time;
    sl42.sample = sample;
    sl42.sampleRate = sampleRate;
    sl42.genAudioTimers();
    sl42.fftValues = fft;
    sl42.mouse = mouse;
    sl42.keyboard = keyboard;
    sl42.coords = float2(coord);
    sl42.randomSeed = sl42.randomuint(sample * uint(resolution.x * resolution.y)
                                      + uint(coord.x + coord.y * resolution.x));
    sl42.screenMemory = screenMemory;
    sl42.lastScreenMemory = lastScreenMemory;
    sl42.audioBuffer = audioBuffer;
    sl42.fontTexture = fontTex;
    sl42.core = 0;
    sl42.fx();
    if (sl42.pixel.a > 0) {
        uint idx = sl42.coordsToIndex(sl42.coords);
        screenMemory[idx] = sl42.blend(half4(sl42.pixel), screenMemory[idx]);
    }
}

kernel void audio(device uchar* memory [[buffer(0)]],
                  device uchar* registers [[buffer(1)]],
                  constant float &time [[buffer(2)]],
                  constant uint &sample [[buffer(3)]],
                  constant uint &sampleRate [[buffer(4)]],
                  device half4* screenMemory [[buffer(5)]],
                  device half4* lastScreenMemory [[buffer(6)]],
                  device float2* audioBuffer [[buffer(7)]],
                  uint coord [[thread_position_in_grid]],
                  uint gridSize [[threads_per_grid]]) {
    SL42 sl42;
    sl42.memory = memory;
    sl42.registers = registers;
    sl42.time = float(coord) / float(sampleRate);
    sl42.sample = coord;
    sl42.sampleRate = sampleRate;
    sl42.genAudioTimers();
    sl42.coords = float2(0, 0);
    sl42.core = 0;
    sl42.screenMemory = screenMemory;
    sl42.lastScreenMemory = lastScreenMemory;
    sl42.audioBuffer = audioBuffer;
    audioBuffer[coord] = sl42.sfx();
}
