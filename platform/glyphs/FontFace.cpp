// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/glyphs/FontFace.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H
#include FT_STROKER_H

#include <cmath>
#include <string>
#include <type_traits>
#include <utility>

namespace platform {
namespace {

template <auto function>
struct Calls {
    template <class T>
    void operator()(T* handle) const {
        function(handle);
    }
};
template <class Handle, auto function>
using Owned = std::unique_ptr<std::remove_pointer_t<Handle>, Calls<function>>;

using Stroker = Owned<FT_Stroker, FT_Stroker_Done>;

/// FreeType's outlines count in 64ths of a pixel.
FT_Pos toSixtyFourths(double pixels) {
    return std::lround(pixels * 64);
}

/// An outline with memory of its own.
class Outline {
public:
    static Result<Outline> create(FT_Library library, FT_UInt points, FT_UInt contours) {
        Outline made;
        if (FT_Outline_New(library, points, static_cast<FT_Int>(contours), &made.m_outline) != 0)
            return Error{"no memory for the outline of a glyph"};
        made.m_library = library;
        // FT_Stroker_Export appends behind what the counts say is there.
        made.m_outline.n_points = 0;
        made.m_outline.n_contours = 0;
        return made;
    }
    Outline(Outline&& other) noexcept
        : m_library(std::exchange(other.m_library, nullptr)), m_outline(other.m_outline) {}
    Outline& operator=(Outline&&) = delete;
    ~Outline() {
        if (m_library)
            FT_Outline_Done(m_library, &m_outline);
    }
    FT_Outline& get() { return m_outline; }

private:
    Outline() = default;
    FT_Library m_library = nullptr;
    FT_Outline m_outline{};
};

Result<Outline> strokeAlong(FT_Library library, FT_Outline& edge, double width) {
    FT_Stroker handle = nullptr;
    if (FT_Stroker_New(library, &handle) != 0)
        return Error{"no memory for the outline of a glyph"};
    const Stroker stroker(handle);
    FT_Stroker_Set(handle, toSixtyFourths(width / 2), FT_STROKER_LINECAP_ROUND,
                   FT_STROKER_LINEJOIN_ROUND, 0);
    FT_UInt points = 0;
    FT_UInt contours = 0;
    if (FT_Stroker_ParseOutline(handle, &edge, 0) != 0 ||
        FT_Stroker_GetCounts(handle, &points, &contours) != 0)
        return Error{"cannot outline a glyph"};
    auto stroked = SL42_TRY(Outline::create(library, points, contours));
    FT_Stroker_Export(handle, &stroked.get());
    return stroked;
}

Result<void> fill(FT_Library library, FT_Outline& outline, const CoverageView& view,
                  Point baseline) {
    FT_Bitmap bitmap{};
    bitmap.buffer = reinterpret_cast<unsigned char*>(view.pixels.data());
    bitmap.width = view.width;
    bitmap.rows = view.height;
    bitmap.pitch = static_cast<int>(view.bytesPerRow);
    bitmap.pixel_mode = FT_PIXEL_MODE_GRAY;
    bitmap.num_grays = 256;
    // The rasteriser counts upwards from the bottom of the bitmap.
    FT_Outline_Translate(&outline, toSixtyFourths(baseline.x),
                         toSixtyFourths(view.height - baseline.y));
    if (FT_Outline_Get_Bitmap(library, &outline, &bitmap) != 0)
        return Error{"cannot draw a glyph"};
    return {};
}

bool isLongEnough(const CoverageView& view) {
    return view.width > 0 && view.height > 0 && view.width <= view.bytesPerRow &&
           view.pixels.size() >= (view.height - 1) * view.bytesPerRow + view.width;
}

} // namespace

struct FontFace::Handles {
    Owned<FT_Library, FT_Done_FreeType> library;
    Owned<FT_Face, FT_Done_Face> face;
    double pixelsPerUnit = 0;

    /// Puts the character into the face's slot.
    bool load(char32_t character) const {
        return FT_Load_Char(face.get(), character, FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP) == 0 &&
               face->glyph->format == FT_GLYPH_FORMAT_OUTLINE;
    }
};

FontFace::FontFace(std::unique_ptr<Handles> handles) : m_handles(std::move(handles)) {}
FontFace::FontFace(FontFace&&) noexcept = default;
FontFace& FontFace::operator=(FontFace&&) noexcept = default;
FontFace::~FontFace() = default;

Result<FontFace> FontFace::open(const FaceFile& file, double pixelsPerEm) {
    auto handles = std::make_unique<Handles>();
    FT_Library library = nullptr;
    if (FT_Init_FreeType(&library) != 0)
        return Error{"cannot start the font library"};
    handles->library.reset(library);
    FT_Face face = nullptr;
    if (FT_New_Face(library, file.path.c_str(), file.index, &face) != 0)
        return Error{"cannot open the font " + file.path};
    handles->face.reset(face);
    if (!FT_IS_SCALABLE(face) || face->units_per_EM == 0 ||
        FT_Set_Char_Size(face, 0, toSixtyFourths(pixelsPerEm), 72, 72) != 0)
        return Error{"cannot scale the font " + file.path};
    handles->pixelsPerUnit = pixelsPerEm / face->units_per_EM;
    return FontFace(std::move(handles));
}

double FontFace::ascent() const {
    return m_handles->face->ascender * m_handles->pixelsPerUnit;
}

double FontFace::descent() const {
    return -m_handles->face->descender * m_handles->pixelsPerUnit;
}

Result<double> FontFace::advance(char32_t character) const {
    if (!m_handles->load(character))
        return Error{"cannot load a glyph"};
    return static_cast<double>(m_handles->face->glyph->linearHoriAdvance) / 65536;
}

Result<void> FontFace::draw(char32_t character, const CoverageView& view, Point baseline,
                            std::optional<double> strokeWidth) {
    if (!isLongEnough(view))
        return Error{"cannot draw a glyph outside the picture"};
    if (!m_handles->load(character))
        return Error{"cannot load a glyph"};
    FT_Library library = m_handles->library.get();
    FT_Outline& edge = m_handles->face->glyph->outline;
    if (!strokeWidth)
        return fill(library, edge, view, baseline);
    auto stroked = SL42_TRY(strokeAlong(library, edge, *strokeWidth));
    return fill(library, stroked.get(), view, baseline);
}

} // namespace platform
