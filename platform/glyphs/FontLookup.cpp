// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/glyphs/FontLookup.h"

#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <utility>

namespace platform {
namespace {

struct FontconfigDeleter {
    void operator()(FcConfig* config) const { FcConfigDestroy(config); }
    void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
    void operator()(FcFontSet* set) const { FcFontSetDestroy(set); }
    void operator()(FcObjectSet* set) const { FcObjectSetDestroy(set); }
};
template <class T>
using Owned = std::unique_ptr<T, FontconfigDeleter>;

struct Style {
    bool bold = false;
    bool italic = false;
    bool operator==(const Style&) const = default;
};

/// PostScript names end in the style: "Family-BoldItalic", with or without "MT" behind it.
Style styleOf(std::string_view postScriptName) {
    const auto dash = postScriptName.rfind('-');
    const auto words =
        dash == std::string_view::npos ? std::string_view() : postScriptName.substr(dash);
    const auto has = [&](std::string_view word) { return words.find(word) != words.npos; };
    return {.bold = has("Bold"), .italic = has("Italic") || has("Oblique")};
}

/// Families with the metrics of the named face, in order of preference. That Liberation Mono and
/// Cousine have those of Courier New is what both were drawn for.
std::span<const char* const> metricCompatibleFamilies(std::string_view postScriptName) {
    static constexpr std::array courierNew{"Courier New", "Liberation Mono", "Cousine"};
    if (postScriptName.starts_with("CourierNewPS"))
        return courierNew;
    return {};
}

Style styleOf(const FcPattern* font) {
    int weight = FC_WEIGHT_REGULAR;
    int slant = FC_SLANT_ROMAN;
    FcPatternGetInteger(font, FC_WEIGHT, 0, &weight);
    FcPatternGetInteger(font, FC_SLANT, 0, &slant);
    return {.bold = weight >= FC_WEIGHT_DEMIBOLD, .italic = slant != FC_SLANT_ROMAN};
}

bool canDrawAscii(const FcPattern* font) {
    FcBool scalable = FcFalse;
    FcCharSet* characters = nullptr;
    if (FcPatternGetBool(font, FC_SCALABLE, 0, &scalable) != FcResultMatch || !scalable ||
        FcPatternGetCharSet(font, FC_CHARSET, 0, &characters) != FcResultMatch)
        return false;
    for (FcChar32 character = ' '; character <= '~'; ++character) {
        if (!FcCharSetHasChar(characters, character))
            return false;
    }
    return true;
}

/// Adds the fonts that can be used, unless an earlier search has found them.
void append(std::vector<FaceFile>& faces, std::span<FcPattern* const> fonts, FaceMatch match) {
    for (const FcPattern* font : fonts) {
        FcChar8* file = nullptr;
        int index = 0;
        if (!canDrawAscii(font) || FcPatternGetString(font, FC_FILE, 0, &file) != FcResultMatch)
            continue;
        FcPatternGetInteger(font, FC_INDEX, 0, &index);
        const std::string path(reinterpret_cast<const char*>(file));
        const auto isKnown = [&](const FaceFile& face) {
            return face.path == path && face.index == index;
        };
        if (std::none_of(faces.begin(), faces.end(), isKnown))
            faces.push_back({path, index, match});
    }
}

std::span<FcPattern*> fontsOf(const Owned<FcFontSet>& set) {
    if (!set)
        return {};
    return {set->fonts, static_cast<std::size_t>(set->nfont)};
}

/// All fonts whose `property` has the value. The order is that of the paths, not that in which the
/// file system happens to list them.
Owned<FcFontSet> listFonts(FcConfig* config, const char* property, const char* value) {
    const Owned<FcPattern> pattern(FcPatternCreate());
    FcPatternAddString(pattern.get(), property, reinterpret_cast<const FcChar8*>(value));
    const Owned<FcObjectSet> wanted(
        FcObjectSetBuild(FC_FILE, FC_INDEX, FC_WEIGHT, FC_SLANT, FC_SCALABLE, FC_CHARSET, nullptr));
    Owned<FcFontSet> set(FcFontList(config, pattern.get(), wanted.get()));
    const auto path = [](const FcPattern* font) {
        FcChar8* file = nullptr;
        FcPatternGetString(font, FC_FILE, 0, &file);
        return file ? std::string_view(reinterpret_cast<const char*>(file)) : std::string_view();
    };
    std::ranges::sort(fontsOf(set), std::less<>(), path);
    return set;
}

Owned<FcFontSet> sortForMonospace(FcConfig* config, Style style) {
    const Owned<FcPattern> pattern(FcPatternCreate());
    FcPatternAddString(pattern.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>("monospace"));
    FcPatternAddInteger(pattern.get(), FC_WEIGHT, style.bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pattern.get(), FC_SLANT, style.italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
    FcConfigSubstitute(config, pattern.get(), FcMatchPattern);
    FcDefaultSubstitute(pattern.get());
    FcResult result = FcResultNoMatch;
    return Owned<FcFontSet>(FcFontSort(config, pattern.get(), FcFalse, nullptr, &result));
}

} // namespace

struct FontLookup::Configuration {
    Owned<FcConfig> config;
};

FontLookup::FontLookup(std::unique_ptr<Configuration> configuration)
    : m_configuration(std::move(configuration)) {}
FontLookup::FontLookup(FontLookup&&) noexcept = default;
FontLookup& FontLookup::operator=(FontLookup&&) noexcept = default;
FontLookup::~FontLookup() = default;

Result<FontLookup> FontLookup::open(const std::string& configurationFile) {
    Owned<FcConfig> config(configurationFile.empty() ? FcInitLoadConfig() : FcConfigCreate());
    if (!config)
        return Error{"cannot read the font configuration"};
    const auto* file = reinterpret_cast<const FcChar8*>(configurationFile.c_str());
    if (!configurationFile.empty() && !FcConfigParseAndLoad(config.get(), file, FcTrue))
        return Error{"cannot read the font configuration " + configurationFile};
    if (!FcConfigBuildFonts(config.get()))
        return Error{"cannot list the installed fonts"};
    return FontLookup(std::make_unique<Configuration>(Configuration{std::move(config)}));
}

std::vector<FaceFile> FontLookup::candidates(std::string_view postScriptName) const {
    FcConfig* config = m_configuration->config.get();
    const std::string name(postScriptName);
    std::vector<FaceFile> faces;
    append(faces, fontsOf(listFonts(config, FC_POSTSCRIPT_NAME, name.c_str())), FaceMatch::Exact);

    const Style style = styleOf(postScriptName);
    for (const char* family : metricCompatibleFamilies(postScriptName)) {
        const auto set = listFonts(config, FC_FAMILY, family);
        std::vector<FcPattern*> inStyle;
        std::ranges::copy_if(fontsOf(set), std::back_inserter(inStyle),
                             [&](const FcPattern* font) { return styleOf(font) == style; });
        append(faces, inStyle, FaceMatch::MetricCompatible);
    }
    append(faces, fontsOf(sortForMonospace(config, style)), FaceMatch::Substitute);
    return faces;
}

} // namespace platform
