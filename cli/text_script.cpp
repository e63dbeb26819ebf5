#include "cli/text_script.h"

#include "cli/commands.h"
#include "cli/script_check.h"
#include "platform/ascii.h"
#include "platform/paths.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <optional>
#include <utility>

namespace kestrel::cli {

namespace {

constexpr std::size_t kLargestScript = std::size_t{64}
                                       << 20;  // keeps `- < /dev/zero` from eating the machine

// The expression has lines of its own. What the others report is shown in other words: of what cannot become
// a color, the first error in the lines before.
constexpr std::string_view kBeforeExpression =
    "var frame = 0;\n"
    "var time = 0;\n"
    "newtime: f, t { frame = f; time = t; }\n"
    "paint: sa, value\n"
    "{\n"
    "    if (value == nil) { error(\"nothing\"); return; }\n"
    "    var isVector = size(value - 0) == 3;\n"
    "    sa.color[1] = isVector ? value.x : value;\n"
    "    sa.color[2] = isVector ? value.y : value;\n"
    "    sa.color[3] = isVector ? value.z : value;\n"
    "}\n"
    "process: sa\n"
    "{\n"
    "    var value = nil;\n"
    "    var P = <sa.oPos[1], sa.oPos[2], sa.oPos[3]>;\n"
    "    var N = <sa.wNorm[1], sa.wNorm[2], sa.wNorm[3]>;\n"
    "    var u = sa.oPos[1];\n"
    "    var v = sa.oPos[2];\n"
    "    value = (\n";
constexpr std::string_view kAfterExpression =
    "\n"
    "    );\n"
    "    paint(sa, value);\n"
    "}\n";

void replaceAll(std::string& text, std::string_view what, std::string_view with) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
}

/// @return empty after telling what is wrong
std::string keep(std::string_view text, std::string name, UsersLines lines, Invocation& invocation) {
    std::optional<platform::MemoryFile> file = platform::MemoryFile::create(text);
    if (!file) {
        complain(invocation, name + ": there is no room for it in memory, or no /proc");
        return {};
    }
    invocation.textScript = std::make_shared<const TextScript>(*std::move(file), std::move(name), lines);
    return invocation.textScript->path();
}

bool compiles(std::string_view text) {
    const std::optional<platform::MemoryFile> file = platform::MemoryFile::create(text);
    return file && precheck(file->path()).compiles();
}

/// What stands between brackets of one kind only can have closed them. It is asked of the compiler, which
/// knows about texts and comments.
/// @param script  with the expression in round brackets
bool isOneExpression(std::string_view expression, const std::string& script) {
    constexpr std::string_view kOpening = "(\n";
    std::string square(kBeforeExpression.substr(0, kBeforeExpression.size() - kOpening.size()));
    square.append("P[\n").append(expression).append("\n];\n}\n");
    return compiles(square) || !compiles(script);
}

std::optional<std::string> readStandardInput(std::string& problem) {
    std::string text;
    char block[16384];
    while (const std::size_t n = std::fread(block, 1, sizeof block, stdin)) {
        text.append(block, n);
        if (text.size() <= kLargestScript) continue;
        problem = "is larger than 64 MB";
        return std::nullopt;
    }
    if (std::ferror(stdin) == 0) return text;
    problem = "cannot be read";
    return std::nullopt;
}

}  // namespace

TextScript::TextScript(platform::MemoryFile file, std::string name, UsersLines lines)
    : file_(std::move(file)), name_(std::move(name)), lines_(lines) {}

std::string TextScript::shown(std::string text) const {
    if (lines_.before > 0) renumber(text);
    const std::string system = platform::systemPath(path());
    replaceAll(text, platform::upperCase(system), name_);
    replaceAll(text, system, name_);
    replaceAll(text, path(), name_);
    return text;
}

void TextScript::renumber(std::string& text) const {
    // "Line 3, ..." or "In process, line 3, ...", and nothing that only looks like it further on.
    const std::size_t comma = text.find(", line ");
    std::size_t at = std::string::npos;
    if (text.starts_with("Line "))
        at = 5;
    else if (text.starts_with("In ") && comma == text.find(','))
        at = comma != std::string::npos ? comma + 7 : comma;
    if (at == std::string::npos) return;
    int line = 0;
    const char* const begin = text.data() + at;
    const auto [end, error] = std::from_chars(begin, text.data() + text.size(), line);
    if (error != std::errc() || end == text.data() + text.size() || *end != ',') return;
    text.replace(at, static_cast<std::size_t>(end - begin), std::to_string(shownLine(line)));
}

std::string TextScript::shownDescription(std::string text) const {
    const std::string system = platform::systemPath(path());
    const std::string byFile = " - " + platform::upperCase(platform::baseName(system));
    if (text.ends_with(byFile)) text.replace(text.size() - byFile.size(), byFile.size(), " - " + name_);
    return text;
}

bool takeStandardInput(std::string& file, Invocation& invocation) {
    if (file != kStandardInput) return true;
    std::string problem;
    const std::optional<std::string> text = readStandardInput(problem);
    if (!text) {
        complain(invocation, "standard input: " + problem);
        return false;
    }
    file = keep(*text, "<stdin>", {}, invocation);
    return !file.empty();
}

std::string makeExpressionScript(std::string_view expression, Invocation& invocation) {
    if (std::ranges::all_of(expression, [](char c) { return ascii::isSpace(c); })) {
        complain(invocation, "--expr is empty; write an expression such as 'sin(u * 20)'");
        return {};
    }
    std::string text(kBeforeExpression);
    text.append(expression).append(kAfterExpression);
    if (!isOneExpression(expression, text)) {
        complain(invocation,
                 "--expr: a bracket closes what the expression has not opened, so it is not one expression");
        return {};
    }
    const auto linesOf = [](std::string_view part) {
        return static_cast<int>(std::ranges::count(part, '\n'));
    };
    const auto lastLength = expression.size() - (expression.rfind('\n') + 1);  // npos + 1 is 0
    return keep(text, "<expr>",
                {linesOf(kBeforeExpression), linesOf(expression) + 1, static_cast<int>(lastLength)},
                invocation);
}

}  // namespace kestrel::cli
