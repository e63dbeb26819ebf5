#include "engine/context/builtin.h"

namespace kestrel {

void BuiltinCall::resultText(std::string_view text) {
    const char* copy = ctx.pool.strdup(text);
    result(copy != nullptr ? ValueCell::ofTemp(copy) : ValueCell::ofNil());
}

void BuiltinCall::resultArgument(int i) {
    const ValueCell value = arg(i);
    arg(i) = ValueCell::ofNil();  // its text moves along and must not be released here
    result(value);
}

void BuiltinCall::results(std::span<const ValueCell> cells) {
    ctx.stack.dropTo(base_);
    for (const ValueCell& cell : cells) ctx.stack.push(cell);
    ctx.stack.push(ValueCell::ofCount(static_cast<int>(cells.size())));
}

BuiltinTable::BuiltinTable(std::span<const BuiltinEntry> rows) : rows_(rows) {
    for (const BuiltinEntry& row : rows) firstOfName_.emplace(row.name, &row);
}

const BuiltinEntry* BuiltinTable::find(std::string_view name) const noexcept {
    const auto found = firstOfName_.find(name);
    return found != firstOfName_.end() ? found->second : nullptr;
}

}  // namespace kestrel
