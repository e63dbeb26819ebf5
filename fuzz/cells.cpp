#include "fuzz/cells.h"

#include "builtins/files/file_pool.h"
#include "engine/operations/arrays.h"
#include "engine/operations/storage.h"

namespace kestrel::fuzz {

namespace {

void pushArray(EngineContext& ctx, Taken& data) {
    std::vector<std::int64_t> sizes(1 + data.below(2));
    for (std::int64_t& size : sizes) size = data.byte() % 12;
    ArrayRecord* array = makeArray(ctx, sizes, data.below(2) == 0 ? Nil : Uninitialized);
    if (array == nullptr) return ctx.stack.push(ValueCell::ofNil());
    for (ValueCell& element : array->elements) {
        if (data.below(2) == 0) continue;
        const std::string text = data.below(2) == 0 ? data.text() : "";
        store(ctx, element,
              text.empty() ? ValueCell::ofNumber(data.number()) : ValueCell::ofText(text.c_str()));
    }
    ctx.stack.push(ValueCell::ofArray(array, nullptr));
}

void pushPlain(EngineContext& ctx, Taken& data) {
    switch (data.below(6)) {
        case 0:
            return ctx.stack.push(ValueCell::ofInteger(static_cast<double>(truncate(data.number()))));
        case 1:
            return ctx.stack.push(ValueCell::ofNumber(data.number()));
        case 2:
            return ctx.stack.push(ValueCell::ofNil());
        case 3: {
            const double x = data.number();
            const double y = data.number();
            return ctx.stack.push(ValueCell::ofVector({x, y, data.number()}));
        }
        default:
            return ctx.pushText(data.text());
    }
}

}  // namespace

void pushValue(EngineContext& ctx, Taken& data) {
    if (data.rarely(6)) return pushArray(ctx, data);
    if (data.rarely(12)) return ctx.stack.push(ValueCell::ofObject(ShaderObj, nullptr));
    if (data.rarely(8)) {
        builtins::FileRecord* file =
            builtins::openScriptFile(ctx, "kept.txt", data.below(2) == 0 ? "w+" : "r");
        return ctx.stack.push(file != nullptr ? builtins::fileCell(*file) : ValueCell::ofNil());
    }
    pushPlain(ctx, data);
}

void pushArgument(EngineContext& ctx, Taken& data) {
    if (!data.rarely(10)) return pushValue(ctx, data);
    const bool list = data.below(2) == 0;
    const int count = 1 + static_cast<int>(data.below(3));
    if (list) ctx.stack.push(ValueCell::ofMark(ListMark));
    for (int i = 0; i < count; ++i) pushPlain(ctx, data);
    ctx.stack.push(list ? ValueCell::ofMark(ListMark) : ValueCell::ofCount(count));
}

}  // namespace kestrel::fuzz
