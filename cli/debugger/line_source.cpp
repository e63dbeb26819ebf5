#include "cli/debugger/line_source.h"

#include "platform/files.h"
#include "platform/paths.h"

#include <cstdio>
#include <filesystem>
#include <iostream>

namespace kestrel::cli {

namespace {

class PlainLines final : public LineSource {
public:
    std::optional<std::string> next() override {
        std::string line;
        if (!std::getline(std::cin, line)) return std::nullopt;
        if (line.ends_with('\r')) line.pop_back();
        return line;
    }
};

class FixedLines final : public LineSource {
public:
    explicit FixedLines(std::vector<std::string> lines) : lines_(std::move(lines)) {}
    std::optional<std::string> next() override {
        return next_ < lines_.size() ? std::optional(lines_[next_++]) : std::nullopt;
    }

private:
    std::vector<std::string> lines_;
    std::size_t next_ = 0;
};

/// Splits where the separator stands outside double quotes.
std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> pieces(1);
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"' && separator != '\n') quoted = !quoted;
        if (c == separator && !quoted) {
            pieces.emplace_back();
            continue;
        }
        pieces.back() += c;
        if (quoted && c == '\\' && i + 1 < text.size()) pieces.back() += text[++i];
    }
    return pieces;
}

}  // namespace

std::unique_ptr<LineSource> plainLines() {
    return std::make_unique<PlainLines>();
}

std::unique_ptr<LineSource> scriptLines(const std::string& fileOrCommands) {
    std::error_code error;
    if (!std::filesystem::exists(fileOrCommands, error))
        return std::make_unique<FixedLines>(split(fileOrCommands, ';'));
    if (!std::filesystem::is_regular_file(fileOrCommands, error)) return nullptr;
    const std::optional<std::string> text = platform::readTextFile(platform::systemPath(fileOrCommands));
    return text ? std::make_unique<FixedLines>(split(*text, '\n')) : nullptr;
}

}  // namespace kestrel::cli
