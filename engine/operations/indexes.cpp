#include "engine/operations/indexes.h"

#include "engine/values/limits.h"

#include <algorithm>
#include <string>

namespace kestrel {

IndexList searchIndexList(std::span<const ValueCell> cells) noexcept {
    IndexList list{cells, 0, false};
    for (std::size_t at = cells.size(); at > 0 && !list.opened; --at) {
        const std::int32_t type = cells[at - 1].type;
        if (type == DimMark)
            list = {cells.subspan(at - 1), list.count, true};
        else if (type != SepMark)
            ++list.count;
    }
    return list;
}

bool requireList(EngineContext& ctx, const IndexList& list) {
    if (list.opened) return true;
    ctx.report(MessageId::StackEmpty);
    return false;
}

bool requireNumericIndex(EngineContext& ctx, const ValueCell& cell, const Variable& variable) {
    if (cell.isNumeric()) return true;
    ctx.report(MessageId::IndexType, variable.name);
    return false;
}

std::optional<std::int64_t> indexAt(EngineContext& ctx, const Variable& variable, const IndexList& list,
                                    int k) {
    std::optional<std::int64_t> index;
    const bool exhausted = forEachIndex(list, [&](int at, const ValueCell& cell) {
        if (at == k && requireNumericIndex(ctx, cell, variable)) index = truncate(cell.number);
        return at < k;
    });
    if (exhausted) static_cast<void>(requireNumericIndex(ctx, ValueCell::ofNil(), variable));
    return index;
}

// Only the first index is bounded through the position alone.
std::optional<std::int64_t> linearPosition(EngineContext& ctx, const ArrayRecord& array,
                                           const Variable& variable, const IndexList& list) {
    std::int64_t position = 0;
    const bool ok = forEachIndex(list, [&](int k, const ValueCell& cell) {
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

void reportAssignedIndex(EngineContext& ctx, const Variable& variable, std::int64_t index,
                         std::int64_t count) {
    ctx.report(MessageId::AssignedIndexRange, index, variable.ownerName(), variable.name, count);
}

std::int64_t elementIndex(EngineContext& ctx, const ArrayRecord& array, const Variable& variable,
                          const IndexList& list) {
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
    return *position - 1;
}

std::optional<std::int64_t> checkedMemberIndex(EngineContext& ctx, const IndexList& list) {
    const std::span<const ValueCell> cells = list.cells;
    const std::size_t count = cells.size();
    if (count == 0) {
        ctx.report(MessageId::StackEmpty);
        return std::nullopt;
    }
    const ValueCell& value = cells.back();
    if (!value.isNumeric() && value.type != VarRef) {
        ctx.report(MessageId::MemberIndexType);
        return std::nullopt;
    }
    const std::size_t before = count >= 2 && cells[count - 2].type == SepMark ? count - 2 : count - 1;
    if (before != 1 || !list.opened) {
        ctx.report(MessageId::MemberDimensions);
        return std::nullopt;
    }
    return truncate(value.firstDouble());
}

}  // namespace kestrel
