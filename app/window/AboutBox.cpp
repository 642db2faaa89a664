// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/AboutBox.h"

#include "gpu/Device.h"

namespace app {

AboutBox::AboutBox(QWidget* parent) : QMessageBox(parent) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("About"));
    setText(tr("Starloom 42\n\nA fantasy console that lives on your GPU.\n"
               "Free software under the MIT licence."));
    setInformativeText(tr("sandbox: being tried"));
    m_trial = std::thread([this] {
        const QString line = QString::fromStdString(gpu::Device::describeSandbox());
        QMetaObject::invokeMethod(
            this, [this, line] { setInformativeText(line); }, Qt::QueuedConnection);
    });
}

AboutBox::~AboutBox() {
    m_trial.join();
}

} // namespace app
