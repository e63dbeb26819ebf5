// Calls built-ins in tests as the interpreter would, and shows what they leave.
#pragma once

#include "builtins/builtin_table.h"
#include "builtins/files/file_methods.h"
#include "builtins/files/file_pool.h"
#include "builtins/store/persistent_store.h"
#include "builtins/system/process_state.h"
#include "engine/context/context.h"
#include "engine/kinds/engine_kinds.h"
#include "engine/operations/arrays.h"
#include "engine/operations/storage.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace kestrel::test {

using Cells = std::vector<ValueCell>;

inline constexpr auto N = &ValueCell::ofNumber;
inline constexpr auto I = &ValueCell::ofInteger;
inline constexpr auto S = &ValueCell::ofText;
inline constexpr auto nil = &ValueCell::ofNil;
inline ValueCell V(double x, double y, double z) {
    return ValueCell::ofVector({x, y, z});
}
inline ValueCell A(ArrayRecord* array) {
    return ValueCell::ofArray(array, nullptr);
}

/// A call and what it leaves.
struct Row {
    const char* name;
    Cells args;
    std::string left;
    int argc = -1;  ///< -1: as many as there are cells
};

class BuiltinTest : public ::testing::Test, private MessageSink {
protected:
    BuiltinTest() { kinds.table.add(files); }

    /// A value that refers to an open file of this name.
    ValueCell fileNamed(const char* path) {
        builtins::FilePool& pool = builtins::FilePool::of(ctx);
        builtins::FileRecord& record = pool.make();
        record.file = std::make_unique<builtins::OpenFile>(pool);
        record.file->path = path;
        return builtins::fileCell(record);
    }

    /// Calls a function whose last argument may stand for several values; `argc` -1: as many as there are
    /// cells.
    /// @return the cells that it leaves, as text: `2.5`, `3i`, `<1,2,3>`, `'text'`, `nil`, `return 2`, `@`
    std::string call(std::string_view name, const Cells& args, int argc = -1) {
        const BuiltinEntry* row = library.table().find(name);
        if (row == nullptr) return "no such function";
        CodeNode node;
        node.argc = argc < 0 ? static_cast<int>(args.size()) : argc;
        return leftBy(name, args, [&] {
            BuiltinCall builtin(ctx, node, row->name);
            row->handler(builtin);
        });
    }

    /// Pushes arguments, lets something replace them, and shows what is left in their place.
    template <class Invoke>
    std::string leftBy(std::string_view name, const Cells& args, Invoke invoke) {
        ctx.stack.push(ValueCell::ofMark(BlockMark));  // what lies below must stay untouched
        for (const ValueCell& cell : args) {
            // Texts are owned by the stack, so that a double release or a leak shows.
            const bool owned = cell.type == String;
            ctx.stack.push(owned ? ValueCell::ofTemp(ctx.pool.strdup(cell.text)) : cell);
        }
        invoke();
        std::string left;
        for (int i = 1; i < ctx.stack.size(); ++i) left += (i > 1 ? " " : "") + show(ctx.stack.at(i));
        EXPECT_EQ(ctx.stack.at(0).type, BlockMark) << name;
        ctx.stack.dropTo(0);
        return left;
    }

    void expectRows(const std::vector<Row>& rows) {
        for (const Row& row : rows)
            EXPECT_EQ(call(row.name, row.args, row.argc), row.left) << row.name << " -> " << row.left;
    }

    /// Each call reports one error, `left`, and yields one Nil; the run goes on.
    void expectErrors(const std::vector<Row>& rows) {
        ctx.run.currentLine = 12;
        ctx.reporter.state.maxErrors = 1000;
        for (const Row& row : rows) {
            shown.clear();
            EXPECT_EQ(call(row.name, row.args, row.argc), "nil") << row.left;
            ASSERT_EQ(shown.size(), 1u) << row.left;
            EXPECT_EQ(shown[0].line2, "Line 12, " + row.left);
            EXPECT_EQ(shown[0].kind, MessageKind::Error);
        }
        EXPECT_FALSE(ctx.run.abort);
    }

    static std::string show(const ValueCell& cell) {
        const VectorValue& v = cell.vec;
        if (cell.type == Number) return print(cell.number);
        if (cell.type == Integer) return print(cell.number) + "i";
        if (cell.type == ReturnCount) return "return " + print(cell.number);
        if (cell.type == Vector) return "<" + print(v.x) + "," + print(v.y) + "," + print(v.z) + ">";
        if (cell.isText()) return "'" + std::string(cell.text) + "'";
        if (cell.type == Nil) return "nil";
        return cell.type == ListMark ? "@" : "type " + std::to_string(cell.type);
    }

    ArrayRecord* makeElements(const Cells& elements) {
        const std::int64_t count = static_cast<std::int64_t>(elements.size());
        ArrayRecord* array = makeArray(ctx, {&count, 1}, Uninitialized);
        for (std::size_t i = 0; i < elements.size(); ++i)
            if (elements[i].type != Uninitialized) store(ctx, array->elements[i], elements[i]);
        return array;
    }

    BuiltinLibrary library;
    ProcessState process;
    builtins::FileKind files;
    EngineKinds kinds;
    EngineContext ctx{EngineServices{
        .messages = this, .builtins = &library.table(), .kinds = &kinds.table, .process = &process}};
    std::vector<Message> shown;

private:
    static std::string print(double v) {
        std::ostringstream text;
        text << std::setprecision(10) << v;
        return text.str();
    }
    void show(const Message& message) override { shown.push_back(message); }
};

}  // namespace kestrel::test
