// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The spectrum of the audio input.

// Audio input

float fft(int bin, FFTType type = Raw) {
    switch (type) {
        case Raw:
            return fftValues->raw[bin];
        case Smoothed:
            return fftValues->smoothed[bin];
        case Integrated:
            return fftValues->integrated[bin];
    }
    return 0;
}

float fftsum(int startBin, int count, FFTType type = Raw) {
    float sum = 0;
    for (int bin = startBin; bin < startBin + count; bin++) {
        switch (type) {
            case Raw:
                sum += fftValues->raw[bin];
                break;
            case Smoothed:
                sum += fftValues->smoothed[bin];
                break;
            case Integrated:
                sum += fftValues->integrated[bin];
                break;
        }
    }
    return sum;
}

