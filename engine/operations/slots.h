// Variables and elements whose values other programs share: what reads and assignments do with a queue.
#pragma once

#include "engine/context/context.h"
#include "engine/operations/arrays.h"
#include "engine/operations/place.h"

#include <optional>
#include <span>

namespace kestrel {

// Each takes the place that names the variable or element (Place::queue). A variable that the script has
// exposed takes an assigned value itself, too; what counts is the one in the queue. What a queue cannot hold
// is reported.

/// The value of a variable or element in a queue.
Reading readSlot(EngineContext& ctx, const Place& place, ValueCell& out);

void assignSlot(EngineContext& ctx, const Place& place, const ValueCell& value);
void assignSlotElement(EngineContext& ctx, const Place& place, const ValueCell& value);
/// Gives several values to the elements of an exposed array; surplus ones are reported and dropped.
/// @return false when the place names no such array; nothing has happened
bool distributeToSlots(EngineContext& ctx, const Place& place, std::span<const ValueCell> values);

/// Compound assignments. Another program's value that comes between is not lost: it is what the operator
/// is applied to.
void combineSlot(EngineContext& ctx, const Place& place, std::int32_t code, const ValueCell& value);
/// "++" and "--", in the same way.
/// @param out  receives the old or the new value
/// @return false after reporting
bool incrementSlot(EngineContext& ctx, const Place& place, std::int32_t op, ValueCell& out);

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
