// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What compiling a program reports, hands to the stages and asks of the device.
#include "tests/SL42/ConsoleFixture.h"

namespace starloom {
namespace {

using CompileTest = ConsoleTest;
using Names = std::vector<std::string>;

} // namespace

TEST_F(CompileTest, LogsEveryOutcome) {
    const std::string failed = "Compilation failed:\nprogram_source:672:1: error: so it says";
    const std::string nothing = "warning: nothing to run: write \"void fx()\" for a picture, "
                                "\"float2 sfx()\" for sound, or \"void cpu()\"\n";
    const std::tuple<const char*, std::set<std::string>, std::string, bool> cases[] = {
        {"", {}, "No fx() or sfx() found", false},
        {"int x;", {}, nothing, false},
        {"void fx() {}", {}, "Compiling video...\nDone.\n", false},
        {allThree,
         {},
         "Compiling CPU...\nDone.\nCompiling video...\nDone.\nCompiling audio...\nDone.\n",
         false},
        // What a warning quotes is no failure.
        {"void cpu() {}\nfailed fx () {}",
         {},
         "program_source:673:1: warning: \"failed fx (\" is not spelt as an entry "
         "function: if "
         "it is meant to be one, write exactly \"void fx()\"\nCompiling CPU...\nDone.\n",
         false},
        {"#error\ncpu() fx()\n sfx()",
         {},
         "Compiling CPU...\n" + failed + "Compiling video...\n" + failed + "Compiling audio...\n" +
             failed,
         true},
        // The word is matched as it stands: these failures are not called errors.
        {allThree,
         {"processor", "video", "audio"},
         "Compiling CPU...\nFailed to create processor compute pipeline state\n"
         "Compiling video...\nFailed to create video compute pipeline state\n"
         "Compiling audio...\nFailed to create audio compute pipeline state\n",
         false},
    };
    start("");
    for (const auto& [source, brokenKernels, expected, hasError] : cases) {
        device->brokenKernels = brokenKernels;
        lines.clear();
        compile(source);
        EXPECT_EQ(engine->error().get(), expected);
        EXPECT_EQ(engine->hasError().get(), hasError) << source;
        EXPECT_EQ(linesEqual("Error: " + expected), 1);
    }
    EXPECT_EQ(linesEqual("no pipeline for processor"), 1);
    EXPECT_EQ(linesEqual("no pipeline for video"), 1);
}

TEST_F(CompileTest, CompilesATextOnceAndMakesOnePipelinePerStage) {
    start("");
    device->sources.clear();
    device->kernels.clear();
    compile(allThree);
    std::multiset<std::string> kernels;
    for (const auto& kernel : device->kernels)
        kernels.insert(kernel->name);
    EXPECT_EQ(kernels, (std::multiset<std::string>{"audio", "processor", "video"}));
    EXPECT_EQ(device->sources.size(), 1U);
    compile("#error cpu() fx()\nsfx()"); // its errors are reported three times, but found once
    EXPECT_EQ(device->sources.size(), 2U);
}

TEST_F(CompileTest, StagesKeepTheirKernelsWhenAProgramFails) {
    start("void fx() {}");
    EXPECT_EQ(kernelsOfAFrame(), (Names{"video"}));
    compile("void cpu() {}");
    EXPECT_TRUE(engine->hasCPU());
    EXPECT_FALSE(engine->hasVideo());
    EXPECT_EQ(kernelsOfAFrame(), (Names{"processor", "video"}));
    compile("#error cpu() fx()");
    EXPECT_TRUE(engine->hasVideo());
    EXPECT_EQ(kernelsOfAFrame(), (Names{"processor", "video"}));
    compile("");
    EXPECT_TRUE(engine->hasVideo());
    EXPECT_EQ(kernelsOfAFrame(), (Names{"processor", "video"}));
}

TEST_F(CompileTest, MusicLinesShapeTheSongAndStay) {
    start("int4 music = {120,4,4,1};\nvoid cpu() { int4 music = int4(90, 3, 8, 2); }");
    EXPECT_EQ(engine->machine().audioMemory->length(), 12'288'000U) << "the last one counts";
    EXPECT_EQ(engine->machine().audioSpec, (AudioSpec{90, 3, 8, 2}));
    EXPECT_EQ(engine->audioRenderer().audioSpec, (AudioSpec{90, 3, 8, 2}));
    const auto audioMemory = engine->machine().audioMemory;
    compile("void fx() {}");
    EXPECT_EQ(engine->machine().audioMemory, audioMemory);
    EXPECT_EQ(engine->audioRenderer().audioSpec, (AudioSpec{90, 3, 8, 2}));
}

TEST_F(CompileTest, PublishesOnlyOnTheMainQueue) {
    start("void fx() {}");
    engine->playing.set(false);
    const int requests = view().displayRequests;
    engine->setSource("#error fx()");
    EXPECT_EQ(engine->error().get(), "Compiling video...\nDone.\n");
    EXPECT_EQ(engine->size().get(), 12U);
    EXPECT_EQ(view().displayRequests, requests);
    settle();
    EXPECT_TRUE(engine->hasError().get());
    EXPECT_EQ(engine->size().get(), 11U);
    EXPECT_EQ(view().displayRequests, requests + 1);
    engine->playing.set(true);
    compile("void fx() {}");
    EXPECT_EQ(view().displayRequests, requests + 1);
}

TEST_F(CompileTest, FramesGoOnWhileAProgramIsCompiled) {
    start("void fx() {}");
    const auto fragile = device->kernels.size();
    device->answersAtOnce = false;
    engine->setSource("void cpu() {}\nvoid fx() { }");
    EXPECT_TRUE(engine->isBusy());
    EXPECT_EQ(kernelsOfAFrame(), (Names{"video"})) << "the program before";
    device->answer(1);
    settle();
    EXPECT_EQ(device->kernels.size(), fragile + 2);
    device->answer(1);
    EXPECT_EQ(kernelsOfAFrame(), (Names{"video"})) << "all stages are taken over at once";
    device->answer(1);
    settle();
    EXPECT_FALSE(engine->isBusy());
    EXPECT_EQ(kernelsOfAFrame(), (Names{"processor", "video"}));
    EXPECT_EQ(device->endedLongRunning, 4) << "at each save and each time kernels are replaced";
}

TEST_F(CompileTest, TheNewestSaveCountsWhateverBecomesOfEarlierOnes) {
    start("void fx() {}");
    device->answersAtOnce = false;
    engine->setSource("void cpu() {}");
    device->answer(1);
    settle(); // its kernel is being made
    engine->setSource("#error fx()");
    EXPECT_TRUE(device->questions.at(0).expired()) << "nobody waits for it any more";
    engine->setSource("float2 sfx() { return 0; }");
    device->answer();
    settle();
    device->answer();
    settle();
    EXPECT_EQ(engine->error().get(), "Compiling audio...\nDone.\n");
    EXPECT_FALSE(engine->hasError().get());
}

TEST_F(CompileTest, NoFrameIsDrawnBeforeTheFirstProgramIsThere) {
    device->answersAtOnce = false;
    start("void fx() {}");
    EXPECT_FALSE(engine->isReadyToDraw());
    for (int round = 0; round < 3; ++round) {
        device->answer();
        settle();
    }
    EXPECT_TRUE(engine->isReadyToDraw());
}

TEST_F(CompileTest, ASongThatCannotBeIsRefusedLikeATextThatDoesNotCompile) {
    start("int4 music = {120,4,4,1};\nvoid fx() {}");
    for (const char* music :
         {"{0,4,8,1}", "{120,4,8,0}", "{120,0,8,1}", "{1,4000000,4000000,4000000}",
          "{1,9223372036854775807,9223372036854775807,1}", "{1,10000,100,1}"}) {
        engine->offerSource(std::string("void fx() { }\n\nint4 music = ") + music + ";");
        settle();
        EXPECT_TRUE(engine->hasError().get()) << music;
        EXPECT_TRUE(
            engine->error().get().starts_with("Compilation failed:\nprogram_source:674:1: error: "))
            << engine->error().get();
        EXPECT_EQ(engine->machine().audioSpec, (AudioSpec{120, 4, 4, 1}));
        EXPECT_EQ(kernelsOfAFrame(), (Names{"video"}));
        engine->runAgain(); // is refused again
        settle();
        EXPECT_TRUE(engine->hasError().get());
    }
    engine->offerSource("int4 music = {60,4,4,1};\nvoid fx() {}");
    settle();
    EXPECT_FALSE(engine->hasError().get());
    EXPECT_EQ(engine->machine().audioSpec, (AudioSpec{60, 4, 4, 1}));
}

} // namespace starloom
