#include "builtins/files/line_index.h"

#include <gtest/gtest.h>

#include <string>

namespace kestrel::builtins {

// Every way of cutting the text into two blocks must find the same lines.
TEST(LineIndex, LineEndsOfAllThreeKindsCountWhereverABlockEnds) {
    const std::string text = "a\r\nb\rc\n\r\r\n\n\rlast";
    constexpr std::int64_t kEnds = 7;
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        LineIndex index;
        index.add(std::string_view(text).substr(0, cut));
        index.add(std::string_view(text).substr(cut));
        index.finish();
        EXPECT_EQ(index.lineCount(), kEnds) << cut;
    }
    LineIndex open;
    open.add("x\r");
    EXPECT_EQ(open.lineCount(), 0);
    open.finish();
    EXPECT_EQ(open.lineCount(), 1);
}

TEST(LineIndex, KeptStartsStayTrueWhenTheyAreThinnedOut) {
    constexpr std::int64_t count = 4 * LineIndex::kMostStarts + 100;
    LineIndex index;
    for (std::int64_t i = 0; i < count; ++i) index.add("1\r\n");
    ASSERT_EQ(index.lineCount(), count);
    for (const std::int64_t line :
         {std::int64_t{0}, std::int64_t{255}, std::int64_t{256}, count / 2 + 77, count - 1}) {
        const LineIndex::Place place = index.find(line);
        EXPECT_EQ(place.offset + 3 * place.linesToSkip, 3 * line);
        EXPECT_LT(place.linesToSkip, 8) << line;
    }
}

}  // namespace kestrel::builtins
