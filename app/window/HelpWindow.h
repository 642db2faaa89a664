// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The built-in reference: sections and a search on the left, the entry on the right.
#pragma once

#include "app/help/HelpReference.h"

#include <QLineEdit>
#include <QTextBrowser>
#include <QTreeWidget>
#include <QWidget>

#include <functional>
#include <string>

namespace app {

/// A window of its own that stays beside the console's. `reference` must outlive it.
class HelpWindow final : public QWidget {
public:
    using OpenExample = std::function<void(const std::string& title, const std::string& source)>;

    HelpWindow(QWidget* parent, const help::HelpReference& reference, OpenExample openExample);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void list(const QString& query);
    void listSections();
    void addEntry(QTreeWidgetItem* parent, const help::Entry& entry);
    void showItem(const QTreeWidgetItem* item);
    void showEntry(const help::Entry& entry);
    void follow(const QUrl& link);

    const help::HelpReference& m_reference;
    const OpenExample m_openExample;
    QLineEdit* m_search;
    QTreeWidget* m_list;
    QTextBrowser* m_page;
};

} // namespace app
