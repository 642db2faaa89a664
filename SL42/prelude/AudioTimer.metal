// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where a sample stands in the song: fractions of the beat, bar and pattern, and their counts.


struct AudioTimer {
    float beatTime;
    float barTime;
    float patternTime;
    uint beat;
    uint bar;
    uint pattern;
};

