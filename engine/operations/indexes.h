// Index lists: [i, j, ...] as they stand in cells, and what they mean for an array.
#pragma once

#include "engine/context/context.h"
#include "engine/values/array_record.h"

#include <cstdint>
#include <optional>
#include <span>

namespace kestrel {

/// The cells of a list: DimMark, SepMark, i, SepMark, j ...
struct IndexList {
    std::span<const ValueCell> cells = {};  ///< from the DimMark on; everything there was where there is none
    int count = 0;                          ///< number of indexes
    bool opened = false;                    ///< there is a DimMark
};
/// The list that ends these cells, looked for cell by cell.
[[nodiscard]] IndexList searchIndexList(std::span<const ValueCell> cells) noexcept;
/// The same, quick for a list of one index.
[[nodiscard]] inline IndexList lastIndexList(std::span<const ValueCell> cells) noexcept {
    if (cells.size() >= 3) [[likely]] {
        const ValueCell* const last = &cells.back();
        if (last[-2].type == DimMark && last[-1].type == SepMark && last->isNumeric()) [[likely]]
            return {{last - 2, 3}, 1, true};
    }
    return searchIndexList(cells);
}

/// False, after reporting, when there is no list: an index behind a call has none.
[[nodiscard]] bool requireList(EngineContext& ctx, const IndexList& list);

/// False, after reporting, for an index that is no number.
[[nodiscard]] bool requireNumericIndex(EngineContext& ctx, const ValueCell& cell, const Variable& variable);

/// Calls visit(k, cell) for each index, until it says no.
/// @return false when it did
template <class Visit>
bool forEachIndex(const IndexList& list, Visit visit) {
    int k = 0;
    for (const ValueCell& cell : list.cells.subspan(list.opened ? 1 : 0))
        if (cell.type != SepMark && !visit(k++, cell)) return false;
    return true;
}

/// The k-th index (from 0), truncated. Reports one that is no number, or missing, and gives nothing.
[[nodiscard]] std::optional<std::int64_t> indexAt(EngineContext& ctx, const Variable& variable,
                                                  const IndexList& list, int k);

/// The 1-based linear position of the element; anything outside 1..count is invalid. Reports an index that is
/// no number or exceeds its dimension and gives nothing. The number of indexes has been checked.
[[nodiscard]] std::optional<std::int64_t> linearPosition(EngineContext& ctx, const ArrayRecord& array,
                                                         const Variable& variable, const IndexList& list);

/// Reports an index to which nothing can be assigned.
/// @param count  elements that there are
void reportAssignedIndex(EngineContext& ctx, const Variable& variable, std::int64_t index,
                         std::int64_t count);

/// The element of an array that compound assignments and "++"/"--" work on.
/// @return its 0-based position, or -1 after reporting
[[nodiscard]] std::int64_t elementIndex(EngineContext& ctx, const ArrayRecord& array,
                                        const Variable& variable, const IndexList& list);

/// The index of a data member: exactly one number. Nothing after reporting.
[[nodiscard]] std::optional<std::int64_t> checkedMemberIndex(EngineContext& ctx, const IndexList& list);
/// The same, quick for what is right.
[[nodiscard]] inline std::optional<std::int64_t> memberIndex(EngineContext& ctx, const IndexList& list) {
    const std::span<const ValueCell> cells = list.cells;
    if (list.opened && cells.size() == 3 && cells[1].type == SepMark && cells[2].isNumeric()) [[likely]]
        return truncate(cells[2].number);
    return checkedMemberIndex(ctx, list);
}

}  // namespace kestrel
