// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The hardware registers and the values that they take.

enum Register : uchar {
    ColorMode = 0,
    BlendMode = 1,
    HDR = 2,
    MousePointer = 3
};

enum RegisterColorMode : uchar {
    RGB = 0,
    YUV = 1
};

enum RegisterBlendMode : uchar {
    Alpha = 0,
    Replace = 1,
    Add = 2
};

enum RegisterMousePointer : uchar {
    Show = 0,
    Hide = 1
};

