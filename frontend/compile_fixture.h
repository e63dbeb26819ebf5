// What the tests of this folder share: scripts in a directory of their own, compiled with a small built-in
// table.
#pragma once

#include "engine/context/builtin.h"
#include "engine/kinds/engine_kinds.h"
#include "frontend/compiler.h"
#include "frontend/listing.h"
#include "platform/paths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::test {

/// A row of a table: a script or a piece of one, and what must come of it.
struct SourceCase {
    const char* source;
    const char* expected;
};

class Collector : public MessageSink, public HintSink {
public:
    /// "E line1|line2", the kind's letter first.
    void show(const Message& message) override {
        constexpr std::string_view kLetters = "IWE";
        texts.push_back(std::string(1, kLetters[static_cast<std::size_t>(message.kind)]) + ' ' +
                        message.line1 + '|' + message.line2.value_or(""));
        places.push_back(message.where);
    }
    /// "LINE:COLUMN rule".
    void advise(const Hint& hint) override {
        hints.push_back(std::to_string(hint.where.line) + ':' + std::to_string(hint.where.column) + ' ' +
                        std::string(hintRow(hint.id).rule));
    }
    std::vector<std::string> texts;
    std::vector<SourcePos> places;
    std::vector<std::string> hints;
};

class CompileTest : public testing::Test {
protected:
    CompileTest() : ctx_(services()) {
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        directory_ = std::filesystem::path(testing::TempDir()) /
                     (std::string("kestrel-") + info->test_suite_name() + '-' + info->name());
        std::filesystem::create_directories(directory_);
        ctx_.reporter.hints = &collector_;
    }
    ~CompileTest() override { std::filesystem::remove_all(directory_); }

    void write(std::string_view name, std::string_view text) const {
        std::ofstream(directory_ / name, std::ios::binary) << text;
    }
    [[nodiscard]] std::string path(std::string_view name) const {
        return platform::systemPath((directory_ / name).string());
    }
    /// Compiles a text as the script main.ks, in a fresh state.
    int compile(std::string_view text) {
        write("main.ks", text);
        ctx_.reset();
        collector_.texts.clear();
        collector_.places.clear();
        collector_.hints.clear();
        info_ = {};
        options_.info = &info_;
        options_.reportEndless = true;
        return compileScript(ctx_, path("main.ks"), options_);
    }
    /// The code as "OP operand, OP operand", without the "OP_" of the names; OP_ENDSTMT reads ";".
    [[nodiscard]] std::string code() const {
        std::string result;
        const std::string listing = listProgram(*ctx_.program);
        for (std::size_t start = 0; start < listing.size();) {
            const std::size_t end = listing.find('\n', start);
            const std::string line = listing.substr(start, end - start);
            const std::size_t name = line.find('\t', line.find('\t') + 1) + 1;
            const std::size_t operand = line.find('\t', name) + 1;
            start = end + 1;
            const std::string op = line.substr(name + 3, operand - name - 4);
            if (op == "ENDSTMT") {
                result += ';';
                continue;
            }
            if (!result.empty()) result += result.back() == ';' ? " " : ", ";
            result += op;
            if (operand < line.size()) result += ' ' + line.substr(operand);
        }
        return result;
    }
    /// The code of the statements of a procedure `main`; jump targets count from the OP_FUNC node.
    std::string body(std::string_view statements) {
        if (compile("main { " + std::string(statements) + " }\n") != 0) return messages();
        constexpr std::string_view kHead = "FUNC main, ";
        constexpr std::string_view kTail = " ENDFUNC";
        std::string text = code();
        if (text.size() < kHead.size() + kTail.size()) return "";
        text = text.substr(kHead.size(), text.size() - kHead.size() - kTail.size());
        if (text.ends_with(',')) text.pop_back();
        return text;
    }
    [[nodiscard]] std::string messages() const {
        std::string result;
        for (const std::string& text : collector_.texts) result += text + '\n';
        return result;
    }
    /// All hints, "; " between them.
    [[nodiscard]] std::string hints() const {
        std::string result;
        for (const std::string& hint : collector_.hints) result += (result.empty() ? "" : "; ") + hint;
        return result;
    }
    [[nodiscard]] Variable* global(std::string_view name) const { return ctx_.program->findGlobal(name); }

    std::filesystem::path directory_;
    Collector collector_;
    EngineKinds kinds_;
    EngineContext ctx_;
    CompileInfo info_;
    CompileOptions options_;

private:
    EngineServices services() {
        static constexpr BuiltinEntry kRows[] = {{"sin", 1, nullptr, BuiltinFamily::Scalar},
                                                 {"sleep", 1, nullptr, BuiltinFamily::Handler}};
        static const BuiltinTable table(kRows);
        EngineServices services;
        services.messages = &collector_;
        services.builtins = &table;
        services.kinds = &kinds_.table;
        return services;
    }
};

}  // namespace kestrel::test
