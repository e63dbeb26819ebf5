#include "engine/run/instructions.h"
#include "engine/test_support.h"

#include <cmath>

namespace kestrel::test {

class Compare : public EngineTest {
protected:
    /// The operators that hold.
    std::string holds(const ValueCell& left, const ValueCell& right) {
        constexpr std::pair<int, const char*> kOperators[] = {{OP_LT, "< "},  {OP_GT, "> "},  {OP_LE, "<= "},
                                                              {OP_GE, ">= "}, {OP_EQ, "== "}, {OP_NE, "!= "}};
        std::string names;
        for (const auto& [op, name] : kOperators) {
            push(left);
            push(right);
            compare(ctx, op);
            if (popAll() == "1i") names += name;
        }
        EXPECT_EQ(takeMessages(), "");
        return names.substr(0, names.size() - (names.empty() ? 0 : 1));
    }
};

constexpr const char* kLess = "< <= !=";
constexpr const char* kGreater = "> >= !=";
constexpr const char* kEqual = "<= >= ==";

TEST_F(Compare, NumbersOnTheLeft) {
    EXPECT_EQ(holds(N(1.5), I(1)), kGreater);
    EXPECT_EQ(holds(N(1), I(1)), kEqual);
    EXPECT_EQ(holds(N(0), N(1e-31)), kEqual);  // lost in what is added to both sides
    EXPECT_EQ(holds(N(2.5), S(" 2.5 apples")), kEqual);
    EXPECT_EQ(holds(N(1), S("apples")), kGreater);
    for (const ValueCell& other : {nil(), V(5, 5, 5), ValueCell::ofObject(UserRecord, nullptr)})
        EXPECT_EQ(holds(N(5), other), kLess);  // compared with itself plus one
    EXPECT_EQ(holds(N(NAN), N(NAN)), "!=");
    EXPECT_EQ(holds(I(1), N(1.5)), kEqual);  // truncated, unlike the other way round
    EXPECT_EQ(holds(I(3e9), I(3e9 + 1)), kLess);
    EXPECT_EQ(holds(I(12), S("12.9")), kEqual);
    EXPECT_EQ(holds(I(1), nil()), "");
    EXPECT_EQ(holds(I(1), V(1, 1, 1)), "");
    EXPECT_EQ(holds(ValueCell::ofNode(VarRef, nullptr), I(0)), kEqual);
}

TEST_F(Compare, VectorsOnTheLeft) {
    EXPECT_EQ(holds(V(1, 2, 3), V(0, 5, 0)), "< > !=");
    EXPECT_EQ(holds(V(1, 2, 3), V(1, 2, 3)), kEqual);
    EXPECT_EQ(holds(V(1, 2, 3), V(2, 3, 4)), kLess);
    EXPECT_EQ(holds(V(1, 2, 3), V(1, 3, 4)), "< !=");  // neither all less nor all equal
    EXPECT_EQ(holds(V(2, 2, 2), I(2)), kEqual);
    EXPECT_EQ(holds(V(2, 2, 2), S("2.0")), kEqual);
    EXPECT_EQ(holds(V(2, 2, 2), nil()), kLess);
}

TEST_F(Compare, TextsAndNilOnTheLeft) {
    EXPECT_EQ(holds(S("ABC"), S("abc")), kEqual);
    EXPECT_EQ(holds(S("abc"), S("abcd")), kLess);
    EXPECT_EQ(holds(S("_"), S("A")), kLess);        // letters count as lower case
    EXPECT_EQ(holds(S("\xE9"), S("z")), kGreater);  // bytes are unsigned
    EXPECT_EQ(holds(S("2.5"), N(2.5)), kEqual);
    EXPECT_EQ(holds(S("2"), I(2.9)), kEqual);
    EXPECT_EQ(holds(S("a"), V(1, 2, 3)), kGreater);  // against the empty text
    EXPECT_EQ(holds(S(""), nil()), kEqual);
    EXPECT_EQ(holds(nil(), nil()), "==");
    EXPECT_EQ(holds(nil(), I(0)), "!=");
}

TEST_F(Compare, ObjectsOnTheLeftAsTheirKindSays) {
    EXPECT_EQ(holds(named("Data.TXT"), S("data.txt")), kEqual);
    EXPECT_EQ(holds(named("Data.TXT"), I(1)), kGreater);
    EXPECT_EQ(holds(S("data.txt"), named("Data.TXT")), kGreater);  // against the empty text
    EXPECT_EQ(holds(ValueCell::ofObject(ShaderObj, nullptr), ValueCell::ofObject(ShaderObj, nullptr)), "");
}

}  // namespace kestrel::test
