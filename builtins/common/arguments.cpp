#include "builtins/common/arguments.h"

#include <algorithm>

namespace kestrel::builtins {

namespace {

/// Stack index of the ListMark that opens the list whose closing one is on top, or -1.
int openingMark(EngineContext& ctx) {
    for (int i = ctx.stack.size() - 2; i >= ctx.base(); --i)
        if (ctx.stack.at(i).type == ListMark) return i;
    return -1;
}

}  // namespace

Values widen(BuiltinCall& call) {
    constexpr Values kNone{0, -1};
    if (call.argc == 0) return kNone;
    EngineContext& ctx = call.ctx;
    const int top = ctx.stack.size() - 1;
    const ValueCell& last = ctx.stack.at(top);
    Values values = kNone;
    if (last.type == ReturnCount) {
        const std::int64_t count = truncate(last.number);
        if (count < 0 || count > top - ctx.base()) return kNone;
        values.count = static_cast<int>(count);
        values.first = top - values.count;
    } else if (last.type == ListMark) {
        const int open = openingMark(ctx);
        if (open < 0) return kNone;
        values.first = open;
        values.count = top - open - 1;
    } else {
        return kNone;
    }
    call.rebase(std::max(ctx.base(), values.first - (call.argc - 1)));
    return values;
}

}  // namespace kestrel::builtins
