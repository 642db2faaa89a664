// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The window and an editor both write a file, in every order, and no text is lost.
#include "LiveCoding/LiveCodingFile.h"
#include "SL42/document/History.h"
#include "SL42/document/Trim.h"
#include "tests/app/OpenWindow.h"

#include <QMessageBox>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace app::tests {
namespace {

namespace fs = std::filesystem;
using ::tests::contentsOf;

const std::string first = "void fx() { cls(0); }";
const std::string stages = "void fx() { cls(0.25); }";
const std::string editors = "void fx() { cls(1); }";

/// How an editor writes.
enum class Editor { Vim, InPlace, Atomic };

class Conflict : public OpenWindow, public testing::WithParamInterface<Editor> {
protected:
    Conflict() { path = files.file("show.metal", first + "\n"); }

    void write(const std::string& text) const {
        switch (GetParam()) {
        case Editor::Vim: {
            const std::string command = "vim -es -u NONE -i NONE -c \"call setline(1, '" + text +
                                        "')\" -c wq '" + path + "' </dev/null";
            ASSERT_EQ(std::system(command.c_str()), 0);
            return;
        }
        case Editor::InPlace:
            files.file("show.metal", text + "\n");
            return;
        case Editor::Atomic:
            fs::rename(files.file("aside", text + "\n"), path);
        }
    }
    std::string inFile() const { return std::string(starloom::trimmed(contentsOf(path))); }
    bool stageHas(const std::string& text) const {
        return eventually([&] { return engine().source() == text; });
    }
    bool historyHas(const std::string& text) const {
        const auto folder = starloom::History::folderOfThisUser();
        for (const auto& entry :
             starloom::History::read(starloom::History::fileOf(folder, path)).entries)
            if (starloom::trimmed(entry.text()) == text)
                return true;
        return false;
    }
    /// The stage has a text that the file does not have, and the editor writes one that nobody has
    /// read yet.
    void diverge() {
        open(path);
        engine().setSource(stages);
        write(editors);
    }
    static Answer button(const QString& text) {
        return [text](QDialog& dialog) { press(dialog, text); };
    }

    std::string path;
};

TEST_P(Conflict, EditorThenWindow) {
    open(path);
    write(editors);
    ASSERT_TRUE(stageHas(editors));
    EXPECT_FALSE(window->isWindowModified());
    engine().setSource(stages);
    action("Save").trigger(); // unasked: the window has seen what it overwrites
    EXPECT_EQ(inFile(), stages);
    EXPECT_TRUE(historyHas(first) && historyHas(editors) && historyHas(stages));
}

TEST_P(Conflict, WindowThenEditor) {
    fs::remove(path);
    open(DocumentOrigin{});
    engine().setSource(stages);
    answer({choose(path)});
    action("Save").trigger();
    ASSERT_EQ(inFile(), stages);
    write(editors); // a text that was saved under a name is followed from then on
    EXPECT_TRUE(stageHas(editors));
    EXPECT_TRUE(eventually([this] { return !window->isWindowModified(); }));
    EXPECT_TRUE(historyHas(stages) && historyHas(editors));
}

TEST_P(Conflict, UnseenAndTheStageStays) {
    diverge();
    answer({button("Keep the Stage's")});
    action("Save").trigger();
    EXPECT_EQ(inFile(), stages);
    QTest::qWait(150); // what the editor did is heard only now
    EXPECT_EQ(engine().source(), stages);
    EXPECT_TRUE(historyHas(stages) && historyHas(editors));
}

TEST_P(Conflict, UnseenAndTheFileIsTaken) {
    diverge();
    answer({button("Take the File's")});
    action("Save").trigger();
    EXPECT_EQ(engine().source(), editors);
    EXPECT_EQ(inFile(), editors);
    EXPECT_FALSE(window->isWindowModified());
    EXPECT_TRUE(historyHas(stages) && historyHas(editors));
}

TEST_P(Conflict, UnseenAndTheStageGoesElsewhere) {
    diverge();
    const std::string other = files.path("other.metal");
    answer({button("Save As\u2026"), choose(other)});
    action("Save").trigger();
    EXPECT_EQ(contentsOf(other), stages + "\n");
    EXPECT_EQ(inFile(), editors);
}

TEST_P(Conflict, UnseenAndTheWindowCloses) {
    diverge();
    answer({button("Save"), button("Cancel")});
    EXPECT_FALSE(window->close());
    EXPECT_EQ(inFile(), editors);
    ASSERT_TRUE(stageHas(editors)) << "the editor's text arrives in the end";
    EXPECT_TRUE(historyHas(stages));
    EXPECT_TRUE(window->close()) << "there is nothing to ask about";
}

std::string nameOf(const testing::TestParamInfo<Editor>& editor) {
    constexpr std::array names{"Vim", "InPlace", "Atomic"};
    return names[static_cast<std::size_t>(editor.param)];
}

INSTANTIATE_TEST_SUITE_P(Editors, Conflict,
                         testing::Values(Editor::Vim, Editor::InPlace, Editor::Atomic), nameOf);

// A document is not followed, so whatever another program does to it is unseen.
TEST_F(OpenWindow, DocumentsAskBeforeTheyOverwriteWhatTheyHaveNotSeen) {
    const std::string path = files.path("show.sl42");
    open(DocumentOrigin{});
    answer({choose(path)});
    action("Save").trigger();
    files.file("show.sl42", "somebody's notes");
    engine().setSource(stages);
    answer({[](QDialog& dialog) {
        for (const auto* button : dialog.findChildren<QAbstractButton*>())
            if (button->text().contains("Take"))
                EXPECT_FALSE(button->isEnabled()) << "it holds no program";
        press(dialog, "Keep the Stage's");
    }});
    action("Save").trigger();
    EXPECT_EQ(readProgramText(path).value(), stages);
    engine().setSource(first);
    action("Save").trigger(); // unasked
    EXPECT_EQ(readProgramText(path).value(), first);
}

TEST_F(OpenWindow, AWriteThatDoesNotCountIsOneClickFromCounting) {
    open(DocumentOrigin{});
    action("Open in Editor").trigger();
    const fs::path copy = engine().liveCodeFile()->url();
    std::ofstream(copy) << editors;
    ASSERT_TRUE(eventually([this] { return notice().starts_with("Your editor wrote over"); }));
    EXPECT_NE(engine().source(), editors);
    press(*window->findChild<QFrame*>("notice"), "Reload on Every Write");
    EXPECT_TRUE(eventually([this] { return engine().source() == editors; }));
    std::ofstream(copy) << stages;
    EXPECT_TRUE(eventually([this] { return engine().source() == stages; }));
}

TEST_F(OpenWindow, WalksThroughTheTextsThatDrew) {
    open(files.file("show.metal", first));
    const auto drew = [&](std::size_t count) {
        return eventually([&] {
            const auto entries = starloom::History::read(starloom::History::fileOf(
                starloom::History::folderOfThisUser(), files.path("show.metal")));
            return std::ranges::count_if(entries.entries, &starloom::HistoryEntry::drew) ==
                   static_cast<std::ptrdiff_t>(count);
        });
    };
    ASSERT_TRUE(drew(1));
    engine().offerSource("void fx() { cls(nonsense); }");
    ASSERT_TRUE(eventually([this] { return engine().hasError().get(); }));
    engine().offerSource(editors);
    ASSERT_TRUE(drew(2));
    engine().offerSource(stages);
    ASSERT_TRUE(drew(3));
    for (const std::string& text : {editors, first, first}) {
        action("Older Text").trigger();
        EXPECT_EQ(engine().source(), text);
    }
    EXPECT_EQ(notice(), "There is no older text that drew");
    EXPECT_TRUE(eventually([&] { return !window->isWindowModified(); }));
    action("Newer Text").trigger();
    action("History").trigger();
    auto& list = widget<QListWidget>("History");
    ASSERT_TRUE(eventually([&] { return list.count() == 4; }));
    list.setCurrentRow(0);
    EXPECT_EQ(widget<QPlainTextEdit>("Comparison with the present text").toPlainText(),
              QString::fromStdString("\u2212 " + stages + "\n+ " + editors));
    list.itemActivated(list.currentItem());
    EXPECT_EQ(engine().source(), stages);
}

} // namespace
} // namespace app::tests
