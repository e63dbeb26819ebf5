// Built-ins and methods of files, called as the interpreter calls them.
#include "builtins/files/file_pool.h"
#include "engine/context/kind_table.h"
#include "fuzz/cells.h"
#include "fuzz/confined_script.h"
#include "fuzz/sandbox.h"
#include "fuzz/taken.h"

namespace kestrel::fuzz {

namespace {

class Calls {
public:
    explicit Calls(EngineContext& ctx, Taken& data) : ctx_(ctx), data_(data) {
        file_.name = "f";
        file_.type = FileObj;
    }

    void builtin() {
        const std::span<const BuiltinEntry> rows = confinedBuiltins().rows();
        const BuiltinEntry& row = rows[data_.raw<std::uint16_t>() % rows.size()];
        if (row.family == BuiltinFamily::Host) return;
        CodeNode node;
        node.argc = row.argCount >= 0 ? row.argCount : static_cast<std::int32_t>(data_.below(5));
        call(node, [&] {
            BuiltinCall made(ctx_, node, row.name);
            row.handler(made);
        });
    }

    void method() {
        if (file_.object == nullptr || data_.rarely(12)) return open();
        ObjectKind& kind = ctx_.kinds().of(FileObj);
        const std::span<const MethodRow> rows = kind.interfaces().front().methods();
        const MethodRow& row = rows[data_.below(rows.size())];
        Variable name;
        const std::string text(row.name);
        name.name = text.c_str();
        CodeNode node;
        node.operand.variable = &name;
        node.name = ctx_.kinds().names().find(row.name);
        while (node.argc < 3 && (!row.counts.accepts(node.argc) || data_.below(2) == 0)) ++node.argc;
        call(node, [&] { kind.callMethod(ctx_, file_, node); });
    }

private:
    template <class Invoke>
    void call(const CodeNode& node, const Invoke& invoke) {
        ctx_.stack.push(ValueCell::ofMark(BlockMark));  // what lies below stays as it is
        for (int i = 0; i < node.argc; ++i) pushArgument(ctx_, data_);
        invoke();
        require(ctx_.stack.size() >= 1 && ctx_.stack.at(0).type == BlockMark,
                "what lies below the arguments stays");
        for (int i = 1; i < ctx_.stack.size(); ++i)
            if (ctx_.stack.at(i).isText() && ctx_.stack.at(i).text != nullptr)
                static_cast<void>(std::strlen(ctx_.stack.at(i).text));
        ctx_.stack.dropTo(0);
    }

    void open() {
        static constexpr const char* kModes[] = {"r", "w", "a", "r+", "w+", "rb", "wb", "r+b", "w+b", "a+"};
        const std::string content = data_.text();
        if (data_.below(2) == 0) Sandbox::get().write("file.txt", content);
        // Held as by a variable: files that nobody holds are closed.
        ObjectKind& kind = ctx_.kinds().of(FileObj);
        kind.drop(ctx_, file_.object);
        file_.object = builtins::openScriptFile(ctx_, "file.txt", kModes[data_.below(std::size(kModes))]);
        kind.hold(ctx_, file_.object);
    }

    EngineContext& ctx_;
    Taken& data_;
    Variable file_;
};

}  // namespace

void callBuiltins(Bytes bytes) {
    Sandbox::get().clear();
    Taken data(bytes);
    ConfinedScript script;
    EngineContext& ctx = script.ctx;
    ctx.reset();
    ctx.reporter.state.scriptPath = "C:\\SCRIPT.KS";
    ctx.options.nonrandom = data.below(2) != 0;
    Calls calls(ctx, data);
    for (int left = 100; left > 0 && !data.empty(); --left)
        data.below(2) == 0 ? calls.builtin() : calls.method();
    script.unload();
}

}  // namespace kestrel::fuzz
