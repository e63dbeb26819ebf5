// Finding, checking and letting go of libraries.

#include "agents/test_script.h"

namespace kestrel::agents::test {

using LoadingTest = AgentTest;

TEST_F(LoadingTest, VersionsOfTheInterfaceThatAreNotKnownAreRefused) {
    EXPECT_EQ(run(use("fake_full", "Probe") + "main { a = Probe(); info(a); }"), "I (ObjectAgent)Probe::a\n");
    const struct {
        const char* library;
        const char* version;
    } kCases[] = {{"fake_1_4", "1.4"}, {"fake_2_0", "2.0"}, {"fake_junk", "-7.-2000000000"}};
    for (const auto& each : kCases) {
        EXPECT_EQ(run(use(each.library, "Probe") + "main { info(1); }"),
                  "E Object Agent '" + library(each.library) + "' requires an|newer version (" +
                      each.version + ") of the OA Interface\nI 1\n")
            << "a class that was not loaded is only absent";
        EXPECT_EQ(ctx_.reporter.state.errorCount, 1);
    }
}

TEST_F(LoadingTest, EveryRequiredEntryPointIsMissedByItsNumber) {
    for (int position = 1; position <= 4; ++position) {
        const std::string name = "fake_without_" + std::to_string(position);
        EXPECT_EQ(run(use(name, "Probe") + "main { info(1); }"), "W Object file " + library(name) +
                                                                     " missing critical method (" +
                                                                     std::to_string(position) + ")\nI 1\n");
    }
    EXPECT_EQ(run(use("fake_without_4", "Probe") + "main { a = Probe(); }"),
              "W Object file " + library("fake_without_4") +
                  " missing critical method (4)\nE Unresolved function reference: Probe()\n"
                  "I 1 error during compile\n");
}

TEST_F(LoadingTest, LibrariesAreFoundByPathThenBesideTheScriptAndNeverInTheCurrentDirectory) {
    std::filesystem::copy_file(library("fake_full"), directory_ / "near.so");
    EXPECT_EQ(run("use \"near.so\" as class Probe;\nmain { x = Probe(2); info(x); }"),
              "I (ObjectAgent)Probe::x\n");
    unload();

    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::create_directory(directory_ / "elsewhere");
    std::filesystem::rename(directory_ / "near.so", directory_ / "elsewhere" / "here.so");
    std::filesystem::current_path(directory_ / "elsewhere");
    const std::string found = run("use \"here.so\" as class Probe;\nmain { }");
    const std::string asked = run("use \"./here.so\" as class Probe;\nmain { x = Probe(2); info(x); }");
    unload();
    std::filesystem::current_path(before);
    EXPECT_EQ(found, "W Cannot locate DLL library file \"here.so\"\n");
    EXPECT_EQ(asked, "I (ObjectAgent)Probe::x\n");

    std::ofstream(directory_ / "broken.so") << "no library";
    const std::string broken = run("library \"broken.so\";\nmain { }");
    EXPECT_NE(broken.find("file too short\nW Cannot locate DLL library file \"broken.so\"\n"),
              std::string::npos)
        << broken;
    EXPECT_EQ(run("use \"\" as class Probe;\nmain { }"), "W Cannot locate DLL library file \"\"\n")
        << "no name is not the program itself";
}

TEST_F(LoadingTest, WhatIsNowhereElseIsLocatedLast) {
    locator_.found = platform::systemPath(library("fake_full"));
    EXPECT_EQ(run("use 'lost/probe.so' as class Probe;\nlibrary 'other.so';\nmain { a = Probe(count(1)); "
                  "info(a); }"),
              "I (ObjectAgent)Probe::a\n");
    EXPECT_EQ(locator_.asked, "lost/probe.so other.so ");
    locator_.found = platform::systemPath(directory_.string());
    EXPECT_EQ(run("use 'probe.so' as class Probe;\nmain { }"),
              "W Cannot locate DLL library file \"probe.so\"\n")
        << "a directory is no library";
}

TEST_F(LoadingTest, NamesOfClassesAndRecordsMeetAsTheyAlwaysDid) {
    const std::string ball = use("fake_full", "Ball");
    EXPECT_EQ(run(ball + "declare record Ball { a; }\nmain { x = Ball(3); info(x); }"),
              "I (ObjectAgent)Ball::x\n")
        << "meant: only the name of a class may be declared, and the class wins";
    const std::pair<std::string, std::string> conflicts[] = {
        {ball + "declare record R { a; }\n",
         "record name 'R' conflicts with previously declared ObjectAgent class"},
        {ball + ball, "ObjectAgent class name 'Ball' conflicts with previously declared ObjectAgent class"},
        {"declare record Ball { a; }\n" + ball,
         "class name 'Ball' conflicts with previously declared record"},
        {ball + use("fake_full", "Second", " build on Nobody"), "cannot build on undefined object Nobody"},
        {ball + use("fake_full", "Second", " build on Second"), "cannot build on undefined object Second"},
    };
    for (const auto& [script, conflict] : conflicts)
        EXPECT_NE(run(script + "main { }").find(conflict), std::string::npos) << script << collector_.text;
}

TEST_F(LoadingTest, FiftyClassesAndNoMore) {
    std::string script;
    for (int i = 0; i <= 50; ++i) script += use("fake_full", "C" + std::to_string(i));
    EXPECT_EQ(run(script + "main { x = C0(1); y = C49(1); info(x, y); }"),
              "E limit of 50 ObjectAgent classes exceeded\nI (ObjectAgent)C0::x(ObjectAgent)C49::y\n");
    EXPECT_EQ(body("info(a);"), "I (ObjectAgent)Probe::a\n") << "the next script begins anew";
}

TEST_F(LoadingTest, FunctionsOfLibrariesAreCalledLikeMethods) {
    const std::string script = "library \"" + library("fake_full") + "\";\n";
    EXPECT_EQ(run(script +
                  "main { info(describe(1, 2.5, 'x', <1,2,3>, nil)); (a, b) = echo(3, 'y'); info(a, b); }"),
              "I i1 n2.5 s'x' v1,2,3 nil\nI 3y\n");
    EXPECT_EQ(run(script + "describe: x { return x * 2; }\nmain { info(describe(4), count(1, 2)); }"),
              "I 82\n")
        << "the script's own function comes first, and the next call is bound all the same";
    std::ofstream(directory_ / "helper.ks") << "help: x { return count(x, x, x); }\n";
    EXPECT_EQ(run(script + "library 'helper.ks';\nmain { info(help(1), count(1)); }"), "I 31\n")
        << "a library of the script finds what the script has brought in";
    EXPECT_EQ(run(script + "main { (c, v, w) = who(); info('<', c, '>', v, w); nothing(); }"),
              "I <>(nil)(nil)\n");
}

TEST_F(LoadingTest, ALibraryNeitherLendsItsDataNorWhatItUsesItself) {
    const std::string script = "library \"" + library("fake_full") + "\";\n";
    for (const char* name : {"puts", "exit", "table", "fake_made", "nowhere"}) {
        EXPECT_EQ(run(script + "main { " + name + "(1); }"),
                  std::string("E Unresolved function reference: ") + name + "()\nI 1 error during compile\n")
            << name;
    }
}

TEST_F(LoadingTest, ALibraryWithoutAnyFunctionOfTheScriptIsLetGoOfAtOnce) {
    std::filesystem::copy_file(library("fake_plain"), directory_ / "unwanted.so");
    const auto isLoaded = [] {
        std::ifstream maps("/proc/self/maps");
        const std::string all{std::istreambuf_iterator<char>(maps), {}};
        return all.find("unwanted.so") != std::string::npos;
    };
    EXPECT_EQ(run("library \"unwanted.so\";\nmain { info(1); }"), "I 1\n");
    EXPECT_FALSE(isLoaded());
    EXPECT_EQ(run("library \"unwanted.so\";\nmain { info(count(1)); }"), "I 1\n");
    EXPECT_TRUE(isLoaded());
    unload();
    EXPECT_FALSE(isLoaded()) << "at the latest with the script";
}

}  // namespace kestrel::agents::test
