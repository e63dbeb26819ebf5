#include "builtins/test_call.h"
#include "engine/operations/text.h"

namespace kestrel::test {

class HandlersTest : public BuiltinTest {};

TEST_F(HandlersTest, conversionsAndSizes) {
    ArrayRecord* holes = makeElements({N(1), nil(), S("x"), ValueCell::ofMark(Uninitialized)});
    expectRows({
        {"size", {N(9)}, "1i"},
        {"sizeof", {V(1, 2, 3)}, "3i"},
        {"size", {S("four")}, "4i"},
        {"size", {A(holes)}, "2i"},
        {"number", {S("x12")}, "12i"},
        {"number", {S("v1.5")}, "1.5"},
        {"number", {S("3.14159265")}, "3.141592741"},  // single precision
        {"number", {S("a-+-7b")}, "-7i"},
        {"number", {S("-.5")}, "0.5"},    // the sign does not touch a digit
        {"number", {S("7 and .")}, "7"},  // a point anywhere
        {"number", {S("abc")}, "nil"},
        {"integer", {N(-2.9)}, "-2i"},
        {"integer", {N(-0.9)}, "0i"},
        {"integer", {S("x.5")}, "5i"},
        {"integer", {S("-12.9")}, "-12i"},
        {"integer", {S("")}, "nil"},
        {"vector", {S("at 1 -2.5 3e1!")}, "<1,-2.5,30>"},
        {"vector", {S("1 2")}, "nil"},
        {"vector", {S("1,2,3")}, "nil"},
    });
}

TEST_F(HandlersTest, boxesInEveryForm) {
    ArrayRecord* corners = makeElements({V(0, 0, 0), V(2, 4, 6), nil()});
    expectRows({
        {"center", {V(0, 0, 0), V(2, 4, 6)}, "<1,2,3>"},
        {"extent", {V(1, 1, 0), V(2, 4, 6)}, "<1,3,6>"},
        {"center", {A(corners)}, "<1,2,3>"},
        {"center", {V(0, 0, 0), I(4), ValueCell::ofCount(2)}, "<2,2,2>", 1},
        {"center", {N(1), I(2), N(3), N(5), N(6), I(7)}, "<3,4,5>"},
        {"extent", {N(1), N(3)}, "<2,2,2>"},
    });
}

TEST_F(HandlersTest, transforms) {
    constexpr double kQuarter = 1.5707963267948966;
    expectRows({
        {"translate3d", {V(1, 2, 3), V(10, 20, 30)}, "<11,22,33>"},
        {"scale3d", {V(2, 3, 4), V(1, 1, -1)}, "<2,3,-4>"},
        {"rotate3d", {I(1), N(kQuarter), V(1, 1, 0), V(1, 0, 0)}, "<1,6.123233996e-17,1>"},
        {"rotate3d", {S("zebra"), N(kQuarter), V(2, 0, 0)}, "<1.224646799e-16,2,0>"},
        {"rotate3d", {S("Y"), N(0.5), V(1, 0, 1)}, "<0.3981570233,0,0.3981570233>"},  // both sines negative
    });

    ArrayRecord* points = makeElements({V(1, 1, 1), N(5), V(2, 2, 2)});
    EXPECT_EQ(call("rotate3d", {N(3), N(0), A(points), V(9, 9, 9)}), "");
    EXPECT_EQ(call("translate3d", {V(1, 0, 0), A(points)}), "");
    EXPECT_EQ(show(points->elements[0]), "<2,1,1>");
    EXPECT_EQ(show(points->elements[1]), "5");
    EXPECT_EQ(show(points->elements[2]), "<3,2,2>");
}

TEST_F(HandlersTest, angleKeepsItsScale) {
    expectRows({
        {"angle", {V(-1, 0, 0), V(0, -1, 0), I(3)}, "90"},
        {"angle", {V(1, 1, 0), V(1, 0, 0), N(3.9)}, "45.005"},  // an exact hit at step 9001
        {"angle", {V(-1, 1, 0), V(0, 1, 0), I(3)}, "44.995"},
        {"angle", {V(-1, -1, 0), V(1, 0, 0), I(3)}, "225.005"},
        {"angle", {V(1, -1, 0), V(1, -1, 0), I(3)}, "0.01"},  // the fourth quadrant is not the same for both
        {"angle", {V(0, 1, 2), V(0, 0, 1), I(1)}, "26.57"},   // u = z, w = y
        {"angle", {V(2, 0, 1), V(1, 0, 0), I(2)}, "26.57"},   // u = x, w = z
        {"angle", {V(1e-9, 1, 0), V(1, 0, 0), I(3)}, "90"},   // rounded to six decimals first
        {"angle", {V(1, 0, 0), V(0, 1, 0), I(4)}, "0"},
        {"angle", {V(0, 0, 1), V(0, 1, 0), I(3)}, "0"},  // nothing left of the first in this plane
    });
}

TEST_F(HandlersTest, arrayMakesUnassignedElements) {
    EXPECT_EQ(call("array", {N(2.9), I(3)}), "type 96");
    ASSERT_EQ(ctx.arrays.size(), 1u);
    EXPECT_EQ(ctx.arrays[0]->count(), 6);
    EXPECT_EQ(ctx.arrays[0]->dims[0], 2);
    EXPECT_EQ(ctx.arrays[0]->elements[5].type, Uninitialized);
    call("array", {I(0)});
    EXPECT_EQ(ctx.arrays[1]->count(), 0);
}

TEST_F(HandlersTest, messagesJoinTheirPieces) {
    const ValueCell file = fileNamed("\\a.txt");
    ArrayRecord* array =
        makeElements({N(0.5), S("100%d"), ValueCell::ofMark(Uninitialized), nil(), file, V(1, 2, 3)});
    const std::string x(300, 'x'), y(211, 'y'), tooLong(212, 'z');
    const std::vector<Row> rows = {
        {"info", {N(1.5), I(2.9), V(1, 2, 3), nil(), S("t")}, "1.52<1,2,3>(nil)t"},
        {"info", {S("50% %d"), file}, "50% %d(FILEOBJ)\"\\a.txt\""},
        {"info", {A(array)}, "0.5 100 (nil) \\a.txt <1,2,3>"},  // a "%" of an element acts as in a format
        {"info", {S(x.c_str()), S(tooLong.c_str()), S(y.c_str())}, x + y},
        {"info", {}, ""},
        {"warn", {S("w")}, "w"},
        {"error", {S("e")}, "e"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(call(row.name, row.args), "");
        EXPECT_EQ(shown.back().line2, row.left);
    }
    EXPECT_EQ(shown[4].kind, MessageKind::Info);
    EXPECT_EQ(shown[5].kind, MessageKind::Warning);
    EXPECT_EQ(shown[6].kind, MessageKind::Error);
}

TEST_F(HandlersTest, everyArgumentErrorReportsAndYieldsOneNil) {
    ArrayRecord* array = makeElements({V(1, 1, 1)});
    RecordInstance record{ctx.pool};
    const ValueCell recordCell = ValueCell::ofObject(UserRecord, &record);
    const ValueCell v = V(1, 2, 3);
    const std::vector<Row> rows = {
        {"extent", Cells(7, N(1)), "invalid argument count to extent()"},
        {"center", {A(array)}, "invalid argument count to center(): found 1, expecting 1"},
        {"extent", {N(1), N(2), N(3), ValueCell::ofCount(3)}, "invalid argument count 3 to extent()", 1},
        {"center", {N(1), S("x"), ValueCell::ofCount(2)}, "invalid argument 1 type to center()", 1},
        {"center", {N(1), N(2), N(3)}, "invalid argument 1 type to center()"},
        {"sizeof", {recordCell}, "invalid argument 1 type to size()"},
        {"number", {N(3)}, "invalid argument 1 type to number()"},
        {"integer", {nil()}, "invalid argument 1 type to integer()"},
        {"vector", {v}, "invalid argument 1 type to vector()"},
        {"randu", {N(1), N(2)}, "invalid argument count to randu()"},
        {"randu", {S("1")}, "invalid argument 1 type to randu()"},
        {"array", {}, "invalid argument count to array()"},
        {"array", Cells(11, N(1)), "invalid argument count to array()"},
        {"array", {S("x"), N(1), nil()}, "invalid argument 3 type to array()"},
        {"translate3d", {N(1), N(1)}, "invalid argument 2 type to translate3d()"},
        {"translate3d", {N(1), v}, "invalid argument 1 type to translate3d()"},
        {"scale3d", {S("x"), v}, "invalid argument 1 type to scale3d()"},
        {"rotate3d", {N(1), N(1)}, "invalid argument count to rotate3d()"},
        {"rotate3d", {N(9), S("x"), N(1), N(1)}, "invalid argument 4 type to rotate3d()"},
        {"rotate3d", {N(9), S("x"), N(1), v}, "invalid argument 3 type to rotate3d()"},
        {"rotate3d", {N(9), S("x"), v}, "invalid argument 2 type to rotate3d()"},
        {"rotate3d", {S("w"), N(1), v}, "invalid argument 1 type to rotate3d()"},
        {"angle", {N(1), N(1), S("x")}, "invalid argument 3 type to angle()"},
        {"angle", {N(1), N(1), N(3)}, "invalid argument 2 type to angle()"},
        {"angle", {N(1), v, N(3)}, "invalid argument 1 type to angle()"},
        {"angle", {V(1e-7, 0, 0), v, N(3)}, "argument 1 invalid vector to angle()"},
        {"angle", {v, V(0, 0, 0), N(3)}, "argument 2 invalid vector to angle()"},
        {"store", {S("k"), A(array)}, "unsupported argument 2 type to store()"},
        {"store", {N(1), N(1)}, "invalid argument 1 type to store()"},
        {"globalstore", {S("k"), recordCell}, "illegal data type provided to globalstore()"},
        {"recall", {}, "invalid argument count to recall()"},
        {"recall", {N(1)}, "invalid argument 1 type to recall()"},
        {"recall", {S("k"), N(1), ValueCell::ofCount(2)}, "invalid argument 1 type to recall()", 1},
        {"recall", {S("k"), A(array)}, "unsupported return 2 type to recall()"},
        {"getvalue", {S("x")}, "getvalue() is not available"},
    };
    expectErrors(rows);
}

}  // namespace kestrel::test
