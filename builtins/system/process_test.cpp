#include "builtins/test_call.h"
#include "engine/operations/text.h"
#include "platform/clock.h"
#include "platform/environment.h"
#include "platform/paths.h"
#include "tests/temporary_folder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace kestrel::test {

namespace fs = std::filesystem;

class ProcessTest : public BuiltinTest {
protected:
    ProcessTest() : home_(fs::current_path()) {
        fs::current_path(root_);
        platform::setEnvironment("COMSPEC", "/bin/sh");
        platform::setEnvironment("TMP", root_.string());
    }
    ~ProcessTest() override {
        fs::current_path(home_);
        unsetenv("TMP");
    }

    /// What a call leaves, with its messages.
    std::string told(const char* name, const Cells& args) {
        shown.clear();
        std::string left = call(name, args);
        for (const Message& message : shown) left += " | " + message.line2.value_or(message.line1);
        return left;
    }

    const TemporaryFolder folder_;
    const fs::path& root_ = folder_.path;

private:
    fs::path home_;
};

TEST_F(ProcessTest, messages) {
    const auto expect = [&](const std::vector<Row>& rows) {
        for (const Row& row : rows) EXPECT_EQ(told(row.name, row.args), row.left) << row.name;
    };
    ArrayRecord* none = makeElements({});
    expect({
        {"spawn", {A(none), S("sh -c \"exit 3\"")}, "3i | Line 1, invalid argument 1 type to spawn()"},
        {"wait", {nil()}, "nil | Line 1, illegal process state in wait()"},
        {"terminate", {S("x")}, "nil | Line 1, illegal process state in terminate()"},
        {"system", {S("exit"), nil(), I(4)}, "4i | Line 1, invalid argument 2 type to system()"},
        {"systemex",
         {S("exit"), A(none), I(4)},
         "4i return 1 | Line 1, invalid argument 2 type to systemex()"},
        {"getenv", {N(1)}, "nil | Line 1, invalid argument 1 type to getenv()"},
        {"sleep", {S("1")}, "nil | Line 1, invalid argument 1 type to sleep()"},
        {"chdir", {S("a"), S("b")}, "nil | Line 1, invalid argument count to chdir()"},
        {"chdir", {nil()}, "nil | Line 1, invalid argument 1 type to chdir()"},
        {"chdir", {S("none")}, ""},
        {"mkdir", {N(1)}, "nil | Line 1, invalid argument 1 type to mkdir()"},
        {"rmdir", {N(1)}, "nil | Line 1, invalid argument 1 type to rmdir()"},
        {"matchfiles", {N(1), N(2)}, "nil | Line 1, invalid argument 2 type to matchfiles()"},
        {"matchfiles", {N(1), S("*")}, "nil | Line 1, invalid argument 1 type to matchfiles()"},
    });
    ctx.options.asyncspawn = true;
    expect({
        {"wait", {nil()}, "-1i"},
        {"terminate", {nil()}, "-1i"},
        {"wait", {S("process 1 (1)")}, "nil | Line 1, invalid argument 1 type to wait()"},
        {"terminate", {N(1)}, "nil | Line 1, invalid argument 1 type to terminate()"},
    });
    platform::setEnvironment("TMP", (root_ / "none").string());
    expect({
        {"system", {S("a@b")}, "nil | Line 1, unable to process multi-command system()"},
        {"systemex", {S("a")}, "nil | Line 1, unable to complete systemex() due to file system error"},
    });
    platform::setEnvironment("TMP", root_.string());
    const std::string output = root_.string() + "\\kxl$$.out";  // TMP as it stands
    EXPECT_EQ(told("systemex", {S("rm -f kxl*.out; exit 2")}),
              "2i | Line 1, unable to access systemex() output file '" + output + "'");
    unsetenv("COMSPEC");
    expect({
        {"system", {S("a")}, "nil | Line 1, unable to execute system() without COMSPEC"},
        {"systemex", {S("a")}, "nil | Line 1, unable to execute systemex() without COMSPEC"},
    });
}

TEST_F(ProcessTest, commandsAreJoinedOrTakenByLines) {
    const ValueCell file = fileNamed("x.txt");
    expectRows({
        {"system", {S("/bin/echo"), S("/tmp/x"), V(1, 2, 3), N(0.5), file, S(">one")}, "0i"},
        {"system", {S("/bin/echo /a@  \tfalse"), S("exit 6@exit 7")}, "6i"},
        {"system", {}, "0i"},
        {"system", {S("kill -9 $$")}, "137i"},
        {"systemex", {S("cat"), S("one"), S("; false")}, "1i '/tmp/x 1 2 3 0.5 x.txt' return 2"},
        {"systemex", {S("echo a@ /bin/echo b"), S("echo c@")}, "0i 'a' 'b' 'c' return 4"},
        {"systemex", {S("ls -A")}, "0i 'kxl$$.bat' 'kxl$$.out' 'one' return 4"},
        {"systemex", {S("printf 'a\\r\\n\\n\\rb\\0c'")}, "0i 'a' '' '\rb' return 4"},
    });
    ctx.options.literalpaths = true;
    EXPECT_EQ(call("systemex", {S("/bin/printf"), S("'/x\\n\\\\'")}), "0i '/x' '\\' return 3");
    EXPECT_EQ(fs::exists(root_ / "kxl$$.bat") || fs::exists(root_ / "kxl$$.out"), false);
    EXPECT_EQ(fs::current_path(), root_);
}

TEST_F(ProcessTest, aFileThatHasTheNameOfABatchFileIsLeftAlone) {
    std::ofstream(root_ / "ks$$.bat") << "mine";
    const std::string own = "ks$$." + std::to_string(platform::processId()) + ".bat";
    EXPECT_EQ(call("system", {S(("test -e '" + own + "'@").c_str())}), "0i");
    EXPECT_EQ(fs::file_size(root_ / "ks$$.bat"), 4u);
    EXPECT_FALSE(fs::exists(root_ / own));
}

TEST_F(ProcessTest, moreValuesThanTheStackHoldsEndTheRun) {
    for (int i = 0; i < 20; ++i) std::ofstream(root_ / std::to_string(i));
    for (const Row& row : {Row{"systemex", {S("ls")}, ""}, Row{"matchfiles", {S("."), S("*")}, ""}}) {
        while (ctx.stack.size() < kStackCells - 10) ctx.stack.push(ValueCell::ofMark(BlockMark));
        ctx.run.abort = false;
        shown.clear();
        call(row.name, row.args);
        EXPECT_TRUE(ctx.run.abort);
        EXPECT_EQ(shown.size(), 1u);
    }
}

TEST_F(ProcessTest, referencesServeOnceAndForEveryCopy) {
    ctx.options.asyncspawn = true;
    const auto spawn = [&](const char* line) {
        const std::string shownText = call("spawn", {S(line)});
        return shownText.substr(1, shownText.size() - 2);
    };
    const std::string first = spawn("sh -c \"exit 5\"");
    const std::string second = spawn("sleep 60");
    const std::string left = spawn("sleep 60");
    const auto idOf = [](const std::string& reference) {
        return std::stoi(reference.substr(reference.find('(') + 1));
    };
    EXPECT_EQ(call("wait", {S(first.c_str())}), "5i");
    EXPECT_EQ(call("wait", {S(first.c_str())}), "nil");
    EXPECT_EQ(call("terminate", {S(second.c_str())}), "1i");
    EXPECT_EQ(call("wait", {S(second.c_str())}), "nil");
    EXPECT_EQ(call("spawn", {S("no-such-program")}), "nil");
    EXPECT_EQ(call("spawn", {}), "nil");
    const auto exists = [&](const std::string& r) { return fs::exists("/proc/" + std::to_string(idOf(r))); };
    EXPECT_FALSE(exists(first) || exists(second));

    ctx.reset();  // ends the reference, not the program
    EXPECT_EQ(process.programs.find(left), nullptr);
    EXPECT_TRUE(exists(left));
    EXPECT_EQ(call("system", {S("kill"), I(idOf(left))}), "0i");
    for (int i = 0; i < 1000 && exists(left); ++i) {
        platform::pause(std::chrono::milliseconds(5), nullptr);
        call("spawn", {S("true")});  // takes notice of it
    }
    EXPECT_FALSE(exists(left));
}

TEST_F(ProcessTest, whoeverEndsTheRunEndsEveryWait) {
    RunWatch watch;
    watch.requested = 1;
    ctx.services.watch = &watch;
    expectRows({{"sleep", {N(60000)}, ""},
                {"system", {S("sleep 60")}, "137i"},
                {"systemex", {S("sleep 60")}, "137i return 1"},
                {"spawn", {S("sleep 60")}, "137i"}});
    ctx.options.asyncspawn = true;
    std::string reference = call("spawn", {S("sleep 60")});
    reference = reference.substr(1, reference.size() - 2);
    EXPECT_EQ(call("wait", {S(reference.c_str())}), "nil");
    EXPECT_EQ(call("terminate", {S(reference.c_str())}), "1i");
}

TEST_F(ProcessTest, theStopwatchSurvivesTheCountStartingOver) {
    EXPECT_EQ(call("sleep", {N(-5)}), "");
    process.timerStart = platform::tickCount() + 1000;
    EXPECT_EQ(call("timestop", {}).substr(0, 6), "429496");
}

}  // namespace kestrel::test
