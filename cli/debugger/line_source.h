// Where the debugger's commands come from: a person at a terminal, a pipe, or --script.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::cli {

class LineSource {
public:
    virtual ~LineSource() = default;
    /// @return nothing when there are no more
    [[nodiscard]] virtual std::optional<std::string> next() = 0;
    /// True when a person is there, who can try again after a mistake.
    [[nodiscard]] virtual bool interactive() const { return false; }
};

/// What could stand at the end of a line that was begun, as whole words.
using LineCompleter = std::function<std::vector<std::string>(std::string_view begun)>;

/// Lines that a person edits, with history and completion.
[[nodiscard]] std::unique_ptr<LineSource> editedLines(const std::string& prompt, LineCompleter completer);
/// Standard input as it comes.
[[nodiscard]] std::unique_ptr<LineSource> plainLines();
/// The lines of a file of that name; where there is none, the commands of the text itself, between ";"
/// outside quotes.
/// @return null when the file cannot be read
[[nodiscard]] std::unique_ptr<LineSource> scriptLines(const std::string& fileOrCommands);

}  // namespace kestrel::cli
