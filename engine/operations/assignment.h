// Assignment: OP_ASSIGN and what it stores into.
#pragma once

#include "engine/context/context.h"

#include <string_view>

namespace kestrel {

/// OP_ASSIGN: stores the value (or distributes the values) on top of the stack into what the reference below
/// names. Leaves the value as the assignment's result, Integer 1 after a distribution, nothing for data
/// members.
void assign(EngineContext& ctx);

/// Stores one value in a variable with the rules of "=": texts are copied, record instances copied,
/// everything else shared. The value stays owned by the caller.
void assignVariable(EngineContext& ctx, Variable& variable, const ValueCell& value);

/// Makes a variable hold a text: a retained pool copy; what it held before is released (deferred).
void setVariableText(EngineContext& ctx, Variable& variable, std::string_view text);

/// Lets go of what a variable holds (text, record instance); arrays are left to the teardown. Type and number
/// stay.
void releaseVariableValue(EngineContext& ctx, Variable& variable);

/// The variable's value as a cell for the stack: texts borrowed, objects shared. Not for arrays without a
/// record.
[[nodiscard]] ValueCell variableCell(Variable& variable) noexcept;

}  // namespace kestrel
