#include "host/panel_arguments.h"

#include <algorithm>

namespace kestrel {

PanelArguments::PanelArguments(BuiltinCall& call)
    : ctx_(call.ctx), arguments_(static_cast<std::size_t>(call.argc)) {
    int end = ctx_.stack.size();
    for (auto argument = arguments_.rbegin(); argument != arguments_.rend(); ++argument) {
        *argument = before(end);
        end = argument->begin;
    }
    call.rebase(end);
}

/// The argument that ends below stack index `end`.
PanelArguments::Argument PanelArguments::before(int end) const {
    if (end <= ctx_.base()) return {end, end, 0, true};  // the function has left too little there
    const ValueCell& last = ctx_.stack.at(end - 1);
    if (last.type == ReturnCount) {
        const auto most = std::int64_t{end} - 1 - ctx_.base();
        const auto count = static_cast<int>(std::clamp<std::int64_t>(truncate(last.number), 0, most));
        return {end - 1 - count, end - 1 - count, count, true};
    }
    const Argument plain{end - 1, end - 1, 1, false};
    if (last.type != ListMark) return plain;
    int open = end - 2;
    while (open >= ctx_.base() && ctx_.stack.at(open).type != ListMark) --open;
    return open >= ctx_.base() ? Argument{open, open + 1, end - 2 - open, true} : plain;
}

const PanelArguments::Argument* PanelArguments::at(int i) const noexcept {
    return i < count() ? &arguments_[static_cast<std::size_t>(i)] : nullptr;
}

const ValueCell& PanelArguments::operator[](int i) const noexcept {
    const Argument* argument = at(i);
    return argument != nullptr && !argument->list ? ctx_.stack.at(argument->first) : nil_;
}

bool PanelArguments::isArray(int i) const noexcept {
    const ValueCell& cell = (*this)[i];
    return (cell.type == ArrayRef || cell.type == NewArray) && cell.array != nullptr;
}

std::optional<std::vector<const ValueCell*>> PanelArguments::items(int i) const {
    std::vector<const ValueCell*> cells;
    if (isArray(i)) {
        for (const ValueCell& element : (*this)[i].array->elements) cells.push_back(&element);
        return cells;
    }
    const Argument* argument = at(i);
    if (argument == nullptr || !argument->list) return std::nullopt;
    for (int k = 0; k < argument->count; ++k) cells.push_back(&ctx_.stack.at(argument->first + k));
    return cells;
}

}  // namespace kestrel
