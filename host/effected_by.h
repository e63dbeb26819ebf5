// The items that a script says it depends on.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace kestrel {

/// The names that effectedby() was given last.
class EffectedBy {
public:
    EffectedBy() = default;
    explicit EffectedBy(std::vector<std::string> names);
    // A move leaves the texts where they are; a copy would point into the original.
    EffectedBy(EffectedBy&&) = default;
    EffectedBy& operator=(EffectedBy&&) = default;

    [[nodiscard]] bool declared() const noexcept { return !pointers_.empty(); }
    /// @param name  as the host says it, so maybe null
    [[nodiscard]] bool has(const char* name) const {
        return name != nullptr && known_.contains(std::string_view(name));
    }
    /// The names in order, ending with a null; null when none were declared.
    [[nodiscard]] const char* const* list() const noexcept { return declared() ? pointers_.data() : nullptr; }

private:
    std::vector<std::string> names_;
    std::vector<const char*> pointers_;
    std::unordered_set<std::string_view> known_;
};

}  // namespace kestrel
