#include "frontend/compile_fixture.h"

namespace kestrel::test {

using SyntaxTest = CompileTest;

TEST_F(SyntaxTest, MessagesListFewerThanFiveExpectedTokens) {
    const SourceCase cases[] = {
        {"main {\n x = 1 }\n", "E In main, line 2, found '}' , expecting ';'|Line: x = 1 }"},
        {"main { x = ; }\n", "E In main, line 1, found ';' |Line: main { x = ; }"},
        {"x y;\n", "E In x, line 1, found 'y' , expecting begin or '{'|Line: x y;"},
        // the display texts of these five are off by one place, and stay so
        {"use \"a\" 1;\n", "E Line 1, found '1' , expecting as|Line: use \"a\" 1;"},
        {"declare x;\n", "E Line 1, found 'x' , expecting include|Line: declare x;"},
        {"declare record R { a, ; }\n",
         "E Line 1, found ';' , expecting <identifier>|Line: declare record R { a, ; }"},
        {"declare record R { v = <1,2,3>; }\n",
         "E Line 1, found '1' , expecting <number>|Line: declare record R { v = <1,2,3>; }"},
        {"declare record R { v = x; }\n",
         "E Line 1, found 'x' , expecting <string> or <number> or <integer> or '<'|Line: declare record R { "
         "v = x; }"},
        {"main { for i = 1 to 2 by \"x\" do i; }\n",
         "E In main, line 1, found '\"' , expecting <identifier> or <number> or <integer>|"
         "Line: main { for i = 1 to 2 by \"x\" do i; }"},
        {"main { return (a) + 1; }\n",
         "E In main, line 1, found '+' , expecting ';'|Line: main { return (a) + 1; }"},
        {"main { x = a-1; }\n", "E In main, line 1, found '-' , expecting ';'|Line: main { x = a-1; }"},
        {"library 5;\n", "E Line 1, found '5' , expecting <string>|Line: library 5;"},
    };
    for (const SourceCase& c : cases) {
        EXPECT_GT(compile(c.source), 0) << c.source;
        ASSERT_FALSE(collector_.texts.empty()) << c.source;
        EXPECT_EQ(collector_.texts.front(), c.expected);
    }
}

TEST_F(SyntaxTest, TheEndOfTheInputHasNoCharacter) {
    EXPECT_EQ(compile("main {\n x = 1 +\n"), 1);
    EXPECT_EQ(collector_.texts.at(0), "E In main, line 3, found '' |Line: ");
    EXPECT_EQ(collector_.places.at(0).line, 2) << "shown behind the last line";
    EXPECT_EQ(collector_.places.at(0).column, 9);
}

TEST_F(SyntaxTest, RecoveryIsSilentUntilThreeTokensFit) {
    // Everything wrong between the first error and the third token after ";" is swallowed, whoever reports
    // it.
    EXPECT_EQ(compile("main { const k = 1; x = ) \"a\nb\" 5(); \"c\nd\"; k++; k++; }\n"), 3);
    ASSERT_EQ(collector_.texts.size(), 4U) << messages();
    EXPECT_EQ(collector_.texts[0].substr(0, 32), "E In main, line 1, found ')' |Li");
    EXPECT_NE(collector_.texts[1].find("const variable \"k\""), std::string::npos);
    EXPECT_EQ(collector_.texts[3], "I |3 errors during compile");
}

TEST_F(SyntaxTest, SummaryCountsUpToTheLimitAndTheLimitEndsTheCompile) {
    EXPECT_EQ(compile("main { x = ); }\n"), 1);
    EXPECT_EQ(collector_.texts.at(1), "I |1 error during compile");

    std::string script = "#errors 2\nmain { const k = 1;\n";
    for (int i = 0; i < 5; ++i) script += "k++;\n";
    EXPECT_EQ(compile(script + "}\n"), 3) << "the error count at the moment the limit was passed";
    ASSERT_EQ(collector_.texts.size(), 3U) << messages();
    EXPECT_EQ(collector_.texts[2], "E Maximum error count of 2 exceeded.|Terminating.");
    EXPECT_TRUE(ctx_.run.abort);
}

TEST_F(SyntaxTest, StrayOperandsAreErrorsNotCrashes) {
    for (const char* source : {"(a + b)[1];", "\"s\"();", "\"s\"(1, 2);", "5[];"}) {
        EXPECT_EQ(compile("main { " + std::string(source) + " }\n"), 1) << source;
    }
    EXPECT_EQ(compile("main { 5++; }\n"), 0) << "there is no flag to test";
}

TEST_F(SyntaxTest, DepthIsLimitedByTheParserStackOnly) {
    std::string open;
    for (int i = 0; i < 60; ++i) open += std::string(200, '(') + '\n';
    EXPECT_GE(compile("main { x = " + open + "\n"), 1);
    EXPECT_NE(collector_.texts.at(0).find("parser stack overflow"), std::string::npos);
}

TEST_F(SyntaxTest, BytesOfNoTextGiveDiagnostics) {
    EXPECT_GT(compile(std::string("main { \0 }", 10)), 0);
    EXPECT_GT(compile("main { \xff }"), 0);
    EXPECT_EQ(compile(""), 0);
}

TEST_F(SyntaxTest, ConstantsRefuseIncrementOnly) {
    EXPECT_EQ(compile("main { const k = 3; k = 4; }\n"), 0) << messages();
    EXPECT_EQ(compile("main { const k = 3; k++; }\n"), 1);
    EXPECT_EQ(collector_.texts.at(0),
              "E In main, line 1, found '+' Illegal operation on const variable \"k\".|"
              "Line: main { const k = 3; k++; }");
    EXPECT_EQ(compile("main { --PI; }\n"), 1) << "predefined names are constants";
}

}  // namespace kestrel::test
