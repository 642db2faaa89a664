// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/StreamParameters.h"

#include "platform/base/Fatal.h"

#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>
#include <spa/param/param.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>

#include <algorithm>
#include <initializer_list>

namespace platform {
namespace {

/// DRM_FORMAT_MOD_LINEAR: rows one after another.
constexpr std::int64_t linearModifier = 0;
/// One is read while the desktop fills another, and there are some on the way.
constexpr int wantedBuffers = 4;
constexpr int fewestBuffers = 2;
constexpr int mostBuffers = 16;
constexpr std::uint32_t mostPicturesPerSecond = 1000;
/// Words of the longest parameter, with room to spare.
constexpr std::size_t longestParameter = 128;

/// The values of one property, in the order that its kind of choice wants.
class Choice {
public:
    Choice(spa_pod_builder& builder, std::uint32_t property, spa_choice_type type,
           std::uint32_t flags = 0)
        : m_builder(builder) {
        spa_pod_builder_prop(&builder, property, flags);
        spa_pod_builder_push_choice(&builder, &m_frame, type, 0);
    }
    ~Choice() { spa_pod_builder_pop(&m_builder, &m_frame); }
    Choice(const Choice&) = delete;
    Choice& operator=(const Choice&) = delete;

private:
    spa_pod_builder& m_builder;
    spa_pod_frame m_frame{};
};

void addId(spa_pod_builder& builder, std::uint32_t property, std::uint32_t value) {
    spa_pod_builder_prop(&builder, property, 0);
    spa_pod_builder_id(&builder, value);
}

void addInt(spa_pod_builder& builder, std::uint32_t property, int value) {
    spa_pod_builder_prop(&builder, property, 0);
    spa_pod_builder_int(&builder, value);
}

/// The first value of an enumeration or a range is the one that we prefer.
void addPixelFormats(spa_pod_builder& builder) {
    const Choice choice(builder, SPA_FORMAT_VIDEO_format, SPA_CHOICE_Enum);
    for (const auto format : {SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA,
                              SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA})
        spa_pod_builder_id(&builder, format);
}

void addLinearModifier(spa_pod_builder& builder) {
    const Choice choice(builder, SPA_FORMAT_VIDEO_modifier, SPA_CHOICE_Enum,
                        SPA_POD_PROP_FLAG_MANDATORY | SPA_POD_PROP_FLAG_DONT_FIXATE);
    spa_pod_builder_long(&builder, linearModifier);
    spa_pod_builder_long(&builder, linearModifier);
}

void addSizes(spa_pod_builder& builder) {
    const Choice choice(builder, SPA_FORMAT_VIDEO_size, SPA_CHOICE_Range);
    spa_pod_builder_rectangle(&builder, 1280, 720);
    spa_pod_builder_rectangle(&builder, 1, 1);
    spa_pod_builder_rectangle(&builder, largestSide, largestSide);
}

void addRates(spa_pod_builder& builder, std::uint32_t property, std::uint32_t preferred,
              std::uint32_t least) {
    const Choice choice(builder, property, SPA_CHOICE_Range);
    for (const std::uint32_t rate : {preferred, least, mostPicturesPerSecond})
        spa_pod_builder_fraction(&builder, rate, 1);
}

} // namespace

template <class Fill>
void StreamParameters::add(std::uint32_t type, std::uint32_t id, Fill fill) {
    std::vector<std::uint64_t> encoded(longestParameter);
    spa_pod_builder builder{};
    spa_pod_frame frame{};
    spa_pod_builder_init(&builder, encoded.data(), longestParameter * sizeof(std::uint64_t));
    spa_pod_builder_push_object(&builder, &frame, type, id);
    fill(builder);
    if (spa_pod_builder_pop(&builder, &frame) == nullptr)
        fatalError("A parameter of a stream is longer than expected.");
    m_encoded.push_back(std::move(encoded));
}

void StreamParameters::addFormat(unsigned picturesPerSecond, bool isDmaBuf) {
    add(SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, [=](spa_pod_builder& builder) {
        addId(builder, SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_video);
        addId(builder, SPA_FORMAT_mediaSubtype, SPA_MEDIA_SUBTYPE_raw);
        addPixelFormats(builder);
        if (isDmaBuf)
            addLinearModifier(builder);
        addSizes(builder);
        // A picture for each change, not at a rate; but no more of them than are wanted.
        addRates(builder, SPA_FORMAT_VIDEO_framerate, 0, 0);
        addRates(builder, SPA_FORMAT_VIDEO_maxFramerate,
                 std::clamp(picturesPerSecond, 1U, mostPicturesPerSecond), 1);
    });
}

void StreamParameters::addMetadata(std::uint32_t kind, int size) {
    add(SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, [=](spa_pod_builder& builder) {
        addId(builder, SPA_PARAM_META_type, kind);
        addInt(builder, SPA_PARAM_META_size, size);
    });
}

StreamParameters StreamParameters::formats(unsigned picturesPerSecond) {
    StreamParameters parameters;
    parameters.addFormat(picturesPerSecond, false);
    parameters.addFormat(picturesPerSecond, true);
    return parameters;
}

StreamParameters StreamParameters::buffers(const PictureFormat& format) {
    StreamParameters parameters;
    parameters.add(SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, [&](spa_pod_builder& builder) {
        {
            const Choice choice(builder, SPA_PARAM_BUFFERS_buffers, SPA_CHOICE_Range);
            for (const int count : {wantedBuffers, fewestBuffers, mostBuffers})
                spa_pod_builder_int(&builder, count);
        }
        addInt(builder, SPA_PARAM_BUFFERS_blocks, 1);
        const Choice choice(builder, SPA_PARAM_BUFFERS_dataType, SPA_CHOICE_Flags);
        spa_pod_builder_int(&builder, 1 << (format.isDmaBuf ? SPA_DATA_DmaBuf : SPA_DATA_MemFd));
    });
    parameters.addMetadata(SPA_META_Header, sizeof(spa_meta_header));
    parameters.addMetadata(SPA_META_VideoCrop, sizeof(spa_meta_region));
    return parameters;
}

std::vector<const spa_pod*> StreamParameters::list() const {
    std::vector<const spa_pod*> pods;
    pods.reserve(m_encoded.size());
    for (const auto& encoded : m_encoded)
        pods.push_back(reinterpret_cast<const spa_pod*>(encoded.data()));
    return pods;
}

std::optional<PictureFormat> parseFormat(const spa_pod* format) {
    std::uint32_t type = 0;
    std::uint32_t subtype = 0;
    spa_video_info_raw info{};
    if (spa_format_parse(format, &type, &subtype) < 0 || type != SPA_MEDIA_TYPE_video ||
        subtype != SPA_MEDIA_SUBTYPE_raw || spa_format_video_raw_parse(format, &info) < 0)
        return std::nullopt;
    const bool isBlueFirst =
        info.format == SPA_VIDEO_FORMAT_BGRx || info.format == SPA_VIDEO_FORMAT_BGRA;
    const bool isRedFirst =
        info.format == SPA_VIDEO_FORMAT_RGBx || info.format == SPA_VIDEO_FORMAT_RGBA;
    const bool isDmaBuf = spa_pod_find_prop(format, nullptr, SPA_FORMAT_VIDEO_modifier) != nullptr;
    if (!isBlueFirst && !isRedFirst)
        return std::nullopt;
    if (isDmaBuf && info.modifier != linearModifier)
        return std::nullopt;
    return PictureFormat{info.size.width, info.size.height, isRedFirst, isDmaBuf};
}

} // namespace platform
