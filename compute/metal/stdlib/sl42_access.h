// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Reading, writing and atomic operations on single texels of textures of every shape: all that a
// shape adds is which slice of which level a texel lies in. Reading outside gives 0, writing
// outside does nothing.
#pragma once
#pragma clang system_header

#include <sl42_texel.h>

#pragma clang attribute push(__attribute__((always_inline)), apply_to = function)
#pragma clang attribute push(__attribute__((nodebug)), apply_to = hasType(functionType))

namespace __sl42 {

/// The statement with F as the texels of the format at hand; it returns.
#define SL42_FOR_FORMAT(view, statement)                                                           \
    switch ((view)->format) {                                                                      \
    case textureFormat::r8: {                                                                      \
        using F = texels<textureFormat::r8>;                                                       \
        statement                                                                                  \
    }                                                                                              \
    case textureFormat::rg8: {                                                                     \
        using F = texels<textureFormat::rg8>;                                                      \
        statement                                                                                  \
    }                                                                                              \
    case textureFormat::rgba8: {                                                                   \
        using F = texels<textureFormat::rgba8>;                                                    \
        statement                                                                                  \
    }                                                                                              \
    case textureFormat::rgba16Float: {                                                             \
        using F = texels<textureFormat::rgba16Float>;                                              \
        statement                                                                                  \
    }                                                                                              \
    case textureFormat::rgba32Float: {                                                             \
        using F = texels<textureFormat::rgba32Float>;                                              \
        statement                                                                                  \
    }                                                                                              \
    default:                                                                                       \
        break;                                                                                     \
    }

inline float4 loadColor(const textureView* view, const textureLevel& l, uint x, uint y) {
    SL42_FOR_FORMAT(view, return F::color(F::load(l, int(x), int(y)));)
    return float4(0.0f);
}
inline void storeColor(const textureView* view, const textureLevel& l, uint x, uint y,
                       const float4& color) {
    SL42_FOR_FORMAT(view, F::store(l, int(x), int(y), color); return;)
}

#undef SL42_FOR_FORMAT

/// How the texels of a texture are read and written that gives a program values of this type.
template <class Value>
struct texelAccess {
    static Value load(const textureView* view, const textureLevel& l, uint x, uint y) {
        return Value(depthTexel(view, l, int(x), int(y)));
    }
};
template <class T>
struct texelAccess<metal::vec<T, 4>> {
    using Value = metal::vec<T, 4>;
    static Value load(const textureView* view, const textureLevel& l, uint x, uint y) {
        if constexpr (isInteger<T>)
            return Value(integerTexel(view, l, int(x), int(y)));
        else
            return Value(loadColor(view, l, x, y));
    }
    static void store(const textureView* view, const textureLevel& l, uint x, uint y,
                      const Value& value) {
        if constexpr (isInteger<T>)
            storeInteger(view, l, int(x), int(y), uint4(value));
        else
            storeColor(view, l, x, y, float4(value));
    }
};

inline bool contains(const textureView* view, uint x, uint y, uint lod) {
    return view != nullptr && lod < view->levelCount && x < view->levels[lod & 15].width &&
           y < view->levels[lod & 15].height;
}

/// Of one image.
struct texel2d {
    uint x, y, lod;
    bool isIn(const textureView* view) const { return contains(view, x, y, lod); }
    const textureLevel& image(const textureView* view) const { return view->levels[lod & 15]; }
};
/// Of one of several.
struct texelOfSlice {
    uint x, y, slice, lod;
    bool isIn(const textureView* view) const {
        return contains(view, x, y, lod) && slice < view->slices[lod & 15].count;
    }
    textureLevel image(const textureView* view) const { return sliceOf(view, lod & 15, slice); }
};
/// Of one of those that an element of an array has: six faces, or its samples.
struct texelOfElement {
    uint x, y, layer, image_, images, lod;
    bool isIn(const textureView* view) const {
        return contains(view, x, y, lod) && layer < view->arrayLength && image_ < images &&
               layer * images + image_ < view->slices[lod & 15].count;
    }
    textureLevel image(const textureView* view) const {
        return sliceOf(view, lod & 15, layer * images + image_);
    }
};
inline texelOfElement sampleOfPixel(const textureView* view, uint x, uint y, uint layer,
                                    uint sample) {
    return {x, y, layer, sample, view != nullptr ? view->samples : 1, 0};
}

template <class Value, class Texel>
inline Value loadTexel(const textureView* view, const Texel& t) {
    return t.isIn(view) ? texelAccess<Value>::load(view, t.image(view), t.x, t.y) : Value(0);
}
template <class Value, class Texel>
inline void storeTexel(const textureView* view, const Texel& t, const Value& value) {
    if (t.isIn(view))
        texelAccess<Value>::store(view, t.image(view), t.x, t.y, value);
}

// Atomic operations concern the first component, of formats that have no other.

template <class T, class Texel>
inline bool isAtomic(const textureView* view, const Texel& t) {
    static_assert(__is_same(T, uint) || __is_same(T, int), "atomics need 'uint' or 'int'");
    return t.isIn(view) && holdsWords(view);
}
template <class T, class Texel>
inline T& wordAt(const textureView* view, const Texel& t) {
    return texelIn<T>(t.image(view), int(t.x), int(t.y));
}

#define SL42_TEXEL_FETCH(operation, builtin)                                                       \
    template <class T, class Texel>                                                                \
    inline metal::vec<T, 4> operation(const textureView* view, const Texel& t, T operand) {        \
        if (!isAtomic<T>(view, t))                                                                 \
            return metal::vec<T, 4>(0);                                                            \
        return {builtin(&wordAt<T>(view, t), operand, __ATOMIC_RELAXED), T(0), T(0), T(0)};        \
    }
SL42_TEXEL_FETCH(texelExchange, __atomic_exchange_n)
SL42_TEXEL_FETCH(texelFetchAdd, __atomic_fetch_add)
SL42_TEXEL_FETCH(texelFetchSub, __atomic_fetch_sub)
SL42_TEXEL_FETCH(texelFetchAnd, __atomic_fetch_and)
SL42_TEXEL_FETCH(texelFetchOr, __atomic_fetch_or)
SL42_TEXEL_FETCH(texelFetchXor, __atomic_fetch_xor)
SL42_TEXEL_FETCH(texelFetchMin, __atomic_fetch_min)
SL42_TEXEL_FETCH(texelFetchMax, __atomic_fetch_max)
#undef SL42_TEXEL_FETCH

template <class T, class Texel>
inline metal::vec<T, 4> texelAtomicLoad(const textureView* view, const Texel& t) {
    if (!isAtomic<T>(view, t))
        return metal::vec<T, 4>(0);
    return {__atomic_load_n(&wordAt<T>(view, t), __ATOMIC_RELAXED), T(0), T(0), T(0)};
}
template <class T, class Texel>
inline void texelAtomicStore(const textureView* view, const Texel& t, T value) {
    if (isAtomic<T>(view, t))
        __atomic_store_n(&wordAt<T>(view, t), value, __ATOMIC_RELAXED);
}
template <class T, class Texel>
inline bool texelCompareExchange(const textureView* view, const Texel& t,
                                 metal::vec<T, 4>* expected, T desired) {
    if (!isAtomic<T>(view, t))
        return false;
    T found = expected->x;
    const bool exchanged = __atomic_compare_exchange_n(&wordAt<T>(view, t), &found, desired, false,
                                                       __ATOMIC_RELAXED, __ATOMIC_RELAXED);
    expected->x = found;
    return exchanged;
}

} // namespace __sl42

#pragma clang attribute pop
#pragma clang attribute pop
