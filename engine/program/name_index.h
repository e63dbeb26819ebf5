// Finding items of a list by their names without walking along it.
#pragma once

#include <string_view>
#include <unordered_map>

namespace kestrel {

/// An index beside a list that only grows at its end. It takes in what is new when it is asked.
template <class T>
class NameIndex {
public:
    /// @param head  of the list, always the same one until reset()
    /// @return the first item of that name, or null
    template <class Name>
    [[nodiscard]] T* find(T* head, std::string_view name, const Name& nameOf) {
        for (T* item = last_ != nullptr ? last_->next : head; item != nullptr; item = item->next) {
            first_.try_emplace(nameOf(*item), item);
            last_ = item;
        }
        const auto found = first_.find(name);
        return found != first_.end() ? found->second : nullptr;
    }
    [[nodiscard]] T* find(T* head, std::string_view name) {
        return find(head, name, [](const T& item) { return std::string_view(item.name); });
    }
    /// Before it is asked about another list, or the same one emptied.
    void reset() noexcept {
        first_.clear();
        last_ = nullptr;
    }

private:
    std::unordered_map<std::string_view, T*> first_;
    T* last_ = nullptr;
};

}  // namespace kestrel
