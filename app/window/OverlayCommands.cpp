// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/OverlayCommands.h"

#include <QSignalBlocker>
#include <QStandardPaths>

#include <utility>

namespace app {

using starloom::SourceOverlay;

OverlayCommands::OverlayCommands(const Parts& parts, const Actions& actions)
    : m_parts(parts),
      m_overlay(actions.overlay),
      m_source(actions.overlaySource),
      m_capture(actions.capture),
      m_record(actions.recordCapture) {
    auto& engine = m_parts.console.engine();
    recorder().textureUpdateBlock = [this, &engine](std::optional<starloom::YUVTexture> texture) {
        if (!m_source->isChecked())
            engine.setEditorTexture(std::move(texture));
    };
    connect(m_overlay, &QAction::toggled, this, &OverlayCommands::showOverlay);
    connect(m_source, &QAction::toggled, this, &OverlayCommands::showSource);
    connect(m_capture, &QAction::toggled, this, &OverlayCommands::capture);
    connect(actions.pickWindow, &QAction::triggered, this, &OverlayCommands::pickWindow);
    connect(m_record, &QAction::toggled, this, &OverlayCommands::record);
    connect(actions.openRecordings, &QAction::triggered, this, &OverlayCommands::openRecordings);
    connect(actions.invertOverlay, &QAction::toggled, this, [this, &engine](bool invert) {
        engine.invertEditorOverlay.set(invert);
        m_parts.settings.invertOverlay.set(invert);
    });
    actions.invertOverlay->setChecked(m_parts.settings.invertOverlay.get());
    actions.openRecordings->setEnabled(false);
    recorder().prepare();
    m_observations = {
        recorder().isRunning().observe([this](bool running) { captureChanged(running); }),
        recorder().selectedWindow().observe([this](const auto&) {
            if (m_overlay->isChecked() && !m_source->isChecked() && !recorder().isRunning().get())
                startCapture();
        }),
        recorder().isRecordingStream().observe([this, open = actions.openRecordings](bool is) {
            const QSignalBlocker blocker(m_record);
            m_record->setChecked(is);
            open->setEnabled(true);
        }),
    };
}

OverlayCommands::~OverlayCommands() {
    recorder().textureUpdateBlock = [](const auto&) {};
}

void OverlayCommands::refuse(QAction& action, const std::string& reason) {
    const QSignalBlocker blocker(action);
    action.setChecked(false);
    m_parts.notices.showError(QString::fromStdString(reason));
}

void OverlayCommands::showOverlay(bool show) {
    m_parts.console.engine().showEditorOverlay.set(show);
    if (!show)
        stopUnneededCapture();
    else if (m_source->isChecked())
        drawSource();
    else if (!recorder().isRunning().get())
        startCapture();
}

void OverlayCommands::showSource(bool show) {
    m_parts.console.engine().setEditorTexture({});
    if (show)
        stopUnneededCapture();
    if (!m_overlay->isChecked()) {
        if (show)
            m_overlay->setChecked(true);
        return;
    }
    if (show)
        drawSource();
    else if (!recorder().isRunning().get())
        startCapture();
}

// A capture that is not shown is stopped, unless it is being recorded.
void OverlayCommands::stopUnneededCapture() {
    if (!recorder().isRecordingStream().get())
        recorder().stop();
}

void OverlayCommands::capture(bool start) {
    if (!start)
        return recorder().stop();
    if (!startCapture()) {
        const QSignalBlocker blocker(m_capture);
        m_capture->setChecked(recorder().isRunning().get());
    }
}

// With no window picked, the list is what is needed, not a message.
bool OverlayCommands::startCapture() {
    const auto desktopPicks = recorder().desktopPicks();
    if (desktopPicks && !*desktopPicks && !recorder().selectedWindow().get()) {
        m_parts.openPicker();
        return false;
    }
    const auto started = recorder().start();
    if (started)
        return true;
    refuse(*m_overlay, started.error().message +
                           "; \"Overlay: Source\" lays the program's text over the picture");
    m_parts.console.engine().showEditorOverlay.set(false);
    return false;
}

void OverlayCommands::pickWindow() {
    const auto desktopPicks = recorder().desktopPicks();
    if (desktopPicks && !*desktopPicks)
        return m_parts.openPicker();
    if (const auto picked = recorder().pickAgain(); !picked)
        m_parts.notices.showError(QString::fromStdString(picked.error().message));
}

void OverlayCommands::captureChanged(bool isRunning) {
    const QSignalBlocker blocker(m_capture);
    m_capture->setChecked(isRunning);
    const std::string& reason = recorder().state().get();
    if (!isRunning && !reason.empty())
        m_parts.notices.showError(
            tr("The capture has ended: %1").arg(QString::fromStdString(reason)));
}

void OverlayCommands::record(bool start) {
    if (!start)
        return recorder().stopRecording();
    const QString folder =
        QStandardPaths::writableLocation(QStandardPaths::MoviesLocation) + "/Starloom 42";
    if (const auto started = recorder().startRecording(folder.toStdString()); !started)
        return refuse(*m_record, started.error().message);
    m_parts.notices.showInformation(
        tr("Recording %1").arg(QString::fromStdString(recorder().recordingOutputPath().string())));
}

void OverlayCommands::openRecordings() {
    if (const auto opened = recorder().openRecordingFolder(); !opened)
        m_parts.notices.showError(QString::fromStdString(opened.error().message));
}

void OverlayCommands::setProgram(const std::string& source, std::optional<std::size_t> errorLine) {
    if (source != m_text)
        m_focus = SourceOverlay::firstChange(m_text, source);
    m_text = source;
    m_errorLine = errorLine;
    if (m_source->isChecked() && m_overlay->isChecked())
        drawSource();
}

void OverlayCommands::drawSource() {
    if (!m_sourceOverlay) {
        auto made = SourceOverlay::create();
        if (!made)
            return refuse(*m_source, made.error().message);
        m_sourceOverlay = *std::move(made);
    }
    const auto surface = m_sourceOverlay->draw(m_text, m_focus, m_errorLine);
    if (!surface)
        return; // the text before stays
    if (auto texture = surface->texture(*m_parts.console.device()))
        m_parts.console.engine().setEditorTexture(*std::move(texture));
}

} // namespace app
