#include "platform/processes.h"

#include "platform/command_processor.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>

namespace kestrel::platform {

namespace fs = std::filesystem;

class Processes : public testing::Test {
protected:
    void SetUp() override { setEnvironment("COMSPEC", "/bin/sh"); }

    /// Exit code and output of a batch file.
    std::string batch(const std::string& text) {
        std::ofstream(root_ / "b.bat", std::ios::binary) << text;
        std::ofstream(root_ / "b.out");
        const int code = runBatch(system_ + "\\b.bat", system_ + "\\b.out", nullptr);
        return std::to_string(code) + " " + readTextFile(system_ + "\\b.out").value_or("unreadable");
    }

    const test::TemporaryFolder folder_{"a folder's"};
    const fs::path& root_ = folder_.path;
    const std::string system_ = systemPath(root_.string());
};

using Words = std::vector<std::string>;

namespace {

int exitCode(Words words, const ProcessOptions& options = {}) {
    std::optional<Process> process = Process::start(std::move(words), options);
    return process ? process->finish(nullptr) : -2;
}

bool runs(pid_t id) {
    return kill(id, 0) == 0;
}

}  // namespace

TEST_F(Processes, QuotesHoldWordsOfACommandLineTogether) {
    EXPECT_EQ(splitCommandLine("  a  \"b c\"d\t\"\" e\\f"), (Words{"a", "b cd", "", "e\\f"}));
    EXPECT_EQ(splitCommandLine("a \"b c"), (Words{"a", "b c"}));
    EXPECT_EQ(splitCommandLine(" "), Words{});
}

TEST_F(Processes, TheExitCodeTellsHowAProgramEnded) {
    EXPECT_EQ(exitCode({"sh", "-c", "exit 7"}), 7);
    EXPECT_EQ(exitCode({"\\BIN\\sh", "-c", "kill -9 $$"}), 128 + 9);
    for (const Words& unusable : {Words{"no-such-program"}, Words{"/bin"}, Words{""}, Words{}})
        EXPECT_EQ(exitCode(unusable), -2);
    // Other than a shell's own, a program's file is not run as a script when it is none.
    std::ofstream(root_ / "text") << "exit 0\n";
    fs::permissions(root_ / "text", fs::perms::owner_all);
    EXPECT_EQ(exitCode({system_ + "\\text"}), -2);
}

TEST_F(Processes, ADetachedProgramInheritsNothingButItsOutputs) {
    const int extra = dup(STDERR_FILENO);
    const std::string test = "test ! -e /dev/fd/" + std::to_string(extra);
    EXPECT_EQ(exitCode({"sh", "-c", test + " && ! read line"}, {.detached = true}), 0);
    EXPECT_EQ(exitCode({"sh", "-c", test}), 1);
    close(extra);
}

TEST_F(Processes, AChannelTakesWhatFindsRoom) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    Channel reader(ends[0]);
    Channel writer(ends[1]);
    const std::string all(1000000, 'x');
    std::string rest = all;
    writer.write(rest);  // a pipe holds less, and nobody waits
    EXPECT_GT(rest.size(), 0u);
    EXPECT_LT(rest.size(), all.size());
    std::string got;
    while (!rest.empty() || got.size() < all.size()) {
        reader.read(got, all.size());
        writer.write(rest);
    }
    EXPECT_EQ(got, all);
    EXPECT_TRUE(reader.isOpen());
    writer.close();
    reader.read(got, 10);
    EXPECT_FALSE(reader.isOpen());
}

TEST_F(Processes, ACancelledWaitLeavesTheProgramToItsOwner) {
    SharedFlag requested{1};
    std::optional<Process> process = Process::start({"sleep", "60"});
    ASSERT_TRUE(process);
    EXPECT_EQ(process->wait(&requested), std::nullopt);
    EXPECT_EQ(process->poll(), std::nullopt);
    EXPECT_TRUE(process->kill());
    EXPECT_EQ(process->wait(nullptr), 128 + 9);
    EXPECT_FALSE(process->kill());
    EXPECT_FALSE(runs(static_cast<pid_t>(process->id())));  // nor is anything left of it
}

TEST_F(Processes, CommandsRunInTheNamedProcessor) {
    EXPECT_EQ(runCommand("exit 3", nullptr), 3);
    EXPECT_EQ(runCommand("", nullptr), 0);
    EXPECT_EQ(runCommand("-x 2>/dev/null", nullptr), 127);  // no option of the shell's
    EXPECT_EQ(runCommand(": " + std::string(300000, 'x') + "; exit 4", nullptr), 4);
    EXPECT_EQ(nativeCommand("\\bin\\a/b c\\d"), "/bin/a/b c\\d");
    setEnvironment("COMSPEC", (root_ / "none").string());
    EXPECT_EQ(runCommand("exit 3", nullptr), -1);
    EXPECT_EQ(batch("exit 3\n"), "-1 ");
}

TEST_F(Processes, ABatchFileKeepsTheNativeLanguageAndItsOwnFewLines) {
    const std::string restore = std::string(kRestoreRemark) + "\nC:\ncd " + system_ + "\n";
    const BatchText text = translateBatch("@echo off\n\n REM x\nremove\nd:\n cd \\tmp\ncd /tmp\n" + restore);
    EXPECT_EQ(text.commands, "\n\n\nremove\n\ncd -- '/tmp'\ncd /tmp\n");
    EXPECT_EQ(text.directory, root_.string());
    EXPECT_EQ(translateBatch("a").commands, "a\n");

    using Case = std::pair<std::string, std::string>;
    for (const auto& [commands, outcome] :
         {Case{"echo a\necho b\n\n\n", "0 a\nb\n"},
          Case{"false\n\n\n", "1 "},  // that of the last command, not of what restores
          Case{"rem x\nexit 9\n", "9 "}, Case{"cd " + system_ + "\ntest -e b.bat\n", "0 "},
          Case{"cat <<E\nthe end is missing\n", "0 the end is missing\n"},
          Case{"set -e\nfalse\necho x\n", "1 "}, Case{"echo 'open\n", "2 "},
          Case{": " + std::string(300000, 'x') + "\nexit 5\n", "5 "}})
        EXPECT_EQ(batch("@echo off\n\n" + commands + restore), outcome) << commands.substr(0, 80);
    EXPECT_EQ(runBatch(system_ + "\\none", "", nullptr), -1);
}

}  // namespace kestrel::platform
