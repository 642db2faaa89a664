// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The song's timers. `music` is a member that the program declares.

// Timers

void genAudioTimers() {
    uint beatInterval = uint(float(sampleRate) * (60.0 / music.x));
    uint barInterval = beatInterval * uint(music.y);
    uint patternInterval = barInterval * uint(music.z);

    AudioTimer timer;
    timer.beatTime = float(sample % beatInterval) / float(beatInterval);
    timer.barTime = float(sample % barInterval) / float(barInterval);
    timer.patternTime = float(sample % patternInterval) / float(patternInterval);

    timer.beat = (sample / beatInterval) % uint(music.y);
    timer.bar = (sample / barInterval) % uint(music.z);
    timer.pattern = (sample / patternInterval) % uint(music.w);

    audioTimer = timer;
}

