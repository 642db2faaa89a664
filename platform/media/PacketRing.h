// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The last seconds of a movie as it is encoded, in memory, and the files that are made of it: one
// of those seconds, on any thread, and one that goes on as packets come.
#pragma once

#include "platform/media/Muxer.h"

#include <cstddef>
#include <deque>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// A packet and whose it is. Does not change.
struct KeptPacket {
    std::shared_ptr<const AVPacket> packet;
    std::size_t track = 0;
    double time = 0; ///< when it begins to be seen or heard, in seconds
    bool beginsVideo = false;
};

struct KeptTrack {
    std::shared_ptr<const AVCodecParameters> parameters;
    TrackDescription description;
    bool isVideo() const { return parameters->codec_type == AVMEDIA_TYPE_VIDEO; }
};

/// Packets that can be written as a movie of their own. They begin with a frame that needs no other
/// one, and with the sound of that moment. Sharing it costs nothing.
struct KeptMovie {
    std::vector<KeptTrack> tracks;
    std::vector<KeptPacket> packets;

    /// In seconds; 0 where there is nothing to be seen.
    double length() const;
    /// Any thread.
    Result<void> write(const std::string& path) const;
};

/// One thread.
class PacketRing final : public PacketSink {
public:
    PacketRing();

    bool wantsGlobalHeader() const override { return true; }
    using PacketSink::addTrack;
    Result<int> addTrack(const AVCodecParameters& parameters,
                         const TrackDescription& description) override;
    Result<void> write(AVPacket& packet, int track) override;

    /// How much is kept at least, if there has been as much; packets that are older go when the
    /// rest begins with a frame that needs none of them.
    void setLength(double seconds);
    /// Ends where a track ends first.
    KeptMovie last() const;
    /// Of all packets.
    std::size_t byteCount() const { return m_byteCount; }

    /// A file of what comes from `time` on, in seconds, where a frame must begin anew.
    Result<void> startFile(const std::string& path, double time);
    /// From now on only what begins before `time` is written to it.
    void endFile(double time);
    /// Whether all of that has come.
    bool isFileComplete() const;
    /// Completes it with what has come.
    Result<void> finishFile();
    bool hasFile() const { return m_file.has_value(); }

private:
    struct File {
        Muxer muxer;
        double from;
        double until = std::numeric_limits<double>::infinity();
        bool hasVideo = false;
    };
    Result<void> writeToFile(const KeptPacket& kept);
    void forget();

    std::vector<KeptTrack> m_tracks;
    std::vector<double> m_ends; ///< of the latest packet of each track
    std::deque<KeptPacket> m_packets;
    std::size_t m_byteCount = 0;
    double m_length = 0;
    double m_latestFrame = 0;
    std::optional<File> m_file;
};

} // namespace platform
