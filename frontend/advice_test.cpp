// Hints: where they appear, and where they must not. What is said of typical mistakes stands in
// tests/mistakes.

#include "frontend/compile_fixture.h"
#include "frontend/foreign_names.h"

#include <utility>

namespace kestrel::test {
namespace {

class AdviceTest : public CompileTest {
protected:
    void expectHints(const std::vector<std::pair<std::string, std::string>>& cases) {
        for (const auto& [source, expected] : cases) {
            compile(source);
            EXPECT_EQ(hints(), expected) << source;
        }
    }
};

TEST_F(AdviceTest, SyntaxErrorsAreExplainedByTheTokensBeforeThem) {
    expectHints({
        {"main { x = 1; if (x) { x = 2; } els { x = 3; } }", ""},
        {"x = 1\nmain { }", "1:6 missing-semicolon"},
        {"main { x = 1; if (x > 1) x = 2 y = 3; }", ""},
        {"main { x = 1; while (x) && (x) { x = 2; } }", "1:15 condition-without-brackets"},
        {"main { x = 1; if (x == 1 && x = 2) x = 3; }", "1:31 assignment-in-condition"},
        // Nothing is known about these.
        {"loop: a b { }", ""},
        {"main { x = 1; End = x x; }", ""},
        {"main { x = 1; if (x) }", ""},
        {"main { x = ; }", ""},
        {"main { x = 1 2; }", ""},
        {"main { x = sin(1\n2); }", ""},
    });
}

TEST_F(AdviceTest, WhatTheParserMistakesAfterAnErrorIsNotExplained) {
    // The head of the loop ends at its first semicolon, so the function ends with the loop's block.
    compile("main {\n  for (int i = 1; i < 3; i++) {\n    x = i;\n  }\n  sin(1);\n}\nother: a { }\n");
    EXPECT_EQ(hints(), "2:8 foreign-word");
    // From an open text on everything is read the wrong way round.
    compile("main {\n  x = \"open;\n  y = \"shut\";\n  z = 'a-1';\n}\n");
    EXPECT_EQ(hints(), "2:7 unclosed-text");
}

TEST_F(AdviceTest, NamesThatNothingGivesAValueAreToldOnce) {
    expectHints({
        {"var count = 1; main { x = coutn + coutn; x = coutn; }", "1:27 never-assigned"},
        {"main { x = count; } other { x = count; }", "1:12 never-assigned"},
        {"#strict\nvar count;\nmain { var x = count; }", "3:16 never-assigned"},
        {"main { x++; }", "1:8 never-assigned"},
        {"main { y = x += 1; }", "1:8 never-assigned; 1:12 never-assigned"},
        {"main { x = y = 2; x += y; }", ""},
        {"main { null = 3; x = null; }", ""},
        {"main { x = a[1]; }", "1:12 never-assigned"},
        {"main { x = ::g; } var g;", "1:12 never-assigned"},
        // Whoever gives a value in any way.
        {"main { (a, b) = two(); c = a + b; } two { return 1, 2; }", ""},
        {"main { var a[3]; x = a[1]; }", ""},
        {"main { a[2] = 1; x = a[1]; }", ""},
        {"main { for (i = 1; i < 3; i++) x = i; for k = 1 to 3 do x = k; }", ""},
        {"main: a, b { x = a + b[1]; }", ""},
        {"main { x = PI + Z; y = INSTANCE; const c = 2; z = c; }", ""},
        {"expose shared, many[4] as Queue; main { x = shared + many[1] + Queue$other; }", ""},
        {"declare record R { a, b; } main { r = R(1); x = r->a; r->b = 2; }", ""},
        {"main { x = ::g; } g = 1;", ""},
        {"main { x = later; }\nmain(a) { }\nlater = 1;", "2:5 parameters-in-parentheses"},
        {"main { x = 1 }\nother: a { y = a; x = y; }", "1:13 missing-semicolon"},
        {"main { x = sa[1]\n(a, b) = two(); c = a + b; } two { return 1, 2; }", ""},
        {"main { x = <1, 2, 3>\n(a, b) = two(); c = a + b; } two { return 1, 2; }", ""},
        // It may have been assigned in a statement that was lost, or elsewhere before the parser went astray.
        {"main { x = 3 -2; y = x; }", "1:14 negative-number"},
    });
}

TEST_F(AdviceTest, CallsAndStatementsThatDoSomethingElse) {
    expectHints({
        {"main { f(1); } f: a, b { x = a + b; }", "1:8 argument-count"},
        {"main { f(two()); f(1, 2, 3); } f: a, b { x = a + b; } two { return 1, 2; }", "1:18 argument-count"},
        {"main { x = clamp(1, 2, 3); y = xyzzyplugh(1); }", "1:12 foreign-function"},
        {"clamp: x { return x; } main { y = clamp(1); }", ""},
        {"main { x = 3; while (x = x - 1) y = x; var m[2, 2]; m[2, 0] = x; }", ""},
        {"main { x = 1; while (x = f()) y = x; if (x == 2) y = 1; } f { return 0; }", ""},
        {"main { x = 1; x == 2; if (x) x < 3; }",
         "1:17 comparison-as-statement; 1:32 comparison-as-statement"},
        {"main { for (i = 1; i < 3; i++) x = i == 2; return x == 1; }", ""},
        {"main { x = <1, 2, 3>; y = x[0]; z = x.r; x.sorta(); }",
         "1:27 index-from-zero; 1:39 unknown-member; 1:44 unknown-method"},
        {"main { x = <1, 2, 3>; y = x.x; z = x.isNil(); var a[2]; a[2] = 0; }", ""},
        {"# A remark.\n", "1:1 foreign-directive"},
    });
}

TEST_F(AdviceTest, WhatADefineHasMadeOfAWordIsToldOnce) {
    expectHints({
        {"#define i 1\nmain { while (a < 3) { a = 4; } }", "2:8 define-in-word"},
        {"#define x 3\nmain { xval = 3; y = xval; }", "2:9 define-in-word"},
        {"#define A 3\nmain { y = INSTANCE; }", "2:12 define-in-word"},
        {"#define o 0\nprocess { x = 3 -2; }", "2:17 negative-number; 2:1 define-in-word"},
        {"#define sin sn\nmain { y = sin(1); }", "2:12 define-of-name"},
        {"#define F = 5\nmain { y = F; }", "2:12 define-text"},
        // The define is not to blame, or nothing is wrong.
        {"#define x 5\nmain { max = 1; y = max; return y; }", ""},
        {"#define x 5\nmain { y = max\nz = y; }", "2:15 missing-semicolon"},
        {"#define lerp mix\nmain { y = lerp(1); }", "2:12 foreign-function"},
        {"#define F \"a//\"\nmain { y = F\nx = y; }", "2:13 missing-semicolon"},
    });
}

TEST_F(AdviceTest, FormsOfOtherLanguagesAndEditorsAreTold) {
    const std::string spaces(496, ' ');
    expectHints({
        // Numbers.
        {"main { x = 1.; y = 2. + x; }", "1:12 number-form; 1:20 number-form"},
        {"main { x = 1_000; }", "1:12 number-form"},
        {"main { x = 2x; y = 0xyz; z = 1e; }", ""},
        {"main { x = 1.5e-3 + .5 + -.5E+2; }", ""},
        // Lists and loops.
        {"main { (a, b) = (1, 2); c = (3); d = a + b + c; }", ""},
        {"main { for i in a { } }", "1:14 for-head"},
        {"main { y = 1; x = not y; }", "1:19 foreign-word"},
        {"main { new = 3 4; }", ""},
        {"main { x = new Ball(); }", "1:12 foreign-word"},
        {"from \"x\" import y;", "1:1 foreign-word"},
        // Heads, braces and semicolons.
        {"half a b { return a / 2; }", ""},
        {"half a = 3;", ""},
        {"main { } }", "1:10 stray-brace"},
        {"main { };", "1:9 empty-statement"},
        {"main { x = 1; if (x) { x = 2; }; while (x) ; }", "1:32 empty-statement; 1:44 empty-statement"},
        {"f: a { return (a + 1) a; }", ""},
        {"sin: x, y { return x + y; }", "1:1 like-builtin"},
        {"sin: x { return x; }", ""},
        {"process: sa, b { sa = b; }", "1:1 process-parameters"},
        // Characters.
        {"main { x = \"\xE2\x80\x9C\"; } // \xC3\xA4\n", ""},
        {"\xEF\xBB\xBFmain { }", "1:1 foreign-character"},
        {std::string("\xFF\xFEm\0a\0", 6), "1:1 foreign-character"},
        {std::string("\0m\0a\0i\0n", 8), "1:1 foreign-character"},
        {std::string("\0\0\0\1", 4), ""},
        {"// One line.\rmain {\r}", "1:1 foreign-character"},
        {"main {\r  x = 1;\r}", "1:1 foreign-character"},
        {"main {\n  x = 1;\r  x = 2;\n}", "2:9 foreign-character"},
        // Lines that are cut after 510 characters.
        {"main { " + spaces + "x = longer; }", "1:508 line-too-long"},
        {"main { " + spaces + "  x = 1 2; }", ""},
    });
}

TEST_F(AdviceTest, LibraryFunctionsAreLinkedForOneCallOnly) {
    write("twice.ks", "twice: x { return 2 * x; }\n");
    compile("library \"twice.ks\"; main { a = twice(1);\n b = twice(2); c = twice(3); }");
    EXPECT_EQ(hints(), "2:6 library-called-twice; 2:20 library-called-twice");
}

TEST_F(AdviceTest, ThereIsAnEndToAdvice) {
    std::string script = "main {\n";
    for (int i = 0; i < 1000; ++i) script += "x = name" + std::to_string(i) + "x;\n";
    compile(script + "}");
    ASSERT_EQ(collector_.hints.size(), 51U);
    EXPECT_EQ(collector_.hints.back(), "0:0 more-hints");
}

TEST_F(AdviceTest, MessagesDoNotDependOnWhetherSomebodyWantsHints) {
    constexpr const char* kScript = "main { x = 3 -2; y = clamp(1); if (x = 2) y == 1; 'a; }";
    const int errors = compile(kScript);
    const std::string said = messages();
    EXPECT_NE(hints(), "");
    ctx_.reporter.hints = nullptr;
    EXPECT_EQ(compile(kScript), errors);
    EXPECT_EQ(messages(), said);
}

TEST(ForeignNames, AreFoundInTheirKindOnly) {
    EXPECT_EQ(insteadOfForeign(ForeignKind::Function, "dot"), "dot3d(a, b)");
    EXPECT_EQ(insteadOfForeign(ForeignKind::Word, "dot"), "");
    EXPECT_EQ(insteadOfForeign(ForeignKind::Function, "dot3d"), "");
    EXPECT_EQ(insteadOfForeign(ForeignKind::Directive, "include"), "write #insert \"file\"");
}

}  // namespace
}  // namespace kestrel::test
