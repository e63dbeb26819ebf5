// What is stored: variables, elements of arrays, members of records. Each owns its text and holds its object.
//
// An object that nobody holds any more can run code when it ends. So everything here stores first and lets go
// afterwards: such code finds the new value, and may move or drop what it lay in.
#pragma once

#include "engine/context/context.h"

#include <string_view>

namespace kestrel {

/// A stored value as the stack has it: texts borrowed, objects shared.
[[nodiscard]] inline ValueCell load(const ValueCell& stored) noexcept {
    ValueCell cell = stored;
    if (cell.isText()) cell = ValueCell::ofText(stored.text != nullptr ? stored.text : "");
    return cell;
}
/// The same for a variable, which may be an array; its Nil has the number of any other.
[[nodiscard]] ValueCell load(Variable& variable) noexcept;

/// Neither has a text, an object or an array to keep or to let go of.
[[nodiscard]] inline bool areInline(const ValueCell& stored, const ValueCell& value) noexcept {
    return isInlineKind(stored.type) && isInlineKind(value.type);
}

/// Stores a value of a kind that lies in the cell over another such: the kind and its slot; the other slots
/// of a variable keep what they have.
inline void setInline(ValueCell& stored, const ValueCell& value) noexcept {
    stored.type = value.type;
    if (value.type == Vector)
        stored.vec = value.vec;
    else
        stored.number = value.number;
}
/// A variable that becomes Nil keeps its number.
inline void setInline(Variable& stored, const ValueCell& value) noexcept {
    if (value.type == Nil)
        stored.type = Nil;
    else
        setInline(static_cast<ValueCell&>(stored), value);
}

/// Stores a value: a text becomes a retained copy, an object is held, a reference to a variable counts as the
/// number 0; what was there is let go. Other kinds are shared as they are: a record can be constructed with
/// an array. The value stays owned by the caller. Where there is no memory for a text nothing changes.
void store(EngineContext& ctx, ValueCell& stored, const ValueCell& value);
/// The same for a variable, whose other slots stay, and a value that isStorable() or a reference.
void store(EngineContext& ctx, Variable& stored, const ValueCell& value);
/// The same for a text, which may be a piece of the one that is stored.
/// @return false where there is no memory for it
bool storeText(EngineContext& ctx, ValueCell& stored, std::string_view text);

/// Gives a variable an object that is held for it already.
void holdObject(EngineContext& ctx, Variable& variable, std::int32_t type, void* object);

/// Makes a variable one with this array, which any number of variables may have.
void holdArray(EngineContext& ctx, Variable& variable, ArrayRecord* array);

/// Lets go of the text or object that is stored; the kind stays.
void letGo(EngineContext& ctx, ValueCell& stored);
/// Lets go, and leaves Nil.
void clear(EngineContext& ctx, ValueCell& stored);

}  // namespace kestrel
