#include "builtins/files/test_file.h"
#include "engine/operations/text_buffer.h"

#include <array>
#include <string>
#include <vector>

namespace kestrel::test {

class FileErrorsTest : public FileTest {
protected:
    void expectError(const char* name, const Cells& args, const std::string& message) {
        shown.clear();
        EXPECT_EQ(method(name, args), "nil") << name;
        ASSERT_EQ(shown.size(), 1u) << name << message;
        EXPECT_EQ(shown[0].line2, "Line 12, " + message);
    }
    FileErrorsTest() {
        ctx.run.currentLine = 12;
        ctx.reporter.state.maxErrors = 1000;
    }
};

TEST_F(FileErrorsTest, everyMethodChecksItsFileAndItsArgumentCount) {
    // A method, the counts up to four that it takes, and T where it needs a text file.
    std::istringstream rows(
        "isOpen 0  open 12  reopen 01  close 0  eof 0  rewind 0  name 0  write 1234  writeNumber 1  writeInt "
        "1 "
        "writeByte 1  writeVector 13  readNumber 0  readInt 0  readByte 0  readVector 0  linecount 0  offset "
        "012 "
        "setDelimiter 01  printNil 01  nl 01T  read 01T  writeln 1234T  parse 1T  line 01T");
    openWith("a\n", "rb");
    std::vector<std::string> names;
    for (std::string name, counts; rows >> name >> counts; names.push_back(name)) {
        const std::string call = "(File)f." + name + "()";
        for (std::size_t n = 0; n < 5; ++n) {
            if (counts.find(static_cast<char>('0' + n)) == std::string::npos)
                expectError(name.c_str(), Cells(n, N(1)), "invalid argument count to " + call);
            else if (counts.ends_with('T'))
                expectError(name.c_str(), Cells(n, N(1)), "illegal operation on binary file: " + call);
        }
    }
    EXPECT_EQ(names.size(), files.interfaces()[0].methods().size());
    EXPECT_EQ(method("close"), "0i");
    shown.clear();
    for (const std::string& name : names) {
        if (name == "isOpen" || name == "open") continue;
        EXPECT_EQ(method(name.c_str(), Cells(7, N(1))), "nil") << name;
    }
    EXPECT_TRUE(shown.empty());
}

TEST_F(FileErrorsTest, argumentTypesAndRanges) {
    openWith("a\nb\n", "r+");
    const Row rows[] = {
        {"open", {S("x"), I(1)}, "invalid argument 2 type to (File)f.open()"},
        {"open", {I(1)}, "invalid argument 1 type to (File)f.open()"},
        {"reopen", {I(1)}, "invalid argument 1 type to (File)f.open()"},
        {"writeNumber", {S("1")}, "invalid argument 1 type to (File)f.writeNumber()"},
        {"writeInt", {nil()}, "invalid argument 1 type to (File)f.writeInt()"},
        {"writeByte", {S("A")}, "invalid argument 1 type to (File)f.writeByte()"},
        {"writeVector", {N(1)}, "invalid argument 1 type to (File)f.writeVector()"},
        {"writeVector", {S("1"), N(1), N(1)}, "invalid argument 1 type to (File)f.writeVector()"},
        {"writeVector", {N(1), V(1, 2, 3), N(1)}, "invalid argument 2 type to (File)f.writeVector()"},
        {"writeVector", {N(1), N(1), nil()}, "invalid argument 3 type to (File)f.writeVector()"},
        {"read", {S("1")}, "invalid argument 1 type to (File)f.read()"},
        {"read", {I(3)}, "specified line (3) exceeds file size in (File)f.read()"},
        {"line", {S("1")}, "invalid argument 1 type to (File)f.line()"},
        {"line", {I(0)}, "specified line (0) exceeds file size in (File)f.line()"},
        {"parse", {I(1)}, "invalid argument 1 type to (File)f.parse()"},
        {"nl", {S("1")}, "invalid argument 1 type to (File)f.nl()"},
        {"offset", {S("1")}, "invalid argument 1 type to (File)f.offset()"},
        {"offset", {I(1), S("fromend")}, "invalid argument 2 type to (File)f.offset()"},
        {"offset", {I(1), I(3)}, "invalid argument 2 type to (File)f.offset()"},
        {"setDelimiter", {nil()}, "invalid argument 1 type to (File)f.setDelimiter()"},
    };
    for (const Row& row : rows) expectError(row.name, row.args, row.left);

    for (const char* writer : {"write", "writeln"}) {
        method(writer, {S("x"), A(nullptr), ValueCell::ofObject(UserRecord, nullptr)});
        EXPECT_EQ(shown.back().line2,
                  std::string("Line 12, invalid argument 3 type to (File)f.") + writer + "()");
        EXPECT_EQ(shown.back().kind, MessageKind::Warning);
    }
    EXPECT_EQ(method("size", {N(1), N(2)}), "");
    EXPECT_EQ(shown.back().line2, "Line 12, unknown object method: (FileObj)::f.size()");
    const Row calls[] = {{"File", {}, "count"},
                         {"file", {S("x"), S("r"), N(1)}, "count"},
                         {"File", {S("x"), N(1)}, "2 type"},
                         {"File", {N(1)}, "1 type"}};
    for (const Row& row : calls) {
        EXPECT_EQ(call(row.name, row.args), "nil");
        EXPECT_EQ(shown.back().line2, "Line 12, invalid argument " + row.left + " to File()");
    }
    EXPECT_EQ(call("fileexists", {}), "");
    EXPECT_EQ(shown.back().line2, "Line 12, invalid argument count to fileexists()");
    EXPECT_EQ(call("filedelete", {}), "nil");
    EXPECT_EQ(shown.back().line2, "Line 12, invalid argument count to filedelete()");
    EXPECT_FALSE(ctx.run.abort);
}

TEST_F(FileErrorsTest, whatCannotBeOpenedIsNil) {
    put("x");
    for (const char* mode : {"", "x", "R", "+r", "rw,ccs=UTF-8 and more"})
        EXPECT_FALSE(open(path(), mode)) << mode;
    EXPECT_FALSE(open(directory.string(), "r"));
    EXPECT_FALSE(open("", "w"));
    EXPECT_FALSE(open(path("none"), "r"));
    std::filesystem::permissions(path(), std::filesystem::perms::none);
    const bool readable = std::ifstream(path()).is_open();  // as it is to an administrator
    EXPECT_EQ(open(path(), "r"), readable);
    EXPECT_TRUE(shown.empty());
}

TEST_F(FileErrorsTest, whatTheSystemRefusesToWrite) {
    ASSERT_TRUE(open("/dev/full", "w"));
    const std::string large(100'000, 'x');
    EXPECT_EQ(method("write", {S(large.c_str())}), "-1i");
    expectCalls("linecount 0i; writeln('x') 2i; close -1i");
    openWith("text\n", "r");
    expectCalls("write('x') -1i; writeNumber(1) 0i; read 'text'");
    openWith("text\n", "rb");
    EXPECT_EQ(method("write", {N(1), S("abc")}), "0i");
    ASSERT_TRUE(open(path(), "w"));
    expectCalls("read nil; eof 1i");
}

TEST_F(FileErrorsTest, withoutAnIndexLinesHaveNoNumbers) {
    ctx.options.nonrandom = true;
    openWith("a\nb\n", "r");
    expectCalls("linecount 0i; read 'a'; line 2i");
    expectError("read", {I(1)}, "specified line (1) exceeds file size in (File)f.read()");
    EXPECT_FALSE(ctx.run.abort);
    expectError("line", {I(1)}, "illegal invocation of (File)f.line() method");
    EXPECT_TRUE(ctx.run.abort);
}

TEST_F(FileErrorsTest, onlySoManyFilesAreOpenAtATime) {
    ctx.run.currentLine = 12;
    put("x\n");
    std::vector<Variable> held(builtins::FilePool::kMostOpen);
    for (Variable& variable : held)
        assignVariable(ctx, variable, builtins::fileCell(*builtins::openScriptFile(ctx, path(), "r")));
    EXPECT_FALSE(open(path(), "r"));
    EXPECT_EQ(shown.back().line2, "Line 12, 256 files are open, which is as many as a script can have");
    EXPECT_FALSE(ctx.run.abort);
    shown.clear();

    // One that is closed makes room, and so does one that nobody holds.
    auto* first = builtins::fileRecord(held.front().object);
    first->close();
    EXPECT_TRUE(open(path(), "r"));
    assignVariable(ctx, held.front(), nil());
    assignVariable(ctx, held.back(), N(1));
    EXPECT_EQ(call("File", {S(path().c_str()), S("r")}), "type 67");
    EXPECT_TRUE(open(path(), "r")) << "as what the call before gave out is lost";
    EXPECT_TRUE(shown.empty());
    EXPECT_EQ(method("read"), "'x'");
}

TEST_F(FileErrorsTest, recordsOfLostFilesAreUsedAgain) {
    put("x\n");
    ASSERT_TRUE(open(path(), "r"));
    Variable other;
    assignVariable(ctx, other, builtins::fileCell(*builtins::fileRecord(object.object)));
    assignVariable(ctx, object, nil());
    for (int i = 0; i < 20'000; ++i) {
        ASSERT_TRUE(open(path(), "r"));
        method("close");
        if (i % 100 == 0) files.sweep(ctx);
    }
    object.object = other.object;
    EXPECT_EQ(method("read"), "'x'") << "still the first, and open";
    EXPECT_LT(ctx.pool.liveBlocks(), 1000u);
    std::size_t descriptors = 0;
    for ([[maybe_unused]] const auto& each : std::filesystem::directory_iterator("/proc/self/fd"))
        ++descriptors;
    EXPECT_LT(descriptors, 100u);
}

TEST_F(FileErrorsTest, endlessTextEndsTheRun) {
    constexpr std::size_t kRoom = std::size_t{8} << 20;
    ctx.pool.setLimit(kRoom);
    ASSERT_TRUE(open("/dev/zero", "r"));
    for (const char* reader : {"read", "parse"}) {
        ctx.run.abort = false;
        expectError(reader, reader[0] == 'p' ? Cells{S(",")} : Cells{},
                    "memory exhausted!  Cannot continue!");
        EXPECT_TRUE(ctx.run.abort);
    }
    ASSERT_TRUE(open(path(), "w"));
    method("nl", {N(1e300)});
    EXPECT_EQ(shown.back().line2, "Line 12, memory exhausted!  Cannot continue!");

    RunWatch watch;
    watch.requested = 1;
    ctx.services.watch = &watch;
    ASSERT_TRUE(open("/dev/zero", "r"));
    shown.clear();
    EXPECT_EQ(method("read"), "nil");
    EXPECT_TRUE(shown.empty());
}

TEST_F(FileErrorsTest, positionsBeyondFourGigabytesAreExact) {
    constexpr std::uintmax_t kSize = 5'000'000'000;
    put("");
    std::error_code error;
    std::filesystem::resize_file(path(), kSize, error);  // takes no room where files can have holes
    if (error) GTEST_SKIP() << error.message();
    ASSERT_TRUE(open(path(), "rb+"));
    expectCalls("linecount 5000000000i; offset(-2i, 2i) ; writeByte(10i) 1i; offset 4999999999i");
}

}  // namespace kestrel::test
