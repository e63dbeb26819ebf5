#include "engine/report/reporter.h"

#include "engine/values/format.h"
#include "engine/values/value.h"

#include <algorithm>
#include <utility>

namespace kestrel {

namespace {

/// Messages are assembled in the host's 512-character lines.
constexpr std::size_t kMessageChars = 511;

std::int64_t integerOf(const FormatArg& arg) {
    return arg.kind == FormatArg::Kind::Double ? truncate(arg.number) : arg.integer;
}

double numberOf(const FormatArg& arg) {
    return arg.kind == FormatArg::Kind::Integer ? static_cast<double>(arg.integer) : arg.number;
}

std::string textOf(const FormatArg& arg) {
    switch (arg.kind) {
        case FormatArg::Kind::Integer:
            return std::to_string(arg.integer);
        case FormatArg::Kind::Double:
            return formatG(arg.number);
        case FormatArg::Kind::Text:
            break;
    }
    return std::string(arg.text);
}

/// What follows a '%': flags and widths, which this formatter ignores, and the conversion.
struct Conversion {
    char letter = '\0';  ///< '\0' at the end of the format
    bool isLong = false;
    std::size_t next = 0;  ///< where the text goes on
};

Conversion readConversion(std::string_view format, std::size_t i) {
    while (i < format.size() && (format[i] == '-' || (format[i] >= '0' && format[i] <= '9'))) ++i;
    Conversion conversion;
    if (i < format.size()) {
        conversion.letter = format[i++];
        if (conversion.letter == 'l' && i < format.size() && (format[i] == 'd' || format[i] == 'u')) {
            conversion.isLong = true;
            conversion.letter = format[i++];
        }
    }
    conversion.next = i;
    return conversion;
}

bool takesArgument(char letter) {
    return std::string_view("cdufgs").find(letter) != std::string_view::npos;
}

std::string convert(const Conversion& conversion, const FormatArg& arg) {
    switch (conversion.letter) {
        case 'c':
            return std::string(1, static_cast<char>(integerOf(arg)));
        case 'd':
            return std::to_string(integerOf(arg));
        case 'u':
            return conversion.isLong ? std::to_string(static_cast<std::uint64_t>(integerOf(arg)))
                                     : std::to_string(static_cast<std::uint32_t>(integerOf(arg)));
        case 'f':
            return formatFixed(numberOf(arg), 6);
        case 'g':
            return formatG(numberOf(arg));
        default:
            return textOf(arg);
    }
}

void show(MessageSink* sink, Message message) {
    if (sink != nullptr) sink->show(message);
}

}  // namespace

std::string formatMessage(std::string_view format, std::initializer_list<FormatArg> args) {
    std::string text;
    const FormatArg* arg = args.begin();
    std::size_t i = 0;
    while (i < format.size()) {
        if (format[i] != '%') {
            text += format[i++];
            continue;
        }
        const Conversion conversion = readConversion(format, i + 1);
        i = conversion.next;
        if (conversion.letter == '%') {
            text += '%';
        } else if (takesArgument(conversion.letter) && arg != args.end()) {
            text += convert(conversion, *arg++);
        }
    }
    text.resize(std::min({text.size(), text.find('\n'), kMessageChars}));
    return text;
}

void Reporter::reportArgs(std::string_view format, std::initializer_list<FormatArg> args) {
    MessageKind kind = MessageKind::Info;
    const SourcePos where = place != nullptr ? *place : SourcePos{};
    if (format.starts_with('#')) {
        if (format.starts_with("#E")) {
            kind = MessageKind::Error;
            if (++state.errorCount > state.maxErrors) {
                if (abortFlag != nullptr) *abortFlag = true;
                if (state.errorCount == state.maxErrors + 1)
                    show(sink_,
                         {kind, formatMessage("Maximum error count of %d exceeded.", {state.maxErrors}),
                          "Terminating.", where, files});
                return;
            }
        } else if (format.starts_with("#W")) {
            kind = MessageKind::Warning;
            if (++state.warningCount > state.maxWarnings) return;
        }
        format.remove_prefix(std::min<std::size_t>(2, format.size()));
    }

    std::string text = formatMessage(format, args);
    if (diversion != nullptr) {
        diversion->message(kind, text);
        return;
    }
    if (kind == MessageKind::Warning && !state.warningsShown) return;

    constexpr std::string_view kBreak = "<br>";
    if (const std::size_t at = text.find(kBreak); at != std::string::npos) {
        show(sink_, {kind, text.substr(0, at), text.substr(at + kBreak.size()), where, files});
    } else {
        show(sink_, {kind, state.scriptPath, std::move(text), where, files});
    }
}

void Reporter::showInfo(std::string line1, std::optional<std::string> line2) {
    show(sink_, {MessageKind::Info, std::move(line1), std::move(line2), {}});
}

}  // namespace kestrel
