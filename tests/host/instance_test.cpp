// Lives of instances: who runs and unloads a script when, what they are called, the options entry.
#include "tests/host/fake_host.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <tuple>

namespace kestrel::test {
namespace {

/// A script that tells of its own life and counts the frames that it has seen.
const char* const kLifeScript =
    "seen = 0;\n"
    "create { info(\"create\"); }\n"
    "destroy { info(\"destroy \", ::seen); }\n"
    "newtime: frame, time { ::seen++; }\n";

TEST(Instances, CopiesShareOneScriptUntilTheLastIsDestroyed) {
    // Every order in which a host may destroy an original and its two copies.
    std::array<std::size_t, 3> order = {0, 1, 2};
    do {
        FakeHost host;
        std::array<HxInstance, 3> instances = {host.createWith(kLifeScript), host.create(), host.create()};
        EXPECT_EQ(host.said(), Lines{"create"});
        EXPECT_EQ(host.handler.copy(instances[0], instances[1]), nullptr);
        EXPECT_EQ(host.handler.copy(instances[1], instances[2]), nullptr);
        for (const HxInstance instance : instances) host.handler.newTime(instance, 1, 0.0);
        host.destroy(instances[order[0]]);
        host.destroy(instances[order[1]]);
        EXPECT_EQ(host.said(), Lines{});
        EXPECT_STREQ(host.handler.describe(instances[order[2]]), "Kestrel/PT - SHADE.KS");
        host.destroy(instances[order[2]]);
        EXPECT_EQ(host.said(), Lines{"destroy 3"});
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(Instances, ACopyLetsGoOfTheDestinationsOwnScript) {
    FakeHost host;
    const HxInstance a = host.createWith("destroy { info(\"a\"); }", "a.ks");
    const HxInstance b = host.createWith("destroy { info(\"b\"); }", "b.ks");
    const HxInstance sharesB = host.create();
    host.handler.copy(b, sharesB);
    host.handler.copy(a, b);
    host.handler.copy(a, a);
    EXPECT_STREQ(host.handler.describe(b), "Kestrel/PT - A.KS");
    EXPECT_STREQ(host.handler.describe(sharesB), "Kestrel/PT - B.KS");
    host.destroy(a);
    EXPECT_EQ(host.said(), Lines{});
    host.destroy(sharesB);
    host.destroy(b);
    EXPECT_EQ(host.said(), (Lines{"b", "a"}));
}

TEST(Instances, LoadingIntoOneOfTheSharersShowsInAll) {
    FakeHost host;
    const HxInstance a = host.create();
    const HxInstance b = host.create();
    host.handler.copy(a, b);
    host.load(a, host.write("late.ks", ""));
    EXPECT_STREQ(host.handler.describe(b), "Kestrel/PT - LATE.KS");
}

TEST(Instances, AFailedLoadLeavesTheInstanceAsItWas) {
    FakeHost host;
    const HxInstance instance = host.createWith(kLifeScript);
    host.handler.newTime(instance, 1, 0.0);
    host.shown();
    for (const char* bad : {"x = ;", "#pragma strict\nmain { ::none = 1; }"}) {
        host.load(instance, host.write("bad.ks", bad));
        EXPECT_FALSE(host.shown().empty());
    }
    host.load(instance, "\\no\\such\\file.ks");
    EXPECT_EQ(host.shown(),
              Lines{"error: \\NO\\SUCH\\FILE.KS / Cannot open input file '\\no\\such\\file.ks'"});
    host.handler.newTime(instance, 2, 0.0);
    EXPECT_STREQ(host.handler.describe(instance), "Kestrel/PT - SHADE.KS");
    host.destroy(instance);
    EXPECT_EQ(host.said(), Lines{"destroy 2"});
}

TEST(Instances, TheDescriptionIsTheScriptsNameUnlessItSetsOne) {
    const std::string longText(100, 'x');
    using Case = std::tuple<std::string, std::string, Lines>;
    for (const auto& [script, description, messages] :
         {Case{"", "Kestrel/PT - SHADE.KS", {}},
          Case{"create { setdesc(\"worn \", 2.5, \" \", 7, <1,2,3>); }", "worn 2.5 71 2 3", {}},
          Case{"x = name();\nname { setdesc(\"top\"); return 1; }", "top", {}},
          Case{"create { setdesc(\"a\", nil, \"b\"); }", "aab", {}},
          Case{"create { var l[1]; setdesc(\"a\", l, \"b\"); }",
               "aab",
               {"Line 1, invalid argument 2 type to setdesc()"}},
          Case{"create { setdesc(\"" + longText + "\"); }", longText.substr(0, 79), {}}}) {
        FakeHost host;
        const HxInstance instance = host.create();
        EXPECT_STREQ(host.handler.describe(instance), "Kestrel/PT");
        host.load(instance, host.write("shade.ks", script));
        EXPECT_EQ(host.handler.describe(instance), description);
        EXPECT_EQ(host.said(), messages);
    }
}

/// What the file dialog is asked when a script is to be chosen.
std::string loadDialog(const std::string& directory) {
    return "Kestrel/PT v1.3: Load Script... / *.ks;*.kxl / " + directory + " / 99";
}

TEST(Instances, TheOptionsEntryLoadsAScriptOnceAndThenRunsItsOptions) {
    FakeHost host;
    const HxInstance instance = host.create();
    EXPECT_EQ(host.edit(instance), HXM_OK);  // cancelled
    EXPECT_STREQ(host.handler.describe(instance), "Kestrel/PT");
    EXPECT_EQ(host.dialogs, Lines{loadDialog(host.directory())});

    host.dialogResult = 1;
    host.chosenFile = "a.ks";
    host.chosenDirectory = "\\chosen";
    host.write("a.ks", "create { info(\"create\"); } options { info(\"options\"); }");
    EXPECT_EQ(host.edit(instance), HXM_OK);
    EXPECT_EQ(host.said(), Lines{"create"});
    host.dialogs.clear();
    EXPECT_EQ(host.edit(instance), HXM_OK);
    EXPECT_EQ(host.said(), Lines{"options"});
    EXPECT_EQ(host.dialogs, Lines{});

    // The directory of the last choice is where the next one starts, until KSPATH says otherwise.
    const HxInstance other = host.create();
    host.dialogResult = 0;
    EXPECT_EQ(host.edit(other), HXM_OK);
    setenv("KSPATH", "\\from\\environment", 1);
    EXPECT_EQ(host.edit(other), HXM_OK);
    EXPECT_EQ(host.dialogs, (Lines{loadDialog("\\chosen"), loadDialog("\\from\\environment")}));
}

TEST(Instances, AStartDirectoryFromTheMasterScopeIsKeptInTheGlobalOne) {
    FakeHost host;
    const HxInstance script = host.createWith(
        "init { globalstore(\"ScriptPath\", \"/stored\"); }\n"
        "newtime: frame, time { globalstore(\"ScriptPath\", \"(none)\"); }");
    const HxInstance instance = host.create();
    host.handler.init(script);
    EXPECT_EQ(host.edit(instance), HXM_OK);
    host.handler.newTime(script, 0, 0.0);
    EXPECT_EQ(host.edit(instance), HXM_OK);
    EXPECT_EQ(host.dialogs, Lines(2, loadDialog("/stored")));
}

TEST(Instances, TheHostsConfigurationNamesTheFirstStartDirectory) {
    FakeHost host;
    std::ofstream("hxm.cfg") << std::string(150, '-')
                             << "\nPluginDir\nPluginDirectory \t\\mods\\ks\r\nPluginDirectory x\n";
    const HxInstance instance = host.create();
    EXPECT_EQ(host.edit(instance), HXM_OK);
    EXPECT_EQ(host.dialogs, Lines{loadDialog("\\mods\\ks")});
}

TEST(Instances, AScriptWithoutOptionsSaysSo) {
    FakeHost host;
    const HxInstance instance = host.createWith("");
    host.lookups.clear();
    EXPECT_EQ(host.edit(instance), HXM_OK);
    EXPECT_EQ(host.lookups, Lines{"Info Messages 0"});
    EXPECT_EQ(host.shown(), Lines{"info: Script has no / modifiable parameters."});
    host.missing = {HX_SERVICE_MESSAGES};
    EXPECT_EQ(host.edit(instance), HXM_MISSING_SERVICE);
}

TEST(Instances, TheModuleTellsWhichMessageItShows) {
    FakeHost host;
    host.missing = {HX_SERVICE_FILE_REQUEST};
    host.activate();
    host.missing = {HX_SERVICE_CAMERA_INFO};
    host.activate();
    host.missing.clear();
    const HxInstance instance = host.createWith("create { info(\"i\"); x = 1 / 0; }");
    host.edit(instance);
    EXPECT_EQ(host.names, (Lines{"service-missing", "scene-service-missing", "user-info", "division-by-zero",
                                 "no-options"}));
    EXPECT_EQ(host.module().messageName(), nullptr);
}

TEST(Instances, UnusedVariablesAreReportedWhenTheScriptGoes) {
    FakeHost host;
    const HxInstance instance = host.createWith(
        "#pragma strict\n#pragma unused\nvar used = 1, never;\ndestroy { var local; info(\"destroy\"); }");
    host.destroy(instance);
    EXPECT_EQ(host.said(), (Lines{"destroy", "destroy::local", "::never"}));
}

TEST(Instances, ARunIsEndedFromOutside) {
    FakeHost host;
    const HxInstance instance = host.createWith("init { x = 1;\n while (1) x++; }");
    EXPECT_EQ(host.module().aborted(instance), 0);
    host.module().watch->requested = 1;
    host.handler.init(instance);
    EXPECT_EQ(host.module().watch->line, 2);
    EXPECT_EQ(host.module().aborted(instance), 1);
    EXPECT_EQ(host.shown(), Lines{});
}

TEST(Instances, DirectoriesComeFromTheHost) {
    const std::string script =
        "create { info(getdir(TEMPDIR)); info(getdir(COMMANDDIR)); info(getdir(\"My own\")); "
        "getdir(262); getdir(nil); }";
    const std::string wrong = "Line 1, invalid argument 1 type to getdir()";
    for (const bool offered : {true, false}) {
        FakeHost host;
        if (!offered) host.missing = {HX_SERVICE_DIRECTORY_INFO};
        host.createWith(script);
        EXPECT_EQ(host.said(), (Lines{offered ? "\\some\\where" : "(nil)", "(nil)", "(nil)", wrong, wrong}));
        EXPECT_EQ(host.directoryRequests, offered ? (Lines{"Temp", "Command", "My own"}) : Lines{});
    }
}

}  // namespace

}  // namespace kestrel::test
