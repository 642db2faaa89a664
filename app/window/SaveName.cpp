// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/SaveName.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

namespace app {
namespace {

bool hasEnding(const QString& name, const QString& ending) {
    return !ending.isEmpty() && name.endsWith('.' + ending, Qt::CaseInsensitive);
}

} // namespace

QString endingOf(const QString& kind) {
    return QRegularExpression(R"(\*\.(\w+))").match(kind).captured(1);
}

QString kindOf(const QString& name, const QString& kinds) {
    const QStringList all = kinds.split(";;");
    const auto found = std::ranges::find_if(
        all, [&](const QString& kind) { return hasEnding(name, endingOf(kind)); });
    return found == all.end() ? all.front() : *found;
}

QString withEndingOf(const QString& chosen, const QString& name, const QString& kinds) {
    const QString ending = endingOf(chosen);
    if (ending.isEmpty() || hasEnding(name, ending))
        return name;
    const QString other = endingOf(kindOf(name, kinds));
    const QString stem = hasEnding(name, other) ? name.chopped(other.size() + 1) : name;
    return stem + '.' + ending;
}

} // namespace app
