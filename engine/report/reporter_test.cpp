#include "engine/report/reporter.h"

#include <gtest/gtest.h>

#include <vector>

namespace kestrel {

class Recorder final : public MessageSink, public Reporter::Diversion {
public:
    void show(const Message& message) override {
        shown.push_back(message);
        abortedAtShow = abortFlag != nullptr && *abortFlag;
    }
    void message(MessageKind, std::string_view text) override { diverted.emplace_back(text); }
    std::vector<Message> shown;
    std::vector<std::string> diverted;
    const bool* abortFlag = nullptr;
    bool abortedAtShow = false;
};

class ReporterTest : public ::testing::Test {
protected:
    ReporterTest() {
        sink.abortFlag = reporter.abortFlag = &abort;
        reporter.line = &line;
        reporter.state.scriptPath = "\\S\\A.KS";
    }
    Recorder sink;
    Reporter reporter{&sink};
    bool abort = false;
    std::int32_t line = 7;
};

TEST_F(ReporterTest, formatterIgnoresWidthsAndUnknownConversions) {
    EXPECT_EQ(formatMessage("%-5d|%3s|%c|%%", {7, "x", 'A'}), "7|x|A|%");
    EXPECT_EQ(formatMessage("%u %lu %ld", {-1, std::uint64_t{1} << 40, std::int64_t{-5} << 40}),
              "4294967295 1099511627776 -5497558138880");
    EXPECT_EQ(formatMessage("%f %g", {0.5, 1e-7}), "0.500000 1e-07");
    EXPECT_EQ(formatMessage("[%5.2f] %d", {3}), "[2f] 3");  // '.' is an unknown conversion letter
    EXPECT_EQ(formatMessage("%x%d%s", {1}), "1");           // nothing left for %s
    EXPECT_EQ(formatMessage("a%", {}), "a");
    EXPECT_EQ(formatMessage("%s", {"%d%n"}), "%d%n");    // arguments are never formats
    EXPECT_EQ(formatMessage("%d %s", {2.9, 4}), "2 4");  // a mismatch prints the value it was given
    EXPECT_EQ(formatMessage("ab\ncd", {}), "ab");
    EXPECT_EQ(formatMessage("%s", {std::string(600, 'x')}).size(), 511u);
}

TEST_F(ReporterTest, classifiesAndSplits) {
    const struct {
        const char* text;
        MessageKind kind;
        const char* line1;
        const char* line2;
    } rows[] = {
        {"#ELine 7, a<br>b", MessageKind::Error, "Line 7, a", "b"},
        {"#ELine 7, ab", MessageKind::Error, "\\S\\A.KS", "Line 7, ab"},
        {"#Wx<br>y<br>z", MessageKind::Warning, "x", "y<br>z"},
        {"#Znote", MessageKind::Info, "\\S\\A.KS", "note"},
        {"plain", MessageKind::Info, "\\S\\A.KS", "plain"},
        {"#", MessageKind::Info, "\\S\\A.KS", ""},
    };
    for (const auto& row : rows) {
        reporter.reportUser(row.text);
        EXPECT_EQ(sink.shown.back().kind, row.kind) << row.text;
        EXPECT_EQ(sink.shown.back().line1, row.line1);
        EXPECT_EQ(sink.shown.back().line2, row.line2);
    }
    EXPECT_EQ(reporter.state.errorCount, 2);
    EXPECT_EQ(reporter.state.warningCount, 1);
}

TEST_F(ReporterTest, namesAndLinesOfScriptsAreNoFormats) {
    reporter.reportAt({.line = 3, .file = "%d.ks"}, MessageId::UnknownDirective, "#x");
    EXPECT_EQ(sink.shown.back().line1, "File '%d.ks', line 3");
    reporter.reportAt({.line = 4, .function = "main", .found = ';', .sourceLine = "x<br>y\nz"},
                      MessageId::CalledNoName);
    EXPECT_EQ(sink.shown.back().line1, "In main, line 4, found ';' only a name can be called");
    EXPECT_EQ(sink.shown.back().line2, "Line: x<br>y");
}

TEST_F(ReporterTest, prefixAndTextAreCutTogether) {
    reporter.report(MessageId::CannotCount, std::string(600, 'x'));
    EXPECT_EQ(sink.shown.back().line2->size(), 511u);
    reporter.reportAt({.line = 1, .file = "a\nb"}, MessageId::VersionValue);
    EXPECT_EQ(sink.shown.back().line2, "File 'a");
}

TEST_F(ReporterTest, theTableSaysWhatEndsTheRun) {
    reporter.report(MessageId::CharacterRange, 1, "f", "s");
    EXPECT_FALSE(abort);
    reporter.report(MessageId::AssignedCharacterRange, 1, "f", "s");
    EXPECT_TRUE(sink.abortedAtShow);
    EXPECT_EQ(sink.shown[0].line2, sink.shown[1].line2);
}

TEST_F(ReporterTest, hiddenWarningsStillCount) {
    reporter.state.maxWarnings = 2;
    reporter.state.warningsShown = false;
    reporter.reportUser("#Wone");
    reporter.state.warningsShown = true;
    reporter.reportUser("#Wtwo");
    reporter.reportUser("#Wthree");
    EXPECT_EQ(reporter.state.warningCount, 3);
    ASSERT_EQ(sink.shown.size(), 1u);
    EXPECT_EQ(sink.shown[0].line2, "two");
}

TEST_F(ReporterTest, diversionGetsTheUnsplitTextEvenOfHiddenWarnings) {
    reporter.diversion = &sink;
    reporter.state.warningsShown = false;
    reporter.reportUser("#Wa<br>b");
    EXPECT_EQ(sink.diverted, std::vector<std::string>{"a<br>b"});
    EXPECT_TRUE(sink.shown.empty());
}

}  // namespace kestrel
