// How the command shows messages: for people, or as JSON lines for machines.
#pragma once

#include "engine/report/hints.h"
#include "engine/report/message.h"

#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::cli {

class TextScript;

/// A place in a file, ready to be shown: native path, lines and columns from 1 (0 = unknown).
struct Place {
    std::string file;
    int line = 0;
    int column = 0;
    int endColumn = 0;  ///< one past the last character
    std::vector<Place>
        broughtInBy;  ///< who brought the file in, innermost first; empty for the script itself
    [[nodiscard]] bool known() const noexcept { return !file.empty() && line > 0; }
};

/// The place behind a position of the engine; not known() when the position is unknown.
[[nodiscard]] Place resolvePlace(const SourcePos& pos, const SourceFiles& files);

/// What is shown: a message of the system, an error of the command itself, or advice.
struct ShownMessage {
    enum class Kind { Info, Warning, Error, Hint };
    Kind kind = Kind::Info;
    std::string line1;
    std::optional<std::string> line2;
    Place place;
    std::string id;    ///< the name of a message of the system; empty for others
    std::string rule;  ///< hints only: the rule's name
};

/// A message of the engine with its place resolved.
[[nodiscard]] ShownMessage shownMessage(const Message& message);
/// The same for a hint.
[[nodiscard]] ShownMessage shownHint(const Hint& hint);

/// Shows messages in order, each flushed.
///
/// For people: information on standard output, everything else on standard error with file:line:column, the
/// source line and a caret where the place is known; then that line stands in place of the one that a message
/// of the compiler quotes. When line 1 is just the script's path, it is left out. A run of identical messages
/// is shown once, followed by its count; hints between them do not end it. Colour only on a terminal (and
/// without NO_COLOR).
///
/// As JSON: {"kind":...,"line1":...,"line2":...} on standard output, one object per line, then the message's
/// "id" or a hint's "rule", then file, line, column, endColumn where known. Bytes that are no valid UTF-8 are
/// replaced.
class MessagePrinter final : public MessageSink, public HintSink {
public:
    /// @param json        true: JSON lines
    /// @param nativePath  the script, as the user wrote it (may be empty)
    MessagePrinter(bool json, std::string nativePath);
    ~MessagePrinter() override;
    MessagePrinter(const MessagePrinter&) = delete;
    MessagePrinter& operator=(const MessagePrinter&) = delete;

    /// The script that is in no file of the user: messages name it as he knows it. May be null.
    void setTextScript(std::shared_ptr<const TextScript> script);
    /// Another script whose messages come here.
    void addScript(const std::string& nativePath);
    /// Hands everything over instead of showing it, for a process whose parent shows it.
    void setRelay(std::function<void(const ShownMessage&)> relay) { relay_ = std::move(relay); }

    /// A message from the engine.
    void show(const Message& message) override;
    /// A hint from the engine.
    void advise(const Hint& hint) override;
    /// A message whose place is known already, or one from a host's message service (place unknown).
    void show(ShownMessage message);
    /// An error of the command itself, such as a time limit: "kestrel: error: ..." when it has no place.
    void plainError(std::string_view text, Place place = {});
    /// Advice of the command itself: a row of the table.
    void hint(HintId id);
    /// The same for a row whose text is a single %s.
    void hint(HintId id, std::string_view text);

    /// Ends a run of identical messages: writes its count. Called by the destructor too; call it before
    /// writing to standard output or standard error yourself.
    void finish();

private:
    void showForPeople(const ShownMessage& message);
    void showJson(const ShownMessage& message) const;
    [[nodiscard]] bool inText(const Place& place) const;
    /// File and line as the user knows them.
    [[nodiscard]] std::string shownFile(const Place& place) const;
    [[nodiscard]] int shownLine(const Place& place) const;
    void writeSource(std::FILE* out, bool colour, const Place& place);
    [[nodiscard]] const std::string* sourceLine(const std::string& file, int line);
    /// The script, as the user wrote it, whose path is all of a message's first line; null for other lines.
    [[nodiscard]] const std::string* scriptOf(std::string_view line1) const;

    const bool json_;
    // By the system's path in upper case, as one-line messages show it: as the user wrote it.
    std::map<std::string, std::string, std::less<>> scripts_;
    std::shared_ptr<const TextScript> textScript_;
    std::function<void(const ShownMessage&)> relay_;
    std::optional<ShownMessage> last_;
    std::optional<ShownMessage> lastHint_;  // several workers give the same
    int repeats_ = 0;
    bool errorShown_ = false;  // about an expression
    std::map<std::string, std::vector<std::string>, std::less<>> sources_;
};

/// For machines, which cannot know our current directory.
[[nodiscard]] std::string absolutePath(const std::string& file);

}  // namespace kestrel::cli
