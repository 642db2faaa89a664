// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/common/Settings.h"

namespace app {

static constexpr int maxRecentFiles = 10;

void Settings::addRecentFile(const QString& path) {
    m_store.sync(); // other documents add theirs
    QStringList files = recentFiles.get();
    files.removeAll(path);
    files.prepend(path);
    recentFiles.set(files.mid(0, maxRecentFiles));
    m_store.sync();
}

} // namespace app
