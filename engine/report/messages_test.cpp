#include "engine/report/messages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace kestrel {

TEST(MessagesTest, everyMessageIsFoundByItsNameAndExplained) {
    for (const MessageRow& row : messageRows()) {
        EXPECT_EQ(findMessage(row.name), &row) << row.name;
        EXPECT_EQ(&messageRow(row.id), &row) << row.name;
        EXPECT_FALSE(row.text.starts_with('#') || row.text.starts_with("Line ")) << row.name;
        EXPECT_EQ(row.text.find('\n'), std::string_view::npos) << row.name << ": cut there";
        EXPECT_TRUE(row.help.ends_with('.') && row.help.size() >= 30) << row.name;
        EXPECT_LE(std::ranges::count(row.help, '.'), 6) << row.name << ": explained in a few sentences";
    }
    for (const char* name : {"", "a", "argument", "argument-types", "Argument-type", "zzz"})
        EXPECT_EQ(findMessage(name), nullptr) << name;
}

}  // namespace kestrel
