#include "script/values.h"

#include "engine/operations/arrays.h"
#include "engine/operations/storage.h"
#include "engine/program/program.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

namespace kestrel::script {

namespace {

Value arrayOf(const ArrayRecord* array) {
    if (array == nullptr) return {};
    Value::Array elements;
    elements.reserve(array->elements.size());
    for (const ValueCell& element : array->elements) elements.push_back(valueOf(element));
    return elements;
}

/// A value that is no array; a text stays that of the value.
ValueCell plainCell(const Value& value) {
    switch (value.kind()) {
        case Value::Kind::Number:
            return ValueCell::ofNumber(value.number());
        case Value::Kind::Integer:
            return ValueCell::ofInteger(value.number());
        case Value::Kind::Vector:
            return ValueCell::ofVector({value.vector().x, value.vector().y, value.vector().z});
        case Value::Kind::Text:
            return ValueCell::ofText(value.text().c_str());
        case Value::Kind::Nil:
        case Value::Kind::Array:
            break;
    }
    return ValueCell::ofNil();
}

}  // namespace

Value valueOf(const ValueCell& cell) {
    switch (cell.type) {
        case Number:
            return cell.number;
        case Integer:
            return Value::integer(cell.number);
        case kestrel::Vector:
            return script::Vector{cell.vec.x, cell.vec.y, cell.vec.z};
        case String:
        case TempString:
            return cell.text != nullptr ? cell.text : "";
        case ArrayRef:
        case NewArray:
            return arrayOf(cell.array);
        default:
            return {};
    }
}

void appendValues(EngineContext& ctx, int first, int end, std::vector<Value>& values) {
    for (int i = first; i < end; ++i) {
        const ValueCell& cell = ctx.stack.at(i);
        if (cell.type != ReturnCount && cell.type != ListMark) values.push_back(valueOf(cell));
    }
}

void checkNesting(const Value& value) {
    if (value.kind() != Value::Kind::Array) return;
    const auto isArray = [](const Value& element) { return element.kind() == Value::Kind::Array; };
    if (std::ranges::any_of(value.array(), isArray))
        throw std::invalid_argument("kestrel: an array of the language cannot hold arrays");
}

bool pushValue(EngineContext& ctx, const Value& value, Tag tag, Variable* named) {
    if (value.kind() == Value::Kind::Text) {
        const int before = ctx.stack.size();
        ctx.pushText(value.text());
        return ctx.stack.size() > before;
    }
    if (value.kind() != Value::Kind::Array) {
        ctx.stack.push(plainCell(value));
        return !ctx.run.abort;
    }
    const auto count = static_cast<std::int64_t>(value.array().size());
    ArrayRecord* const array = makeArray(ctx, {&count, 1}, Nil);
    if (array == nullptr) return false;
    ValueCell cell = ValueCell::ofArray(array, named);
    cell.type = tag;
    ctx.stack.push(cell);  // at once: what nothing refers to can be collected
    for (std::size_t i = 0; i < array->elements.size() && !ctx.run.abort; ++i)
        store(ctx, array->elements[i], plainCell(value.array()[i]));
    return !ctx.run.abort;
}

}  // namespace kestrel::script
