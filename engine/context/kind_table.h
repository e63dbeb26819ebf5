// Which kind a value belongs to, by its tag.
#pragma once

#include "engine/context/object_kind.h"
#include "engine/program/names.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace kestrel {

/// All kinds of objects that scripts can meet. Complete before the first script is linked: programs number
/// their own names from where this table's names end.
class KindTable {
public:
    /// @param values  the kind of everything that has no kind of its own: numbers, texts, arrays, Nil
    explicit KindTable(ObjectKind& values);
    KindTable(const KindTable&) = delete;
    KindTable& operator=(const KindTable&) = delete;

    /// Enters a kind under its tags. The kind outlives the table.
    void add(ObjectKind& kind, std::span<const std::int32_t> tags);
    /// The same for a kind that names its tags itself.
    template <class Kind>
    void add(Kind& kind) {
        add(kind, Kind::kTags);
    }

    [[nodiscard]] ObjectKind& of(std::int32_t tag) const noexcept {
        const auto at = static_cast<std::size_t>(tag);
        return at < kinds_.size() ? *kinds_[at] : *entered_.front();
    }
    /// The data member of that name where all objects with the tag have the same ones; null otherwise.
    [[nodiscard]] const MemberRow* member(std::int32_t tag, NameId name) const noexcept {
        const auto interfaces = of(tag).interfaces();
        return interfaces.size() == 1 ? interfaces.front().member(name) : nullptr;
    }
    /// Names of all data members and methods.
    [[nodiscard]] const NameTable& names() const noexcept { return names_; }
    /// Lets every kind release the objects that nobody holds.
    void sweep(EngineContext& ctx) const;
    /// All kinds in the order in which they were entered, the values first.
    [[nodiscard]] std::span<ObjectKind* const> all() const noexcept { return entered_; }

private:
    std::array<ObjectKind*, 512> kinds_;
    std::vector<ObjectKind*> entered_;
    NameTable names_;
};

}  // namespace kestrel
