// Values to and from text, sizes, new arrays.
#include "builtins/common/arguments.h"
#include "builtins/common/handlers.h"
#include "builtins/math/numeric.h"
#include "engine/operations/arrays.h"
#include "engine/values/format.h"
#include "platform/ascii.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace kestrel::builtins {

namespace {

/// The text from its first number on: a digit, or one of `leads` right before one. Empty when there is none.
std::string_view fromNumber(std::string_view text, std::string_view leads) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool lead = leads.find(text[i]) != std::string_view::npos;
        if (ascii::isDigit(text[i]) || (lead && i + 1 < text.size() && ascii::isDigit(text[i + 1])))
            return text.substr(i);
    }
    return {};
}

void resultOfInteger(BuiltinCall& call, std::string_view number) {
    std::size_t used = 0;
    const std::int64_t value = parseInteger(number, &used);
    if (used == 0) return call.result(ValueCell::ofNil());
    call.resultInteger(static_cast<double>(value));
}

}  // namespace

void size(BuiltinCall& call) {
    const ValueCell& x = call.arg(0);
    switch (x.type) {
        case Number:
        case Integer:
            return call.resultInteger(1.0);
        case Vector:
            return call.resultInteger(3.0);
        case String:
        case TempString:
            return call.resultInteger(static_cast<double>(std::strlen(x.text)));
        case ArrayRef: {
            if (x.array == nullptr) return call.resultInteger(0.0);
            const auto& elements = x.array->elements;
            return call.resultInteger(static_cast<double>(
                std::count_if(elements.begin(), elements.end(), [](const ValueCell& element) {
                    return element.type != Uninitialized && element.type != Nil;
                })));
        }
        default:
            // Both names of this function report as the first one.
            return call.fail(MessageId::ArgumentType, 1, "size");
    }
}

void numberOfText(BuiltinCall& call) {
    if (!call.arg(0).isText()) return call.failType(1);
    const std::string_view text = call.arg(0).text;
    const std::string_view number = fromNumber(text, ".-+");
    // A point anywhere makes it a Number, read at single precision: number('3.14159265')
    // is 3.1415927410125732.
    if (text.find('.') == std::string_view::npos) return resultOfInteger(call, number);
    std::size_t used = 0;
    const float value = parseFloat(number, &used);
    if (used == 0) return call.result(ValueCell::ofNil());
    call.resultNumber(static_cast<double>(value));
}

void integerOf(BuiltinCall& call) {
    const ValueCell& x = call.arg(0);
    if (x.isNumeric()) return call.resultInteger(wholePart(x.number));
    if (!x.isText()) return call.failType(1);
    resultOfInteger(call, fromNumber(x.text, "-+"));
}

void vectorOfText(BuiltinCall& call) {
    if (!call.arg(0).isText()) return call.failType(1);
    float v[3];
    if (parseThree(fromNumber(call.arg(0).text, ".-+"), v) != 3) return call.result(ValueCell::ofNil());
    call.resultVector({static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2])});
}

void array(BuiltinCall& call) {
    if (call.argc < 1 || call.argc > kMaxDimensions) return call.failCount();
    std::vector<std::int64_t> dims(static_cast<std::size_t>(call.argc));
    for (int i = call.argc - 1; i >= 0; --i) {
        if (!call.arg(i).isNumeric()) return call.failType(i + 1);
        dims[static_cast<std::size_t>(i)] = truncate(call.arg(i).number);
    }
    ArrayRecord* record = makeArray(call.ctx, dims, Uninitialized);
    call.result(record != nullptr ? ValueCell::ofObject(NewArray, record) : ValueCell::ofNil());
}

}  // namespace kestrel::builtins
