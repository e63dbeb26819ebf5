// The one reporter: formats, counts and routes every message of the system.
#pragma once

#include "engine/report/hints.h"
#include "engine/report/message.h"
#include "engine/report/message_format.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

/// What stays of the messages between runs of one script: counters, limits, switches.
struct ReportState {
    std::int32_t errorCount = 0;
    std::int32_t warningCount = 0;
    std::int32_t maxErrors = 25;    ///< pragma "errors"
    std::int32_t maxWarnings = 25;  ///< pragma "warnings" with a number
    bool warningsShown = true;      ///< pragma "warnings" without one
    bool reportUnused = false;      ///< pragma "unused", only under strict
    std::int32_t hintCount = 0;
    std::vector<SourcePos> hintPlaces;  ///< where something went wrong while running, and a hint said why
    std::string scriptPath;             ///< upper case; first line of one-line messages
};

/// What the prefix of a message says. Which of the fields it needs stands in the table.
struct MessageOrigin {
    std::int32_t line = 0;
    std::string_view file = {};
    const char* function = nullptr;  ///< the function being compiled; null outside functions
    char found = '\0';               ///< first character of the token last read; NUL at the end of the input
    std::string_view sourceLine = {};
};

class Reporter {
public:
    /// Receives the routed text instead of the sink while a debugger is attached.
    class Diversion {
    public:
        virtual ~Diversion() = default;
        virtual void message(MessageKind kind, std::string_view text) = 0;
    };

    explicit Reporter(MessageSink* sink) : sink_(sink) {}

    /// Reports a message about the line being run. First the abort flag is set where the table says so;
    /// limits, the split at "<br>" and the warnings switch are applied here. Going over `maxErrors` shows the
    /// two-line notice once and sets the abort flag each time.
    template <class... Args>
    void report(MessageFor<Args...> message, const Args&... args) {
        reportArgs(message.id(), {.line = line != nullptr ? *line : 0}, {FormatArg(args)...});
    }
    /// The same about something else than the line being run.
    template <class... Args>
    void reportAt(const MessageOrigin& origin, MessageFor<Args...> message, const Args&... args) {
        reportArgs(message.id(), origin, {FormatArg(args)...});
    }
    /// The same for arguments that are a list already.
    void reportArgs(MessageId id, const MessageOrigin& origin, FormatArgs args);

    /// Reports what a script says with info(), warn() or error(). "#E" makes an error of it, "#W" a warning,
    /// anything else is information; another letter after "#" is dropped with it. The rest is a format
    /// without arguments.
    void reportUser(std::string_view text);

    /// Shows the row's text as it stands, with a second line of its own, outside the counters and formats.
    void showNotice(MessageId id, std::optional<std::string> line2);

    /// Gives advice about a place; nothing without somebody who wants any, and nothing beyond kHintLimit.
    template <class... Args>
    void hint(const SourcePos& where, HintFor<Args...> hint, const Args&... args) {
        if (hintsWanted()) hintArgs(where, hint.id(), {FormatArg(args)...});
    }
    void hintArgs(const SourcePos& where, HintId id, FormatArgs args);
    /// True the first time for each place: what is explained once need not be explained again.
    [[nodiscard]] bool firstHintAt(const SourcePos& where);
    /// False where what it takes to find out about a hint is wasted.
    [[nodiscard]] bool hintsWanted() const noexcept {
        return hints != nullptr && state.hintCount <= kHintLimit;
    }

    /// A script with a thousand mistakes is not helped by a thousand hints.
    static constexpr std::int32_t kHintLimit = 50;

    ReportState state;
    HintSink* hints = nullptr;           ///< who wants advice: the command; null in hosts
    bool* abortFlag = nullptr;           ///< set by the owner; may be null
    const std::int32_t* line = nullptr;  ///< the line being run; may be null
    const SourcePos* place = nullptr;    ///< true place for the next messages; may be null
    const SourceFiles* files = nullptr;  ///< what places point into: the program's files; may be null
    Diversion* diversion = nullptr;      ///< attached debugger; may be null

    [[nodiscard]] MessageSink* sink() const noexcept { return sink_; }

private:
    /// Counts a message. @return false when it is one too many, which has been told then
    [[nodiscard]] bool count(MessageKind kind);
    void route(MessageId id, MessageKind kind, std::string text);
    /// Shows a text whose second line, if it has one, follows "<br>".
    void showSplit(MessageId id, MessageKind kind, std::string text);

    MessageSink* sink_;  // may be null: nothing is shown, everything still counts
};

}  // namespace kestrel
