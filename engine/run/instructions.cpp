// Operators and the selector.

#include "engine/run/instructions.h"

#include "engine/operations/arrays.h"
#include "engine/operations/storage.h"
#include "engine/operations/unary.h"
#include "engine/program/node_modes.h"

namespace kestrel {

namespace {

/// Takes the n-th of the cells [first, last) out of the stack, so that it owns its text.
ValueCell pickCell(EngineContext& ctx, int first, int last, std::int64_t n) {
    if (n < 1 || n > last - first) return ValueCell::ofNil();
    ValueCell& cell = ctx.stack.at(first + static_cast<int>(n) - 1);
    const ValueCell picked = cell;
    cell = ValueCell::ofNil();
    return picked;
}

ValueCell pickElement(const ArrayRecord& array, std::int64_t n) {
    if (array.dimCount != 1 || n < 1 || n > array.count()) return ValueCell::ofNil();
    const ValueCell& element = array.elements[static_cast<std::size_t>(n - 1)];
    return element.type == Uninitialized ? ValueCell::ofNil() : load(element);
}

ValueCell pickCharacter(EngineContext& ctx, const char* text, std::int64_t n) {
    const auto length = static_cast<std::int64_t>(std::strlen(text));
    if (n < 1 || n > length) return ValueCell::ofNil();
    const char* copy = ctx.pool.strdup(std::string_view(text + n - 1, 1));
    return copy != nullptr ? ValueCell::ofTemp(copy) : ValueCell::ofNil();
}

ValueCell select(EngineContext& ctx, int mark, std::int64_t n) {
    const int first = mark + 1;
    const int last = ctx.stack.size();
    if (first >= last) return ValueCell::ofNil();
    const ValueCell& value = ctx.stack.at(first);
    if (value.type == ListMark) {
        int close = first + 1;
        while (close < last && ctx.stack.at(close).type != ListMark) ++close;
        return pickCell(ctx, first + 1, close, n);
    }
    if (last - first == 1) {
        if (value.type == ArrayRef) return pickElement(*value.array, n);
        if (value.isText()) return pickCharacter(ctx, value.text, n);
    }
    return pickCell(ctx, first, last, n);
}

}  // namespace

void arithmeticByType(EngineContext& ctx, int op) {
    ValueCell result;
    const ValueCell& left = ctx.stack.top(1);
    const bool done = combine(ctx, op, left, ctx.stack.top(0), result);
    if (done && left.type == Array) {
        ctx.stack.drop(1);  // the reference and the index list below it stay
        return;
    }
    ctx.stack.drop(2);
    if (done) ctx.stack.push(result);
}

void executeNegate(EngineContext& ctx, const CodeNode& node) {
    if (!ctx.need(1)) return;
    // The whole stack, not the function's part of it: where a caller's cells lie below, x stays. Meant.
    if (node.mode != kStatementForm || ctx.stack.size() != 1) return negate(ctx, ctx.stack.top());
    ctx.stack.drop(1);
    negateVariable(ctx, *node.operand.variable);
}

void executeNot(EngineContext& ctx, const CodeNode& node) {
    if (!ctx.need(1)) return;
    if (node.mode != kStatementForm) return invert(ctx, ctx.stack.top());
    ctx.stack.drop(1);
    invertVariable(ctx, *node.operand.variable);
}

void executeLogical(EngineContext& ctx, bool isAnd) {
    if (!ctx.need(2)) return;
    const bool truth = logical(isAnd, ctx.stack.top(1), ctx.stack.top(0));
    ctx.stack.drop(2);
    ctx.stack.push(ValueCell::ofBool(truth));
}

void executeVector(EngineContext& ctx) {
    if (ctx.stack.size() - ctx.base() < 3) {
        ctx.report(MessageId::VectorParts);
        return;
    }
    const ValueCell vector = vectorOf(ctx.stack.top(2), ctx.stack.top(1), ctx.stack.top(0));
    ctx.stack.drop(3);
    ctx.stack.push(vector);
}

void executeSelector(EngineContext& ctx) {
    int mark = ctx.stack.size() - 1;
    while (mark > ctx.base() && ctx.stack.at(mark).type != SelectMark) --mark;
    if (mark <= ctx.base()) {  // no selector value below the mark
        ctx.report(MessageId::StackEmpty);
        return;
    }
    const ValueCell& selector = ctx.stack.at(mark - 1);
    if (selector.type != Integer) {
        ctx.report(MessageId::SelectorType);
        return;
    }
    const ValueCell picked = select(ctx, mark, truncate(selector.number));
    ctx.stack.dropTo(mark - 1);
    if (isStorable(picked.type)) ctx.stack.push(picked);
}

}  // namespace kestrel
