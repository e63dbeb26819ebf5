// How built-in functions are called: the table's row and the view of one call that a handler works on.
#pragma once

#include "engine/context/context.h"
#include "engine/program/program.h"

#include <span>
#include <string_view>
#include <unordered_map>

namespace kestrel {

/// One call of a built-in in progress. Arguments are the top `argc` cells of the evaluation stack, first
/// argument deepest. A handler ends with exactly one of result(), results(), none() or fail(); cells it was
/// given are released then, so texts borrowed from arguments must not be used afterwards.
class BuiltinCall {
public:
    BuiltinCall(EngineContext& context, const CodeNode& call, std::string_view builtinName)
        : ctx(context),
          node(call),
          name(builtinName),
          argc(call.argc),
          base_(context.stack.size() - call.argc) {}

    EngineContext& ctx;
    const CodeNode& node;
    const std::string_view name;
    const int argc;

    /// @param i  0-based argument number
    [[nodiscard]] ValueCell& arg(int i) const noexcept { return ctx.stack.at(base_ + i); }
    /// Stack index of the first argument's slot.
    [[nodiscard]] int base() const noexcept { return base_; }
    /// The first argument's slot when `count` cells lie below a ReturnCount that is the last argument:
    /// handlers that accept several returned values widen the call to them.
    void rebase(int base) noexcept { base_ = base; }

    /// Replaces the arguments by one value. The cell must not borrow from an argument that is a TempString.
    void result(const ValueCell& cell) {
        const ValueCell value = cell;  // may lie in the slots that go
        ctx.stack.dropTo(base_);
        ctx.stack.push(value);
    }
    /// The same for a Number or Integer, written in place: what the arithmetic built-ins end with.
    void resultScalar(Tag tag, double value) {
        ValueCell& slot = resultSlot();
        slot.type = tag;
        slot.number = value;
    }
    void resultNumber(double value) { resultScalar(Number, value); }
    void resultInteger(double value) { resultScalar(Integer, value); }
    void resultVector(const VectorValue& value) {
        ValueCell& slot = resultSlot();
        slot.type = Vector;
        slot.vec = value;
    }
    /// Replaces the arguments by a new text (TempString), which may be made of them. Without memory it is
    /// Nil.
    void resultText(std::string_view text);
    /// Replaces the arguments by one of them, with the text that it owns.
    void resultArgument(int i);
    /// Replaces the arguments by several values closed by a ReturnCount. Texts that the cells own pass to the
    /// stack; none may borrow from an argument.
    void results(std::span<const ValueCell> cells);
    /// Drops the arguments; the call has no value.
    void none() { ctx.stack.dropTo(base_); }
    /// The convention of every argument error: report, then one Nil. The run goes on.
    template <class... Args>
    void fail(MessageFor<Args...> message, const Args&... args) {
        ctx.report(message, args...);
        result(ValueCell::ofNil());
    }
    /// The error of a call with too few or too many arguments.
    void failCount() { fail(MessageId::ArgumentCount, name); }
    /// The error of an argument of the wrong kind.
    /// @param position  from 1
    void failType(int position) { fail(MessageId::ArgumentType, position, name); }

private:
    /// Drops all arguments but the first slot, and what that one owns.
    ValueCell& resultSlot() {
        if (argc == 0) [[unlikely]] {
            ctx.stack.push(ValueCell{});
            return ctx.stack.top();
        }
        ctx.stack.dropTo(base_ + 1);
        ValueCell& slot = ctx.stack.at(base_);
        ctx.stack.release(slot);
        return slot;
    }

    int base_;
};

/// What a built-in computes of numbers and vectors, and nothing else: for executors that have no stack. With
/// other kinds of arguments only the handler knows.
struct NumericForm {
    enum class Rule : std::uint8_t {
        None,
        EachComponent,  ///< one(x); of a Vector by component
        Pairwise,       ///< two(a, b); of two Vectors by component
        Extremum,       ///< as Pairwise, but of two Integers the Integer of what is cut
        Absolute,
        Ceiling,
        Floor,
        Range,
        Step,
        Length,
        Cross3d,
        Dot3d,
        Cross2d,
        Dot2d,
        Factorial,  ///< one(x), of the kind of x; of a Vector by component
        Round,      ///< two(x, n); of a Vector by component
        Cut,
        Size,
        Untouched,  ///< its argument
        Center,
        Extent,
        Translate3d,
        Scale3d,
        Rotate3d,
        RandomUnit,
        RandomWhole,
        Outside,  ///< ask(), of two Vectors: several Numbers
    };
    /// Operations that machines have, in place of a call of one() or two().
    enum class Known : std::uint8_t { Called, Root, Fraction, Factor, Smaller, Larger };

    Rule rule = Rule::None;
    Known known = Known::Called;
    double (*one)(double) = nullptr;
    double (*two)(double, double) = nullptr;
    /// Asks the host about the sample that is being shaded.
    /// @param record  the host's
    /// @param given   the components of the arguments
    /// @param answer  of `answers` numbers
    /// @return false: nothing can be said, and the interpreter has to shade the sample. It is given the
    ///         answers so far once more.
    using Ask = bool (*)(EngineContext& ctx, void* record, const double* given, double* answer) noexcept;
    Ask ask = nullptr;
    int answers = 0;

    /// Whatever the arguments, they become exactly one plain value.
    [[nodiscard]] constexpr bool yieldsOne() const noexcept {
        switch (rule) {
            case Rule::None:
            case Rule::Outside:
            case Rule::Translate3d:  // the Vectors of an array are moved in place
            case Rule::Scale3d:
            case Rule::Rotate3d:
                return false;
            default:
                return true;
        }
    }
    [[nodiscard]] constexpr bool draws() const noexcept {
        return rule == Rule::RandomUnit || rule == Rule::RandomWhole;
    }
};

/// What runs a built-in, and what that computes. They are one thing, so that a row which gets another handler
/// gets its form, too.
struct BuiltinHandler {
    using Function = void (*)(BuiltinCall& call);
    constexpr BuiltinHandler(Function function = nullptr,
                             const NumericForm& numericForm = {})  // NOLINT: implicit on purpose
        : run(function), form(numericForm) {}
    void operator()(BuiltinCall& call) const { run(call); }

    Function run;
    NumericForm form;
};

/// What a built-in is made of; the tables of rows tell more.
enum class BuiltinFamily : std::uint8_t {
    Scalar,   ///< an adapter around a function of one or two numbers
    Inline,   ///< arithmetic that checks nothing
    Handler,  ///< checks its arguments
    Host,     ///< needs the host
    Later,    ///< in the language, but answered by nothing here: calls report so
};

/// A row of the built-in table.
struct BuiltinEntry {
    std::string_view name;
    std::int32_t argCount;   ///< exact number of arguments, -1 for any
    BuiltinHandler handler;  ///< never without a function: rows without an implementation report so
    BuiltinFamily family;
    std::string_view subject = {};  ///< for the reader, as all that follows
    std::string_view signature = {};
    std::string_view description = {};
    std::string_view example = {};
};

/// The ordered table. Lookup returns the first row of a name.
class BuiltinTable {
public:
    /// @param rows  outlive the table
    explicit BuiltinTable(std::span<const BuiltinEntry> rows);
    /// @return null when no row has the name
    [[nodiscard]] const BuiltinEntry* find(std::string_view name) const noexcept;
    [[nodiscard]] std::span<const BuiltinEntry> rows() const noexcept { return rows_; }

private:
    std::span<const BuiltinEntry> rows_;
    std::unordered_map<std::string_view, const BuiltinEntry*> firstOfName_;
};

}  // namespace kestrel
