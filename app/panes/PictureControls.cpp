// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/PictureControls.h"

#include <QComboBox>

namespace app {

static void addRates(ControlsPane& pane, PreviewWidget& view, Settings& settings) {
    auto* rates = new QComboBox;
    for (const int rate : {24, 25, 30, 50, 60, 75, 120, 144})
        rates->addItem(QObject::tr("%1 a second").arg(rate), rate);
    const int remembered = rates->findData(settings.preferredFPS.get());
    rates->setCurrentIndex(remembered >= 0 ? remembered : rates->findData(60));
    const auto apply = [rates, &view, &settings] {
        view.preferredFPS.set(rates->currentData().toInt());
        settings.preferredFPS.set(rates->currentData().toInt());
    };
    QObject::connect(rates, &QComboBox::currentIndexChanged, &view, apply);
    apply();
    pane.addRow(QObject::tr("Frames"), rates);
}

void addPictureControls(ControlsPane& pane, const Actions& actions, PreviewWidget& view,
                        Settings& settings) {
    pane.addHeading(QObject::tr("Picture"));
    addRates(pane, view, settings);
    pane.addButtons({actions.fullScreen});

    QObject::connect(actions.wholeScales, &QAction::toggled, &view, [&view, &settings](bool whole) {
        view.setWholeScalesOnly(whole);
        settings.wholeScalesOnly.set(whole);
    });
    actions.wholeScales->setChecked(settings.wholeScalesOnly.get());
}

} // namespace app
