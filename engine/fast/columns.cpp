#include "engine/fast/columns.h"

#include <algorithm>
#include <cstring>

namespace kestrel::fast {

namespace {

std::size_t widthOf(const Column& column) noexcept {
    return column.whole ? sizeof(std::int32_t) : sizeof(double);
}

std::byte* placeIn(const Column& column, std::size_t sample) noexcept {
    return static_cast<std::byte*>(column.data) + sample * widthOf(column);
}

}  // namespace

const Column* Columns::find(std::int64_t offset) const noexcept {
    const auto found = std::ranges::find(columns_, offset, &Column::offset);
    return found != columns_.end() ? &*found : nullptr;
}

void Columns::gather(std::size_t sample, void* record) const noexcept {
    std::memcpy(record, common_.data(), common_.size());
    for (const Column& column : columns_)
        std::memcpy(static_cast<std::byte*>(record) + column.offset, placeIn(column, sample),
                    widthOf(column));
}

void Columns::scatter(std::size_t sample, const void* record) const noexcept {
    for (const Column& column : columns_)
        if (column.writable)
            std::memcpy(placeIn(column, sample), static_cast<const std::byte*>(record) + column.offset,
                        widthOf(column));
}

}  // namespace kestrel::fast
