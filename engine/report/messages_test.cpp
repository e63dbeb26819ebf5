#include "engine/report/messages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace kestrel {

TEST(MessagesTest, everyMessageIsFoundByItsName) {
    for (const MessageRow& row : messageRows()) {
        EXPECT_EQ(findMessage(row.name), &row) << row.name;
        EXPECT_EQ(&messageRow(row.id), &row) << row.name;
    }
    for (const char* name : {"", "a", "argument", "argument-types", "Argument-type", "zzz"})
        EXPECT_EQ(findMessage(name), nullptr) << name;
}

TEST(MessagesTest, everyMessageIsExplainedInOneToThreeSentences) {
    for (const MessageRow& row : messageRows()) {
        EXPECT_TRUE(row.help.ends_with('.')) << row.name;
        std::size_t sentences = 0;
        for (std::size_t at = 0; (at = row.help.find(". ", at)) != std::string_view::npos; ++at) ++sentences;
        EXPECT_LE(sentences, 2u) << row.name;
        EXPECT_GE(row.help.size(), 30u) << row.name;
    }
}

TEST(MessagesTest, noTextNamesItsPrefixAgain) {
    for (const MessageRow& row : messageRows()) {
        EXPECT_FALSE(row.text.starts_with('#') || row.text.starts_with("Line ")) << row.name;
        EXPECT_EQ(row.text.find('\n'), std::string_view::npos) << row.name << ": cut there";
    }
}

}  // namespace kestrel
