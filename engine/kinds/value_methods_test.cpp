#include "engine/operations/members.h"
#include "engine/operations/storage.h"
#include "engine/test_support.h"

#include <cmath>
#include <cstring>
#include <functional>
#include <sstream>

namespace kestrel::test {

class ValueMethods : public EngineTest {
protected:
    /// Calls a method and shows what it leaves on the stack and says.
    std::string call(Variable& object, const char* name, const Cells& args = {}) {
        CodeNode& node = emit(OP_CALL, &variable(name));
        node.argc = static_cast<int>(args.size());
        node.name = ctx.kinds().names().find(name);
        for (const ValueCell& cell : args) push(cell);
        callMethod(ctx, node, object);
        return takeMessages() + popAll();
    }
    std::string call(const ValueCell& value, const char* name, const Cells& args = {}) {
        return call(variable("v", value), name, args);
    }
};

TEST_F(ValueMethods, GiveTheResultOfEveryKind) {
    Variable* const objects[] = {&variable("n", N(2.5)),
                                 &variable("i", I(7)),
                                 &variable("v", V(1.5, 2, -0.5)),
                                 &variable("s", S("12.5_x")),
                                 &array("a", {nil(), S("0"), I(2.5), S("4.5"), N(6), N(7)}),
                                 &variable("none")};
    // clang-format off
    constexpr const char* kTable[] = {
        // method  number         integer     vector         text        array      never assigned
        "size    2.5            7i          1i             6i          6i         0i",
        "count   1i             1i          1i             6i          5i         0i",
        "asInt   2i             7i          0i             12i         0i         0i",
        "asNum   2.5            7           0              12.5        0          0",
        "asVec   <2.5,2.5,2.5>  <7,7,7>     <1.5,2,-0.5>   <12.5,0,0>  <2,4.5,6>  <0,0,0>",
        "asStr   '2.5'          '7'         '<1.5,2,-0.5>' '12.5_x'    ''         ''",
        "isNil   0i             0i          0i             0i          0i         1i",
        "isInt   0i             1i          0i             0i          0i         0i",
        "isStr   0i             0i          0i             1i          0i         0i",
        "isNum   1i             0i          0i             0i          0i         0i",
        "isVec   0i             0i          1i             0i          0i         0i",
        "isArray 0i             0i          0i             0i          1i         0i",
        "trunc   2              7i          <1,2,0>        '12.5_x'    0i         0i",
        "pack    0i             0i          0i             '12.5_x'    0i         0i",
        "sortA   0i             0i          0i             '.125_x'    1i         0i",
        "sortD   0i             0i          0i             'x_521.'    1i         0i",
    };
    // clang-format on
    for (const char* line : kTable) {
        std::istringstream row(line);
        std::string name;
        row >> name;
        const char* method = ctx.program->makeText(name);
        for (Variable* object : objects) {
            std::string expected;
            row >> expected;
            EXPECT_EQ(call(*object, method), expected) << object->name << '.' << name;
        }
    }
    // What the methods left behind.
    EXPECT_EQ(show(load(*objects[0])), "2");
    EXPECT_EQ(show(load(*objects[2])), "<1,2,0>");
    EXPECT_EQ(show(load(*objects[3])), "'x_521.'");
    objects[5]->type = Array;  // marked by indexing, but no array yet
    EXPECT_EQ(call(*objects[5], "isNil") + call(*objects[5], "isArray"), "1i0i");
    EXPECT_EQ(call(ValueCell::ofObject(ShaderObj, nullptr), "isNil"), "0i");
}

TEST_F(ValueMethods, PrintInFields) {
    EXPECT_EQ(call(I(7), "asStr", {I(3), I(1)}), "'007'");
    EXPECT_EQ(call(I(-7), "asStr", {I(4), I(1)}), "'-007'");
    EXPECT_EQ(call(I(7), "asStr", {I(-3), I(1)}), "'7  '");
    EXPECT_EQ(call(I(7), "asStr", {N(5)}), "'7'");  // a Number width is for Numbers only
    EXPECT_EQ(call(N(3.14159), "asStr", {N(6.2)}), "'   3.1'");
    EXPECT_EQ(call(N(-3.14159), "asStr", {N(8.3), I(1)}), "'-0003.14'");
    EXPECT_EQ(call(N(3.14159), "asStr", {N(-6.2)}), "'3.1   '");
    EXPECT_EQ(call(N(3.14159), "asStr", {N(0.3)}), "'3.14'");
    EXPECT_EQ(call(N(3.14159), "asStr", {I(6)}), "'3.14159'");
    EXPECT_EQ(call(N(3.14159), "asStr", {N(1e9)}), "'3.14159'");  // "%1e+09g" is no conversion
    EXPECT_EQ(call(N(INFINITY), "asStr", {N(6), I(1)}), "'   inf'");
    EXPECT_EQ(call(S("ab"), "asStr", {I(4)}), "'ab  '");
    EXPECT_EQ(call(S("ab"), "asStr", {I(4), I(1)}), "'  ab'");
    EXPECT_EQ(call(S("abcde"), "asStr", {I(4)}), "'abcde'");
    EXPECT_EQ(call(I(7), "asStr", {I(4e18)}), "Line 1, memory exhausted!  Cannot continue!\n");
}

TEST_F(ValueMethods, ChangeTextsInPlace) {
    const auto changes = [&](const char* text, const char* method) {
        Variable& v = variable("v", S(text));
        const std::string result = call(v, method);
        EXPECT_EQ(result, show(load(v)));
        return result;
    };
    EXPECT_EQ(changes("  ab  ", "pack"), "'ab  '");
    EXPECT_EQ(changes(" \t\n", "pack"), "''");
    EXPECT_EQ(changes("ab \t", "trunc"), "'ab'");
    EXPECT_EQ(changes("a   ", "trunc"), "''");  // the first character is never looked at
    EXPECT_EQ(changes(" ", "trunc"), "' '");
    EXPECT_EQ(changes("", "trunc"), "''");
    EXPECT_EQ(changes("b\351a", "sortA"), "'\351ab'");  // signed bytes
}

TEST_F(ValueMethods, PackTrimAndSortArrays) {
    const auto changes = [&](const Cells& elements, const char* method) {
        Variable& a = array("a", elements);
        const std::string result = call(a, method);
        return result + ": " + showElements(a);
    };
    EXPECT_EQ(changes({I(1), nil(), S("x")}, "pack"), "0i: 1i 'x' nil");
    EXPECT_EQ(changes({I(1), I(3), nil()}, "pack"), "2i: 1i 3i nil");
    EXPECT_EQ(changes({I(1)}, "pack"), "1i: 1i");
    EXPECT_EQ(changes({I(1), nil(), I(2), nil(), nil()}, "trunc"), "3i: 1i nil 2i");
    EXPECT_EQ(changes({nil(), nil()}, "trunc"), "0i: nil nil");
    EXPECT_EQ(changes({I(3), I(1), S("a"), I(2)}, "sortA"), "0i: 1i 3i 'a' 2i");
    EXPECT_EQ(changes({nil(), N(1), N(2), N(3)}, "sortD"), "0i: 3 2 1 nil");
    EXPECT_EQ(changes({N(2), I(1)}, "sortA"), "1i: 2 1i");
    EXPECT_EQ(changes({V(1, 2, 3), V(0, 0, 0)}, "sortA"), "1i: <1,2,3> <0,0,0>");
    EXPECT_EQ(changes({S("a"), S("b"), S("c")}, "sortD"), "0i: 'c' 'a' 'b'");  // never was a descending order
}

/// Every fast way of sorting must end where the defining loop ends.
TEST_F(ValueMethods, SortAsTheExchangeLoopDoes) {
    const auto key = [](const ValueCell& c) { return c.type == Integer ? std::trunc(c.number) : c.number; };
    const auto swaps = [&](const ValueCell& a, const ValueCell& b, bool ascending) {
        if (!a.isText()) return ascending ? key(a) < key(b) : key(a) > key(b);
        const int order = std::strcmp(a.text, b.text);
        return ascending ? order < 0 : order != 0;
    };
    using Maker = std::function<ValueCell(double)>;
    const Maker makers[] = {I, [](double v) { return I(v / 8); },  // equal when truncated, yet different
                            [](double v) {
                                return N(v < 2 ? -0.0 : v < 4 ? 0.0 : v);
                            },
                            [](double v) { return N(v < 4 ? NAN : v); },
                            [this](double v) { return S(ctx.program->makeText(formatG(v))); }};
    std::uint32_t seed = 1;
    const auto random = [&seed] { return (seed = seed * 1664525U + 1013904223U) >> 16; };
    for (std::size_t size : {2U, 3U, 4U, 31U, 33U, 70U, 101U})
        for (const Maker& make : makers)
            for (bool ascending : {true, false}) {
                Cells cells;
                while (cells.size() < size) cells.push_back(make(random() % 20));
                Variable& a = array("a", cells);
                EXPECT_EQ(call(a, ascending ? "sortA" : "sortD"), "0i");
                for (ValueCell& x : cells)
                    for (ValueCell& y : cells)
                        if (swaps(x, y, ascending)) std::swap(x, y);
                EXPECT_EQ(showElements(a), showElements(array("expected", cells)))
                    << size << " like " << &make - makers << (ascending ? " up" : " down");
            }
}

}  // namespace kestrel::test
