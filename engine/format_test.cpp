#include "engine/format.h"

#include "engine/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace kestrel {
namespace {

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
    EXPECT_EQ(formatVector(1.0, -0.5, 2e10, ","), "1,-0.5,2e+10");
}

TEST(Format, fixedFollowsItsPrecisionAndNeverOverruns) {
    EXPECT_EQ(formatFixed(2.345, 2), "2.35");  // the double lies just above the tie
    EXPECT_EQ(formatFixed(0.125, 2), "0.12");
    EXPECT_EQ(formatFixed(1.5, -1), "1.500000");
    EXPECT_EQ(formatFixed(std::numeric_limits<double>::max(), 2000000000).size(), 309u + 1u + 1074u);
}

TEST(Format, readsLeadingNumbersOnly) {
    const struct {
        const char* text;
        double value;
        std::size_t used;
    } rows[] = {
        {"12", 12.0, 2},
        {" \t-1.5e2x", -150.0, 8},
        {"+.5", 0.5, 3},
        {"5.", 5.0, 2},
        {"1e", 1.0, 1},
        {"0x10", 0.0, 1},
        {"inf", 0.0, 0},
        {"-nan", 0.0, 0},
        {"", 0.0, 0},
        {".", 0.0, 0},
        {"--1", 0.0, 0},
        {"1e400", kInf, 5},
        {"-1e400", -kInf, 6},
        {"1000e-500", 0.0, 9},
        {"0.0001e320", kInf, 10},
        {"1,5", 1.0, 1},
    };
    for (const auto& row : rows) {
        std::size_t used = 99;
        EXPECT_EQ(parseDouble(row.text, &used), row.value) << row.text;
        EXPECT_EQ(used, row.used) << row.text;
    }
    EXPECT_EQ(static_cast<double>(parseFloat("3.14159265")), 3.1415927410125732);
}

TEST(Format, integersSaturate) {
    const struct {
        const char* text;
        std::int64_t value;
        std::size_t used;
    } rows[] = {
        {"42abc", 42, 2},
        {" -7", -7, 3},
        {"-", 0, 0},
        {"9223372036854775807", std::numeric_limits<std::int64_t>::max(), 19},
        {"9223372036854775808", std::numeric_limits<std::int64_t>::max(), 19},
        {"-9223372036854775808", std::numeric_limits<std::int64_t>::min(), 20},
        {"-99999999999999999999", std::numeric_limits<std::int64_t>::min(), 21},
    };
    for (const auto& row : rows) {
        std::size_t used = 99;
        EXPECT_EQ(parseInteger(row.text, &used), row.value) << row.text;
        EXPECT_EQ(used, row.used) << row.text;
    }
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

TEST(Text, formsOfValues) {
    FileNameHeader file{nullptr, "\\tmp\\a.txt"};
    EXPECT_EQ(valueText(ValueCell::ofNumber(0.25)), "0.25");
    EXPECT_EQ(valueText(ValueCell::ofInteger(2.9)), "2");
    EXPECT_EQ(valueText(ValueCell::ofVector({1.0, 2.5, -3.0})), "1 2.5 -3");
    EXPECT_EQ(valueText(ValueCell::ofText("%d")), "%d");
    EXPECT_EQ(valueText(ValueCell::ofNil()), "");
    EXPECT_EQ(valueText(ValueCell::ofObject(FileObj, &file)), "(FILEOBJ)\"\\tmp\\a.txt\"");
    EXPECT_FALSE(valueText(ValueCell::ofObject(FileObj, nullptr)));
    EXPECT_FALSE(valueText(ValueCell::ofMark(ArrayRef)));
    EXPECT_FALSE(valueText(ValueCell::ofObject(UserRecord, nullptr)));
}

}  // namespace
}  // namespace kestrel
