#include "builtins/test_call.h"

#include <limits>
#include <utility>

namespace kestrel::test {

class ArithmeticTest : public BuiltinTest {};

TEST_F(ArithmeticTest, functionsOfOneNumberAlsoWorkByComponent) {
    const std::pair<const char*, const char*> atHalf[] = {
        {"sqrt", "0.7071067812"}, {"exp", "1.648721271"},   {"log", "-0.6931471806"},
        {"sin", "0.4794255386"},  {"cos", "0.8775825619"},  {"tan", "0.5463024898"},
        {"asin", "0.5235987756"}, {"acos", "1.047197551"},  {"atan", "0.463647609"},
        {"sinh", "0.5210953055"}, {"cosh", "1.127625965"},  {"tanh", "0.4621171573"},
        {"cot", "1.830487722"},   {"sec", "1.139493927"},   {"csc", "2.085829643"},
        {"abs", "0.5"},           {"rad", "0.00872664626"}, {"deg", "28.64788976"},
        {"frac", "0.5"}};
    for (const auto& [name, value] : atHalf) {
        const std::string v = value;
        EXPECT_EQ(call(name, {N(0.5)}), v) << name;
        EXPECT_EQ(call(name, {V(0.5, 0.5, 0.5)}), "<" + v + "," + v + "," + v + ">") << name;
    }
}

TEST_F(ArithmeticTest, everyOtherRow) {
    expectRows({
        {"sqrt", {I(2)}, "1.414213562"},
        {"abs", {N(-1.5)}, "1.5"},
        {"abs", {I(-2)}, "2i"},
        {"ceil", {N(1.2)}, "2i"},
        {"ceil", {V(1.2, -1.2, 4294967297.5)}, "<2,-1,2>"},  // components are cut to 32 bits
        {"floor", {N(1.2)}, "1i"},
        {"floor", {V(1.2, 2.7, -0.5)}, "<2,3,0>"},  // up, not down
        {"mod", {N(-7.5), N(2)}, "-1.5"},
        {"mod", {V(7, 8, 9), V(4, 5, 7)}, "<3,3,2>"},
        {"pow", {V(2, 3, 4), V(2, 2, 0.5)}, "<4,9,2>"},
        {"frac", {V(1.25, -2.5, 3)}, "<0.25,-0.5,0>"},
        {"fac", {I(13)}, "1932053504i"},  // wrapped around
        {"fac", {I(2e9)}, "0i"},
        {"fac", {V(0, -3, 4.9)}, "<1,1,24>"},
        {"fac", {nil()}, "nil"},
        {"round", {N(-2.7), I(0)}, "-2"},
        {"round", {N(-0.7), N(0.5)}, "0"},
        {"round", {N(1.23456789), I(-3)}, "1.234568"},
        {"round", {V(1.26, -1.26, 1e300), I(1)}, "<1.3,-1.3,1e+300>"},
        {"round", {N(std::numeric_limits<double>::infinity()), I(3)}, "inf"},
        {"min", {I(3), I(2)}, "2i"},
        {"min", {N(3), I(2)}, "2"},
        {"min", {V(1, 5, 3), V(4, 2, 6)}, "<1,2,3>"},
        {"max", {I(3.9), I(3.2)}, "3i"},
        {"max", {V(1, 5, 3), V(4, 2, 6)}, "<4,5,6>"},
        {"select", {I(1), I(2), I(7), N(8)}, "7i"},
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
        {"hypot", {N(3), N(4)}, "3 4"},
        {"gamma", {N(5)}, "5"},
        {"translate", {N(1), N(2), S("x")}, ""},
        {"runningUnder", {}, "1i"},
    });
    EXPECT_EQ(ctx.pool.liveBlocks(), 0u);  // argument texts are released
}

TEST_F(ArithmeticTest, anyCellIsAcceptedAndNoMarkComesOut) {
    for (const BuiltinEntry& row : library.table().rows()) {
        const bool unchecked = row.family == BuiltinFamily::Scalar || row.family == BuiltinFamily::Inline;
        if (!unchecked || row.argCount <= 0 || row.name == "hypot" || row.name == "gamma") continue;
        for (const ValueCell& cell : {nil(), S("text"), A(nullptr), V(1, 2, 3), ValueCell::ofCount(9)}) {
            const std::string left = call(row.name, Cells(static_cast<std::size_t>(row.argCount), cell));
            EXPECT_EQ(left.find("return"), std::string::npos) << row.name;
        }
    }
    EXPECT_TRUE(shown.empty());
    EXPECT_EQ(ctx.pool.liveBlocks(), 0u);
}

TEST_F(ArithmeticTest, randomFollowsItsGenerator) {
    EXPECT_EQ(call("random", {N(3.7), I(3)}), "3.7i");  // no choice, no draw
    EXPECT_EQ(ctx.randomState, 1u);
    for (const char* expected : {"41i", "18467i", "6334i"})
        EXPECT_EQ(call("random", {I(0), I(32767)}), expected);
    // Draws above the span are thrown away; the bounds may come in either order.
    for (const char* expected : {"1i", "2i", "-1i", "-2i"})
        EXPECT_EQ(call("random", {N(2.5), N(-2.5)}), expected);
    EXPECT_EQ(call("randu", {N(1.9)}), "0.001251258889");
    EXPECT_EQ(call("randu", {}), "0.5635853145");
    call("random", {I(5), N(std::numeric_limits<double>::quiet_NaN())});  // comes to an end
    call("random", {N(-1e300), N(1e300)});
}

}  // namespace kestrel::test
