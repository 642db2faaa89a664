// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/VideoDialog.h"

#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QPushButton>

namespace app {

std::optional<starloom::VideoSettings> askForVideoSettings(QWidget& window, double songLength) {
    QDialog dialog(&window);
    dialog.setWindowTitle(QObject::tr("Export Video"));
    auto* seconds = new QDoubleSpinBox;
    seconds->setRange(0.1, 3600);
    seconds->setSuffix(QObject::tr(" s"));
    seconds->setValue(songLength);
    auto* rate = new QComboBox;
    for (const int framesPerSecond : {24, 25, 30, 50, 60})
        rate->addItem(QString::number(framesPerSecond), framesPerSecond);
    rate->setCurrentIndex(rate->count() - 1);
    auto* size = new QComboBox;
    for (const int scale : {1, 2, 4})
        size->addItem(QString("%1 \u00d7 %2").arg(960 * scale).arg(540 * scale), scale);
    size->setCurrentIndex(1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->button(QDialogButtonBox::Ok)->setText(QObject::tr("Export\u2026"));
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    auto* rows = new QFormLayout(&dialog);
    rows->addRow(QObject::tr("&Length"), seconds);
    rows->addRow(QObject::tr("&Frames a second"), rate);
    rows->addRow(QObject::tr("&Size"), size);
    rows->addRow(buttons);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    const auto scale = size->currentData().toUInt();
    return starloom::VideoSettings{
        .length = seconds->value(),
        .frameRate = {rate->currentData().toUInt(), 1},
        .width = 960 * scale,
        .height = 540 * scale,
    };
}

} // namespace app
