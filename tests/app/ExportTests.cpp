// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Files that the window makes: under which name, what is said about them, and that nothing is left
// of one that is not wanted any more.
#include "app/window/SaveName.h"
#include "platform/image/Png.h"
#include "tests/app/OpenWindow.h"

#include <QDialog>
#include <QDoubleSpinBox>
#include <QProgressBar>

#include <filesystem>

namespace app::tests {
namespace {

namespace fs = std::filesystem;

constexpr const char* text = "int4 music = {60, 2, 1, 1};\nvoid fx() { cls(time); }\n"
                             "float2 sfx() { return 0.5; }";

class Exporting : public OpenWindow {
protected:
    std::string file(const char* name) const { return files.path(name); }
    void pressInNotice(const QString& button) const {
        press(*window->findChild<QFrame*>("notice"), button);
    }
    bool isExporting() const { return widget<QProgressBar>("Progress of the export").isVisible(); }
    /// A video of an hour.
    void startVideo() {
        answer({[](QDialog& settings) {
                    settings.findChild<QDoubleSpinBox*>()->setValue(3600);
                    press(settings, "Export\u2026");
                },
                choose(file("movie.mp4"))});
        action("Export Video").trigger();
        ASSERT_TRUE(eventually([this] { return isExporting() && hasHalfFile(); })) << notice();
    }
    bool hasHalfFile() const {
        return std::ranges::any_of(
            files.names(), [](const std::string& name) { return name.ends_with(".partial"); });
    }
    bool isNothingLeft() const { return !hasHalfFile() && !fs::exists(file("movie.mp4")); }
};

} // namespace

TEST(SaveNames, HaveTheEndingOfTheChosenKind) {
    const QString kinds = "Pictures (*.png);;Unclamped pictures (*.exr);;All files (*)";
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"a", "Pictures (*.png)", "a.png"},
        {"a.png", "Pictures (*.png)", "a.png"},
        {"a.PNG", "Pictures (*.png)", "a.PNG"},
        {"a.png", "Unclamped pictures (*.exr)", "a.exr"},
        {"a.exr", "Pictures (*.png)", "a.png"},
        {"take 1.2", "Pictures (*.png)", "take 1.2.png"},
        {"/b.exr/a", "Pictures (*.png)", "/b.exr/a.png"},
        {"a.b", "All files (*)", "a.b"},
    };
    for (const auto& [name, kind, expected] : rows)
        EXPECT_EQ(withEndingOf(kind, name, kinds).toStdString(), expected) << name << kind;
    EXPECT_EQ(kindOf("a.exr", kinds), "Unclamped pictures (*.exr)");
    EXPECT_EQ(kindOf("a", kinds), "Pictures (*.png)");
}

TEST_F(Exporting, SaysWhereFilesWentAndOpensTheFolder) {
    open(files.file("a.metal", text));
    fs::create_directory(file("pictures"));
    answer({choose(file("pictures/a.png"))});
    action("Export Picture").trigger();
    ASSERT_TRUE(eventually([this] { return !notice().empty(); }));
    EXPECT_EQ(notice(), "Saved " + file("pictures/a.png"));
    pressInNotice("Open Folder");
    EXPECT_TRUE(eventually([&] { return started() == "open " + file("pictures") + "\n"; }));
    EXPECT_EQ(notice(), "");
}

TEST_F(Exporting, ReplacesAFileOnceThatIsWantedAndPossible) {
    open(files.file("a.metal", text));
    files.file("a.png", "old");
    const auto pressed = [](const char* button) {
        return [button](QDialog& question) { press(question, button); };
    };
    answer({choose(file("a.png")), pressed("No"), [](QDialog& dialog) { dialog.reject(); }});
    action("Export Picture").trigger();
    EXPECT_EQ(::tests::contentsOf(file("a.png")), "old");
    answer({choose(file("a")), pressed("Yes")});
    action("Export Picture").trigger();
    EXPECT_TRUE(eventually([this] { return platform::readPng(file("a.png")).hasValue(); }));

    files.file("song.m4a", "old");
    answer({choose(file("song")), pressed("Yes")});
    action("Export Song").trigger();
    EXPECT_TRUE(eventually([this] { return notice() == "Saved " + file("song.m4a"); }));
    EXPECT_GT(fs::file_size(file("song.m4a")), 1000U);

    answer({choose(file("nowhere/song.m4a"))});
    fs::create_directory(file("nowhere"));
    fs::permissions(file("nowhere"), fs::perms::none);
    action("Export Song").trigger();
    ASSERT_TRUE(eventually([this] { return !isExporting(); }));
    EXPECT_FALSE(hasHalfFile());
}

TEST_F(Exporting, ACancelledExportIsNoErrorAndLeavesNothing) {
    open(files.file("a.metal", text));
    startVideo();
    press(*widget<QProgressBar>("Progress of the export").parentWidget(), "Cancel");
    EXPECT_TRUE(eventually([this] { return !isExporting(); }));
    EXPECT_EQ(notice(), "The export was cancelled; no file was written");
    EXPECT_FALSE(window->findChild<QFrame*>("notice")->property("error").toBool());
    EXPECT_TRUE(isNothingLeft());
    startVideo();
    window->settleFiles();
    EXPECT_TRUE(isNothingLeft());
}

TEST_F(Exporting, ClosingTheWindowAsksAboutThem) {
    open(files.file("a.metal", text));
    startVideo();
    for (const auto& [button, closes] :
         {std::pair("Keep the Window", false), {"Cancel the Export", true}}) {
        answer({[label = button](QDialog& question) { press(question, label); }});
        window->close();
        EXPECT_EQ(window->isVisible(), !closes) << button;
        EXPECT_EQ(isNothingLeft(), closes) << button;
    }
}

TEST_F(Exporting, ARecordedShowIsAFileWhenTheWindowGoes) {
    open(files.file("a.metal", text));
    action("Record Show").trigger();
    QTest::qWait(1500);
    const fs::path folder = file("home/Videos/Starloom 42");
    window->settleFiles();
    const auto names = ::tests::namesIn(folder);
    ASSERT_EQ(names.size(), 1U);
    EXPECT_TRUE(names[0].starts_with("a 20") && names[0].ends_with(".mp4")) << names[0];
}

TEST_F(Exporting, WhatWasNotKeptIsOfferedFromNowOn) {
    open(files.file("a.metal", text));
    action("Save the Last 15 Seconds").trigger();
    EXPECT_EQ(notice(), "The last 15 seconds have not been kept");
    pressInNotice("Keep Them from Now On");
    EXPECT_TRUE(action("Keep the Last 15 Seconds").isChecked());
}

TEST_F(Exporting, AProgramWithoutASongSaysSo) {
    open(files.file("a.metal", "void fx() { cls(time); }"));
    action("Export Song").trigger();
    EXPECT_EQ(notice(), "There is no song to export: no sfx() has run yet");
}

} // namespace app::tests
