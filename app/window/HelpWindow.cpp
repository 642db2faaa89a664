// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/HelpWindow.h"

#include "app/help/Html.h"

#include <QKeyEvent>
#include <QSplitter>
#include <QVBoxLayout>

#include <utility>

namespace app {
namespace {

constexpr int idRole = Qt::UserRole;

// The text view knows a small part of CSS.
constexpr const char* pageStyle = R"(
body { color: #d6d8dd; font-size: 11pt; line-height: 135%; }
h1 { font-size: 18pt; color: #ffffff; margin-bottom: 2px; }
h2 { font-size: 12pt; color: #9aa3b2; margin-top: 18px; margin-bottom: 4px; }
a { color: #8db6f5; text-decoration: none; }
code, pre { font-family: monospace; color: #e8c79a; }
pre { background-color: #17181c; font-size: 10pt; }
.path { color: #7d828c; }
.summary { font-size: 12pt; }
.declaration { color: #c3d9ff; background-color: #1b2130; font-size: 11pt; }
td { padding-right: 14px; padding-bottom: 3px; }
)";

QString text(const std::string& utf8) {
    return QString::fromStdString(utf8);
}

} // namespace

HelpWindow::HelpWindow(QWidget* parent, const help::HelpReference& reference,
                       OpenExample openExample)
    : QWidget(parent, Qt::Window),
      m_reference(reference),
      m_openExample(std::move(openExample)),
      m_search(new QLineEdit),
      m_list(new QTreeWidget),
      m_page(new QTextBrowser) {
    setWindowTitle(tr("Reference \u2013 Starloom 42"));
    resize(1000, 680);
    m_search->setPlaceholderText(tr("Search"));
    m_search->setClearButtonEnabled(true);
    m_search->setAccessibleName(tr("Search the reference"));
    m_list->setHeaderHidden(true);
    m_list->setAccessibleName(tr("Entries"));
    m_page->setOpenLinks(false);
    m_page->document()->setDefaultStyleSheet(pageStyle);
    m_page->document()->setDocumentMargin(18);
    m_page->setAccessibleName(tr("Entry"));

    auto* left = new QWidget;
    auto* column = new QVBoxLayout(left);
    column->setContentsMargins(8, 8, 4, 8);
    column->addWidget(m_search);
    column->addWidget(m_list, 1);
    auto* splitter = new QSplitter;
    splitter->addWidget(left);
    splitter->addWidget(m_page);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({290, 710});
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(splitter);

    connect(m_search, &QLineEdit::textChanged, this, &HelpWindow::list);
    connect(m_search, &QLineEdit::returnPressed, this, [this] { m_list->setFocus(); });
    connect(m_list, &QTreeWidget::currentItemChanged, this,
            [this](const QTreeWidgetItem* item) { showItem(item); });
    connect(m_page, &QTextBrowser::anchorClicked, this, &HelpWindow::follow);
    list({});
}

void HelpWindow::showEvent(QShowEvent*) {
    m_search->setFocus();
    m_search->selectAll();
}

void HelpWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        close();
    else if (event->key() == Qt::Key_Down && m_search->hasFocus())
        m_list->setFocus();
    else
        QWidget::keyPressEvent(event);
}

void HelpWindow::list(const QString& query) {
    m_list->clear();
    if (query.trimmed().isEmpty()) {
        listSections();
    } else {
        for (const help::Entry* entry : m_reference.search(query.toStdString()))
            addEntry(m_list->invisibleRootItem(), *entry);
    }
    m_list->setRootIsDecorated(query.trimmed().isEmpty());
    m_list->setCurrentItem(m_list->topLevelItem(0));
    if (!m_list->topLevelItem(0))
        m_page->setPlainText(tr("Nothing found."));
}

void HelpWindow::listSections() {
    for (const help::Section& section : m_reference.sections()) {
        auto* top = new QTreeWidgetItem(m_list, {text(section.title)});
        QTreeWidgetItem* group = top;
        for (const help::Entry& entry : section.entries) {
            const QString title = text(entry.group);
            if (title.isEmpty())
                group = top;
            else if (group == top || group->text(0) != title)
                group = new QTreeWidgetItem(top, {title});
            addEntry(group, entry);
        }
    }
    m_list->topLevelItem(0)->setExpanded(true);
}

void HelpWindow::addEntry(QTreeWidgetItem* parent, const help::Entry& entry) {
    auto* item = new QTreeWidgetItem(parent, {text(entry.title)});
    item->setData(0, idRole, text(entry.id));
    item->setToolTip(0, text(entry.summary));
}

void HelpWindow::showItem(const QTreeWidgetItem* item) {
    if (!item)
        return;
    if (const auto* entry = m_reference.find(item->data(0, idRole).toString().toStdString())) {
        showEntry(*entry);
        return;
    }
    for (const help::Section& section : m_reference.sections())
        if (text(section.title) == item->text(0))
            m_page->setHtml(text(help::toHtml(section)));
}

void HelpWindow::showEntry(const help::Entry& entry) {
    m_page->setHtml(text(help::toHtml(m_reference, entry)));
}

void HelpWindow::follow(const QUrl& link) {
    const auto* entry = m_reference.find(link.path().toStdString());
    if (!entry)
        return;
    if (link.scheme() == "example")
        m_openExample(entry->title, entry->example);
    else
        showEntry(*entry);
}

} // namespace app
