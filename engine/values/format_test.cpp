#include "engine/values/format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace kestrel {

constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(Format, writesNumbersAsThePercentConversions) {
    const struct {
        double value;
        const char* general;
        const char* integer;
    } rows[] = {
        {0.0, "0", "0"},
        {-0.0, "-0", "0"},
        {2.9, "2.9", "2"},
        {-2.9, "-2.9", "-2"},
        {1e6, "1e+06", "1000000"},
        {123456789.0, "1.23457e+08", "123456789"},
        {1e-5, "1e-05", "0"},
        {0.0001, "0.0001", "0"},
        {4294967296.0, "4.29497e+09", "4294967296"},
        {kInf, "inf", "9223372036854775807"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(formatG(row.value), row.general);
        EXPECT_EQ(formatInt(row.value), row.integer);
    }
    EXPECT_EQ(formatVector(1.0, -0.5, 2e10, ','), "1,-0.5,2e+10");
}

TEST(Format, fixedFollowsItsPrecisionAndNeverOverruns) {
    EXPECT_EQ(formatFixed(2.345, 2), "2.35");  // the double lies just above the tie
    EXPECT_EQ(formatFixed(0.125, 2), "0.12");
    EXPECT_EQ(formatFixed(1.5, -1), "1.500000");
    EXPECT_EQ(formatFixed(std::numeric_limits<double>::max(), 2000000000).size(), 309u + 1u + 1074u);
}

TEST(Format, readsLeadingNumbersOnly) {
    constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
    const struct {
        const char* text;
        double value;
        std::size_t used;
        std::int64_t integer;
        std::size_t integerUsed;
    } rows[] = {
        {"12", 12.0, 2, 12, 2},
        {"42abc", 42.0, 2, 42, 2},
        {" \t-1.5e2x", -150.0, 8, -1, 4},
        {"+.5", 0.5, 3, 0, 0},
        {"5.", 5.0, 2, 5, 1},
        {"1e", 1.0, 1, 1, 1},
        {"0x10", 0.0, 1, 0, 1},
        {"inf", 0.0, 0, 0, 0},
        {"-nan", 0.0, 0, 0, 0},
        {"", 0.0, 0, 0, 0},
        {".", 0.0, 0, 0, 0},
        {"--1", 0.0, 0, 0, 0},
        {"1e400", kInf, 5, 1, 1},
        {"-1e400", -kInf, 6, -1, 2},
        {"1000e-500", 0.0, 9, 1000, 4},
        {"0.0001e320", kInf, 10, 0, 1},
        {"1,5", 1.0, 1, 1, 1},
        {"9223372036854775807", 0x1p63, 19, kMost, 19},
        {"9223372036854775808", 0x1p63, 19, kMost, 19},
        {"-9223372036854775808", -0x1p63, 20, kLeast, 20},
        {"-99999999999999999999", -1e20, 21, kLeast, 21},
    };
    for (const auto& row : rows) {
        std::size_t used = 99;
        EXPECT_EQ(parseDouble(row.text, &used), row.value) << row.text;
        EXPECT_EQ(used, row.used) << row.text;
        EXPECT_EQ(parseInteger(row.text, &used), row.integer) << row.text;
        EXPECT_EQ(used, row.integerUsed) << row.text;
    }
    EXPECT_EQ(static_cast<double>(parseFloat("3.14159265")), 3.1415927410125732);
}

TEST(Format, threeNumbersStopAtTheFirstThatIsNone) {
    double v[3] = {9.0, 9.0, 9.0};
    EXPECT_EQ(parseThree("1 2x 3", v), 2);
    EXPECT_EQ(v[1], 2.0);
    EXPECT_EQ(v[2], 9.0);
    float f[3];
    EXPECT_EQ(parseThree("0.1\t-2 3 4", f), 3);
    EXPECT_EQ(f[0], 0.1f);
}

}  // namespace kestrel
