// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/AboutBox.h"

#include "gpu/Device.h"

#include <QTimer>

namespace app {

AboutBox::AboutBox(QWidget* parent)
    : QMessageBox(parent), m_trial(std::async(std::launch::async, gpu::Device::describeSandbox)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("About"));
    setText(tr("Starloom 42\n\nA fantasy console for live coding.\n"
               "Free software under the MIT licence."));
    setInformativeText(tr("sandbox: being tried"));
    waitForTrial();
}

void AboutBox::waitForTrial() {
    constexpr std::chrono::milliseconds moment(20);
    QTimer::singleShot(moment, this, [this] {
        if (m_trial.wait_for(std::chrono::seconds(0)) == std::future_status::ready)
            setInformativeText(QString::fromStdString(m_trial.get()));
        else
            waitForTrial();
    });
}

} // namespace app
