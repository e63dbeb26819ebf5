#include "engine/kinds/record_kind.h"
#include "engine/run/instructions.h"
#include "engine/test_support.h"

#include <algorithm>
#include <map>
#include <sstream>

namespace kestrel::test {

constexpr const char* kArithmeticError = "Line 1, illegal arithmetic operation on data type\n";
constexpr const char* kZeroError = "Line 1, illegal division by zero detected\n";

class Operators : public EngineTest {
protected:
    std::string apply(const ValueCell& left, int op, const ValueCell& right) {
        push(left);
        push(right);
        arithmetic(ctx, op);
        return popAll();
    }
    /// @return the outcome, or "E" for the arithmetic error (with the abort flag and an empty stack)
    std::string outcome(const ValueCell& left, int op, const ValueCell& right) {
        std::string text = apply(left, op, right);
        const std::string message = takeMessages();
        if (message.empty()) return text;
        EXPECT_EQ(message, kArithmeticError);
        EXPECT_TRUE(std::exchange(ctx.run.abort, false));
        EXPECT_EQ(text, "");
        return "E";
    }
    RecordInstance record_{ctx.pool};
};

TEST_F(Operators, GiveTheResultOfEveryPairOfTypes) {
    std::int64_t one = 1;
    ArrayRecord* array = makeArray(ctx, {&one, 1}, Nil);
    const std::map<char, ValueCell> others = {{'0', nil()},
                                              {'F', named("f")},
                                              {'R', ValueCell::ofObject(UserRecord, &record_)},
                                              {'A', ValueCell::ofArray(array, nullptr)}};
    std::map<char, ValueCell> lefts = {{'I', I(7)},
                                       {'N', N(7.5)},
                                       {'V', V(4, 6, 8)},
                                       {'S', S("abab")},
                                       {'e', ValueCell::ofNode(Array, nullptr)}};
    std::map<char, ValueCell> rights = {{'I', I(2)}, {'N', N(2.5)}, {'V', V(1, 2, 4)}, {'S', S("b")}};
    lefts.insert(others.begin(), others.end());
    rights.insert(others.begin(), others.end());

    constexpr int kOps[] = {OP_ADD, OP_SUB,   OP_MUL,    OP_DIV, OP_MOD,
                            OP_XOR, OP_BITOR, OP_BITAND, OP_SHL, OP_SHR};
    // A pair that is not listed is an error for every operator.
    // clang-format off
    const std::map<std::string, const char*> table = {
        // +             -         *           /              %             ^        |         &   <<           >>
        {"II", "9i       5i        14i         3.5            1i            5i       7i        2i  28i          1i"},
        {"IN", "9.5      4.5       17.5        2.8            2             5i       7i        2i  28i          1i"},
        {"IV", "<8,9,11> <6,5,3>   <7,14,28>   <7,3.5,1.75>   <0,1,3>       E        E         E   E            E"},
        {"NI", "9.5      5.5       15          3.75           E             5i       7i        2i  28i          1i"},
        {"NN", "10       5         18.75       3              0             5i       7i        2i  28i          1i"},
        {"NV", "<8.5,9.5,11.5> <6.5,5.5,3.5> <7.5,15,30> <7.5,3.75,1.875> <0.5,1.5,3.5> E E    E   E            E"},
        {"VI", "<6,8,10> <2,4,6>   <8,12,16>   <2,3,4>        <0,0,0>       E        <6,6,10>  E   <16,24,32>   <1,1,2>"},
        {"VN", "<6.5,8.5,10.5> <1.5,3.5,5.5> <10,15,20> <1.6,2.4,3.2> <1.5,1,0.5> E  <6,6,10>  E   <16,24,32>   <1,1,2>"},
        {"VV", "<5,8,12> <3,4,4>   <4,12,32>   <4,3,2>        <0,0,0>       <8,-8,2> <5,6,12>  48  <8,24,128>   <2,1,0>"},
        {"SI", "'abab2'       E     'abababab'  E     E E E E E E"},
        {"SN", "'abab2.5'     E     'abababab'  E     E E E E E E"},
        {"SV", "'abab1_2_4'   E     E           E     E E E E E E"},
        {"SS", "'ababb'       'aab' E           'aa'  E E E E E E"},
        {"S0", "'abab'        E     E           E     E E E E E E"},
        {"SF", "'abab(FILEOBJ)\"f\"' E E        E     E E E E E E"},
    };
    // clang-format on
    const std::size_t blocks = ctx.pool.liveBlocks();
    for (const auto& [l, left] : lefts)
        for (const auto& [r, right] : rights) {
            const auto row = table.find({l, r});
            std::istringstream expected(row != table.end() ? row->second : "E E E E E E E E E E");
            for (int op : kOps) {
                std::string wanted;
                expected >> wanted;
                std::replace(wanted.begin(), wanted.end(), '_', ' ');
                if (l == 'e') wanted = "#57";  // an element reference stays where it is
                EXPECT_EQ(outcome(left, op, right), wanted) << l << ' ' << op << ' ' << r;
            }
        }
    EXPECT_EQ(ctx.pool.liveBlocks(), blocks);
}

TEST_F(Operators, KeepTheirEdges) {
    EXPECT_EQ(outcome(S("aabb"), OP_DIV, S("ab")), "''");  // an occurrence that a removal made goes too
    EXPECT_EQ(outcome(S("ababa"), OP_DIV, S("aba")), "'ba'");
    EXPECT_EQ(outcome(S("ab"), OP_DIV, S("")), "'ab'");
    EXPECT_EQ(outcome(S("ab"), OP_SUB, S("")), "'ab'");
    EXPECT_EQ(outcome(S("ab"), OP_MUL, N(-3)), "''");
    EXPECT_EQ(outcome(S(""), OP_MUL, N(1e18)), "''");
    EXPECT_EQ(outcome(V(4, 4, 4), OP_DIV, V(2, 0, 1)), "<2,0,4>");
    EXPECT_EQ(outcome(V(4, 4, 4), OP_DIV, I(0)), "<0,0,0>");
    EXPECT_EQ(outcome(I(-7), OP_MOD, I(2)), "-1i");
    EXPECT_EQ(outcome(I(-2147483648.0), OP_MOD, I(-1)), "0i");
    EXPECT_EQ(outcome(I(5), OP_SHL, I(33)), "10i");
    EXPECT_EQ(outcome(I(-8), OP_SHR, I(1)), "-4i");
    EXPECT_EQ(outcome(I(1), OP_SHL, I(-1)), "-2.14748e+09i");
    EXPECT_EQ(outcome(ValueCell::ofNode(VarRef, nullptr), OP_ADD, I(2)), "2");
    EXPECT_EQ(outcome(S("x"), OP_ADD, ValueCell::ofNode(VarRef, nullptr)), "'x0'");
    EXPECT_EQ(outcome(S("x"), OP_ADD, ValueCell::ofObject(FileObj, nullptr)), "E");
    for (const ValueCell& zero : {I(0), N(-0.0)}) {
        EXPECT_EQ(apply(I(1), OP_DIV, zero), "");
        EXPECT_EQ(takeMessages(), kZeroError);
    }
    apply(I(1), OP_MOD, I(0.5));  // truncated, that is zero
    EXPECT_EQ(takeMessages(), kZeroError);
}

TEST_F(Operators, ReportMissingOperandsAndExhaustedMemory) {
    push(I(1));
    arithmetic(ctx, OP_ADD);
    compare(ctx, OP_EQ);
    executeCompound(ctx, emit(OP_ADDASSIGN));
    EXPECT_EQ(takeMessages(), "Line 1, stack empty\nLine 1, stack empty\nLine 1, stack empty\n");
    EXPECT_EQ(popAll(), "1i");
    ctx.pool.setLimit(std::size_t{1} << 20);
    for (double times : {2e6, 2e9, 1e300}) {
        EXPECT_EQ(apply(S("xy"), OP_MUL, N(times)), "");
        EXPECT_EQ(takeMessages(), "Line 1, memory exhausted!  Cannot continue!\n") << times;
    }
}

}  // namespace kestrel::test
