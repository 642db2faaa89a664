// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What every action of the menus does, and what the window's questions lead to.
#include "LiveCoding/LiveCodingFile.h"
#include "SL42/document/History.h"
#include "platform/image/Exr.h"
#include "platform/image/Png.h"
#include "tests/app/OpenWindow.h"
#include "tests/platform/capture/x11/TestWindow.h"

#include <QDoubleSpinBox>
#include <QFileInfo>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QSlider>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

namespace app::tests {
namespace {

namespace fs = std::filesystem;
using ::tests::contentsOf;

constexpr const char* text = "int4 music = {60, 2, 1, 1};\nvoid fx() { cls(time); }\n"
                             "float2 sfx() { return 0.5; }";
constexpr const char* newerText = "void fx() { cls(1); }";

/// An action, what has changed once it was triggered, and how to get ready for it. What a switch
/// has changed is as before when it is triggered once more.
struct Row {
    const char* action;
    std::function<bool()> effect;
    std::function<void()> prepare = [] {};
};

class WindowActions : public OpenWindow {
protected:
    std::string file(const char* name) const { return files.path(name); }
    bool exists(const char* name) const { return fs::exists(file(name)) && !isAsked(); }
    static bool isAsked() { return QApplication::activeModalWidget() != nullptr; }
    std::string stored(const char* name) const {
        const auto source = starloom::readDocument(file(name));
        return source ? *source : source.error().message;
    }
    static const QWidget* topLevel(const QString& title) {
        for (const QWidget* widget : QApplication::topLevelWidgets())
            if (widget->isVisible() && widget->windowTitle().startsWith(title))
                return widget;
        return nullptr;
    }
    fs::path history() const {
        return starloom::History::fileOf(starloom::History::folderOfThisUser(), file("b.sl42"));
    }
    starloom::ScreenRecorder& capture() const { return engine().screenCapture(); }
    QSlider& volume() const { return widget<QSlider>("Volume"); }
    SourcePosition shownPosition() const {
        const QTextCursor cursor = widget<QPlainTextEdit>("Source").textCursor();
        return {cursor.blockNumber() + 1, cursor.positionInBlock() + 1};
    }
    std::function<bool()> toggles(const char* name) const {
        return [&pane = pane(name), before = pane(name).isVisible()] {
            return pane.isVisible() != before;
        };
    }
    void check(const Row& row, QAction& action) {
        SCOPED_TRACE(row.action);
        row.prepare();
        EXPECT_FALSE(row.effect()) << "nobody has asked for it yet";
        const std::string panes = visiblePanes();
        action.trigger();
        EXPECT_TRUE(eventually(row.effect)) << notice();
        if (!action.isCheckable())
            return;
        action.trigger();
        EXPECT_TRUE(eventually([&] { return !row.effect(); })) << notice();
        EXPECT_EQ(visiblePanes(), panes);
    }
    std::vector<Row> documentRows();
    std::vector<Row> programRows();
    std::vector<Row> pictureRows();
    std::vector<Row> recordingRows();
    std::vector<Row> captureRows();
    std::vector<Row> lastRows();
};

std::vector<Row> WindowActions::documentRows() {
    const auto change = [this] { engine().setSource(newerText); };
    const auto dialog = [this](const char* name) {
        return [this, name] { answer({choose(file(name))}); };
    };
    const auto video = [this] {
        answer({[](QDialog& settings) {
                    settings.findChild<QDoubleSpinBox*>()->setValue(0.1);
                    press(settings, "Export\u2026");
                },
                choose(file("movie.mp4"))});
    };
    return {
        {"New", [this] { return started() == "console --from-window\n"; }},
        {"Open",
         [this] {
             return started().ends_with("console --from-window -- " + file("a.metal") + "\n");
         },
         dialog("a.metal")},
        {"Export Song", [this] { return exists("song.m4a"); }, dialog("song.m4a")},
        {"Export Video", [this] { return exists("movie.mp4"); }, video},
        {"Export Picture", [this] { return platform::readPng(file("a.png")).hasValue(); },
         dialog("a.png")},
        {"Save Packed",
         [this] { return stored("packed.sl42").starts_with("int4 music = {60, 2, 1, 1};void"); },
         dialog("packed.sl42")},
        {"Save As",
         [this] { return stored("b.sl42") == text && window->windowTitle().startsWith("b.sl42"); },
         [this] { answer({choose(file("b"), "Documents (*.sl42)")}); }},
        {"Save", [this] { return stored("b.sl42") == newerText && !window->isWindowModified(); },
         change},
    };
}

std::vector<Row> WindowActions::programRows() {
    const auto wrong = [this] {
        pane("log").hide();
        pane("source").hide();
        engine().offerSource("\nvoid fx() {\n    cls(nonsense);\n}");
        EXPECT_TRUE(eventually([this] { return engine().hasError().get(); }));
    };
    const auto hasPlayed = [this] {
        EXPECT_TRUE(eventually([this] { return engine().time() > 0.3F; }));
        engine().playing.set(false);
    };
    // Two older ones that drew, which have been on the stage before.
    const auto haveOlder = [this] {
        for (const char* older : {text, newerText}) {
            engine().setSource(older);
            EXPECT_TRUE(eventually([&] {
                const auto entries = starloom::History::read(history()).entries;
                return entries.back().drew && entries.back().text() == older;
            }));
        }
    };
    return {
        {"Older Text", [this] { return engine().source() == text; }, haveOlder},
        {"Newer Text", [this] { return engine().source() == newerText; }},
        {"Open in Editor",
         [this] {
             return engine().liveCodeFile() &&
                    started().ends_with("open " + engine().liveCodeFile()->url().string() + "\n");
         }},
        {"Reset", [this] { return engine().time() < 0.3F; }, hasPlayed},
        {"Pause", [this] { return !engine().playing.get() && nameOf(action("Play")) == "Play"; },
         [this] { engine().playing.set(true); }},
        {"Reload on Every Write", [] { return Settings().reloadOnEveryWrite.get(); }},
        {"Show Error",
         [this] {
             return visiblePanes().find("log source") != std::string::npos &&
                    shownPosition() == SourcePosition{3, 9};
         },
         wrong},
    };
}

std::vector<Row> WindowActions::pictureRows() {
    const auto isWhole = [this] { return view().pictureRect().width() == 960; };
    const auto grow = [this] {
        window->resize(1700, 1100);
        EXPECT_TRUE(eventually([this] { return view().pictureRect().width() > 960; }));
    };
    return {
        {"Whole-Number Scales Only", isWhole, grow},
        {"Black Around the Picture",
         [this] { return view().grab().toImage().pixelColor(0, 0) == Qt::black; },
         [this] { window->resize(1700, 700); }},
        {"Controls", toggles("controls")},
        {"Log", toggles("log")},
        {"Source", toggles("source")},
        {"Capture", toggles("capture")},
        {"History", toggles("history")},
        {"Performer Window", [] { return topLevel("Performer") != nullptr; }},
        {"Show Problems in Full Screen", [] { return Settings().badgeOnStage.get(); }},
        {"Mute", [] { return Settings().muted.get(); }},
        {"Louder", [this] { return volume().value() == 55; }, [this] { volume().setValue(50); }},
        {"Softer", [this] { return volume().value() == 50; }},
        {"Full Screen",
         [this] {
             return window->isFullScreen() && visiblePanes().empty() &&
                    !window->menuBar()->isVisible();
         },
         [this] { pane("log").hide(); }},
    };
}

std::vector<Row> WindowActions::recordingRows() {
    const auto isMarked = [this] {
        return widget<QLabel>("The show is being recorded").isVisible();
    };
    const auto saved = [this](const char* folder, const char* part, const char* ending) {
        return [=, this] {
            const QString text = QString::fromStdString(notice());
            const QString file = text.mid(int(std::strlen("Saved ")));
            return text.startsWith("Saved " + QString::fromStdString(files.path("home/")) +
                                   folder) &&
                   text.contains(part) && text.endsWith(ending) && QFileInfo(file).size() > 100;
        };
    };
    const auto recordsPerformance = [this] {
        std::string found;
        for (const std::string& name : ::tests::namesIn(file("home/Videos/Starloom 42")))
            if (name.ends_with(".performance"))
                found = file("home/Videos/Starloom 42/") + name;
        return action("Record Performance").isChecked() && fs::exists(found) &&
               fs::file_size(found) > 1000;
    };
    return {
        {"Save Picture Now", saved("Pictures/Starloom 42/", "/a 20", ".png")},
        {"Record Show", isMarked},
        {"Record Performance", recordsPerformance,
         [this] { fs::create_directories(file("home/Videos/Starloom 42")); }},
        {"Keep the Last 15 Seconds", [] { return Settings().keepLast.get(); }},
        {"Save the Last 15 Seconds", saved("Videos/Starloom 42/", "/a last 20", ".mp4"),
         [this] {
             action("Keep the Last 15 Seconds").trigger();
             QTest::qWait(2000); // in which there is something to keep
         }},
    };
}

std::vector<Row> WindowActions::captureRows() {
    const auto captures = [this] { return capture().isRunning().get(); };
    const auto pick = [this] {
        ASSERT_TRUE(eventually([this] { return capture().refreshAvailableContent().hasValue(); }));
        capture().select(capture().availableWindows().get().at(0));
    };
    return {
        {"Pick Window", toggles("capture")},
        {"Capture Window", captures, pick},
        {"Overlay", [this, captures] { return engine().showEditorOverlay.get() && captures(); }},
        {"Invert Overlay", [this] { return engine().invertEditorOverlay.get(); }},
        {"Record Capture", [this] { return capture().isRecordingStream().get(); },
         [this] { action("Capture Window").trigger(); }},
        {"Open Recordings Folder",
         [this] { return started().ends_with("open " + file("home/Videos/Starloom 42") + "\n"); }},
        {"Overlay: Source",
         [this, captures] { return engine().showEditorOverlay.get() && !captures(); }},
    };
}

std::vector<Row> WindowActions::lastRows() {
    const auto isClosed = [this] { return !window->isVisible(); };
    const auto loseChanges = [this] {
        window->show();
        answer({[](QDialog& question) { press(question, "Discard"); }});
    };
    return {{"Reference", [] { return topLevel("Reference") != nullptr; }},
            {"About Starloom 42", [this] { return window->findChild<QMessageBox*>() != nullptr; }},
            {"Close", isClosed, loseChanges},
            {"Quit", isClosed, loseChanges}};
}

} // namespace

TEST_F(WindowActions, DoWhatTheMenusSay) {
    const platform::tests::TestWindow editor(
        server.display(), {}, [](auto& made) { made.setText("WM_NAME", "STRING", "editor"); });
    open(files.file("a.metal", text));
    // By the names that they begin with: some change theirs.
    std::map<std::string, QAction*> actions;
    for (QAction* each : menuActions())
        actions[nameOf(*each)] = each;
    for (const auto& rows :
         {documentRows(), programRows(), pictureRows(), recordingRows(), captureRows(), lastRows()})
        for (const Row& row : rows) {
            ASSERT_TRUE(actions.contains(row.action)) << row.action;
            check(row, *actions.extract(row.action).mapped());
        }
    EXPECT_EQ(actions.size(), 1U) << actions.begin()->first << " is tried nowhere";
}

TEST_F(WindowActions, RunAgainRunsTheTextThatWaits) {
    DocumentOrigin origin = readOrigin(files.file("a.metal", text)).value();
    origin.offered = newerText;
    open(origin);
    EXPECT_EQ(engine().source(), text);
    action("Run Again").trigger();
    EXPECT_EQ(engine().source(), newerText);
    action("Full Screen").trigger();
    action("Leave Full Screen").trigger();
    EXPECT_FALSE(window->isFullScreen());
}

TEST_F(WindowActions, FilesAreWrittenAsTheChosenKindSays) {
    open(files.file("a.metal", text));
    answer({choose(file("a"), "Unclamped pictures (*.exr)")});
    action("Export Picture").trigger();
    EXPECT_TRUE(eventually([this] { return platform::readExr(file("a.exr")).hasValue(); }));
    answer({choose(file("c.metal"))}); // who types an ending and picks nothing means it
    action("Save As").trigger();
    EXPECT_EQ(contentsOf(file("c.metal")), std::string(text) + "\n");
}

TEST_F(WindowActions, TheNextWindowRemembers) {
    Settings().reloadOnEveryWrite.set(true);
    open(files.file("a.metal", text));
    EXPECT_TRUE(action("Reload on Every Write").isChecked());
    pane("log").hide();
    window->close();
    window.reset();
    open(files.file("b.metal", text));
    EXPECT_EQ(visiblePanes(), "controls source ");
    const auto name = [](const QString& path) { return fs::path(path.toStdString()).filename(); };
    const QStringList recent = Settings().recentFiles.get();
    ASSERT_EQ(recent.size(), 2);
    EXPECT_EQ(name(recent[0]), "b.metal");
}

TEST_F(WindowActions, AClickInTheLogShowsThePlace) {
    open(files.file("a.metal", "void fx() {\n  first;\n\n    second;\n}\n"));
    auto& log = widget<QPlainTextEdit>("Compile log");
    for (const auto& [said, line, column] : {std::tuple("'second'", 4, 5), {"'first'", 2, 3}}) {
        const QTextCursor place = log.document()->find(said);
        ASSERT_FALSE(place.isNull()) << log.toPlainText().toStdString();
        log.setTextCursor(place);
        QTest::mouseClick(log.viewport(), Qt::LeftButton, {}, log.cursorRect(place).center());
        EXPECT_EQ(shownPosition(), (SourcePosition{line, column})) << said;
    }
}

TEST_F(WindowActions, ClosingAsksAboutChanges) {
    const std::tuple<const char*, bool, bool> rows[] = {// whether it closes, and has saved
                                                        {"Cancel", false, false},
                                                        {"Discard", true, false},
                                                        {"Save", true, true}};
    for (const auto& [button, closes, saves] : rows) {
        open(readOrigin(files.file("a.metal", text)).value());
        answer({choose(file("a.sl42"), "Documents (*.sl42)")});
        action("Save As").trigger();
        engine().setSource(newerText);
        answer({[choice = button](QDialog& question) { press(question, choice); }});
        action("Close").trigger();
        EXPECT_EQ(window->isVisible(), !closes) << button;
        EXPECT_EQ(stored("a.sl42"), saves ? newerText : text) << button;
        window.reset();
        fs::remove(file("a.sl42"));
    }
}

TEST_F(WindowActions, TextsOfDeadProcessesAreOnlyTakenWhenTheUserWantsThem) {
    const fs::path folder = starloom::Journal::folderOfThisUser();
    fs::create_directories(folder);
    const fs::path left = folder / "dead.journal";
    open(files.file("a.metal", text));
    for (const auto& [button, recovers, stays] :
         {std::tuple("Later", false, true), {"Recover", true, true}, {"Discard", false, false}}) {
        std::ofstream(left) << std::string_view("\0\0Show\0\0\0text", 13);
        fs::remove(file("started"));
        window->documents().offerRecovery();
        auto* question = window->findChild<QMessageBox*>();
        ASSERT_TRUE(question);
        press(*question, button);
        ASSERT_TRUE(eventually([&] { return !window->findChild<QMessageBox*>(); }));
        const std::string expected =
            recovers ? "console --from-window --recover " + left.string() + "\n" : "";
        EXPECT_TRUE(eventually([&] { return started() == expected; })) << button << started();
        EXPECT_EQ(fs::exists(left), stays) << button;
    }
}

} // namespace app::tests
