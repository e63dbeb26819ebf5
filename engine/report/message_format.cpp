#include "engine/report/message_format.h"

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

}  // namespace

std::string formatMessage(std::string_view format, FormatArgs args) {
    return formatMessage({}, format, args);
}

std::string formatMessage(std::string before, std::string_view format, FormatArgs args) {
    std::string text = std::move(before);
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

}  // namespace kestrel
