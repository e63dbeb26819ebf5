// Saving instances in scenes and loading them back.
#include "tests/host/fake_host.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>

namespace kestrel::test {
namespace {

namespace fs = std::filesystem;

std::string upper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

std::string nativeLength(std::int32_t n) {
    std::string bytes(sizeof n, '\0');
    std::memcpy(bytes.data(), &n, sizeof n);
    return bytes;
}

class State : public testing::Test {
protected:
    /// What a script with this body of `save` adds to a state, write by write.
    std::deque<std::string> savedBy(const std::string& body, std::int32_t mode) {
        const HxInstance instance = host.createWith("save: mode, state { " + quoted(body) + " }");
        MemoryState state = host.save(instance, mode);
        for (int name = mode == HX_STATE_TEXT ? 1 : 2; name > 0 && !state.lines.empty(); --name)
            state.lines.pop_front();
        return state.lines;
    }

    /// What a script with this body of `load` says when it is loaded from a binary state with these bytes, or
    /// a text state with these lines.
    Lines loadedBy(const std::string& body, MemoryState state) {
        const std::string path = host.write("load.ks", "load: mode, state { " + quoted(body) + " }");
        state.lines.push_front("Script " + path);
        state.bytes = nativeLength(static_cast<std::int32_t>(path.size() + 1)) + path + '\0' + state.bytes;
        host.load(host.create(), state);
        return host.said();
    }

    FakeHost host;
};

TEST_F(State, ATextStateCarriesTheUpperCasePath) {
    const HxInstance empty = host.create();
    EXPECT_TRUE(host.save(empty, HX_STATE_TEXT).lines.empty());

    const std::string path = host.write("Shade.ks",
                                        "save: mode, state { info(\"save \", mode); }\n"
                                        "load: mode, state { info(\"load \", mode); }\n"
                                        "create { info(\"create\"); }");
    host.load(empty, path);
    EXPECT_EQ(host.shown().size(), 2u);  // create, load
    MemoryState state = host.save(empty, HX_STATE_TEXT);
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

TEST_F(State, ABinaryStateCountsTheTerminatingZero) {
    const std::string path = host.write("b.ks",
                                        "save: mode, state { info(\"save \", mode); }\n"
                                        "load: mode, state { info(\"load \", mode); }");
    const HxInstance instance = host.create();
    MemoryState state(HX_STATE_BINARY);
    state.bytes = nativeLength(static_cast<std::int32_t>(path.size() + 1)) + path + '\0' + "rest";
    host.load(instance, state);
    EXPECT_EQ(state.bytes, "rest");
    EXPECT_TRUE(host.shown().at(0).ends_with("load 2"));

    const std::string length = nativeLength(static_cast<std::int32_t>(path.size() + 1));
    EXPECT_EQ(host.save(instance, HX_STATE_BINARY).lines, (std::deque{length, upper(path) + '\0'}));
    EXPECT_TRUE(host.shown().at(0).ends_with("save 2"));
}

TEST_F(State, TheNameIsReadWithABufferOfItsOwnSize) {
    const HxInstance instance = host.create();
    std::vector<std::int32_t> sizes;
    const LoadState state{HX_STATE_TEXT, &sizes, [](void* handle, char* buffer, std::int32_t size) {
                              auto& asked = *static_cast<std::vector<std::int32_t>*>(handle);
                              asked.push_back(size);
                              if (asked.size() == 1) return 0;  // an empty line
                              std::fill_n(buffer, size, 'x');   // and one without a terminator
                              return size;
                          }};
    host.handler.load(instance, &state);
    EXPECT_EQ(sizes, (std::vector<std::int32_t>{255, 255}));
    EXPECT_EQ(host.shown(), Lines{});
}

TEST_F(State, ALongPathIsPutTogetherFromItsPieces) {
    std::string folder = fs::current_path().string();
    for (int i = 0; i < 3; ++i) folder += "/" + std::string(100, 'd');
    fs::create_directories(folder);
    for (const std::size_t length :
         {std::size_t{246}, std::size_t{247}, std::size_t{248}, folder.size() + 10}) {
        std::string path = length > folder.size() ? folder + '/' : folder.substr(0, 230);
        path += std::string(length - path.size() - 3, 's') + ".ks";
        std::ofstream(path) << "process: sa { }\nload: m, io { info(io.read()); }";
        const HxInstance instance = host.create();
        const std::string line = "Script " + path;
        MemoryState state(HX_STATE_TEXT);
        for (std::size_t at = 0; at < line.size(); at += 254) state.lines.push_back(line.substr(at, 254));
        state.lines.push_back("of the script");
        host.load(instance, state);
        EXPECT_EQ(host.said(), Lines{"of the script"}) << length;
    }
}

TEST_F(State, AStateThatNamesNoScriptLoadsNothing) {
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

/// The bytes as they are written in text: "3f c0 00 00".
std::string hex(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x ", static_cast<unsigned char>(byte));
        text += digits.data();
    }
    if (!text.empty()) text.pop_back();
    return text;
}

MemoryState binary(const std::string& bytes) {
    MemoryState state(HX_STATE_BINARY);
    state.bytes = bytes;
    return state;
}

MemoryState lines(std::deque<std::string> all) {
    MemoryState state(HX_STATE_TEXT);
    state.lines = std::move(all);
    return state;
}

TEST_F(State, ItemsAreWrittenWithTheirMostSignificantByteFirst) {
    struct Case {
        const char* call;
        const char* bytes;
    };
    for (const Case& c : std::initializer_list<Case>{
             {"writeNumber(1.5)", "3f c0 00 00"},
             {"writeNumber('  -1.5e0 and more')", "bf c0 00 00"},
             {"writeNumber('none')", "00 00 00 00"},
             {"writeNumber(0.1)", "3d cc cc cd"},
             {"writeNumber(pow(2, 128) - pow(2, 103))", "7f 80 00 00"},
             {"writeNumber(-pow(10, 300))", "ff 80 00 00"},
             {"writeInt(2.9)", "00 00 00 02"},
             {"writeInt(' 258')", "00 00 01 02"},
             {"writeInt(4294967297.0)", "00 00 00 01"},
             {"writeByte(-1)", "ff"},
             {"writeByte('7')", "37"},
             {"writeByte('')", "00"},
             {"writeVector(<1, 2, -2>)", "3f 80 00 00 40 00 00 00 c0 00 00 00"},
             {"writeVector(1, 2.0, -2)", "3f 80 00 00 40 00 00 00 c0 00 00 00"},
             {"writeString('')", "00 00 00 00"},
         }) {
        std::string bytes;
        const std::string body = std::string("state.") + c.call + ";";
        for (const std::string& write : savedBy(body, HX_STATE_BINARY)) bytes += write;
        EXPECT_EQ(hex(bytes), c.bytes) << c.call;
    }
    // The write methods but writeln do not look at the mode.
    EXPECT_EQ(savedBy("state.writeInt(65);", HX_STATE_TEXT), std::deque{std::string("\0\0\0A", 4)});
    EXPECT_EQ(host.shown(), Lines{});
}

TEST_F(State, ItemsReadAsTheyWereWritten) {
    const std::string bytes(
        "\x3f\xc0\x00\x00\xff\xff\xff\xfe\xff\x3f\x80\x00\x00\x40\x00\x00\x00\xc0\x00\x00\x00"
        "\x00\x00\x00\x03"
        "abc\x00\x00\x00\x00",
        32);
    const std::string body =
        "info(state.readNumber(), ' ', state.readInt(), ' ', state.readByte(), ' ', state.readVector());"
        "info(state.readString(), '|', state.readString(), '|', state.eof());"
        "x = state.readByte(); info(x == nil, state.eof());";
    const Lines expected = {"1.5 -2 -1 <1,2,-2>", "abc||0", "11"};
    EXPECT_EQ(loadedBy(body, binary(bytes)), expected);
    MemoryState slow = binary(bytes);
    slow.atOnce = 1;
    EXPECT_EQ(loadedBy(body, slow), expected);
}

TEST_F(State, DataThatEndsTooSoonIsNil) {
    for (const char* method : {"readNumber", "readInt", "readVector", "readString"}) {
        const std::string body = std::string("x = state.") + method + "(); info(x == nil, state.eof());";
        for (const std::string& bytes : {std::string(), std::string("abc")})
            EXPECT_EQ(loadedBy(body, binary(bytes)), Lines{"11"}) << method;
    }
    const std::string body = "x = state.readString(); info(x == nil, state.eof());";
    for (const std::string length : {"\xff\xff\xff\xff", "\x7f\xff\xff\xff"})
        EXPECT_EQ(loadedBy(body, binary(length + std::string(10000, 'x'))), Lines{"11"});
}

TEST_F(State, AHostThatOverstatesWhatItReadDoesNoHarm) {
    MemoryState whole = lines({std::string(600, 'x')});
    MemoryState bytes = binary(std::string("\0\0\1\1", 4));
    for (MemoryState* state : {&whole, &bytes}) state->overstated = 1000000;
    EXPECT_EQ(loadedBy("info(size(state.read()));", whole), Lines{"511"});
    EXPECT_EQ(loadedBy("info(state.readInt());", bytes), Lines{"257"});
}

TEST_F(State, LinesAreTheTextsOfTheirValues) {
    EXPECT_EQ(savedBy("f = File('f.txt', 'w'); a = array(2);"
                      "state.writeln(1.25, ' ', 7, ' ', <1, 2.5, 3>, ' ', 'text ', f, nil, a);"
                      "state.writeln(); state.writeln('last');",
                      HX_STATE_TEXT),
              (std::deque<std::string>{"1.25 7 1 2.5 3 text f.txt", "", "last"}));
    EXPECT_EQ(host.said(), (Lines{"Line 1, invalid argument 9 type to (HXIO)state.writeln()",
                                  "Line 1, invalid argument 10 type to (HXIO)state.writeln()"}));
}

TEST_F(State, LinesAreReadOneByOne) {
    EXPECT_EQ(loadedBy("info(state.read()); x = state.read(); info(x == nil, state.eof());"
                       "info(state.read()); info(size(state.read()), ' ', size(state.read()));"
                       "x = state.read(); info(x == nil, state.eof()); state.parse(','); info('end');",
                       lines({"a 1", "", "cut\nhere", std::string(600, 'x')})),
              (Lines{"a 1", "10", "cut", "511 89", "11", "end"}));
    // A host may go on after the end. Only an empty line takes back that it was met.
    MemoryState paused = lines({"a", "", "b"});
    paused.endsBefore = 2;
    EXPECT_EQ(loadedBy("x = state.read(); info(state.eof()); info(state.read(), state.eof());"
                       "x = state.read(); info(x == nil, state.eof()); info(state.read(), state.eof());",
                       paused),
              (Lines{"1", "a1", "10", "b0"}));
}

TEST_F(State, WrongUsesAreNilAndTouchNothing) {
    const auto message = [](const char* text, const std::string& call) {
        return std::string("Line 1, ") + text + " (HXIO)state." + call.substr(0, call.find('(')) + "()";
    };
    const char* const kCount = "invalid argument count to";
    using Case = std::pair<const char*, std::vector<std::string>>;
    for (const auto& [text, calls] :
         {Case{kCount, {"eof(1)", "read(1)"}},
          Case{"illegal operation on ASCII file:",
               {"readNumber()", "readInt()", "readByte()", "readVector()", "readString()"}}})
        for (const std::string& call : calls)
            EXPECT_EQ(
                loadedBy("x = state." + call + "; info(x == nil); info(state.read());", lines({"first"})),
                (Lines{message(text, call), "1", "first"}));
    for (const auto& [text, calls] :
         {Case{kCount, {"read(1)"}}, Case{"illegal operation on binary file:", {"read()", "parse()"}}})
        for (const std::string& call : calls)
            EXPECT_EQ(loadedBy("x = state." + call + "; info(x == nil);", binary("abcd")),
                      (Lines{message(text, call), "1"}));
    for (const auto& [text, calls] :
         {Case{"illegal operation on binary file:", {"writeln('x')"}},
          Case{"invalid argument count:", {"writeVector(1, 2)", "writeString()"}},
          Case{"invalid data type provided:",
               {"writeNumber(nil)", "writeNumber()", "writeInt(<1, 2, 3>)", "writeByte(state)",
                "writeVector(1)", "writeVector(1, 'a', 2)", "writeString(5)"}}})
        for (const std::string& call : calls) {
            EXPECT_EQ(savedBy("x = state." + call + "; info(x == nil);", HX_STATE_BINARY),
                      std::deque<std::string>{});
            EXPECT_EQ(host.said(), (Lines{message(text, call), "1"}));
        }
    EXPECT_EQ(loadedBy("state.writeInt(1);", binary("")),
              Lines{"Line 1, unknown object method: (HXIO)load::state.writeInt()"});
    savedBy("state.eof();", HX_STATE_BINARY);
    EXPECT_EQ(host.said(), Lines{"Line 1, unknown object method: (HXIO)save::state.eof()"});
}

TEST_F(State, TheObjectMayOutliveItsCall) {
    const HxInstance instance = host.createWith(
        "kept = nil;\nload: mode, state { ::kept = state; }\n"
        "init { k = ::kept; x = k.read(); y = k.eof(); z = k.read(1, 2); info(x == nil, y == nil, z == "
        "nil);\n"
        "k.none(); }\n"
        "save: mode, state { k = ::kept; info(k.readInt() == nil); }");
    host.handler.init(instance);
    EXPECT_EQ(host.said(), (Lines{"111", "Line 4, unknown object method: (HXIO)init::k.none()"}));
    host.save(instance, HX_STATE_BINARY);
    EXPECT_EQ(host.said(), Lines{"1"});
}

}  // namespace
}  // namespace kestrel::test
