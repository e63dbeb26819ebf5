// info(), warn() and error().
#include "builtins/common/handlers.h"
#include "engine/operations/arrays.h"
#include "engine/operations/text.h"
#include "engine/values/format.h"

#include <array>
#include <cstring>
#include <initializer_list>
#include <string>

namespace kestrel::builtins {

namespace {

/// A message in the reporter's size, made of pieces. A piece that does not fit is left out whole.
class MessageText {
public:
    void add(std::string_view piece) {
        if (!fits(piece.size())) return;
        std::memcpy(text_.data() + size_, piece.data(), piece.size());
        size_ += piece.size();
    }
    void add(std::initializer_list<std::string_view> parts) {
        std::size_t total = 0;
        for (std::string_view part : parts) total += part.size();
        if (!fits(total)) return;
        for (std::string_view part : parts) add(part);
    }
    [[nodiscard]] std::string_view view() const { return {text_.data(), size_}; }

private:
    static constexpr std::size_t kChars = 511;
    [[nodiscard]] bool fits(std::size_t length) const { return length <= kChars - size_; }
    std::array<char, kChars> text_;
    std::size_t size_ = 0;
};

const char* orEmpty(const char* text) {
    return text != nullptr ? text : "";
}

/// Writes a Number, Integer, Vector or Nil. The text lies in `buffer`.
/// @return an empty text for any other kind
using NumberBuffer = std::array<char, kVectorChars + 2>;
std::string_view plainText(const ValueCell& cell, NumberBuffer& buffer) {
    char* end = buffer.data();
    switch (cell.type) {
        case Number:
            end = writeG(cell.payload.number, end);
            break;
        case Integer:
            end = writeInt(cell.payload.number, end);
            break;
        case Vector:
            *end++ = '<';
            end = writeVector(cell.payload.vec.x, cell.payload.vec.y, cell.payload.vec.z, ',', end);
            *end++ = '>';
            break;
        case Nil:
            return "(nil)";
        default:
            break;
    }
    return {buffer.data(), static_cast<std::size_t>(end - buffer.data())};
}

std::string doublePercents(std::string_view text) {
    std::string doubled;
    for (char c : text) {
        doubled += c;
        if (c == '%') doubled += c;
    }
    return doubled;
}

void addElements(MessageText& message, const ArrayRecord& array) {
    const char* separator = "";
    NumberBuffer buffer;
    for (const ValueCell& element : array.elements) {
        std::string_view text = plainText(element, buffer);
        if (element.isText()) {
            // As it is: a "%" in it means to the reporter what it means in a format.
            text = element.payload.text;
        } else if (element.type == FileObj && element.payload.object != nullptr) {
            text = fileName(element);
        } else if (text.empty()) {
            continue;  // a kind without a text
        }
        message.add({separator, text});
        separator = " ";
    }
}

void addAgent(MessageText& message, const AgentNameHeader& agent) {
    message.add({"(ObjectAgent)", agent.type != nullptr ? orEmpty(agent.type->name) : "",
                 "::", agent.name != nullptr ? agent.name : "??"});
}

void addArgument(MessageText& message, const ValueCell& cell) {
    NumberBuffer buffer;
    switch (cell.type) {
        case String:
        case TempString: {
            const std::string_view text = cell.payload.text;
            if (text.find('%') == std::string_view::npos) {
                message.add(text);
            } else {
                message.add(doublePercents(text));
            }
            break;
        }
        case FileObj:
            if (cell.payload.object != nullptr) message.add({"(FILEOBJ)\"", fileName(cell), "\""});
            break;
        case ObjectAgent:
            if (const auto* agent = static_cast<const AgentNameHeader*>(cell.payload.object))
                addAgent(message, *agent);
            break;
        case ArrayRef:
            if (cell.payload.array != nullptr) addElements(message, *cell.payload.array);
            break;
        default:
            message.add(plainText(cell, buffer));
            break;
    }
}

/// What makes the reporter see a warning or an error.
std::string_view prefixOf(std::string_view name) {
    if (name == "warn") return "#W";
    return name == "error" ? "#E" : "";
}

}  // namespace

void message(BuiltinCall& call) {
    MessageText text;
    text.add(prefixOf(call.name));
    for (int i = 0; i < call.argc; ++i) addArgument(text, call.arg(i));
    call.ctx.reporter.report(text.view());
    call.none();
}

}  // namespace kestrel::builtins
