// What is stored: variables, elements of arrays, members of records. Each owns its text and holds its object.
#pragma once

#include "engine/context/context.h"

#include <string_view>

namespace kestrel {

/// A stored value as the stack has it: texts borrowed, objects shared.
[[nodiscard]] inline ValueCell load(const ValueCell& stored) noexcept {
    switch (stored.type) {
        case Number:
        case Integer: {
            ValueCell cell;
            cell.setScalar(stored.type, stored.number);
            return cell;
        }
        case Vector:
            return ValueCell::ofVector(stored.vec);
        case String:
        case TempString:
            return ValueCell::ofText(stored.text != nullptr ? stored.text : "");
        case Nil:
            return ValueCell::ofNil();
        default:
            return ValueCell::ofObject(stored.type, stored.object);
    }
}
/// The same for a variable, which may be an array.
[[nodiscard]] ValueCell load(Variable& variable) noexcept;

/// Neither has a text, an object or an array to keep or to let go of.
[[nodiscard]] inline bool areInline(const ValueCell& stored, const ValueCell& value) noexcept {
    return isInlineKind(stored.type) && isInlineKind(value.type);
}

/// Stores a value of a kind that lies in the cell over another such: the kind and its slot; the other slots
/// of a variable keep what they have.
inline void setInline(ValueCell& stored, const ValueCell& value) noexcept {
    stored.type = value.type;
    if (value.isNumeric())
        stored.number = value.number;
    else if (value.type == Vector)
        stored.vec = value.vec;
}

/// Stores a value: a text becomes a retained copy, an object is held, a reference to a variable counts as the
/// number 0; what was there is let go. No arrays. The value stays owned by the caller. Where there is no
/// memory for a text nothing changes.
void store(EngineContext& ctx, ValueCell& stored, const ValueCell& value);
/// The same for a text, which may be a piece of the one that is stored.
/// @return false where there is no memory for it
bool storeText(EngineContext& ctx, ValueCell& stored, std::string_view text);

/// Lets go of the text or object that is stored; the kind stays.
void letGo(EngineContext& ctx, ValueCell& stored);
/// Lets go, and leaves Nil.
void clear(EngineContext& ctx, ValueCell& stored);

}  // namespace kestrel
