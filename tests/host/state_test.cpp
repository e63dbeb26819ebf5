// Saving instances in scenes and loading them back.
#include "tests/host/fake_host.h"

#include <cctype>
#include <cstring>

namespace kestrel::test {
namespace {

std::string upper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

std::string nativeLength(std::int32_t n) {
    std::string bytes(sizeof n, '\0');
    std::memcpy(bytes.data(), &n, sizeof n);
    return bytes;
}

TEST(State, ATextStateCarriesTheUpperCasePath) {
    FakeHost host;
    const HxInstance empty = host.create();
    MemoryState state(HX_STATE_TEXT);
    SaveState saving = state.saving();
    EXPECT_EQ(host.handler.save(empty, &saving), nullptr);
    EXPECT_TRUE(state.lines.empty());

    const std::string path = host.write("Shade.ks",
                                        "save: mode, state { info(\"save \", mode); }\n"
                                        "load: mode, state { info(\"load \", mode); }\n"
                                        "create { info(\"create\"); }");
    host.load(empty, path);
    EXPECT_EQ(host.shown().size(), 2u);  // create, load
    EXPECT_EQ(host.handler.save(empty, &saving), nullptr);
    EXPECT_EQ(state.lines, std::deque{"Script " + upper(path)});
    EXPECT_TRUE(host.shown().at(0).ends_with("save 1"));

    // What was saved loads again: the file is found whatever its case. Empty lines before it are skipped.
    const HxInstance loaded = host.create();
    state.lines.push_front("");
    host.load(loaded, state);
    const std::string info = "info: " + upper(path) + " / ";
    EXPECT_EQ(host.shown(), (Lines{info + "create", info + "load 1"}));
    EXPECT_STREQ(host.handler.describe(loaded), "Kestrel/PT - SHADE.KS");
}

TEST(State, ABinaryStateCountsTheTerminatingZero) {
    FakeHost host;
    const std::string path = host.write("b.ks",
                                        "save: mode, state { info(\"save \", mode); }\n"
                                        "load: mode, state { info(\"load \", mode); }");
    const HxInstance instance = host.create();
    MemoryState state(HX_STATE_BINARY);
    state.bytes = nativeLength(static_cast<std::int32_t>(path.size() + 1)) + path + '\0' + "rest";
    host.load(instance, state);
    EXPECT_EQ(state.bytes, "rest");
    EXPECT_TRUE(host.shown().at(0).ends_with("load 2"));

    const SaveState saving = state.saving();
    EXPECT_EQ(host.handler.save(instance, &saving), nullptr);
    const std::string length = nativeLength(static_cast<std::int32_t>(path.size() + 1));
    EXPECT_EQ(state.lines, (std::deque{length, upper(path) + '\0'}));
    EXPECT_TRUE(host.shown().at(0).ends_with("save 2"));
}

TEST(State, AStateThatNamesNoScriptLoadsNothing) {
    FakeHost host;
    const HxInstance instance = host.create();
    const std::string path = host.write("a.ks", "");
    for (const std::string& line : {"Scripts " + path, std::string("Script"), "script " + path, path}) {
        MemoryState text(HX_STATE_TEXT);
        text.lines = {"", line};
        host.load(instance, text);
        EXPECT_STREQ(host.handler.describe(instance), "Kestrel/PT") << line;
    }
    MemoryState ended(HX_STATE_TEXT);
    host.load(instance, ended);
    for (const std::string& bytes :
         {std::string(), std::string("abc"), nativeLength(0) + "x", nativeLength(-5) + "xxxxx",
          nativeLength(2000000000) + path, nativeLength(200) + path}) {
        MemoryState binary(HX_STATE_BINARY);
        binary.bytes = bytes;
        host.load(instance, binary);
        EXPECT_STREQ(host.handler.describe(instance), "Kestrel/PT");
    }
    EXPECT_EQ(host.shown(), Lines{});
}

TEST(State, TheStateObjectMayOutliveItsCall) {
    FakeHost host;
    const HxInstance instance = host.createWith(
        "kept = nil;\nload: mode, state { ::kept = state; }\n"
        "init { other = ::kept; pass(other); }\npass: s { info(s.isNil()); }");
    host.handler.init(instance);
}

}  // namespace
}  // namespace kestrel::test
