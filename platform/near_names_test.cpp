#include "platform/near_names.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace kestrel {
namespace {

TEST(NearNames, EditsAreCountedUpToALimit) {
    EXPECT_EQ(editDistance("RETURN", "return", 3), 0U);
    EXPECT_EQ(editDistance("kitten", "sitting", 3), 3U);
    EXPECT_EQ(editDistance("abc", "xyz", 2), 3U);  // beyond the limit
    EXPECT_EQ(editDistance("a", "abcdefghij", 2), 3U);
}

TEST(NearNames, TheNearestCandidateIsMeantAndNothingFarAway) {
    constexpr std::array<std::string_view, 6> kNames{"sqrt",         "strleft", "strright",
                                                     "transparency", "sin",     "asin"};
    EXPECT_EQ(nearestName("squrt", kNames), "sqrt");
    EXPECT_EQ(nearestName("transparancy", kNames), "transparency");
    EXPECT_EQ(nearestName("SIN", kNames), "sin");
    EXPECT_EQ(nearestName("sni", kNames), "sin");
    EXPECT_EQ(nearestName("asni", kNames), "asin");
    EXPECT_EQ(nearestName("xyzzy", kNames), "");
    EXPECT_EQ(nearestName("si", kNames), "");   // every short name would be near
    EXPECT_EQ(nearestName("sin", kNames), "");  // it exists
    EXPECT_EQ(nearestName("", kNames), "");
    EXPECT_EQ(nearestName(std::string(1 << 20, 's'), kNames), "");
}

}  // namespace
}  // namespace kestrel
