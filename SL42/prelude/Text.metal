// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The font and strings. `print` itself is in Drawing.metal. A style is the channel of the font
// texture that holds it; the grid of the texture is FontGrid's.

// Strings

enum FontStyle : int {
    Regular = 0,
    Bold = 1,
    Italic = 2,
    Outline = 3
};

float getChar(char c, float2 pos, FontStyle style, float mipLevel) {
    c -= 32;
    float2 cell = float2(c % 12, c / 12);
    float2 texel = (cell + pos) * float2(FontW, FontH);
    float4 styles = fontTexture.sample(textureSamplerMip,
                                       texel / FontTextureSize,
                                       level(mipLevel));
    return styles[style];
}

int strlen(thread const char* str) {
    int length = 0;
    while (str[length] != 0) {
        length++;
    }
    return length;
}

float stringWidth(int charCount, float size) {
    return charCount * size / FontWNorm;
}

// Always writes four characters, room for -99 to 999.
void intToString(int num, thread char* str, int offset) {
    char digits[4];
    int count = 0;
    bool negative = num < 0;
    if (negative) {
        num = -num;
    }

    if (num == 0) {
        digits[count++] = '0';
    }
    while (num > 0) {
        digits[count++] = '0' + num % 10;
        num /= 10;
    }
    if (negative) {
        digits[count++] = '-';
    }
    digits[count] = 0;

    // The digits came lowest first.
    for (int i = 0; i < count / 2; i++) {
        char swapped = digits[i];
        digits[i] = digits[count - 1 - i];
        digits[count - 1 - i] = swapped;
    }
    for (int i = 0; i < 4; i++) {
        str[offset + i] = digits[i];
    }
}

