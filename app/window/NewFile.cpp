// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/NewFile.h"

#include <QDateTime>

namespace app {
namespace fs = std::filesystem;

fs::path newFile(QStandardPaths::StandardLocation location, const std::string& title,
                 const QString& ending) {
    const fs::path folder =
        (QStandardPaths::writableLocation(location) + "/Starloom 42").toStdString();
    std::error_code refused; // writing the file says why
    fs::create_directories(folder, refused);
    QString stem = QString::fromStdString(title);
    stem.replace('/', '_');
    stem += QDateTime::currentDateTime().toString(" yyyy-MM-dd hh.mm.ss");
    fs::path file = folder / (stem + ending).toStdString();
    for (int number = 2; fs::exists(file, refused); ++number)
        file = folder / (QString("%1 (%2)").arg(stem).arg(number) + ending).toStdString();
    return file;
}

} // namespace app
