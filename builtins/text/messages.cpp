// info(), warn() and error().
#include "builtins/common/handlers.h"
#include "engine/context/kind_table.h"
#include "engine/operations/arrays.h"
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

/// Writes a Number, Integer, Vector or Nil. The text lies in `buffer`.
/// @return an empty text for any other kind
using NumberBuffer = std::array<char, kVectorChars + 2>;
std::string_view plainText(const ValueCell& cell, NumberBuffer& buffer) {
    char* end = buffer.data();
    switch (cell.type) {
        case Number:
            end = writeG(cell.number, end);
            break;
        case Integer:
            end = writeInt(cell.number, end);
            break;
        case Vector:
            *end++ = '<';
            end = writeVector(cell.vec.x, cell.vec.y, cell.vec.z, ',', end);
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

/// @return false for an object without a text
bool addObject(MessageText& message, const EngineContext& ctx, const ValueCell& object, TextUse use,
               std::string_view separator = "") {
    ObjectText text;
    if (!isObjectKind(object.type) || object.object == nullptr ||
        !ctx.kinds().of(object.type).text(use, object.object, text))
        return false;
    message.add({separator, text.before, text.body, text.after});
    return true;
}

void addElements(MessageText& message, const EngineContext& ctx, const ArrayRecord& array) {
    const char* separator = "";
    NumberBuffer buffer;
    for (const ValueCell& element : array.elements) {
        std::string_view text = plainText(element, buffer);
        // As it is: a "%" in it means to the reporter what it means in a format.
        if (element.isText()) text = element.text;
        if (element.isText() || !text.empty())
            message.add({separator, text});
        else if (!addObject(message, ctx, element, TextUse::Name, separator))
            continue;  // a kind without a text
        separator = " ";
    }
}

void addArgument(MessageText& message, const EngineContext& ctx, const ValueCell& cell) {
    NumberBuffer buffer;
    switch (cell.type) {
        case String:
        case TempString: {
            const std::string_view text = cell.text;
            if (text.find('%') == std::string_view::npos) {
                message.add(text);
            } else {
                message.add(doublePercents(text));
            }
            break;
        }
        case ArrayRef:
            if (cell.array != nullptr) addElements(message, ctx, *cell.array);
            break;
        default:
            if (!addObject(message, ctx, cell, TextUse::Message)) message.add(plainText(cell, buffer));
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
    for (int i = 0; i < call.argc; ++i) addArgument(text, call.ctx, call.arg(i));
    call.ctx.reporter.reportUser(text.view());
    call.none();
}

}  // namespace kestrel::builtins
