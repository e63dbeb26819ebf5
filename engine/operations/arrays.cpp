#include "engine/operations/arrays.h"

#include "engine/context/kind_table.h"
#include "engine/operations/array_file.h"
#include "engine/operations/assignment.h"
#include "engine/operations/collector.h"
#include "engine/operations/members.h"
#include "engine/operations/slots.h"
#include "engine/program/node_modes.h"
#include "engine/values/limits.h"

#include <algorithm>

namespace kestrel {

namespace {

/// Calls visit(k, cell) for each index value of a list, until it says no.
template <class Visit>
bool forEachIndex(EngineContext& ctx, const IndexList& list, Visit visit) {
    int k = 0;
    for (int i = list.first + 1; i < list.end; ++i) {
        const ValueCell& cell = ctx.stack.at(i);
        if (cell.type != SepMark && !visit(k++, cell)) return false;
    }
    return true;
}

bool requireNumericIndex(EngineContext& ctx, const ValueCell& cell, const Variable& variable) {
    if (cell.isNumeric()) return true;
    ctx.report(MessageId::IndexType, variable.name);
    return false;
}

void readElement(EngineContext& ctx, const ArrayRecord& array, const Variable& variable) {
    const IndexList list = indexListBelow(ctx, ctx.stack.size());
    if (!requireList(ctx, list)) return;
    if (list.count != array.dimCount) {
        ctx.report(MessageId::ReadDimensionCount, list.count, variable.name, array.dimCount);
        return;
    }
    const std::optional<std::int64_t> position = linearPosition(ctx, array, variable, list);
    if (!position) return;
    if (*position < 1 || *position > array.count()) {
        ctx.report(MessageId::IndexRange, *position, variable.name, dimensionText(array));
        return;
    }
    const ValueCell& element = array.elements[static_cast<std::size_t>(*position - 1)];
    if (element.type == Uninitialized) {
        ctx.report(MessageId::ElementNeverSet, variable.name, *position);
        return;
    }
    ctx.stack.dropTo(list.first);
    ctx.stack.push(borrowValue(element));
}

void readCharacter(EngineContext& ctx, const Variable& variable) {
    const IndexList list = indexListBelow(ctx, ctx.stack.size());
    if (!requireList(ctx, list)) return;
    if (list.count != 1) {
        ctx.report(MessageId::CharacterDimensions, list.count, variable.ownerName(), variable.name);
        return;
    }
    const std::optional<std::int64_t> index = indexAt(ctx, variable, list, 0);
    if (!index) return;
    const std::int64_t position = *index;
    const std::string_view text = variable.text;
    ctx.stack.dropTo(list.first);
    if (position < 1 || position > static_cast<std::int64_t>(text.size())) {
        // Only reported, by design: the run goes on without a value.
        ctx.report(MessageId::CharacterRange, position, variable.ownerName(), variable.name);
        return;
    }
    ctx.pushText(text.substr(static_cast<std::size_t>(position - 1), 1));
}

void indexValue(EngineContext& ctx, Variable& variable) {
    if (const ArrayRecord* array = variable.heldArray()) {
        readElement(ctx, *array, variable);
    } else if (variable.holdsText()) {
        readCharacter(ctx, variable);
    } else {
        ctx.report(MessageId::UndeclaredArray, variable.name);
    }
}

FunctionRecord* activeFunction(const EngineContext& ctx) noexcept {
    return ctx.run.calls.empty() ? nullptr : ctx.run.calls.back().function;
}

/// The sizes of a declaration: the product, or -1 after reporting.
std::int64_t readSizes(EngineContext& ctx, const Variable& variable, const IndexList& list,
                       std::array<std::int64_t, kMaxDimensions>& sizes) {
    std::int64_t product = 1;
    const bool ok = forEachIndex(ctx, list, [&](int k, const ValueCell& cell) {
        if (!requireNumericIndex(ctx, cell, variable)) return false;
        const std::int64_t size = truncate(cell.number);
        if (k < kMaxDimensions) sizes[static_cast<std::size_t>(k)] = size;
        // Past this bound the product only has to stay too large (or negative).
        if (__builtin_mul_overflow(product, size, &product)) product = kMaxElements + 1;
        return true;
    });
    if (!ok) return -1;
    if (product < 1) {
        ctx.report(MessageId::ArraySize, product, variable.name);
        return -1;
    }
    if (list.count > kMaxDimensions) {
        ctx.report(MessageId::TooManyDimensions, variable.name);
        return -1;
    }
    return product;
}

void adoptArray(EngineContext& ctx, const CodeNode& node, ArrayRecord& array) {
    array.declNode = &node;
    releaseVariableValue(ctx, *node.variable);
    node.variable->type = Array;
    node.variable->object = &array;
}

/// `var lines["name"]`: one element per line of a file.
void declareFromFile(EngineContext& ctx, const CodeNode& node, const IndexList& list) {
    constexpr std::int64_t kNone = 0;
    ArrayRecord* array = makeArray(ctx, {&kNone, 1}, Nil);
    if (array != nullptr) loadArrayFile(ctx, *array, ctx.stack.at(list.end - 1).text);
    ctx.stack.dropTo(list.first);
    if (array != nullptr) adoptArray(ctx, node, *array);
}

void declareArray(EngineContext& ctx, const CodeNode& node) {
    Variable& variable = *node.variable;
    const IndexList list = indexListBelow(ctx, ctx.stack.size());
    if (!requireList(ctx, list)) return;
    if (const ArrayRecord* array = variable.heldArray()) {
        // A declaration in a loop, or in a function called again, keeps the array it made.
        const bool repeat =
            !ctx.run.calls.empty() && activeFunction(ctx) != array->owner && array->elements.empty();
        if (!repeat) {
            ctx.stack.dropTo(list.first);
            return;
        }
    }
    if (list.count == 1 && ctx.stack.at(list.end - 1).isText()) return declareFromFile(ctx, node, list);
    std::array<std::int64_t, kMaxDimensions> sizes{};
    if (readSizes(ctx, variable, list, sizes) < 0) return;
    ArrayRecord* array = makeArray(ctx, std::span(sizes).first(static_cast<std::size_t>(list.count)), Nil);
    ctx.stack.dropTo(list.first);
    if (array != nullptr) adoptArray(ctx, node, *array);
}

constexpr std::size_t bytesOf(std::size_t elements) noexcept {
    return sizeof(ArrayRecord) + elements * sizeof(ValueCell);
}

/// Takes the memory for this many elements out of the script's budget.
/// @return false after reporting that there is not so much
bool charge(EngineContext& ctx, ArrayRecord& array, std::size_t elements) {
    if (elements <= kMaxElements && array.memory.resize(bytesOf(elements))) return true;
    ctx.pool.exhausted();
    return false;
}

}  // namespace

bool requireList(EngineContext& ctx, const IndexList& list) {
    if (list.first >= ctx.base()) return true;
    ctx.report(MessageId::StackEmpty);
    return false;
}

ArrayRecord* makeArray(EngineContext& ctx, std::span<const std::int64_t> dims, std::int32_t fill) {
    std::int64_t count = 1;
    for (const std::int64_t size : dims)
        if (__builtin_mul_overflow(count, size, &count)) count = kMaxElements + 1;
    const auto elements = static_cast<std::size_t>(std::max<std::int64_t>(count, 0));
    auto array = std::make_unique<ArrayRecord>(ctx.pool);
    if (elements <= kMaxElements && !array->memory.resize(bytesOf(elements))) collectArrays(ctx);
    if (!charge(ctx, *array, elements)) return nullptr;
    for (std::size_t k = 0; k < dims.size(); ++k) {
        array->dims[k] = static_cast<std::int32_t>(
            std::clamp<std::int64_t>(dims[k], std::numeric_limits<std::int32_t>::min(), kMaxElements));
    }
    array->dimCount = static_cast<std::int32_t>(dims.size());
    array->owner = activeFunction(ctx);
    ValueCell fresh = ValueCell::ofNil();
    fresh.type = fill;
    array->elements.assign(elements, fresh);
    ctx.arrays.push_back(std::move(array));
    return ctx.arrays.back().get();
}

bool resizeArray(EngineContext& ctx, ArrayRecord& array, std::int64_t count) {
    const auto size = static_cast<std::size_t>(count);
    for (std::size_t i = size; i < array.elements.size(); ++i) clearElement(ctx, array.elements[i]);
    if (size > array.elements.capacity()) {
        const std::size_t room =
            std::max(size, std::min(array.elements.capacity() * 2, static_cast<std::size_t>(kMaxElements)));
        // Where there is no memory for later ones there may be some for those that are wanted.
        const bool more = room > size && array.memory.resize(bytesOf(room));
        if (!more && !charge(ctx, array, size)) return false;
        array.elements.reserve(more ? room : size);
    }
    array.elements.resize(size, ValueCell::ofNil());
    array.dims[0] = static_cast<std::int32_t>(count);
    return true;
}

void clearElement(EngineContext& ctx, ValueCell& element) {
    if (element.type == TempString)
        ctx.pool.release(element.text);
    else if (isObjectKind(element.type))
        ctx.kinds().of(element.type).drop(ctx, element.object);
    element = ValueCell::ofNil();
}

void storeValue(EngineContext& ctx, ValueCell& slot, const ValueCell& value) {
    if (isInlineKind(value.type) && isInlineKind(slot.type)) {  // nothing to keep, hold or let go
        slot = value;
        return;
    }
    ValueCell stored = value;
    if (value.isText()) {
        const char* copy = ctx.pool.keep(value.text != nullptr ? value.text : "");
        if (copy == nullptr) return;
        stored = ValueCell::ofTemp(copy);
    } else if (isObjectKind(value.type)) {
        ctx.kinds().of(value.type).hold(ctx, value.object);
    } else if (value.type == VarRef) {
        stored = ValueCell::ofNumber(0.0);
    }
    clearElement(ctx, slot);
    slot = stored;
}

ValueCell borrowValue(const ValueCell& stored) noexcept {
    ValueCell cell = stored;
    if (cell.type == TempString) cell.type = String;
    return cell;
}

IndexList indexListBelow(EngineContext& ctx, int end) {
    IndexList list;
    list.end = end;
    list.first = end - 1;
    for (; list.first >= ctx.base() && ctx.stack.at(list.first).type != DimMark; --list.first)
        if (ctx.stack.at(list.first).type != SepMark) ++list.count;
    return list;
}

std::optional<std::int64_t> indexAt(EngineContext& ctx, const Variable& variable, const IndexList& list,
                                    int k) {
    std::optional<std::int64_t> index;
    const bool exhausted = forEachIndex(ctx, list, [&](int at, const ValueCell& cell) {
        if (at == k && requireNumericIndex(ctx, cell, variable)) index = truncate(cell.number);
        return at < k;
    });
    if (exhausted) requireNumericIndex(ctx, ValueCell::ofNil(), variable);
    return index;
}

// Only the first index is bounded through the position alone.
std::optional<std::int64_t> linearPosition(EngineContext& ctx, const ArrayRecord& array,
                                           const Variable& variable, const IndexList& list) {
    std::int64_t position = 0;
    const bool ok = forEachIndex(ctx, list, [&](int k, const ValueCell& cell) {
        if (!requireNumericIndex(ctx, cell, variable)) return false;
        const std::int64_t i = truncate(cell.number);
        if (k == 0) {
            position = i;
            return true;
        }
        const std::int64_t size = array.dims[static_cast<std::size_t>(k)];
        if (i > size) {
            ctx.report(MessageId::DimensionRange, i, size, variable.name);
            return false;
        }
        // A position this far out is invalid whatever follows; keeping it there avoids an overflow.
        const std::int64_t bounded = std::clamp<std::int64_t>(position, -kMaxElements, kMaxElements);
        position = (bounded - 1) * size + std::clamp<std::int64_t>(i, -kMaxElements, kMaxElements);
        return true;
    });
    return ok ? std::optional(position) : std::nullopt;
}

std::int64_t elementIndex(EngineContext& ctx, ArrayRecord& array, const CodeNode& node) {
    const Variable& variable = targetVariable(node);
    const IndexList list = indexListBelow(ctx, ctx.stack.size());
    if (!requireList(ctx, list)) return -1;
    if (list.count != array.dimCount) {
        ctx.report(MessageId::DimensionCount, list.count, variable.name, array.dimCount);
        return -1;
    }
    const std::optional<std::int64_t> position = linearPosition(ctx, array, variable, list);
    if (!position) return -1;
    if (*position < 1 || *position > array.count()) {
        ctx.report(MessageId::IndexRange, *position, variable.name,
                   "[" + std::to_string(array.count()) + "]");
        return -1;
    }
    ctx.stack.dropTo(list.first);
    return *position - 1;
}

const CodeNode* executeIndex(EngineContext& ctx, const CodeNode* node) {
    switch (node->mode) {
        case kDeclare:
            declareArray(ctx, *node);
            return node;
        case kReference:
            ctx.stack.push(ValueCell::ofNode(Array, node));
            return node;
        case kSlotRead:
            readSlotElement(ctx, *node);
            return node;
        case kMemberRead:
            readMember(ctx, *node, true);
            return node->next;
        case kMemberReference:
            ctx.stack.push(ValueCell::ofNode(IndexedMemberRef, node));
            return node;
        default: {
            const FreshVariable fresh(ctx, *node->variable);
            indexValue(ctx, *node->variable);
            return node;
        }
    }
}

std::string dimensionText(const ArrayRecord& array) {
    std::string text;
    for (int k = 0; k < array.dimCount; ++k)
        text += "[" + std::to_string(array.dims[static_cast<std::size_t>(k)]) + "]";
    return text;
}

}  // namespace kestrel
