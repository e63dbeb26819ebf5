#include "engine/report/reporter.h"

#include <gtest/gtest.h>

#include <vector>

namespace kestrel {

class Recorder final : public MessageSink, public Reporter::Diversion {
public:
    void show(const Message& message) override { shown.push_back(message); }
    void message(MessageKind, std::string_view text) override { diverted.emplace_back(text); }
    std::vector<Message> shown;
    std::vector<std::string> diverted;
};

class ReporterTest : public ::testing::Test {
protected:
    ReporterTest() {
        reporter.abortFlag = &abort;
        reporter.state.scriptPath = "\\S\\A.KS";
    }
    Recorder sink;
    Reporter reporter{&sink};
    bool abort = false;
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
        reporter.report(row.text);
        EXPECT_EQ(sink.shown.back().kind, row.kind) << row.text;
        EXPECT_EQ(sink.shown.back().line1, row.line1);
        EXPECT_EQ(sink.shown.back().line2, row.line2);
    }
    EXPECT_EQ(reporter.state.errorCount, 2);
    EXPECT_EQ(reporter.state.warningCount, 1);
}

TEST_F(ReporterTest, everyErrorOverTheLimitAborts) {
    reporter.state.maxErrors = 1;
    for (const bool aborts : {false, true, true}) {
        abort = false;
        reporter.report("#Ex");
        EXPECT_EQ(abort, aborts);
    }
    EXPECT_EQ(sink.shown.size(), 2u);  // the error and the notice
}

TEST_F(ReporterTest, hiddenWarningsStillCount) {
    reporter.state.maxWarnings = 2;
    reporter.state.warningsShown = false;
    reporter.report("#Wone");
    reporter.state.warningsShown = true;
    reporter.report("#Wtwo");
    reporter.report("#Wthree");
    EXPECT_EQ(reporter.state.warningCount, 3);
    ASSERT_EQ(sink.shown.size(), 1u);
    EXPECT_EQ(sink.shown[0].line2, "two");
}

TEST_F(ReporterTest, diversionGetsTheUnsplitTextEvenOfHiddenWarnings) {
    reporter.diversion = &sink;
    reporter.state.warningsShown = false;
    reporter.report("#Wa<br>b");
    EXPECT_EQ(sink.diverted, std::vector<std::string>{"a<br>b"});
    EXPECT_TRUE(sink.shown.empty());
}

TEST_F(ReporterTest, carriesThePlace) {
    const SourcePos pos{0, 4, 2, 9};
    reporter.place = &pos;
    reporter.report("#Ex");
    EXPECT_EQ(sink.shown.back().where.line, 4);
}

}  // namespace kestrel
