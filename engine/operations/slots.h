// Variables and elements whose values other programs share: what reads and assignments do with a queue.
#pragma once

#include "engine/context/context.h"

#include <optional>

namespace kestrel {

// Each takes the node that names the variable or element (CodeNode::slot). A variable that the script has
// exposed takes an assigned value itself, too; what counts is the one in the queue. What a queue cannot hold
// is reported.

/// Pushes the value of a variable in a queue.
void readSlot(EngineContext& ctx, const CodeNode& node);
/// The same for the element that the index list on top of the stack names; the list is dropped.
void readSlotElement(EngineContext& ctx, const CodeNode& node);

void assignSlot(EngineContext& ctx, const CodeNode& node, const ValueCell& value);
/// @param reference  stack index of the element's reference; its index list stands below
void assignSlotElement(EngineContext& ctx, const CodeNode& node, int reference, const ValueCell& value);
/// Gives several values to the elements of an exposed array; surplus ones are reported and dropped.
/// @param first, count  the values' cells
/// @return false when the node names no such array; nothing has happened
bool distributeToSlots(EngineContext& ctx, const CodeNode& node, int first, int count);

/// Compound assignments. Another program's value that comes between is not lost: it is what the operator
/// is applied to.
void combineSlot(EngineContext& ctx, const CodeNode& node, std::int32_t op, const ValueCell& value);
/// The index list is on top of the stack.
void combineSlotElement(EngineContext& ctx, const CodeNode& node, std::int32_t op, const ValueCell& value);
/// "++" and "--", in the same way; pushes the old or the new value.
void incrementSlot(EngineContext& ctx, const CodeNode& node, std::int32_t op);
void incrementSlotElement(EngineContext& ctx, const CodeNode& node, std::int32_t op);

/// True, after reporting, for an exposed variable that holds no text: it has no elements, and cannot become
/// an array.
bool refusesElements(EngineContext& ctx, const Variable& variable);

/// For operations on a variable itself (its methods, its members, its characters): an exposed one takes the
/// queue's value before, and the queue takes the variable's afterwards when it was changed. Another program's
/// value that comes between is lost. An exposed array takes the values of all elements and gives none back.
class FreshVariable {
public:
    FreshVariable(EngineContext& ctx, Variable& variable) : ctx_(ctx), variable_(variable) {
        if (variable.queue != 0) [[unlikely]]
            refresh();
    }
    ~FreshVariable() {
        if (before_) [[unlikely]]
            writeBack();
    }
    FreshVariable(const FreshVariable&) = delete;
    FreshVariable& operator=(const FreshVariable&) = delete;

private:
    void refresh();
    void refreshArray(std::int64_t count);
    void writeBack() noexcept;

    EngineContext& ctx_;
    Variable& variable_;
    std::optional<ValueCell> before_;  // what was taken
};

}  // namespace kestrel
