// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What this program is, and how well it locks in the programs of others.
#pragma once

#include <QMessageBox>

#include <thread>

namespace app {

/// Deletes itself when it is closed.
class AboutBox final : public QMessageBox {
public:
    explicit AboutBox(QWidget* parent);
    ~AboutBox() override;
    AboutBox(const AboutBox&) = delete;
    AboutBox& operator=(const AboutBox&) = delete;

private:
    std::thread m_trial;
};

} // namespace app
