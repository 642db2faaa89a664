// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/PacketRing.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace platform {
namespace {

Result<void> nothingYet() {
    return Error{"nothing has been recorded yet"};
}

/// Takes over what the packet refers to; null when there is no memory.
std::shared_ptr<const AVPacket> keep(AVPacket& packet) {
    std::shared_ptr<AVPacket> kept(av_packet_alloc(), FFmpegRelease());
    if (kept)
        av_packet_move_ref(kept.get(), &packet);
    return kept;
}

constexpr double slack = 1e-4; // times of different bases are compared

double endOf(const KeptTrack& track, const KeptPacket& kept) {
    return kept.time +
           static_cast<double>(kept.packet->duration) * av_q2d(track.description.timeBase);
}

/// A sound track's packets also code some of what is heard before them, so the one before the first
/// is needed, too.
bool belongs(const KeptTrack& track, const KeptPacket& kept, double from) {
    return track.isVideo() ? kept.time > from - slack : endOf(track, kept) > from + slack;
}

Result<void> writePacket(Muxer& muxer, const std::vector<KeptTrack>& tracks, const KeptPacket& kept,
                         double from) {
    const FFmpegPtr<AVPacket> packet(av_packet_clone(kept.packet.get()));
    if (!packet)
        return ffmpegError("cannot write the movie", AVERROR(ENOMEM));
    const AVRational base = tracks[kept.track].description.timeBase;
    const auto shift = static_cast<std::int64_t>(std::llround(from / av_q2d(base)));
    packet->pts -= shift;
    packet->dts -= shift;
    return muxer.write(*packet, static_cast<int>(kept.track));
}

Result<Muxer> beginFile(const std::string& path, const std::vector<KeptTrack>& tracks) {
    Muxer muxer = SL42_TRY(Muxer::create(path, "mp4"));
    for (const KeptTrack& track : tracks)
        if (const auto added = muxer.addTrack(*track.parameters, track.description); !added)
            return added.error();
    SL42_TRY_VOID(muxer.writeHeader(Muxer::Index::AtTheEnd));
    return muxer;
}

} // namespace

double KeptMovie::length() const {
    double first = 0;
    double end = 0;
    for (const KeptPacket& kept : packets)
        if (tracks[kept.track].isVideo()) {
            if (end == 0)
                first = kept.time;
            end = kept.time + av_q2d(tracks[kept.track].description.timeBase);
        }
    return end - first;
}

Result<void> KeptMovie::write(const std::string& path) const {
    const auto first = std::ranges::find_if(packets, &KeptPacket::beginsVideo);
    if (first == packets.end())
        return nothingYet();
    Muxer muxer = SL42_TRY(beginFile(path, tracks));
    for (const KeptPacket& kept : packets)
        if (belongs(tracks[kept.track], kept, first->time))
            SL42_TRY_VOID(writePacket(muxer, tracks, kept, first->time));
    return muxer.finish();
}

PacketRing::PacketRing() {
    av_log_set_level(AV_LOG_QUIET); // what it would print comes back as our errors
}

Result<int> PacketRing::addTrack(const AVCodecParameters& parameters,
                                 const TrackDescription& description) {
    std::shared_ptr<AVCodecParameters> copy(avcodec_parameters_alloc(), FFmpegRelease());
    const int code = copy ? avcodec_parameters_copy(copy.get(), &parameters) : AVERROR(ENOMEM);
    if (code < 0)
        return ffmpegError("cannot describe a track", code);
    m_tracks.push_back({std::move(copy), description});
    m_ends.push_back(0);
    return static_cast<int>(m_tracks.size()) - 1;
}

Result<void> PacketRing::write(AVPacket& packet, int track) {
    KeptPacket kept{.packet = keep(packet), .track = static_cast<std::size_t>(track)};
    if (!kept.packet)
        return ffmpegError("cannot keep the movie", AVERROR(ENOMEM));
    const KeptTrack& owner = m_tracks[kept.track];
    kept.time = static_cast<double>(kept.packet->pts) * av_q2d(owner.description.timeBase);
    kept.beginsVideo = owner.isVideo() && (kept.packet->flags & AV_PKT_FLAG_KEY) != 0;
    m_ends[kept.track] = endOf(owner, kept);
    if (owner.isVideo())
        m_latestFrame = kept.time;
    m_byteCount += static_cast<std::size_t>(kept.packet->size);
    m_packets.push_back(std::move(kept));
    const auto written = m_file ? writeToFile(m_packets.back()) : Result<void>();
    forget();
    return written;
}

void PacketRing::setLength(double seconds) {
    m_length = seconds;
    forget();
}

// Never leaves less than the length that is wanted, nor a beginning that needs what has gone. Some
// sound before that beginning belongs to it.
void PacketRing::forget() {
    const double oldest = m_latestFrame - m_length;
    const KeptPacket* first = nullptr;
    for (const KeptPacket& kept : m_packets)
        if (kept.beginsVideo && kept.time <= oldest)
            first = &kept;
    if (!first)
        return;
    constexpr double soundBefore = 0.25;
    const double from = first->time;
    while (!m_packets.empty() && m_packets.front().time < from - soundBefore) {
        m_byteCount -= static_cast<std::size_t>(m_packets.front().packet->size);
        m_packets.pop_front();
    }
}

KeptMovie PacketRing::last() const {
    const double end = m_ends.empty() ? 0 : std::ranges::min(m_ends);
    KeptMovie movie{m_tracks, {}};
    for (const KeptPacket& kept : m_packets) {
        const KeptTrack& track = m_tracks[kept.track];
        if ((track.isVideo() ? endOf(track, kept) : kept.time) < end + slack)
            movie.packets.push_back(kept);
    }
    return movie;
}

Result<void> PacketRing::startFile(const std::string& path, double time) {
    m_file.emplace(File{SL42_TRY(beginFile(path, m_tracks)), time});
    for (const KeptPacket& kept : m_packets) // sound may be ahead of the picture
        SL42_TRY_VOID(writeToFile(kept));
    return {};
}

Result<void> PacketRing::writeToFile(const KeptPacket& kept) {
    if (!belongs(m_tracks[kept.track], kept, m_file->from) || kept.time > m_file->until - slack)
        return {};
    auto written = writePacket(m_file->muxer, m_tracks, kept, m_file->from);
    if (!written)
        m_file.reset();
    else
        m_file->hasVideo |= kept.beginsVideo;
    return written;
}

void PacketRing::endFile(double time) {
    m_file->until = time;
}

bool PacketRing::isFileComplete() const {
    return std::ranges::all_of(m_ends, [this](double end) { return end > m_file->until - slack; });
}

Result<void> PacketRing::finishFile() {
    auto finished = m_file->hasVideo ? m_file->muxer.finish() : nothingYet();
    m_file.reset();
    return finished;
}

} // namespace platform
