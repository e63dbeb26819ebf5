// Names as numbers: what is looked up while a script runs is never a text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kestrel {

/// The number of an interned name, from 0.
using NameId = std::int32_t;
inline constexpr NameId kNoName = -1;

/// Names and their numbers. A table may stand on another one, whose numbers it goes on from; that one
/// must not grow any more then.
class NameTable {
public:
    explicit NameTable(const NameTable* base = nullptr) noexcept
        : base_(base), first_(base != nullptr ? base->size() : 0) {}

    /// @param name  the text outlives the table
    NameId intern(std::string_view name) {
        if (const NameId known = find(name); known != kNoName) return known;
        const NameId id = size();
        ids_.emplace(name, id);
        return id;
    }
    /// @return kNoName for a name that nobody interned
    [[nodiscard]] NameId find(std::string_view name) const noexcept {
        if (base_ != nullptr) {
            if (const NameId known = base_->find(name); known != kNoName) return known;
        }
        const auto found = ids_.find(name);
        return found != ids_.end() ? found->second : kNoName;
    }
    /// One past the largest number.
    [[nodiscard]] NameId size() const noexcept { return first_ + static_cast<NameId>(ids_.size()); }

private:
    const NameTable* base_;
    NameId first_;
    std::unordered_map<std::string_view, NameId> ids_;
};

/// Finds the rows of a table by the numbers of their names. The first of several rows of one name wins.
template <class Row>
class RowIndex {
public:
    void enter(std::span<const Row> rows, NameTable& names) {
        rows_ = rows;
        positions_.clear();
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const auto id = static_cast<std::size_t>(names.intern(rows[i].name));
            if (id >= positions_.size()) positions_.resize(id + 1, kNone);
            if (positions_[id] == kNone) positions_[id] = static_cast<std::int16_t>(i);
        }
    }
    /// @return null for a name without a row
    [[nodiscard]] const Row* find(NameId id) const noexcept {
        const auto at = static_cast<std::size_t>(id);  // kNoName is far out of range
        if (at >= positions_.size() || positions_[at] == kNone) return nullptr;
        return &rows_[static_cast<std::size_t>(positions_[at])];
    }

private:
    static constexpr std::int16_t kNone = -1;
    std::span<const Row> rows_;
    std::vector<std::int16_t> positions_;
};

}  // namespace kestrel
