// From the linked instructions of `process` to intermediate code, by running them with what is known in place
// of values. What the interpreter does is right by definition: where its result depends on more than numbers,
// where it would report or where it looks at things that may differ from sample to sample, the code leaves,
// and the interpreter shades that sample from its beginning. That is possible because nothing is written
// before the last guard has passed, but elements of arrays, which are taken back then.
//
// Rules for whoever changes it:
//  1. Every rule here stands in engine/operations or engine/run first; this says the same of registers.
//  2. What cannot be lowered throws Unlowerable. A branch that throws becomes a guard.
//  3. Writes stay in the state; finish() alone stores. Elements are written where they stand, through the
//  undo
//     log.
#pragma once

#include "engine/context/builtin.h"
#include "engine/context/context.h"
#include "engine/context/object_kind.h"
#include "engine/fast/assumptions.h"
#include "engine/fast/carryover.h"
#include "engine/fast/outside_call.h"
#include "engine/fast/state.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <variant>
#include <vector>

namespace kestrel::fast {

/// Why something is not lowered: of the function, or of a branch in which the code leaves.
struct Refusal {
    std::string reason;
    std::int32_t line = 0;
};

struct Lowered {
    Code code;  ///< before coalesce()
    Assumptions assumptions;
    std::vector<Refusal> branches;
    std::unique_ptr<UndoLog> undo;                   ///< of code that has one
    std::vector<std::unique_ptr<OutsideCall>> asks;  ///< the code's
};

/// @param process  of a linked program that has run, so that variables have the kinds they usually have
[[nodiscard]] std::variant<Lowered, Refusal> lower(EngineContext& ctx, Carryover& carryover,
                                                   const FunctionRecord& process,
                                                   const Experience& experience);

/// In place of a block that is not there.
inline constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);
/// Functions that are laid out in one another.
inline constexpr std::size_t kDeepestCalls = 64;

/// What a loop was found to need; kept while the function is lowered again and again.
struct LoopKnowledge {
    int peeled = 0;                           ///< rounds in front of the loop, until kinds stay
    std::unordered_set<std::size_t> carried;  ///< slots that change in it, beyond those that are seen at once
    std::unordered_set<std::size_t> mixed;    ///< slots whose kind changes from round to round
    std::map<std::pair<std::size_t, int>, Facts> facts;  ///< of a part (0 number, 1 to 3 vector) of a slot
    bool weak = false;                                   ///< nothing is assumed of what changes
};

/// The slots of variables and members; their numbers last while a function is lowered again and again.
struct Slots {
    std::vector<SlotInfo> infos;
    std::unordered_map<const Variable*, std::size_t> ofVariable;
    std::unordered_map<std::int64_t, std::size_t> ofMember;
};

struct Knowledge {
    Slots slots;
    std::map<std::pair<std::uint64_t, const CodeNode*>, LoopKnowledge> loops;
    std::unordered_set<const Variable*> written;    ///< by anything that `process` may reach
    std::unordered_set<const Variable*> ambiguous;  ///< Number or Integer when a sample begins
    std::unordered_set<const ArrayRecord*> mixed;   ///< arrays whose numbers do not keep their kinds
    bool polls = false;                             ///< there are calls or loops in it
    std::size_t length = 0;                         ///< nodes that it may reach
};

/// What has been learnt changes what the code begins with.
struct Restart {};

class Lowering {
public:
    Lowering(EngineContext& ctx, Carryover& carryover, const FunctionRecord& process, Knowledge& knowledge);

    /// @throws Unlowerable, NeedsPreload
    [[nodiscard]] Lowered run();

private:
    using Node = CodeNode;

    /// A loop at work.
    struct Control {
        std::size_t breaks;     ///< the open block behind it
        std::size_t continues;  ///< the open block around its body
    };
    /// A block of the code that is still open, and the ways that lead to its end.
    struct OpenBlock {
        int id;
        Builder::Mark start;
        int depth;  ///< of scopes
        std::vector<Way> ways;
    };
    /// A function at work.
    struct Activation {
        const FunctionRecord* function;
        std::size_t base;   ///< first of its cells on the stack
        std::size_t block;  ///< the open block that a `return` leaves
        std::vector<Control> controls;
    };
    struct Checkpoint {
        Builder::Mark code;
        State state;
        std::vector<std::size_t> ways;
        std::size_t activations;
        std::size_t controls;
        std::size_t refusals;
        std::uint64_t path;
    };

    // ---- lower_flow.cpp
    void walk(const Node* node, const Node* end);
    [[nodiscard]] const Node* step(const Node& node);
    [[nodiscard]] const Node* conditional(const Node& node);
    void branch(const Node* begin, const Node* end);
    [[nodiscard]] Checkpoint checkpoint();
    [[nodiscard]] State copyOfState();
    void goBack(const Checkpoint& point);
    [[nodiscard]] std::size_t openBlock();
    void closeBlock(std::size_t block);
    void leaveTo(std::size_t block);
    void breakOut();
    void goRound();
    void returnValues(const Node& node);

    // ---- lower_loops.cpp
    struct LoopShape {
        const Node* top;
        const Node* test;
        const Node* step;  ///< null for `while`
        const Node* stepEnd;
        const Node* body;
        const Node* close;
    };
    /// A part of a slot that changes in a loop.
    struct Carried {
        std::size_t slot;
        int which;
        Reg reg;  ///< what the loop writes at its end
    };
    [[nodiscard]] const Node* loop(const Node& top);
    [[nodiscard]] LoopShape shapeOf(const Node& top) const;
    [[nodiscard]] bool unrolled(const LoopShape& shape);
    void repeated(const LoopShape& shape, LoopKnowledge& known);
    [[nodiscard]] Reg testOf(const LoopShape& shape);
    void leaveUnless(Reg condition, std::size_t block);
    void round(const LoopShape& shape, std::size_t breaks);
    [[nodiscard]] bool tryLoop(const LoopShape& shape, LoopKnowledge& known, std::size_t breaks);
    void poll();
    /// @return true where elements of arrays are written
    bool collectChanges(const Node* begin, const Node* end, std::unordered_set<const FunctionRecord*>& seen,
                        std::unordered_set<std::size_t>& slots);
    void carry(std::size_t index, LoopKnowledge& known, std::size_t moves, std::vector<Carried>& carried);
    [[nodiscard]] bool closes(const State& top, const std::vector<Carried>& carried, std::size_t moves,
                              LoopKnowledge& known);

    // ---- lower_choices.cpp
    [[nodiscard]] const Node* switchOver(const Node& node);
    [[nodiscard]] const Node* selectOver(const Node& node);
    void leaveIf(Reg condition, std::size_t block);
    void selector();
    [[nodiscard]] Cell chosen(Reg which, const std::vector<Cell>& values);

    // ---- lower_values.cpp
    void push(const Cell& cell);
    [[nodiscard]] Cell pop();
    [[nodiscard]] Cell popValue();
    [[nodiscard]] Reg truth(const Cell& cell);
    [[nodiscard]] Reg numberOf(const Cell& cell);
    [[nodiscard]] Reg firstNumber(const Cell& cell);
    [[nodiscard]] std::array<Reg, 3> vectorOf(const Cell& cell);
    void settleKind(Cell& cell);
    [[nodiscard]] Cell combine(std::int32_t op, Cell left, Cell right);
    [[nodiscard]] Cell combineNumeric(std::int32_t op, Cell left, Cell right);
    [[nodiscard]] Cell combineVectors(std::int32_t op, const std::array<Reg, 3>& a,
                                      const std::array<Reg, 3>& b);
    [[nodiscard]] Reg plainNumbers(std::int32_t op, Reg left, Reg right);
    [[nodiscard]] Reg bits(std::int32_t op, Reg left, Reg right);
    [[nodiscard]] Reg compare(std::int32_t op, Cell left, Cell right);
    [[nodiscard]] Reg relation(std::int32_t op, Reg left, Reg right);
    [[nodiscard]] Reg compareVectors(std::int32_t op, const std::array<Reg, 3>& a,
                                     const std::array<Reg, 3>& b);
    [[nodiscard]] Cell negated(const Cell& cell);
    [[nodiscard]] Cell inverted(const Cell& cell);
    [[nodiscard]] Cell bit(Reg condition);

    // ---- lower_places.cpp
    [[nodiscard]] std::size_t slotOf(Variable& variable);
    [[nodiscard]] std::size_t slotOfMember(std::int64_t offset);
    [[nodiscard]] std::size_t newSlot(const SlotInfo& info);
    [[nodiscard]] Cell entryOf(std::size_t index);
    [[nodiscard]] Cell& slot(std::size_t index);
    [[nodiscard]] Reg randomState();
    void setRandomState(Reg state);
    void preload();
    [[nodiscard]] Reg part(std::size_t index, int which);
    [[nodiscard]] bool changesRecord() const;
    [[nodiscard]] Cell readVariable(Variable& variable);
    void assignVariable(Variable& variable, const Cell& value);
    void variable(const Node& node);
    void indexed(const Node& node);
    /// What an assignment changes.
    struct Target {
        std::int32_t type;  ///< VarRef, MemberRef, IndexedMemberRef, or Array: an element
        const Node* node;
        std::optional<Cell> index = std::nullopt;
        std::vector<Cell> indexes = {};  ///< of an element
    };
    [[nodiscard]] const MemberRow& memberRow(std::int32_t type, NameId name);
    [[nodiscard]] int vectorPart(NameId name);
    [[nodiscard]] Cell readMember(const Node& node, const Cell* index);
    [[nodiscard]] Reg indexOf(const MemberRow& row, const Cell* index);
    [[nodiscard]] Reg readReal(const MemberRow& row, Reg which);
    void writeReal(const MemberRow& row, Reg which, Reg value);
    /// @return what the operator leaves
    std::optional<Cell> changeMember(const Node& node, const Cell* index, std::int32_t op, const Cell& value);
    std::optional<Cell> changeNumber(std::int32_t op, Reg current, Reg value, Reg& changed);
    [[nodiscard]] std::vector<Cell> takeIndexes();
    void assign(const Node& node);
    [[nodiscard]] Target takeTarget(const Cell& reference);
    [[nodiscard]] std::vector<Target> takeBlock();
    void assignTo(const Target& target, const Cell& value);
    void assignReturned();
    void compound(const Node& node);
    void increment(const Node& node);
    void combineInto(Variable& variable, std::int32_t op, const Cell& value);
    void changeInPlace(const Node& node);

    // ---- lower_elements.cpp
    /// Where an element lies: its index, and what of that is constant.
    struct ElementPlace {
        const ArrayRecord* array;
        std::int32_t kind;
        Builder::Offset index;
    };
    void declare(Variable& variable);
    [[nodiscard]] std::int32_t kindOfElements(const ArrayRecord& array);
    [[nodiscard]] ElementPlace elementPlace(Variable& variable, const std::vector<Cell>& indexes);
    [[nodiscard]] Cell element(const ElementPlace& place);
    void assignElement(const ElementPlace& place, const Cell& value);
    void assignList();
    void storeParts(const ElementPlace& place, const Cell& value);
    /// @return what the operator leaves
    std::optional<Cell> changeElement(const ElementPlace& place, std::int32_t op, const Cell& value);
    [[nodiscard]] Cell combinedElement(const Cell& held, std::int32_t op, Cell value);
    [[nodiscard]] std::uint32_t& epochOf(const ArrayRecord& array);
    void forgetElements();

    // ---- lower_calls.cpp
    void call(const Node& node);
    void callFunction(const Node& node);
    void bind(Variable& parameter, const Cell& value);
    void enter(const FunctionRecord& function, std::size_t arguments);
    void finishActivation();

    // ---- lower_builtins.cpp
    void callBuiltin(const Node& node);
    void ask(const NumericForm& form, const std::vector<Cell>& args);
    [[nodiscard]] Cell eachComponent(const Cell& x, const std::function<Reg(Reg)>& apply);
    [[nodiscard]] Cell pairwise(const NumericForm& form, Cell a, Cell b);
    [[nodiscard]] Reg applied(const NumericForm& form, Reg a, Reg b);
    [[nodiscard]] Reg cut(Reg number);
    [[nodiscard]] Cell boxed(NumericForm::Rule rule, const std::vector<Cell>& args);
    [[nodiscard]] Cell transformed(NumericForm::Rule rule, const std::vector<Cell>& args);
    void rotate(std::array<std::array<Reg, 4>, 4>& m, Reg axis, Reg angle);
    [[nodiscard]] Reg drawAfter(Reg state);
    [[nodiscard]] Cell randomUnit(const std::vector<Cell>& args);
    [[nodiscard]] Cell randomWhole(Reg from, Reg to);

    // ---- lower_methods.cpp
    void callMethod(const Node& node);
    [[nodiscard]] Reg isOfKind(const Cell& cell, std::int32_t kind);
    Cell settled(Variable& variable);
    [[nodiscard]] Cell cutVariable(Variable& variable);
    [[nodiscard]] Cell sizeOf(Variable& variable, bool ofItself);
    [[nodiscard]] Reg wholeOf(Variable& variable);
    [[nodiscard]] Cell asVector(Variable& variable);

    void finish();
    void storeSlot(std::size_t index, bool& kindsChange);
    [[noreturn]] void refuse(std::string reason) const;

    EngineContext& ctx_;
    Carryover& carryover_;
    const FunctionRecord& process_;
    Knowledge& knowledge_;
    Builder builder_;
    Assumptions assumptions_;
    State state_;
    std::vector<Cell> entries_;
    std::vector<OpenBlock> blocks_;
    std::vector<Activation> activations_;
    std::vector<Refusal> refusals_;
    std::unique_ptr<UndoLog> undo_;
    std::vector<std::unique_ptr<OutsideCall>> asks_;
    std::unordered_map<const ArrayRecord*, std::uint32_t> epochs_;
    std::uint32_t newestEpoch_ = 0;
    bool begun_ = false;      ///< what the code begins with is there
    std::uint64_t path_ = 0;  ///< of the calls that lead here
    std::int32_t line_ = 0;
    int steps_ = 0;
    std::size_t copied_ = 0;  ///< cells
};

}  // namespace kestrel::fast
