// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/performance/PerformanceRecorder.h"

#include "SL42/performance/PerformanceFormat.h"

#include <algorithm>
#include <string>
#include <utility>

namespace starloom {

using performance::RecordKind;
using platform::Result;

Result<std::unique_ptr<PerformanceRecorder>>
PerformanceRecorder::start(const std::filesystem::path& path, std::string_view title) {
    auto file = SL42_TRY(platform::AppendedFile::create(path));
    file->append(std::string(performance::heading) +
                 performance::encodeRecord(RecordKind::Title, title));
    return std::unique_ptr<PerformanceRecorder>(new PerformanceRecorder(std::move(file)));
}

void PerformanceRecorder::note(PerformanceFrame frame) {
    std::string records;
    if (frame.program)
        records = performance::encodeRecord(RecordKind::Program, *frame.program);
    else if (!m_start)
        return;
    if (!m_start)
        m_start = frame.clock;
    frame.clock = std::max(frame.clock - *m_start, m_duration);
    records +=
        performance::encodeRecord(RecordKind::Frame, performance::encodeFrame(frame, m_last));
    m_duration = frame.clock;
    m_last = frame.state;
    m_file->append(records);
}

Result<void> PerformanceRecorder::stop() {
    m_file->append(performance::encodeRecord(RecordKind::End, {}));
    return m_file->finish();
}

} // namespace starloom
