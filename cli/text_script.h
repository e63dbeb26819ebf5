// A script that comes from no file of the user.
#pragma once

#include "platform/memory_file.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

namespace kestrel::cli {

struct Invocation;

/// Which lines of a text its user has written.
struct UsersLines {
    int before = 0;      ///< lines that precede his
    int count = 0;       ///< 0: all that follow
    int lastLength = 0;  ///< characters in the last one, when they are counted
};

/// Standard input, or a script made around an expression. Whoever loads scripts by a path finds it under one,
/// which people and programs never see: they read a name that says where the text comes from.
class TextScript {
public:
    /// @param name  such as "<stdin>"
    TextScript(platform::MemoryFile file, std::string name, UsersLines lines);

    [[nodiscard]] const std::string& path() const noexcept { return file_.path(); }
    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    /// The number by which the user knows a line of the text.
    [[nodiscard]] int shownLine(int line) const noexcept {
        const int shown = std::max(line - lines_.before, 1);
        return isExpression() ? std::min(shown, lines_.count) : shown;
    }
    /// True for a script that was made around an expression.
    [[nodiscard]] bool isExpression() const noexcept { return lines_.count > 0; }
    /// Of an expression's script: the lines that the user has written.
    [[nodiscard]] const UsersLines& usersLines() const noexcept { return lines_; }
    /// The first line of a message as it is to be shown: with the name wherever it has the path, and the
    /// user's number of a line.
    [[nodiscard]] std::string shown(std::string text) const;
    /// What a host shows of a surface, when the script has said nothing of itself, names its file.
    [[nodiscard]] std::string shownDescription(std::string text) const;

private:
    /// Messages begin with where they are.
    void renumber(std::string& text) const;

    platform::MemoryFile file_;
    std::string name_;
    UsersLines lines_;
};

/// What takes the place of a script's file on the command line.
inline constexpr std::string_view kStandardInput = "-";

/// Reads standard input when that is what `file` says; `file` becomes the path of what was read.
/// @return false after telling why it cannot be used
[[nodiscard]] bool takeStandardInput(std::string& file, Invocation& invocation);

/// Makes a script whose `process` evaluates an expression and puts it in the sample's color.
/// @return its path; empty after telling what is wrong
[[nodiscard]] std::string makeExpressionScript(std::string_view expression, Invocation& invocation);
/// What the expression can use, for people.
inline constexpr const char* kExpressionHelp =
    "sa (the sample), P and N (its oPos and wNorm), u and v (the first two of P), frame and time";

}  // namespace kestrel::cli
