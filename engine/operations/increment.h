// "++" and "--" on variables, elements and what is stored.
#pragma once

#include "engine/context/context.h"

namespace kestrel {

/// Changes the variable that a node names by 1 and pushes the old or the new value. `op` is OP_POSTINC ...
/// OP_PREINC.
void incrementVariable(EngineContext& ctx, const CodeNode& naming, std::int32_t op);
/// The same for the element that the index list on top of the stack names; drops the list.
void incrementElement(EngineContext& ctx, const CodeNode& naming, std::int32_t op);
/// Changes a number, or the parts of a vector, by `step`.
/// @return false for other kinds; nothing has happened then
bool countUp(ValueCell& value, double step) noexcept;
/// "++" or "--" on a number or vector that an element or a record member stores: changes it and pushes what
/// the operator leaves.
/// @return false for other kinds; nothing has happened then
bool incrementStored(EngineContext& ctx, std::int32_t op, ValueCell& slot);

}  // namespace kestrel
