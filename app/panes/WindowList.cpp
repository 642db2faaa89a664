// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/panes/WindowList.h"

#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QVBoxLayout>

#include <algorithm>
#include <optional>
#include <utility>

namespace app {

static constexpr QSize miniatureSize{96, 60};
static constexpr int miniatureMilliseconds = 150;
static constexpr int stateMilliseconds = 1000;

WindowList::WindowList(starloom::ScreenRecorder& recorder)
    : m_recorder(recorder), m_search(new QLineEdit), m_list(new QListWidget), m_state(new QLabel) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    for (QWidget* part : std::initializer_list<QWidget*>{m_search, m_list, m_state})
        column->addWidget(part);
    m_search->setPlaceholderText(tr("Search windows"));
    m_search->setAccessibleName(tr("Search windows"));
    m_search->setClearButtonEnabled(true);
    m_list->setAccessibleName(tr("Windows that can be captured"));
    m_list->setIconSize(miniatureSize);
    m_list->setMinimumHeight(3 * miniatureSize.height());
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_state->setObjectName("quiet");
    m_state->setWordWrap(true);

    connect(m_search, &QLineEdit::textChanged, this, &WindowList::fill);
    connect(m_search, &QLineEdit::returnPressed, this, [this] {
        if (m_list->count() > 0) {
            select(m_list->item(std::max(0, m_list->currentRow())));
            onActivated();
        }
    });
    connect(m_list, &QListWidget::itemClicked, this, &WindowList::select);
    connect(m_list, &QListWidget::itemActivated, this, [this](QListWidgetItem* item) {
        select(item);
        onActivated();
    });
    connect(&m_miniatureTimer, &QTimer::timeout, this, &WindowList::requestMiniature);
    connect(&m_stateTimer, &QTimer::timeout, this, &WindowList::showState);
    m_observations = {
        m_recorder.availableWindows().observe([this](const auto&) { fill(); }),
        m_recorder.isRunning().observe([this](bool) { showState(); }),
        m_recorder.state().observe([this](const auto&) { showState(); }),
    };
}

bool WindowList::listsWindows() {
    const auto desktopPicks = m_recorder.desktopPicks();
    return desktopPicks && !*desktopPicks;
}

void WindowList::takeFocus() {
    if (listsWindows())
        m_search->setFocus();
}

void WindowList::expectEditor(const std::string& fileName) {
    m_expectedFile = fileName;
    m_windowsBefore.clear();
    if (!listsWindows() || !m_recorder.refreshAvailableContent())
        return;
    for (const auto& window : m_recorder.availableWindows().get())
        m_windowsBefore.push_back(window.identifier);
}

bool WindowList::isExpected(const platform::CapturableWindow& window) const {
    return !m_expectedFile.empty() &&
           (std::ranges::find(m_windowsBefore, window.identifier) == m_windowsBefore.end() ||
            window.title.find(m_expectedFile) != std::string::npos);
}

void WindowList::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    refresh();
    m_recorder.monitorAvailableContent(listsWindows());
    if (listsWindows())
        m_pictures = m_recorder.makePictures(
            [this](std::uint64_t window, const platform::WindowPicture& picture) {
                showMiniature(window, picture);
            });
    m_miniatureTimer.start(miniatureMilliseconds);
    m_stateTimer.start(stateMilliseconds);
}

void WindowList::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    m_recorder.monitorAvailableContent(false);
    m_miniatureTimer.stop();
    m_pictures.reset();
    m_stateTimer.stop();
}

void WindowList::refresh() {
    const bool lists = listsWindows();
    m_search->setVisible(lists);
    m_list->setVisible(lists);
    if (lists)
        (void)m_recorder.refreshAvailableContent(); // when it fails, the list is empty
    fill();
    showState();
}

// Rows that stay keep their pictures.
void WindowList::fill() {
    const auto selected = m_recorder.selectedWindow().get();
    std::vector<platform::CapturableWindow> windows;
    for (const auto& window : m_recorder.availableWindows().get())
        if (QString::fromStdString(starloom::listName(window))
                .contains(m_search->text(), Qt::CaseInsensitive))
            windows.push_back(window);
    std::ranges::partition(windows, [this](const auto& window) { return isExpected(window); });

    std::vector<std::pair<std::uint64_t, QIcon>> icons;
    icons.reserve(m_shown.size());
    for (std::size_t row = 0; row < m_shown.size(); ++row)
        icons.emplace_back(m_shown[row].identifier, m_list->item(static_cast<int>(row))->icon());
    m_list->clear();
    m_shown = std::move(windows);
    QPixmap blank(miniatureSize);
    blank.fill(Qt::black);
    for (const auto& window : m_shown) {
        const auto icon =
            std::ranges::find(icons, window.identifier, &decltype(icons)::value_type::first);
        auto* item = new QListWidgetItem(icon != icons.end() ? icon->second : QIcon(blank),
                                         QString::fromStdString(starloom::listName(window)));
        item->setToolTip(item->text());
        m_list->addItem(item);
        if (selected && selected->identifier == window.identifier)
            m_list->setCurrentItem(item);
    }
}

void WindowList::requestMiniature() {
    if (!m_shown.empty() && m_pictures)
        m_pictures->request(m_shown[m_nextMiniature++ % m_shown.size()].identifier);
}

void WindowList::showMiniature(std::uint64_t window, const platform::WindowPicture& picture) {
    const auto row = std::ranges::find(m_shown, window, &platform::CapturableWindow::identifier);
    if (row == m_shown.end())
        return;
    const QImage image(reinterpret_cast<const uchar*>(picture.pixels.data()),
                       static_cast<int>(picture.width), static_cast<int>(picture.height),
                       qsizetype{4} * picture.width, QImage::Format_RGB32);
    QPixmap miniature(miniatureSize);
    miniature.fill(Qt::black);
    const QImage scaled = image.scaled(miniatureSize, Qt::KeepAspectRatio, Qt::FastTransformation);
    QPainter(&miniature)
        .drawImage((miniatureSize.width() - scaled.width()) / 2,
                   (miniatureSize.height() - scaled.height()) / 2, scaled);
    m_list->item(static_cast<int>(row - m_shown.begin()))->setIcon(QIcon(miniature));
}

void WindowList::select(QListWidgetItem* item) {
    const auto row = static_cast<std::size_t>(m_list->row(item));
    if (row < m_shown.size())
        m_recorder.select(m_shown[row]);
}

void WindowList::showState() {
    const auto frames =
        m_recorder.frameCount() - std::exchange(m_framesBefore, m_recorder.frameCount());
    QString text = QString::fromStdString(m_recorder.state().get());
    if (const auto desktopPicks = m_recorder.desktopPicks(); !desktopPicks)
        text = QString::fromStdString(desktopPicks.error().message);
    else if (text.isEmpty() && m_recorder.isRunning().get())
        text = tr("Capturing %1 x %2, %3 frames a second")
                   .arg(m_recorder.contentSize().get().width)
                   .arg(m_recorder.contentSize().get().height)
                   .arg(frames);
    else if (text.isEmpty())
        text = *desktopPicks ? tr("The desktop will ask which window to show")
                             : tr("Not capturing; a double click lays a window over the picture");
    m_state->setText(text);
}

} // namespace app
