#include "frontend/compile_fixture.h"

namespace kestrel::test {

using DeclarationTest = CompileTest;

TEST_F(DeclarationTest, NamesBindAsTheMomentOfReadingSays) {
    ASSERT_EQ(compile("g = 1;\nmain: p { x = g; x = p; y = sleep; var g; g = 2; sin(1); }\n"), 0)
        << messages();
    const FunctionRecord* main = ctx_.program->findFunction("main");
    EXPECT_EQ(main->paramCount, 1);
    std::string locals;
    for (const Variable* v = main->locals.head; v != nullptr; v = v->next)
        locals += std::string(v->name) + ' ';
    EXPECT_EQ(locals, "x y g ") << "a use before `var` meant the global";
    EXPECT_EQ(main->params.head->name, std::string("p"));
    EXPECT_NE(global("sleep"), nullptr) << "a built-in's name is no local";
    EXPECT_EQ(global("sin")->type, 24);
    EXPECT_EQ(global("main")->type, 43);
    EXPECT_EQ(global("g")->type, Uninitialized);

    compile("main { var a; var a; for (i = 0, PI = 1; i; i++) a; }\n");
    int count = 0;
    for (const Variable* v = ctx_.program->findFunction("main")->locals.head; v != nullptr; v = v->next)
        ++count;
    EXPECT_EQ(count, 3) << "a; i; and PI, which a later item of a header declares";
}

TEST_F(DeclarationTest, StrictScriptsDeclareWithVar) {
    EXPECT_EQ(compile("#strict\nvar a = 1;\nmain { var l; y = l; }\n"), 0) << messages();
    EXPECT_EQ(global("a")->declared, 1);
    EXPECT_EQ(global("y")->declared, 0) << "a global by mere use";
    EXPECT_EQ(compile("#strict\na = 1, b;\n"), 2);
    EXPECT_EQ(collector_.texts.at(0), "E Line 2, found ',' |Line: a = 1, b;");
    EXPECT_EQ(collector_.texts.at(1), "E Line 2, found ';' |Line: a = 1, b;");
}

TEST_F(DeclarationTest, RecordsHaveNamesOfTheirOwn) {
    EXPECT_EQ(compile("declare record R { a; }\ndeclare record R { a; }\n"), 1);
    EXPECT_EQ(collector_.texts.at(0).substr(0, 76),
              "E Line 2, found '{' record name 'R' conflicts with previously declared recor");
}

TEST_F(DeclarationTest, NativeDeclarationsNeedTheirServices) {
    EXPECT_EQ(compile("use \"ball\" as class Ball;\n"), 1);
    EXPECT_NE(messages().find("class 'Ball' cannot be loaded"), std::string::npos);
    const SourceCase cases[] = {
        {"expose a, b[3] as Q;", "cannot create IPC queue 'Q'"},
        {"expose a + 1 as Q;", "illegal declaration in 'expose'"},
        {"expose a[0] as Q;", "illegal array declaration in 'expose'"},
        {"expose a[1, 2] as Q;", "illegal array declaration in 'expose'"},
    };
    for (const SourceCase& c : cases) {
        EXPECT_GT(compile(c.source), 0) << c.source;
        EXPECT_NE(messages().find(c.expected), std::string::npos) << c.source << '\n' << messages();
    }
    compile("expose a,\n  b + 1 as Q;\n");
    EXPECT_EQ(collector_.places.at(0).line, 2) << "the item, not what stands before it";
    EXPECT_EQ(collector_.places.at(0).column, 3);
    compile("library \"x.DLL\";\nlibrary \"none.ks\";\nlibrary \"y.so\";\n");
    EXPECT_EQ(messages(),
              "W |line 4, cannot locate library file \"y.so\"\n"
              "W |line 4, cannot locate library file \"none.ks\"\n")
        << "a missing script library ends the chain";
}

TEST_F(DeclarationTest, OnlyCalledLibraryProceduresAreLinked) {
    write("lib.ks", "lost = 1;\nunused: a { z = a; }\nk = 1;\nfoo { k; lost; bar(); }\nbar { }\n");
    EXPECT_EQ(compile("library \"lib.ks\";\nmain { foo(); }\n"), 0) << messages();
    EXPECT_NE(ctx_.program->findFunction("foo"), nullptr);
    EXPECT_EQ(ctx_.program->findFunction("bar"), nullptr) << "called from the library only";
    EXPECT_NE(global("k"), nullptr)
        << "what stands before a linked procedure, back to the last one, comes with it";
    EXPECT_EQ(code(),
              "FUNC main, CALL foo/0; ENDFUNC, DECL, VAR k, ASSIGNMARK, INTEGER 1, ASSIGN, ENDDECL; FUNC "
              "foo, VAR k; VAR lost; CALL bar/0; ENDFUNC");

    EXPECT_EQ(compile("library \"lib.ks\";\nmain { foo();\n foo(); none(); o.method(); }\n"), 2);
    EXPECT_EQ(messages(),
              "E |Unresolved function reference: foo()\nE |Unresolved function reference: none()\n"
              "I |2 errors during compile\n")
        << "only the first call is resolved by linking";
    EXPECT_EQ(collector_.places.at(0).line, 3);
}

TEST_F(DeclarationTest, LibrariesAreReadLastFirstAndNumberedOn) {
    write("a.ks", "fa { x = ); }\n");
    write("b.ks", "fb { x = ); }\n");
    compile("library \"a.ks\"; library \"b.ks\"; library \"\";\nmain { }\n");
    EXPECT_EQ(collector_.texts.at(0), "E In fb, line 3, found ')' |Line: ");
    EXPECT_EQ(collector_.texts.at(1).substr(0, 27), "E In fa, line 4, found ')' ");
    EXPECT_EQ(ctx_.program->files.at(1).path, (directory_ / "b.ks").string());
    EXPECT_EQ(collector_.places.at(1).file, 2);
    EXPECT_EQ(collector_.places.at(1).line, 1);

    std::string many;
    for (int i = 0; i < 21; ++i) many += "library \"x.ks\";\n";
    EXPECT_EQ(compile(many), 1);
    EXPECT_EQ(collector_.texts.at(0),
              "E Line 21, found ';' library limit of 20 exceeded|Line: library \"x.ks\";");
}

}  // namespace kestrel::test
