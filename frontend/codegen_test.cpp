#include "frontend/compile_fixture.h"

namespace kestrel::test {

using CodeTest = CompileTest;

// What only the code shows; that scripts do what they should is for tests/lang.
TEST_F(CodeTest, PartsStandInTheirOrder) {
    const SourceCase cases[] = {
        {"x = (1, , 2);", "VAR x, ASSIGNMARK, INTEGER 1, NIL, INTEGER 2, ASSIGN;"},
        {"a * b / c % d;", "VAR a, VAR b, MUL, VAR c, DIV, VAR d, MOD;"},
        {"a + b - c;", "VAR a, VAR b, ADD, VAR c, SUB;"},
        {"a < b <= c;", "VAR a, VAR b, LT, VAR c, LE;"},
        {"a > b >= c;", "VAR a, VAR b, GT, VAR c, GE;"},
        {"a == b != c <> d;", "VAR a, VAR b, EQ, VAR c, NE, VAR d, NE;"},
        // shifts bind more loosely than comparisons, "<<" more loosely than ">>", and both more tightly than
        // "&"
        {"a & b << c >> d == e;", "VAR a, VAR b, VAR c, VAR d, VAR e, EQ, SHR, SHL, BITAND;"},
        {"a | b ^ c & d;", "VAR a, VAR b, VAR c, VAR d, BITAND, XOR, BITOR;"},
        {"a or b && c;", "VAR a, VAR b, VAR c, AND, OR;"},
        {"v.y++;", "VAR y, POSTINC, MEMBER v;"},
        {"a.b = c->d + q$s;", "VAR b, MEMBER a, ASSIGNMARK, VAR d, RECORD c, VAR s, IPCREF q, ADD, ASSIGN;"},
        // in a chain the operator read last counts for every level
        {"a = b += 1;", "VAR a, ASSIGNMARK, VAR b, ASSIGNMARK, INTEGER 1, ADDASSIGN, ADDASSIGN;"},
        {"a[i, j];", "DIM, SEP, VAR i, SEP, VAR j, INDEX a;"},
        {"a[]++;", "DIM, SEP, NUMBER -1, INDEX a, POSTINC;"},
        {"a[1][2];", "DIM, SEP, INTEGER 1, SEP, INTEGER 2, INDEX a;"},
        // after a nested index a "," of the outer one separates nothing
        {"a[b[1], 2];", "DIM, SEP, DIM, SEP, INTEGER 1, INDEX b, INTEGER 2, INDEX a;"},
        {"main(sin(1), sin());", "INTEGER 1, CALL sin/1, CALL sin/0, CALL main/2;"},
        {"", ""},
        {"begin { } end goto;", ""},
        {"var a, b = 1;", "DECL, VAR a, ENDDECL, DECL, VAR b, ASSIGNMARK, INTEGER 1, ASSIGN, ENDDECL;"},
        {"return; return a, ; return (a); return ();",
         "RETURN 0, VAR a, NIL, RETURN 2, VAR a, RETURN 1, NIL, RETURN 1"},
        // the outer arm keeps its link
        {"switch (a) { case 1: select when b then do end end }",
         "VAR a, SWITCH @14, CASELABEL, INTEGER 1, CASE @13, SELECT @11, VAR b, WHEN @10; ENDWHEN, "
         "ENDSWITCH; ENDCASE, ENDSWITCH"},
    };
    for (const SourceCase& c : cases) EXPECT_EQ(body(c.source), c.expected) << c.source;
}

TEST_F(CodeTest, NestedConditionalsAreLinkedThroughOneReferenceAndNoted) {
    // The inner conditional takes the outer one's reference: the outer IF keeps no target, its ENDIF goes to
    // the inner ELSE.
    EXPECT_EQ(
        body("a ? (b ? c : d) : e;"),
        "VAR a, IF, VAR b, IF @6, VAR c, ENDIF, ELSE @10, VAR d, ENDELSE, ENDIF, ELSE @13, VAR e, ENDELSE;");
    EXPECT_TRUE(hints().starts_with("1:15 nested-conditional; ")) << hints();
    body("x = (a ? b : c) ? d : e;");
    EXPECT_EQ(hints().find("nested"), std::string::npos) << "one after the other is no nesting";
}

TEST_F(CodeTest, LongExpressionsAndDeepNestingCompile) {
    std::string sum = "x = 1";
    for (int i = 0; i < 3000; ++i) sum += "\n + 1";
    EXPECT_EQ(compile("main { " + sum + "; }\n"), 0) << messages();
    const std::string open(400, '(');
    const std::string close(400, ')');
    EXPECT_EQ(compile("main { x = " + open + "\n1" + close + "; }\n"), 0) << messages();
}

TEST_F(CodeTest, ProgramItemsHaveTheirCodeInSourceOrder) {
    const SourceCase cases[] = {
        {"a, b = 2;", "DECL, VAR b, ASSIGNMARK, INTEGER 2, ASSIGN, ENDDECL;"},
        {"var a;", "DECL, VAR a, ENDDECL;"},
        {"f: p, q = 1 { p; }",
         "FUNC f, DECL, VAR p, ENDDECL, DECL, VAR q, ASSIGNMARK, INTEGER 1, ASSIGN, ENDDECL, VAR p; ENDFUNC"},
        {"procedure f begin end a;", "FUNC f, ENDFUNC;"},
        {"declare record R { a; }", ""},
    };
    for (const SourceCase& c : cases) {
        EXPECT_EQ(compile(std::string(c.source) + '\n'), 0) << messages();
        EXPECT_EQ(code(), c.expected) << c.source;
    }
}

TEST_F(CodeTest, NodesKeepLineAndPlaceOfTheirToken) {
    compile("main {\n  foo(\n    1,\n    2);\n}\nfoo { }\n");
    const CodeNode* call = ctx_.program->code.head;
    while (call->op != OP_CALL) call = call->next;
    EXPECT_EQ(call->line, 2) << "the line of the callee's name";
    EXPECT_EQ(call->pos.line, 2);
    EXPECT_EQ(call->pos.column, 3);
    EXPECT_EQ(call->pos.endColumn, 6);
}

}  // namespace kestrel::test
