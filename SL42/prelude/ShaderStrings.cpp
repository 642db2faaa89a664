// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/prelude/ShaderStrings.h"

#include "SL42/hardware/Screen.h"
#include "SL42/prelude/PreludeText.h"

#include <initializer_list>

namespace starloom {

static std::string join(std::initializer_list<std::string_view> pieces) {
    std::string text;
    for (const std::string_view piece : pieces)
        text += piece;
    return text;
}

const std::string& SharedShaderStrings::processingHeader() {
    static const std::string text = [] {
        const std::string width = std::to_string(screenWidth);
        const std::string height = std::to_string(screenHeight);
        constexpr const char* font = "};\n\n"
                                     "#define FontW 340.0\n"
                                     "#define FontH 494.0\n"
                                     "#define FontWNorm (FontH / FontW)\n"
                                     "#define FontTextureSize 4096\n\n"
                                     "#define TextureBufferRange uint(";
        constexpr const char* sampler = ")\n\n"
                                        "constexpr sampler textureSamplerMip(filter::linear, "
                                        "mip_filter::linear, address::clamp_to_zero);\n ";
        return join({"#define pi M_PI_F\nconstant float2 resolution = {", width, ", ", height, font,
                     width, " * ", height, sampler});
    }();
    return text;
}

const std::string& SharedShaderStrings::standardProcessingHeader() {
    static const std::string text =
        join({preludeText::baseHeader, processingHeader(), preludeText::audioTimer,
              preludeText::registers, preludeText::machineClass, preludeText::text,
              preludeText::timers, GPUShaderStrings::coordinateFunctions(), preludeText::drawing,
              preludeText::memory, preludeText::random, preludeText::spectrum, preludeText::input});
    return text;
}

const std::string& GPUShaderStrings::coordsToIndex() {
    static const std::string text = join({"// Coordinates\n\n"
                                          "uint coordsToIndex(float2 c) {\n"
                                          "    c = round(c);\n"
                                          "    return uint(c.y * ",
                                          std::to_string(screenWidth),
                                          " + c.x) % TextureBufferRange;\n"
                                          "}\n\n"});
    return text;
}

const std::string& GPUShaderStrings::coordinateFunctions() {
    static const std::string text = join({coordsToIndex(), preludeText::rotate2d});
    return text;
}

std::string_view GPUShaderStrings::kernelTail() {
    return preludeText::kernelTail;
}

} // namespace starloom
