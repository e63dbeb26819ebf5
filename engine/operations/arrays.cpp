#include "engine/operations/arrays.h"

#include "engine/operations/array_file.h"
#include "engine/operations/collector.h"
#include "engine/operations/storage.h"
#include "engine/values/limits.h"

#include <algorithm>

namespace kestrel {

namespace {

Reading readValue(EngineContext& ctx, const ArrayRecord& array, const Variable& variable,
                  const IndexList& list, ValueCell& out) {
    if (list.count != array.dimCount) {
        ctx.report(MessageId::ReadDimensionCount, list.count, variable.name, array.dimCount);
        return Reading::Failed;
    }
    const std::optional<std::int64_t> position = linearPosition(ctx, array, variable, list);
    if (!position) return Reading::Failed;
    if (*position < 1 || *position > array.count()) {
        ctx.report(MessageId::IndexRange, *position, variable.name, dimensionText(array));
        return Reading::Failed;
    }
    const ValueCell& element = array.elements[static_cast<std::size_t>(*position - 1)];
    if (element.type == Uninitialized) {
        ctx.report(MessageId::ElementNeverSet, variable.name, *position);
        return Reading::Failed;
    }
    if (element.isNumeric())  // writes less
        out.setScalar(element.type, element.number);
    else
        out = load(element);
    return Reading::Value;
}

Reading readCharacter(EngineContext& ctx, const Variable& variable, const IndexList& list, ValueCell& out) {
    if (list.count != 1) {
        ctx.report(MessageId::CharacterDimensions, list.count, variable.ownerName(), variable.name);
        return Reading::Failed;
    }
    const std::optional<std::int64_t> index = indexAt(ctx, variable, list, 0);
    if (!index) return Reading::Failed;
    const std::string_view text = variable.text;
    if (*index < 1 || *index > static_cast<std::int64_t>(text.size())) {
        // Only reported, by design: the run goes on without a value.
        ctx.report(MessageId::CharacterRange, *index, variable.ownerName(), variable.name);
        return Reading::Nothing;
    }
    const char* const copy = ctx.pool.strdup(text.substr(static_cast<std::size_t>(*index - 1), 1));
    if (copy == nullptr) return Reading::Failed;
    out = ValueCell::ofTemp(copy);
    return Reading::Value;
}

FunctionRecord* activeFunction(const EngineContext& ctx) noexcept {
    return ctx.run.calls.empty() ? nullptr : ctx.run.calls.back().function;
}

/// The sizes of a declaration: the product, or -1 after reporting.
std::int64_t readSizes(EngineContext& ctx, const Variable& variable, const IndexList& list,
                       std::array<std::int64_t, kMaxDimensions>& sizes) {
    std::int64_t product = 1;
    const bool ok = forEachIndex(list, [&](int k, const ValueCell& cell) {
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

/// `var lines["name"]`: one element per line of a file.
void declareFromFile(EngineContext& ctx, Variable& variable, const char* name) {
    constexpr std::int64_t kNone = 0;
    ArrayRecord* array = makeArray(ctx, {&kNone, 1}, Nil);
    if (array == nullptr) return;
    loadArrayFile(ctx, *array, name);
    holdArray(ctx, variable, array);
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
    for (std::size_t i = size; i < array.elements.size(); ++i) clear(ctx, array.elements[i]);
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

Reading readElement(EngineContext& ctx, Variable& variable, const IndexList& list, ValueCell& out) {
    const ArrayRecord* const array = variable.heldArray();
    if (array == nullptr && !variable.holdsText()) {
        ctx.report(MessageId::UndeclaredArray, variable.name);
        return Reading::Failed;
    }
    if (!requireList(ctx, list)) return Reading::Failed;
    return array != nullptr ? readValue(ctx, *array, variable, list, out)
                            : readCharacter(ctx, variable, list, out);
}

bool declareArray(EngineContext& ctx, Variable& variable, const IndexList& list) {
    if (!requireList(ctx, list)) return false;
    if (const ArrayRecord* array = variable.heldArray()) {
        // A declaration in a loop, or in a function called again, keeps the array it made.
        const bool repeat =
            !ctx.run.calls.empty() && activeFunction(ctx) != array->owner && array->elements.empty();
        if (!repeat) return true;
    }
    if (list.count == 1 && list.cells.back().isText()) {
        declareFromFile(ctx, variable, list.cells.back().text);
        return true;
    }
    std::array<std::int64_t, kMaxDimensions> sizes{};
    if (readSizes(ctx, variable, list, sizes) < 0) return false;
    ArrayRecord* array = makeArray(ctx, std::span(sizes).first(static_cast<std::size_t>(list.count)), Nil);
    if (array != nullptr) holdArray(ctx, variable, array);
    return true;
}

std::string dimensionText(const ArrayRecord& array) {
    std::string text;
    for (int k = 0; k < array.dimCount; ++k)
        text += "[" + std::to_string(array.dims[static_cast<std::size_t>(k)]) + "]";
    return text;
}

}  // namespace kestrel
