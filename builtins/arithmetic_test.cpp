#include "builtins/test_call.h"

#include <limits>

namespace kestrel::test {
namespace {

class ArithmeticTest : public BuiltinTest {};

struct Row {
    const char* name;
    Cells args;
    const char* left;
};

TEST_F(ArithmeticTest, everyInlineRow) {
    const Row rows[] = {
        {"sqrt", {I(2)}, "1.414213562"},
        {"sqrt", {V(1, 4, 9)}, "<1,2,3>"},
        {"exp", {N(1)}, "2.718281828"},
        {"log", {N(10)}, "2.302585093"},
        {"sin", {N(0.5)}, "0.4794255386"},
        {"cos", {V(0, 0.5, 1)}, "<1,0.8775825619,0.5403023059>"},
        {"tan", {N(0.5)}, "0.5463024898"},
        {"asin", {N(0.5)}, "0.5235987756"},
        {"acos", {N(0.5)}, "1.047197551"},
        {"atan", {N(0.5)}, "0.463647609"},
        {"sinh", {N(1)}, "1.175201194"},
        {"cosh", {N(1)}, "1.543080635"},
        {"tanh", {N(1)}, "0.761594156"},
        {"cot", {N(0.5)}, "1.830487722"},
        {"sec", {N(0.5)}, "1.139493927"},
        {"csc", {N(0.5)}, "2.085829643"},
        {"rad", {V(180, 90, -45)}, "<3.141592654,1.570796327,-0.7853981634>"},
        {"deg", {N(1)}, "57.29577951"},
        {"abs", {N(-1.5)}, "1.5"},
        {"abs", {I(-2)}, "2i"},
        {"abs", {V(-1, 2, -3)}, "<1,2,3>"},
        {"ceil", {N(1.2)}, "2i"},
        {"ceil", {V(1.2, -1.2, 4294967297.5)}, "<2,-1,2>"},  // components are cut to 32 bits
        {"floor", {N(1.2)}, "1i"},
        {"floor", {V(1.2, 2.7, -0.5)}, "<2,3,0>"},  // up, not down
        {"mod", {N(-7.5), N(2)}, "-1.5"},
        {"mod", {V(7, 8, 9), V(4, 5, 6)}, "<3,3,3>"},
        {"pow", {I(2), I(10)}, "1024"},
        {"pow", {V(2, 3, 4), V(2, 2, 0.5)}, "<4,9,2>"},
        {"frac", {N(-1.5)}, "-0.5"},
        {"frac", {V(1.25, -2.5, 3)}, "<0.25,-0.5,0>"},
        {"fac", {N(5.9)}, "120"},
        {"fac", {I(13)}, "1932053504i"},  // wrapped around
        {"fac", {I(2e9)}, "0i"},
        {"fac", {V(0, -3, 4)}, "<1,1,24>"},
        {"fac", {nil()}, "nil"},
        {"round", {N(2.7), I(0)}, "2"},
        {"round", {N(-2.7), I(0)}, "-2"},
        {"round", {I(3), N(0.5)}, "3"},
        {"round", {N(2.345), I(2)}, "2.35"},
        {"round", {N(1.23456789), I(-3)}, "1.234568"},
        {"round", {V(1.26, -1.26, 1e300), I(1)}, "<1.3,-1.3,1e+300>"},
        {"round", {N(std::numeric_limits<double>::infinity()), I(3)}, "inf"},
        {"min", {I(3), I(2)}, "2i"},
        {"min", {N(3), I(2)}, "2"},
        {"min", {V(1, 5, 3), V(4, 2, 6)}, "<1,2,3>"},
        {"max", {I(3), I(2)}, "3i"},
        {"max", {I(3.9), I(3.2)}, "3i"},
        {"max", {N(-1), N(-2)}, "-1"},
        {"max", {V(1, 5, 3), V(4, 2, 6)}, "<4,5,6>"},
        {"range", {I(5), I(0), I(1)}, "5"},
        {"select", {I(1), I(2), I(7), N(8)}, "7i"},
        {"select", {I(2), I(2), I(7), N(8)}, "8"},
        {"step", {N(0.5), N(0.4), I(9)}, "0i"},
        {"step", {N(0.5), N(0.5), I(9)}, "9i"},
        {"step", {N(0.5), N(0.6), V(1, 2, 3)}, "<1,2,3>"},
        {"step", {N(0.5), N(0.4), S("text")}, "''"},
        {"step", {N(0.5), N(0.6), S("text")}, "'text'"},
        {"vmag", {V(2, 3, 6)}, "7"},
        {"vmag", {N(2), I(3), N(6)}, "7"},
        {"vmag", {N(3), N(4)}, "5"},
        {"vmag", {}, "0"},
        {"cross3d", {V(1, 2, 3), V(4, 5, 6)}, "<-3,6,-3>"},
        {"dot3d", {V(1, 2, 3), V(4, 5, 6)}, "32"},
        {"cross2d", {N(1), N(2), N(3), N(5)}, "-1"},
        {"dot2d", {N(1), N(2), N(3), N(4)}, "-5"},  // a difference
        {"hypot", {N(3), N(4)}, "3 4"},
        {"gamma", {N(5)}, "5"},
        {"translate", {N(1), N(2), S("x")}, ""},
        {"runningUnder", {}, "1i"},
    };
    for (const Row& row : rows) EXPECT_EQ(call(row.name, row.args), row.left) << row.name;
    EXPECT_TRUE(shown.empty());
    EXPECT_EQ(ctx.pool.liveBlocks(), 0u);  // argument texts are released
}

TEST_F(ArithmeticTest, anyCellIsAcceptedAndNoMarkComesOut) {
    for (const BuiltinEntry& row : library.table().rows()) {
        const bool inlineRow = row.argCount > 0 && (row.id <= 42 || (row.id >= 71 && row.id <= 74));
        if (!inlineRow || row.name == "hypot" || row.name == "gamma") continue;
        for (const ValueCell& cell : {nil(), S("text"), A(nullptr), V(1, 2, 3), ValueCell::ofCount(9)}) {
            const std::string left = call(row.name, Cells(static_cast<std::size_t>(row.argCount), cell));
            EXPECT_EQ(left.find("return"), std::string::npos) << row.name;
        }
    }
    EXPECT_TRUE(shown.empty());
    EXPECT_EQ(ctx.pool.liveBlocks(), 0u);
}

TEST_F(ArithmeticTest, randomFollowsItsGenerator) {
    EXPECT_EQ(call("random", {I(3), N(3.7)}), "3i");  // no choice, no draw
    EXPECT_EQ(call("random", {N(3.7), I(3)}), "3.7i");
    EXPECT_EQ(ctx.randomState, 1u);
    for (const char* expected : {"41i", "18467i", "6334i", "26500i", "19169i"})
        EXPECT_EQ(call("random", {I(0), I(32767)}), expected);
    EXPECT_EQ(call("randu", {I(1)}), "0.001251258889");
    EXPECT_EQ(call("randu", {}), "0.5635853145");

    ctx.randomState = 7;
    const std::string forward = call("random", {N(1.5), N(5.5)});
    ctx.randomState = 7;
    EXPECT_EQ(call("random", {N(5.5), N(1.5)}), forward);
    for (int i = 0; i < 100; ++i) {
        const double r = std::stod(call("random", {I(-2), I(3)}));
        EXPECT_TRUE(r >= -2.0 && r <= 3.0) << r;
    }
    const double nan = std::numeric_limits<double>::quiet_NaN();
    call("random", {I(5), N(nan)});  // comes to an end
    call("random", {N(-1e300), N(1e300)});
}

}  // namespace
}  // namespace kestrel::test
