#include "engine/context/builtin.h"
#include "host/script_session.h"
#include "reference/help_text.h"
#include "reference/search.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace kestrel::reference {

namespace {

const std::vector<Section>& catalog() {
    static const std::vector<Section> sections = makeCatalog();
    return sections;
}

/// What is found for a name: its entries, then its topics.
std::string found(std::string_view name) {
    std::string text;
    for (const Match& match : find(catalog(), name))
        text += match.section->topic + ':' + match.entry->name + ' ';
    for (const Topic& topic : findTopics(catalog(), name))
        text += '[' + (topic.group != nullptr ? topic.group->title : topic.section->title) + "] ";
    return text;
}

class Shown : public MessageSink {
public:
    void show(const Message& message) override { text += message.line2.value_or(message.line1); }
    std::string text;
};

/// Compiles a main of these statements, and runs it.
/// @return what it showed
std::string shownBy(const std::string& statements, bool run) {
    const auto path = std::filesystem::path(testing::TempDir()) / "kestrel-reference-example.ks";
    std::ofstream(path) << "process: sa { }\nmain { " << statements << " }\n";
    Shown shown;
    ScriptSession session(shown);
    if (session.compile(path.string()) && session.check() && !session.prepare() && run) session.runMain();
    std::filesystem::remove(path);
    return shown.text;
}

}  // namespace

TEST(Reference, NothingIsUndocumented) {
    for (const Match& match : everything(catalog())) {
        const std::string where = match.section->topic + ", " + match.entry->name;
        EXPECT_FALSE(match.entry->name.empty()) << where;
        EXPECT_FALSE(match.entry->forms.front().empty()) << where;
        EXPECT_TRUE(match.entry->description.ends_with('.')) << where;
    }
}

TEST(Reference, HeadingsDiffer) {
    std::set<std::string> headings;
    for (const Section& section : catalog()) {
        EXPECT_TRUE(headings.insert(section.title).second) << section.title;
        for (const Group& group : section.groups)
            EXPECT_TRUE(group.title.empty() || headings.insert(group.title).second) << group.title;
    }
}

TEST(Reference, EveryRowOfTheTablesIsThere) {
    EXPECT_EQ(found("?"), "operators:? ") << "and no message that asks something";
    EXPECT_EQ(found("\""), "");
    EXPECT_FALSE(find(catalog(), "BoneInfo").front().entry->available);
    // Built-ins without a subject of the list would be in no group.
    Shown shown;
    ScriptSession session(shown);
    const BuiltinTable& table = *session.context().services.builtins;
    for (const BuiltinEntry& row : table.rows()) EXPECT_FALSE(find(catalog(), row.name).empty()) << row.name;
}

TEST(Reference, ExamplesDoWhatTheySay) {
    for (const Match& match : everything(catalog())) {
        const Example& example = match.entry->example;
        if (example.code.empty()) continue;
        const bool runs = !example.result.empty();
        EXPECT_EQ(shownBy(runs ? "info(" + example.code + ");" : example.code, runs), example.result)
            << match.entry->name;
    }
}

TEST(Reference, NamesAreFoundAsTheyAreWritten) {
    EXPECT_EQ(found("sin()"), "functions:sin ");
    EXPECT_EQ(found("vmag(1, 2, 3)"), "functions:vmag ");
    EXPECT_EQ(found("#pragma strict"), "pragmas:strict ");
    EXPECT_EQ(found("@insert"), "pragmas:insert ");
    EXPECT_EQ(found("SIN"), "functions:sin ");
    EXPECT_EQ(found("strLeft"), "functions:strleft ");
    EXPECT_EQ(found("File"), "functions:File [File] ") << "not file, which differs";
    for (const char* name : {"wNorm", "sa.wNorm", "sample.wNorm[1]", "shading sample.wNorm"})
        EXPECT_EQ(found(name), "members:sa.wNorm ") << name;
    EXPECT_EQ(found("lamp.color"), "members:sa.color members:l.color ");
    EXPECT_EQ(found("File.read"), "members:f.read ");
    EXPECT_EQ(found("v.x"), "members:v.x ");
    EXPECT_EQ(found("vectors"), "[Vectors and points] ");
    EXPECT_EQ(found("pragmas"), "[Directives] ");
    EXPECT_EQ(found("too-deep"), "messages:too-deep ");
    EXPECT_EQ(found("Line 3, stack empty"), "messages:stack-empty ");
    EXPECT_EQ(found(""), "");
}

TEST(Reference, MessagesAreFoundByWhatTheySay) {
    EXPECT_EQ(found("Line 3, invalid argument count to sin()"), "messages:argument-count ");
    EXPECT_EQ(found("Line 3, invalid argument count to function sin(): expecting 1, found 3"),
              "messages:call-argument-count ")
        << "which says more of it";
    EXPECT_EQ(found("A.KS, modifiable parameters."), "messages:no-options ") << "a second line";
    EXPECT_EQ(found("array size less"), "messages:too-few-numbers ") << "a part of it";
    EXPECT_EQ(found("good count to sin()"), "");
}

}  // namespace kestrel::reference
