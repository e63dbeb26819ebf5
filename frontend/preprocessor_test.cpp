#include "frontend/compile_fixture.h"
#include "platform/environment.h"
#include "platform/files.h"

#include <optional>
#include <tuple>

namespace kestrel::test {

class PreprocessorTest : public CompileTest {
protected:
    /// "E File '<main>', line N|text"
    [[nodiscard]] std::string directiveMessage(int line, const std::string& text) const {
        return "E File '" + path("main.ks") + "', line " + std::to_string(line) + '|' + text;
    }
};

TEST_F(PreprocessorTest, DirectivesSetTheirOptions) {
    EXPECT_EQ(
        compile("#pragma strict\n# unused\n@warnings\n#warnings 7x\n#errors 3\n#asyncspawn on\n#nonrandom\n"
                "#literalpaths\n#autoerror\n#loadall x\n#debug \"dbg\" x\n"),
        0)
        << messages();
    const Options& options = ctx_.options;
    const ReportState& state = ctx_.reporter.state;
    EXPECT_TRUE(options.strict && options.asyncspawn && options.nonrandom && options.literalpaths &&
                options.autoerror);
    EXPECT_EQ(options.debugName, "dbg");
    EXPECT_TRUE(state.reportUnused);
    EXPECT_FALSE(state.warningsShown);
    EXPECT_EQ(state.maxWarnings, 7);
    EXPECT_EQ(state.maxErrors, 3);

    compile("#unused\n");
    EXPECT_FALSE(ctx_.reporter.state.reportUnused) << "only under strict";
    compile("#strict\n#unused\n#stricter\n");
    EXPECT_FALSE(ctx_.options.strict) << "an entry matches what begins with it";
    EXPECT_FALSE(ctx_.reporter.state.reportUnused) << "goes off with strict";
}

TEST_F(PreprocessorTest, WrongDirectivesAreAllReported) {
    EXPECT_EQ(compile("#foo bar\n@ a, b @\n#errors\n#version x\n#version \"0\"\n#debug x\n#define\n"), 8);
    const std::vector<std::string> lines = {
        directiveMessage(1, "Bad pragma directive:'#foo bar'"),
        directiveMessage(2, "Bad pragma directive:'@ a, b @'"),
        directiveMessage(3, "Pragma 'errors' must specify a numeric value"),
        directiveMessage(4, "Invalid parameter to 'version' pragma"),
        directiveMessage(5, "Invalid version value in pragma"),
        directiveMessage(6, "Invalid parameter to 'debug' pragma"),
        directiveMessage(7, "Pragma 'define' must specify a name"),
    };
    EXPECT_EQ(collector_.texts, lines);
    EXPECT_EQ(collector_.places.at(3).line, 4);
    EXPECT_TRUE(ctx_.run.abort) << "the compile stops there";
}

TEST_F(PreprocessorTest, VersionsUpTo13Pass) {
    for (const char* passes : {"1.3", "1.2", "1", "0.9", "\"1.3\"", "1.34"})
        EXPECT_EQ(compile("#version " + std::string(passes) + "\n"), 0) << passes;
    for (const SourceCase& c : {SourceCase{"1.4", "1.4"}, SourceCase{"1.35", "1.4"}, SourceCase{"2", "2.0"},
                                SourceCase{"\"3.1\"", "3.1"}}) {
        EXPECT_EQ(compile("#version " + std::string(c.source) + "\n"), 2);
        EXPECT_EQ(messages(),
                  "E |Script requires version " + std::string(c.expected) + " or later of this plugin\n");
    }
}

TEST_F(PreprocessorTest, DefinesReplacePlainSubstringsOutsideLiterals) {
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"#define X 5\n", "MAX; X;", "VAR MA5; INTEGER 5;"},
        {"#define N 7\n", "(\"N\", N, \"N\");", "BLOCK, STRING \"N\", INTEGER 7, STRING \"N\", BLOCK;"},
        {"#define A 1\n#define B A + A\n", "B;", "INTEGER 1, INTEGER 1, ADD;"},
        {"#define B A\n#define A 1\n", "B;", "VAR A;"},  // the newer one has had its turn
        {"#define NONE\n", "x NONE;", "VAR x;"},
        // the spans are those of before the define's first replacement
        {"#define L aaaaaaaaaa\n", "L + L; \"L\";",
         "VAR aaaaaaaaaa, VAR aaaaaaaaaa, ADD; STRING \"aaaaaaaaaa\";"},
    };
    for (const auto& [defines, source, expected] : cases) {
        EXPECT_EQ(compile(defines + "main { " + source + " }\n"), 0) << messages();
        EXPECT_EQ(code(), "FUNC main, " + expected + " ENDFUNC") << source;
    }
}

TEST_F(PreprocessorTest, ADefineThatFeedsOnItselfIsAnErrorWhereItIsUsed) {
    EXPECT_EQ(compile("#define LOOP LOOP LOOP\nmain { }\n"), 0) << "unused it does no harm";
    EXPECT_EQ(compile("#define LOOP (LOOP)\nmain {\n LOOP; }\n"), 2);
    EXPECT_EQ(collector_.texts.at(0),
              directiveMessage(3, "Define 'LOOP' contains its own name and never finishes"));
    compile("#define X " + std::string(240, 'a') + "\nmain { " + std::string(450, 'X') + "; }\n");
    EXPECT_EQ(messages().find("never finishes"), std::string::npos) << "only long";
    EXPECT_EQ(compile("#define ab bbaa\nmain { aaaabbbb; }\n"), 2)
        << "and so is one that does so step by step";
}

TEST_F(PreprocessorTest, MissingAndEndlessInsertsAreErrors) {
    EXPECT_EQ(compile("a = 1;\n#insert dir/none x/y.ks\n"), 2);
    EXPECT_EQ(collector_.texts.at(0), directiveMessage(2, "Cannot locate insert file 'dir\\none x/y.ks'"));
    compile("#literalpaths\n#insert \"dir/none.ks\"\n");
    EXPECT_EQ(collector_.texts.at(0), directiveMessage(2, "Cannot locate insert file 'dir/none.ks'"));

    write("self.ks", "#insert \"" + path("self.ks") + "\"\n");
    EXPECT_EQ(compile("#insert \"" + path("self.ks") + "\"\n"), 2) << "the 31st level is not found";
    EXPECT_EQ(ctx_.program->files.size(), 31U);
    // An insert inside a procedure meets its own marker.
    write("empty.ks", "");
    compile("main {\n#insert \"" + path("empty.ks") + "\"\n}\n");
    EXPECT_EQ(collector_.texts.at(0).substr(0, 30), "E In main, line 2, found '@' |");
}

TEST_F(PreprocessorTest, ColumnsAreThoseOfTheSource) {
    const auto columns = [&](std::size_t message) {
        const SourcePos& place = collector_.places.at(message);
        return std::pair<int, int>(place.column, place.endColumn);
    };
    compile("#define VERYLONGNAME 1\nmain { a = VERYLONGNAME + VERYLONGNAME); }\n");
    EXPECT_EQ(columns(0), std::pair(39, 40));

    compile("#define A 11 + 22\n#define B AA\nmain { a = A; y B; c = B; x = A A; }\n");
    EXPECT_EQ(columns(0), std::pair(17, 18)) << "between two defines";
    EXPECT_EQ(columns(1), std::pair(33, 34)) << "the second of two";

    const std::string blanks(600, ' ');
    compile("main {" + blanks + "x = ); }\n");
    EXPECT_EQ(collector_.places.at(0).line, 1) << "one physical line, though read in pieces";
    EXPECT_EQ(collector_.places.at(0).column, 611);
    EXPECT_EQ(collector_.texts.at(0).substr(0, 26), "E In main, line 2, found '");
    EXPECT_EQ(compile(std::string(510, ' ') + "\nmain { ) }"), 1);
    EXPECT_EQ(collector_.texts.at(0).substr(0, 26), "E In main, line 2, found '")
        << "510 characters are one line";
}

TEST_F(PreprocessorTest, NothingIsWrittenThroughWhatStandsInTheTemporaryFilesPlace) {
    const std::optional<std::string> before = platform::environment("TMP");
    const std::filesystem::path temporary = directory_ / "tmp";
    std::filesystem::create_directories(temporary);
    const std::string tmp = platform::systemPath(temporary.string());
    const std::string name = "kestrel." + std::to_string(platform::processId());
    for (const std::string& value : {tmp, tmp + '\\'}) {
        platform::setEnvironment("TMP", value);
        EXPECT_EQ(compile("main { }\n"), 0) << messages();
        EXPECT_GT(compile("#bad\n"), 0);
        EXPECT_TRUE(std::filesystem::is_empty(temporary));
    }
    write("precious", "main { ) }");
    for (const char* target : {"precious", "none", "tmp"}) {
        std::filesystem::create_symlink(directory_ / target, temporary / name);
        EXPECT_EQ(compile("main { }\n"), 0) << target << messages();
        EXPECT_TRUE(std::filesystem::is_symlink(temporary / name));
        std::filesystem::remove(temporary / name);
    }
    EXPECT_EQ(platform::readTextFile(path("precious")), "main { ) }");
    EXPECT_FALSE(std::filesystem::exists(directory_ / "none"));
    std::ofstream(temporary / name) << "main { ) }";
    EXPECT_EQ(compile("main { }\n"), 0) << "somebody's script is not taken for ours";
    std::filesystem::remove(temporary / name);

    const auto refused = [&](const std::string& directory) {
        platform::setEnvironment("TMP", directory);
        EXPECT_EQ(compile("main { }\n"), 2);
        EXPECT_EQ(messages(), "E |Cannot create output file '" + directory + '\\' + name + "'\n");
    };
    std::filesystem::create_directories(temporary / name);
    refused(tmp);
    refused(tmp + "\\none");
    platform::setEnvironment("TMP", before.value_or(""));
}

TEST_F(PreprocessorTest, FilesThatInsertEachOtherTwiceCannotGrowWithoutEnd) {
    std::string twice = "a = 1;\n";
    for (int level = 0; level < 25; ++level) {
        const std::string name = "i" + std::to_string(level);
        write(name, twice);
        const std::string insert = "#insert \"" + path(name) + "\"\n";
        twice = insert + insert;
    }
    ctx_.reporter.state.maxErrors = 3;
    EXPECT_GT(compile(twice), 0);
    EXPECT_NE(collector_.texts.at(0).find("would bring in more than 16 MB in all"), std::string::npos);
}

}  // namespace kestrel::test
