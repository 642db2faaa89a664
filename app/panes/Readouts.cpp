// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/Readouts.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLocale>
#include <QStyle>

#include <utility>

namespace app {

static constexpr int refreshMilliseconds = 200;

Readouts::Readouts(const starloom::SL42& console, std::function<QString()> device,
                   std::function<int()> framesPerSecond)
    : m_console(console),
      m_device(std::move(device)),
      m_framesPerSecond(std::move(framesPerSecond)),
      m_cpu(makeChip("cpu()")),
      m_video(makeChip("fx()")),
      m_audio(makeChip("sfx()")),
      m_song(new QProgressBar) {
    auto* rows = new QFormLayout(this);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setVerticalSpacing(3);
    auto* chips = new QHBoxLayout;
    for (QLabel* chip : {m_cpu, m_video, m_audio})
        chips->addWidget(chip, 1);
    rows->addRow(chips);
    rows->addRow(m_song);
    setUpSong();
    m_time = addRow(tr("Time"));
    m_sample = addRow(tr("Sample"));
    m_rate = addRow(tr("Frames"));
    m_deviceName = addRow(tr("Device"));
    m_size = addRow(tr("Size"));
    connect(&m_timer, &QTimer::timeout, this, &Readouts::refresh);
    m_timer.start(refreshMilliseconds);
    refresh();
}

// A thin bar below the functions, whose place stays free while there is nothing to show.
void Readouts::setUpSong() {
    m_song->setObjectName("song");
    m_song->setAccessibleName(tr("Progress of the song"));
    m_song->setTextVisible(false);
    m_song->setFixedHeight(3);
    m_song->setRange(0, 1000);
    QSizePolicy policy = m_song->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    m_song->setSizePolicy(policy);
}

void Readouts::showSong(std::optional<double> progress) {
    m_song->setVisible(progress.has_value());
    if (progress)
        m_song->setValue(static_cast<int>(*progress * m_song->maximum()));
}

QLabel* Readouts::addRow(const QString& name) {
    auto* value = new QLabel;
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    value->setWordWrap(true);
    value->setAlignment(Qt::AlignRight);
    value->setAccessibleName(name);
    auto* label = new QLabel(name);
    label->setObjectName("quiet");
    static_cast<QFormLayout*>(layout())->addRow(label, value);
    return value;
}

QLabel* Readouts::makeChip(const QString& function) {
    auto* chip = new QLabel(function);
    chip->setObjectName("chip");
    chip->setAlignment(Qt::AlignCenter);
    return chip;
}

void Readouts::setFound(QLabel& chip, bool found) {
    if (chip.property("found").isValid() && chip.property("found").toBool() == found)
        return;
    chip.setProperty("found", found);
    chip.setAccessibleName(chip.text() + ' ' + (found ? tr("found") : tr("not found")));
    chip.style()->unpolish(&chip);
    chip.style()->polish(&chip);
}

void Readouts::refresh() {
    const QLocale locale;
    setFound(*m_cpu, m_console.hasCPU());
    setFound(*m_video, m_console.hasVideo());
    setFound(*m_audio, m_console.hasAudio());
    showSong(m_console.songProgress().get());
    m_time->setText(tr("%1 s").arg(locale.toString(m_console.time(), 'f', 2)));
    m_sample->setText(locale.toString(m_console.sample()));
    m_rate->setText(tr("%1 a second").arg(m_framesPerSecond()));
    m_deviceName->setText(m_device());
    m_size->setText(tr("%1 characters\n%2 bytes packed")
                        .arg(locale.toString(qulonglong(m_console.size().get())),
                             locale.toString(qulonglong(m_console.packedSize().get()))));
}

} // namespace app
