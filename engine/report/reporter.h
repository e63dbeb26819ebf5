// The one reporter: formats, classifies, counts and routes every message of the system.
#pragma once

#include "engine/report/message.h"

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

namespace kestrel {

/// One argument of a message format.
struct FormatArg {
    enum class Kind { Integer, Double, Text } kind;
    std::int64_t integer = 0;
    double number = 0.0;
    std::string_view text;

    template <std::integral T>
    FormatArg(T v)
        : kind(Kind::Integer), integer(static_cast<std::int64_t>(v)) {}  // NOLINT: implicit on purpose
    template <std::floating_point T>
    FormatArg(T v) : kind(Kind::Double), number(v) {}
    FormatArg(std::string_view v) : kind(Kind::Text), text(v) {}
    FormatArg(const std::string& v) : kind(Kind::Text), text(v) {}
    FormatArg(const char* v) : kind(Kind::Text), text(v != nullptr ? v : "") {}
};

/// What stays of the messages between runs of one script: counters, limits, switches.
struct ReportState {
    std::int32_t errorCount = 0;
    std::int32_t warningCount = 0;
    std::int32_t maxErrors = 25;    ///< pragma "errors"
    std::int32_t maxWarnings = 25;  ///< pragma "warnings" with a number
    bool warningsShown = true;      ///< pragma "warnings" without one
    bool reportUnused = false;      ///< pragma "unused", only under strict
    std::string scriptPath;         ///< upper case; first line of one-line messages
};

/// Formats `format` with the reporter's own rules: '-' and digits after '%' are skipped, conversions are
/// c d u ld lu f g s and "%%"; any other letter (a '.' included) consumes nothing and prints nothing. A
/// conversion without an argument left prints nothing. The text is cut at the first newline and at 511
/// characters.
[[nodiscard]] std::string formatMessage(std::string_view format, std::initializer_list<FormatArg> args);

class Reporter {
public:
    /// Receives the routed text instead of the sink while a debugger is attached.
    class Diversion {
    public:
        virtual ~Diversion() = default;
        virtual void message(MessageKind kind, std::string_view text) = 0;
    };

    explicit Reporter(MessageSink* sink) : sink_(sink) {}

    /// Reports a message. "#E" counts an error, "#W" a warning, anything else is information; limits, the
    /// split at
    /// "<br>" and the warnings switch are applied here.
    /// Going over `maxErrors` shows the two-line notice once and sets the abort flag each time.
    template <class... Args>
    void report(std::string_view format, const Args&... args) {
        reportArgs(format, {FormatArg(args)...});
    }
    void reportArgs(std::string_view format, std::initializer_list<FormatArg> args);

    /// Shows an information message as it stands, outside the counters and formats (unused-variable report).
    void showInfo(std::string line1, std::optional<std::string> line2);

    ReportState state;
    bool* abortFlag = nullptr;           ///< set by the owner; may be null
    const SourcePos* place = nullptr;    ///< true place for the next messages; may be null
    const SourceFiles* files = nullptr;  ///< what places point into: the program's files; may be null
    Diversion* diversion = nullptr;      ///< attached debugger; may be null

    [[nodiscard]] MessageSink* sink() const noexcept { return sink_; }

private:
    MessageSink* sink_;  // may be null: nothing is shown, everything still counts
};

}  // namespace kestrel
