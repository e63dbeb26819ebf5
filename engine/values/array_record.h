// The storage of an array.
#pragma once

#include "engine/values/pool.h"
#include "engine/values/value.h"

#include <array>
#include <cstdint>
#include <vector>

namespace kestrel {

struct FunctionRecord;

inline constexpr int kMaxDimensions = 10;

/// One array. Elements are ValueCells; the texts they hold are retained pool copies owned by
/// them.
struct ArrayRecord {
    explicit ArrayRecord(Pool& pool) noexcept : memory(pool) {}

    std::array<std::int32_t, kMaxDimensions> dims{-1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    std::int32_t dimCount = 0;
    FunctionRecord* owner = nullptr;  ///< the function active when it was created
    std::vector<ValueCell> elements;  ///< row-major; a fresh element is Nil, of array() Uninitialized
    Pool::Share memory;               ///< of the record and its elements
    bool reached = false;             ///< while arrays are collected: something refers to it
    [[nodiscard]] std::int64_t count() const noexcept { return static_cast<std::int64_t>(elements.size()); }
};

}  // namespace kestrel
