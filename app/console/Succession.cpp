// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/console/Succession.h"

#include "SL42/document/Trim.h"
#include "platform/TextFile.h"

#include <QDataStream>
#include <QIODevice>

#include <utility>

namespace app {
namespace fs = std::filesystem;

static constexpr quint32 bequestMark = 0x534c3432;

std::string Bequest::encode() const {
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << bequestMark << QByteArray::fromStdString(journal)
           << QByteArray::fromStdString(followed) << geometry << panes << fullScreen << playing;
    return bytes.toStdString();
}

std::optional<Bequest> Bequest::decode(const std::string& bytes) {
    QDataStream stream(QByteArray::fromStdString(bytes));
    quint32 mark = 0;
    QByteArray journal;
    QByteArray followed;
    Bequest bequest;
    stream >> mark >> journal >> followed >> bequest.geometry >> bequest.panes >>
        bequest.fullScreen >> bequest.playing;
    if (stream.status() != QDataStream::Ok || mark != bequestMark)
        return std::nullopt;
    bequest.journal = journal.toStdString();
    bequest.followed = followed.toStdString();
    return bequest;
}

DocumentOrigin originFrom(starloom::JournalEntry entry, bool mayRunSame) {
    DocumentOrigin origin;
    origin.title = entry.title;
    origin.file = entry.document;
    const bool same = entry.good == entry.source;
    if (entry.good && (!same || mayRunSame))
        origin.source = *entry.good;
    if (origin.source != entry.source)
        origin.offered = entry.source;
    origin.recovered = std::move(entry);
    return origin;
}

/// What was saved while nobody followed the file is newer than the journal.
static void lookAtFile(const std::string& file, starloom::JournalEntry& entry) {
    const auto text = platform::readTextFile(file);
    if (!text)
        return;
    const std::string source(starloom::trimmed(*text));
    if (source.empty() || source == starloom::trimmed(entry.source))
        return;
    entry.source = source;
    entry.saved = true;
}

std::optional<DocumentOrigin> inheritedOrigin(const Bequest& bequest, int recentDeaths) {
    auto entry = starloom::Journal::read(bequest.journal);
    if (!entry)
        return std::nullopt;
    if (!bequest.followed.empty())
        lookAtFile(bequest.followed, *entry);
    DocumentOrigin origin = originFrom(*std::move(entry), recentDeaths <= 1);
    origin.followed = bequest.followed;
    return origin;
}

DocumentOrigin offeredOnly(DocumentOrigin origin) {
    origin.offered = std::exchange(origin.source, std::string(starloom::defaultSource));
    return origin;
}

} // namespace app
