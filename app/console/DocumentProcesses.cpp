// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/console/DocumentProcesses.h"

#include "app/console/StartOptions.h"
#include "platform/WholeFile.h"

#include <QSocketNotifier>
#include <QUuid>

#include <memory>
#include <span>
#include <utility>

namespace app {
namespace fs = std::filesystem;

DocumentProcesses::DocumentProcesses(std::function<void(const std::string& line)> onFailure)
    : m_onFailure(std::move(onFailure)) {}

void DocumentProcesses::openNew() {
    start({startOption::fromWindow}, "a new document");
}

void DocumentProcesses::openFile(const fs::path& file) {
    start({startOption::fromWindow, "--", file.string()}, file.filename().string());
}

void DocumentProcesses::openText(const std::string& title, const std::string& text) {
    const QString unique = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const fs::path file = fs::temp_directory_path() / ("starloom42-" + unique.toStdString());
    if (auto written = platform::writeWholeFile(file.string(), std::as_bytes(std::span(text)));
        !written) {
        m_onFailure(written.error().message);
        return;
    }
    start({startOption::fromWindow, startOption::text, file.string(), startOption::title, title},
          title);
}

void DocumentProcesses::recover(const fs::path& journalFile, bool alone) {
    std::vector<std::string> arguments{startOption::recover, journalFile.string()};
    if (!alone)
        arguments.insert(arguments.begin(), startOption::fromWindow);
    start(arguments, "the recovered document");
}

void DocumentProcesses::start(const std::vector<std::string>& arguments, const std::string& name) {
    std::vector<std::string> words{platform::programFolder() / programName};
    words.insert(words.end(), arguments.begin(), arguments.end());
    auto child = platform::ChildProcess::start(words);
    if (child)
        watch(*std::move(child), name);
    else
        m_onFailure(child.error().message);
}

void DocumentProcesses::watch(platform::ChildProcess child, const std::string& name) {
    const auto shared = std::make_shared<platform::ChildProcess>(std::move(child));
    auto* notifier = new QSocketNotifier(shared->endDescriptor(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, notifier, shared, name] {
        notifier->setEnabled(false);
        notifier->deleteLater();
        const auto end = shared->finish();
        if (end.failed)
            m_onFailure(name + ": " +
                        (end.lastLine.empty() ? "It ended unexpectedly" : end.lastLine));
    });
}

} // namespace app
