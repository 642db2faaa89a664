// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The other documents that were opened from this one. Each runs in a process of its own, so that
// nothing that goes wrong there is felt here.
#pragma once

#include "platform/process/ChildProcess.h"

#include <QObject>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace app {

class DocumentProcesses final : public QObject {
public:
    /// `onFailure` gets one line about a document that could not be started or ended with an error.
    explicit DocumentProcesses(std::function<void(const std::string& line)> onFailure);

    void openNew();
    void openFile(const std::filesystem::path& file);
    /// A new document that begins with a text of its own, such as an example.
    void openText(const std::string& title, const std::string& text);
    /// Takes over what a process has left in its journal. `alone` when this process is about to
    /// end, so that nobody would hear of a failure.
    void recover(const std::filesystem::path& journalFile, bool alone);

private:
    void start(const std::vector<std::string>& arguments, const std::string& name);
    void watch(platform::ChildProcess child, const std::string& name);

    const std::function<void(const std::string&)> m_onFailure;
};

} // namespace app
