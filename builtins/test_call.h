// Calls built-ins in tests as the interpreter would, and shows what they leave.
#pragma once

#include "builtins/builtin_table.h"
#include "builtins/persistent_store.h"
#include "engine/arrays.h"
#include "engine/context.h"
#include "engine/records.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace kestrel::test {

using Cells = std::vector<ValueCell>;

inline ValueCell N(double v) {
    return ValueCell::ofNumber(v);
}
inline ValueCell I(double v) {
    return ValueCell::ofInteger(v);
}
inline ValueCell V(double x, double y, double z) {
    return ValueCell::ofVector({x, y, z});
}
inline ValueCell S(const char* text) {
    return ValueCell::ofText(text);
}
inline ValueCell nil() {
    return ValueCell::ofNil();
}
inline ValueCell A(ArrayRecord* array) {
    return ValueCell::ofArray(array, nullptr);
}

class BuiltinTest : public ::testing::Test, private MessageSink {
protected:
    /// Calls a function whose last argument may stand for several values; `argc` -1: as many as there are
    /// cells.
    /// @return the cells that it leaves, as text: `2.5`, `3i`, `<1,2,3>`, `'text'`, `nil`, `return 2`, `@`
    std::string call(std::string_view name, const Cells& args, int argc = -1) {
        const BuiltinEntry* row = library.table().find(name);
        if (row == nullptr) return "no such function";
        ctx.stack.push(ValueCell::ofMark(BlockMark));  // what lies below must stay untouched
        for (const ValueCell& cell : args) {
            // Texts are owned by the stack, so that a double release or a leak shows.
            const bool owned = cell.type == String;
            ctx.stack.push(owned ? ValueCell::ofTemp(ctx.pool.strdup(cell.payload.text)) : cell);
        }
        CodeNode node;
        node.argc = argc < 0 ? static_cast<int>(args.size()) : argc;
        BuiltinCall builtin(ctx, node, row->id, row->name);
        row->handler(builtin);

        std::string left;
        for (int i = 1; i < ctx.stack.size(); ++i) left += (i > 1 ? " " : "") + show(ctx.stack.at(i));
        EXPECT_EQ(ctx.stack.at(0).type, BlockMark) << name;
        ctx.stack.dropTo(0);
        return left;
    }

    static std::string show(const ValueCell& cell) {
        const Vec3& v = cell.payload.vec;
        switch (cell.type) {
            case Number:
                return print("%.10g", cell.payload.number);
            case Integer:
                return print("%.10gi", cell.payload.number);
            case Vector:
                return "<" + print("%.10g", v.x) + "," + print("%.10g", v.y) + "," + print("%.10g", v.z) +
                       ">";
            case String:
            case TempString:
                return "'" + std::string(cell.payload.text) + "'";
            case Nil:
                return "nil";
            case ReturnCount:
                return print("return %.10g", cell.payload.number);
            case ListMark:
                return "@";
            default:
                return "type " + std::to_string(cell.type);
        }
    }

    ArrayRecord* makeElements(const Cells& elements) {
        const std::int64_t count = static_cast<std::int64_t>(elements.size());
        ArrayRecord* array = makeArray(ctx, {&count, 1}, Uninitialized);
        for (std::size_t i = 0; i < elements.size(); ++i)
            if (elements[i].type != Uninitialized) storeValue(ctx, array->elements[i], elements[i]);
        return array;
    }

    BuiltinLibrary library;
    EngineContext ctx{EngineServices{.messages = this, .builtins = &library.table()}};
    std::vector<Message> shown;

private:
    static std::string print(const char* format, double v) {
        char text[64];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        std::snprintf(text, sizeof text, format, v);
#pragma GCC diagnostic pop
        return text;
    }
    void show(const Message& message) override {
        shown.push_back(message);
    }
};

}  // namespace kestrel::test
