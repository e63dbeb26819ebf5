#include "frontend/compile_fixture.h"

namespace kestrel::test {

using ScannerTest = CompileTest;

TEST_F(ScannerTest, TokensFollowTheLongestMatch) {
    const SourceCase cases[] = {
        {"x + -1; x+-1;", "VAR x, INTEGER -1, ADD; VAR x, INTEGER -1, ADD;"},
        {"-.5; .5; 1.5e3; 1.5E-3;", "NUMBER -0.5; NUMBER 0.5; NUMBER 1500; NUMBER 0.0015;"},
        {"TRUE1; NIL; True;", "VAR TRUE1; VAR NIL; VAR True;"},
        {"TRUE; true; Nil; nil;", "NUMBER 1; NUMBER 1; NIL; NIL;"},
        {"'''; '\\';", "INTEGER 39; INTEGER 92;"},
        {"\"a\\\"b\\\\\\n\";", "STRING \"a\\\"b\\\\n\";"},
        {"\"\";", "STRING \"\";"},
        {"/** a / b **/ x; /***/ y; /* /* */ z;", "VAR x; VAR y; VAR z;"},
        {"x; // y;\n z;", "VAR x; VAR z;"},
        {"99999999999;", "INTEGER 2.14748e+09;"},
    };
    for (const SourceCase& c : cases) EXPECT_EQ(body(c.source), c.expected) << c.source;
    for (const char* wrong : {"x-1;", "x -1;", "1.;", "1e5;", "1.5e;", "'ab';", "<>1, 2>;"})
        EXPECT_GT(compile("main { y = " + std::string(wrong) + " }\n"), 0) << wrong;
}

TEST_F(ScannerTest, LiteralsOf511CharactersEndWithAWarning) {
    EXPECT_EQ(compile("main { x = \"" + std::string(400, 'a') + "\n" + std::string(110, 'a') + "\"; }\n"), 0);
    ASSERT_EQ(collector_.texts.size(), 1U) << messages();
    EXPECT_EQ(collector_.texts[0].substr(0, 52), "W In main, line 1, newline found in string literal|L");

    // The closing quote of the longer one opens a new literal.
    compile("main { x = \"\n" + std::string(500, 'a') + "\n" + std::string(11, 'b') + "\"; }\n");
    EXPECT_NE(messages().find("W In main, line 3, string literal exceeds 512 characters"), std::string::npos);
    EXPECT_NE(messages().find("unterminated string literal"), std::string::npos);
}

TEST_F(ScannerTest, LinesFollowMarkersCommentsAndLiterals) {
    compile("main {\n$$#42\n a;\n$$# b; /* \n\n */ c;\n \"x\\\ny\"; d; }\n");
    std::vector<std::int32_t> lines;
    for (const CodeNode* n = ctx_.program->code.head; n != nullptr; n = n->next)
        if (n->op == OP_VAR) lines.push_back(n->line);
    // a newline taken by a backslash counts no line
    EXPECT_EQ(lines, (std::vector<std::int32_t>{43, 45, 47, 48}));
}

TEST_F(ScannerTest, ALineAfterALineCommentQuotesTheCommentedLine) {
    compile("main {\n x = 1; // one\n x = );\n}\n");
    EXPECT_EQ(collector_.texts.at(0), "E In main, line 3, found ')' |Line: x = 1; // one");
    EXPECT_EQ(collector_.places.at(0).line, 3);
}

TEST_F(ScannerTest, LineNumbersStayWhereTheyEnd) {
    for (const std::string marker : {"@line 2147483647", "$$#2147483647", "$$#99999999999\n$$#"}) {
        compile("a = 1;\n@" + marker + "\n");  // from the first column it would be a directive
        compile(marker + "\n\n\nmain { ) }");
    }
    compile("a;\n @line 2147483647\n b;\n\n");
    compile("a;\n $$#2147483647\n\n\nmain { ) }\n");
    EXPECT_EQ(collector_.texts.at(0).substr(0, 34), "E In main, line 2147483647, found ");
    compile("a;\n @line -2147483648\n\nmain { ) }\n");
    EXPECT_FALSE(collector_.texts.empty());
}

TEST_F(ScannerTest, TokensMayBeOfAnyLength) {
    // Libraries are scanned as they stand, so their lines are as long as they like.
    const std::string much(300000, 'x');
    write("lib.ks",
          "/*" + much + "*/ foo { " + much + " = \"" + much.substr(0, 400) + "\"; } //" + much + "\n");
    EXPECT_EQ(compile("library \"lib.ks\"; main { foo(); /*" + much + "*/ }\n"), 0) << messages();
    EXPECT_NE(code().find(much.substr(0, 250)), std::string::npos);
}

TEST_F(ScannerTest, AnOpenCommentWaitsUntilTheWatchEndsIt) {
    write("main.ks", "main { /* abc\n");
    RunWatch watch;
    watch.requested = 1;
    ctx_.services.watch = &watch;
    compileScript(ctx_, path("main.ks"));
    EXPECT_TRUE(ctx_.run.abort);
    EXPECT_TRUE(collector_.texts.empty()) << "no message: the scanner would wait for ever";
}

TEST_F(ScannerTest, LiteralsAndCommentsGoOnInTheNextFile) {
    write("lib.ks", "end\";\n/* ");
    write("lib2.ks", "*/ foo { }\n");
    EXPECT_EQ(compile("library \"lib2.ks\"; library \"lib.ks\";\nmain { foo(); }\ng = \"begin "), 0)
        << messages();
    EXPECT_EQ(code(),
              "FUNC main, CALL foo/0; ENDFUNC, DECL, VAR g, ASSIGNMARK, STRING \"begin end\", ASSIGN, "
              "ENDDECL; FUNC foo, ENDFUNC");
}

}  // namespace kestrel::test
