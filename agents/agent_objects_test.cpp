// Objects of classes in scripts: arguments, results, members, inheritance, and when they end.

#include "agents/test_script.h"

namespace kestrel::agents::test {

using AgentObjects = AgentTest;

TEST_F(AgentObjects, MethodsTakeEveryKindOfArgument) {
    EXPECT_EQ(body("x = 3; info(a.describe(x, 2.5, 'text', '', <1,2,3>, nil));"),
              "I i3 n2.5 s'text' s'' v1,2,3 nil\n");
    EXPECT_EQ(body("var v[4]; v[1] = 1; v[2] = 'two'; v[4] = <4,5,6>; info(a.describe(v, 7));"),
              "I a3[i1s'two'v4,5,6] i7\n")
        << "an element that is Nil is not passed and not counted";
    EXPECT_EQ(body("info(a.count(1, a, 2, , 3));"), "I 4\n") << "objects are left out, an empty place is Nil";
    EXPECT_EQ(body("f = File('" + (directory_ / "out.txt").string() + "', 'w'); info(a.describe(f, 1));"),
              "I f'out.txt'w i1\n");
    EXPECT_EQ(body("info(a.describe());"), "I \n");
}

TEST_F(AgentObjects, ResultsComeBackAsValues) {
    EXPECT_EQ(
        body(
            "(p, q, r, s) = a.echo(1, 2.5, 'x', <1,2,3>); info(p.isInt(), q.isNum(), r.isStr(), s.isVec());"),
        "I 1111\n");
    EXPECT_EQ(body("a.echo(5); b = a.echo('only'); info(b); a.nothing(1, 2); info('done');"),
              "I only\nI done\n");
    EXPECT_EQ(body("var v[3]; v = a.echo(4, 5, 6); info(v[1] + v[2] + v[3]);"), "I 15\n");
    const std::string file = (directory_ / "read.txt").string();
    std::ofstream(file) << "line\n";
    EXPECT_EQ(body("f = a.open('" + file + "'); info(f.read()); g = a.lent(f); info(g.eof(), f == g);"),
              "I line\nI 01\n");
    EXPECT_EQ(body("f = a.open('/no/such'); g = a.forged(1); info(f.isNil(), g.isNil());"), "I 11\n");
}

TEST_F(AgentObjects, AnAliasGetsTheNameAsWrittenInFront) {
    EXPECT_EQ(body("(n, x) = a.al_anything(7); info(n, ' ', x);"), "I al_anything 7\n");
}

TEST_F(AgentObjects, UnknownMethodsAndThoseThatAreNotExportedSaySo) {
    EXPECT_EQ(body("a.absent(1); info('on');"),
              "E unknown object method: (ObjectAgent)main::a.absent()\nI on\n");
    for (const char* name : {"listed", "table", "lost", "puts"})
        EXPECT_EQ(body(std::string("a.") + name + "(1);"),
                  std::string("E unable to locate ObjectAgent method reference ") + name + "\n");
    EXPECT_EQ(body("a.destructor(); a.sly();"),
              "E unknown object method: (ObjectAgent)main::a.destructor()\n"
              "E unable to locate ObjectAgent method reference sly\n")
        << "entry points are no methods";
}

TEST_F(AgentObjects, MembersAreReadAndAssignedWithEveryOperator) {
    EXPECT_EQ(body("a.value = 12; a.value += 4; a.value -= 1; a.value *= 4; a.value /= 2; info(a.value);"),
              "I 30\n");
    EXPECT_EQ(body("a.value = 12; a.value ^= 5; info(a.value); a.value |= 6; info(a.value); a.value &= 7;"
                   "info(a.value);"),
              "I 9\nI 15\nI 7\n");
    EXPECT_EQ(body("a.value = 5; x = a.value++; y = ++a.value; z = a.value--; w = --a.value;"
                   "info(x, ' ', y, ' ', z, ' ', w);"),
              "I 5 7 7 5\n");
    EXPECT_EQ(body("a.list[2] = 8; a.list[2] += 1; a.list[2]++; info(a.list[2], ' ', a.list);"), "I 10 -1\n")
        << "the index is -1 where there is none";
    EXPECT_EQ(body("a.text = 'abc'; info(a.text); var v[2]; v[1] = 1; a.text = v; info(a.text);"),
              "I abc\nI 1 elements\n");
    EXPECT_EQ(body("(a.value, a.list[1]) = a.echo(3, 4); info(a.value + a.list[1]);"), "I 7\n");
}

TEST_F(AgentObjects, WrongUsesOfMembersHaveTheirMessages) {
    EXPECT_EQ(body("x = a.none; info(x.isNil()); a.none = 1; a.list[9] = 1;"),
              "E unknown ObjectAgent data member: main::a.none\nI 1\n"
              "E unknown ObjectAgent data member: main::a.none\n"
              "E unknown ObjectAgent data member: main::a.list\n");
    EXPECT_EQ(body("a.text = 5; a.text = a; a.value++; info('on');"),
              "E illegal data type to ObjectAgent data member assignment: main::a.text\n"
              "E illegal data type to ObjectAgent data member assignment: main::a.text\nI on\n");
    EXPECT_EQ(body("a.text += 'x'; a.locked = 1; a.locked++; a.silent = 3;"),
              "E illegal assignment type to ObjectAgent data member: main::a.text\n"
              "E illegal assignment type to ObjectAgent data member: main::a.locked\n"
              "E illegal assignment type to ObjectAgent data member: main::a.locked\n")
        << "every other code is success";
    EXPECT_EQ(body("a.silent; a.odd; a.file; info('on');"), "I on\n");
    EXPECT_EQ(body("x = a.odd;"), "E stack empty, no value to assign to variable main::x\n");
}

TEST_F(AgentObjects, AClassBuildsOnAnother) {
    const std::string classes = use("fake_plain", "Base") + use("fake_full", "Probe", " build on Base");
    EXPECT_EQ(run(classes + "main { a = Probe(5); (c, v, b) = a.who(); info(c, v, ' ', b); info(a.below());"
                            "info(a.deep, ' ', a.value); a.value = 6; info(a.deep); }"),
              "I Probe5 5\nI Base\nI 1005 5\nI 1005\n")
        << "both parts got the argument, and each has data of its own";
    EXPECT_EQ(run(classes + "main { b = Base(2); info(b.below()); b.echo(1); info(b.value); }"),
              "I Base\nE unknown object method: (ObjectAgent)main::b.echo()\n"
              "E unknown ObjectAgent data member: main::b.value\nI (nil)\n");
    EXPECT_EQ(run(classes + "main { b = Base(2); b.deep = 2; }"),
              "E illegal assignment type to ObjectAgent data member: main::b.deep\n")
        << "a class without assigndata";
}

TEST_F(AgentObjects, ObjectsAreSharedAndEndOnce) {
    const int before = made();
    body("b = a; b.value = 7; info(a.value); a = nil; info(b.value);");
    EXPECT_EQ(made() - before, 1);
    EXPECT_EQ(living(), 0) << "main's variables let go at its end";

    run(use("fake_full", "Probe") +
        "g = 0;\nmain { g = Probe(99); g = Probe(1); info('between'); a = g; }\n");
    EXPECT_EQ(collector_.text, "I 99 ends\nI between\n");
    EXPECT_EQ(living(), 1) << "a global keeps it";
}

TEST_F(AgentObjects, FunctionsTakeAndReturnObjects) {
    const std::string script = use("fake_full", "Probe") +
                               "change: p { p.value = p.value + 1; info(p); }\n"
                               "make: v { local = Probe(v); return local; }\n"
                               "lose: v { local = Probe(v); }\n";
    EXPECT_EQ(run(script + "main { a = make(4); change(a); info(a, a.value); lose(99); info('after'); }"),
              "I (ObjectAgent)Probe::p\nI (ObjectAgent)Probe::p5\nI 99 ends\nI after\n");
    EXPECT_EQ(living(), 0);
    run(script + "main { make(1); x = make(3) == make(4); for (i = 0; i < 600; i++) make(i); }");
    EXPECT_LT(living(), 20) << "nobody takes them";
}

TEST_F(AgentObjects, ArraysAndRecordsHoldObjects) {
    const std::string script = "declare record Pair { first, second; }\n" + use("fake_full", "Probe");
    EXPECT_EQ(run(script +
                  "main { var v[3]; v[1] = Probe(1); v[-1] = v[1]; v[2] = Probe(99); x = v[3]; info(x.value);"
                  "v[2] = nil; info('gone'); p = Pair(Probe(3)); q = p; y = q->first; info(y.value); }"),
              "I 1\nI 99 ends\nI gone\nI 3\n");
    EXPECT_EQ(body("var v[2]; v = @ 1, a @; info('not reached');"),
              "E illegal array initializer: (ObjectAgent=\"a\")\n");
}

TEST_F(AgentObjects, ObjectsHaveANameAndCompareByIt) {
    EXPECT_EQ(body("info(a, ' ', Probe(2), ' ' + a); b = Probe(3); info(a == b, a == 'A', b != a); c = a; "
                   "info(a == c);"),
              "I (ObjectAgent)Probe::a (ObjectAgent)Probe::?? (ObjectAgent)Probe::a\nI 011\nI 1\n");
}

TEST_F(AgentObjects, AnAbortedRunLeavesNothingBehind) {
    const std::string script = use("fake_full", "Probe") + "inner: q { l = Probe(2); var z[0]; }\n";
    run(script + "main { a = Probe(1); inner(Probe(3)); }");
    EXPECT_EQ(collector_.text, "E illegal array size (0) for array z\n");
    EXPECT_LE(living(), 1) << "the argument may still be on the stack";
}

TEST_F(AgentObjects, RecursionEndsEveryObjectOnce) {
    const int before = made();
    run(use("fake_full", "Probe") +
        "down: n, p { l = Probe(n); if (n > 0) down(n - 1, p); k = Probe(5); p.value += 1; return k; }\n"
        "main { q = Probe(1); down(20, q); info(q.value); }");
    EXPECT_EQ(collector_.text, "I 22\n");
    EXPECT_EQ(made() - before, 43);
    EXPECT_LE(living(), 20);
}

TEST_F(AgentObjects, AClassIsAskedOnceForEachName) {
    body("a.count(1); x = a.value;");
    const int before = count("fake_asked");
    EXPECT_EQ(
        body("for (i = 0; i < 100; i++) { a.count(i); a.value = a.value + 1; a.absent2; } info(a.value);")
            .substr(0, 10),
        "E unknown ");
    EXPECT_EQ(count("fake_asked") - before, 3);
}

}  // namespace kestrel::agents::test
