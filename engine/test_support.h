// What unit tests of the engine share: a context without a script, cells in a short notation, nodes made by
// hand.
#pragma once

#include "engine/context/builtin.h"
#include "engine/context/context.h"
#include "engine/kinds/engine_kinds.h"
#include "engine/operations/arrays.h"
#include "engine/operations/assignment.h"
#include "engine/operations/operators.h"
#include "engine/operations/storage.h"
#include "engine/operations/text.h"
#include "engine/values/format.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kestrel::test {

using Cells = std::vector<ValueCell>;

/// `2.5`, `3i`, `<1,2,3>`, `'text'`, `nil`; other kinds as `#` and their tag.
inline std::string show(const ValueCell& cell) {
    switch (cell.type) {
        case Number:
            return formatG(cell.number);
        case Integer:
            return formatG(cell.number) + "i";
        case Vector:
            return "<" + formatVector(cell.vec.x, cell.vec.y, cell.vec.z, ',') + ">";
        case String:
        case TempString:
            return "'" + std::string(cell.text) + "'";
        case Nil:
            return "nil";
        default:
            return "#" + std::to_string(cell.type);
    }
}

/// Keeps the messages, one per line.
class CollectingSink final : public MessageSink {
public:
    void show(const Message& message) override { text += message.line2.value_or(message.line1) + "\n"; }
    std::string text;
};

/// Stands in for the kinds that live above the engine: objects with a name, which is all that there is to
/// them.
class NamedKind final : public ObjectKind {
public:
    static constexpr std::int32_t kTags[] = {FileObj};

    NamedKind() : ObjectKind(ObjectInterface("named", {}, {}, {})) {}
    bool text(TextUse, const void* object, ObjectText& out) const override {
        if (object == nullptr) return false;
        out = {.before = "(FILEOBJ)\"", .body = static_cast<const char*>(object), .after = "\""};
        return true;
    }
    bool compare(int op, const ValueCell& left, const ValueCell& right) const override {
        return textRelation(op, static_cast<const char*>(left.object), right.isText() ? right.text : "");
    }
};

class EngineTest : public ::testing::Test {
protected:
    EngineTest() {
        kinds_.table.add(named_);
        ctx.program = std::make_unique<Program>();
    }

    /// Before the test uses the kind's names.
    template <class Kind>
    void addKind(Kind& kind) {
        kinds_.table.add(kind);
    }

    static ValueCell named(const char* name) { return ValueCell::ofObject(FileObj, const_cast<char*>(name)); }

    /// Integer, Number, Vector and (borrowed) text cells.
    static ValueCell I(double v) { return ValueCell::ofInteger(v); }
    static ValueCell N(double v) { return ValueCell::ofNumber(v); }
    static ValueCell V(double x, double y, double z) { return ValueCell::ofVector({x, y, z}); }
    static ValueCell S(const char* text) { return ValueCell::ofText(text); }
    static ValueCell nil() { return ValueCell::ofNil(); }

    /// Pushes a cell; texts become owned by the stack, so that a double release or a leak shows.
    void push(const ValueCell& cell) {
        ctx.stack.push(cell.type == String ? ValueCell::ofTemp(ctx.pool.strdup(cell.text)) : cell);
    }
    /// Shows all cells on the stack, deepest first, and drops them.
    std::string popAll() {
        std::string all;
        for (int i = 0; i < ctx.stack.size(); ++i) all += (i > 0 ? " " : "") + show(ctx.stack.at(i));
        ctx.stack.dropTo(0);
        return all;
    }
    /// The messages since the last call, one per line. They do not count towards the limit.
    std::string takeMessages() {
        ctx.reporter.state.errorCount = 0;
        return std::exchange(sink_.text, {});
    }

    /// A global holding this value.
    Variable& variable(const char* name, const ValueCell& value = {}) {
        Variable& v = *ctx.program->make<Variable>();
        v.name = name;
        ctx.program->globals.append(&v);
        if (value.type != Nil) assignVariable(ctx, v, value);
        return v;
    }
    Variable& array(const char* name, const Cells& elements) {
        const std::int64_t size = static_cast<std::int64_t>(elements.size());
        ArrayRecord& record = *makeArray(ctx, {&size, 1}, Nil);
        for (std::size_t i = 0; i < elements.size(); ++i) store(ctx, record.elements[i], elements[i]);
        Variable& v = variable(name);
        holdArray(ctx, v, &record);
        return v;
    }
    static std::string showElements(const Variable& v) {
        std::string all;
        for (const ValueCell& element : v.heldArray()->elements)
            all += (all.empty() ? "" : " ") + show(element);
        return all;
    }
    /// Appends an instruction to the program's code.
    CodeNode& emit(int op, Variable* operand = nullptr) {
        CodeNode& node = *ctx.program->make<CodeNode>();
        node.op = static_cast<std::int16_t>(op);
        node.line = 1;
        node.operand.variable = operand;
        ctx.program->code.append(&node);
        return node;
    }

private:
    CollectingSink sink_;
    BuiltinTable builtins_{{}};
    EngineKinds kinds_;
    NamedKind named_;

protected:
    EngineContext ctx{EngineServices{.messages = &sink_, .builtins = &builtins_, .kinds = &kinds_.table}};
};

}  // namespace kestrel::test
