// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What this program is, and how well it locks in the programs of others.
#pragma once

#include <QMessageBox>

#include <future>
#include <string>

namespace app {

/// Deletes itself when it is closed.
class AboutBox final : public QMessageBox {
public:
    explicit AboutBox(QWidget* parent);

private:
    void waitForTrial();

    std::future<std::string> m_trial; ///< on a thread of its own
};

} // namespace app
