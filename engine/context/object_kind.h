// What the engine asks of a kind of object that it does not own: files, host items, the shading object,
// agents.
#pragma once

#include "engine/program/program.h"
#include "engine/values/value.h"

#include <string_view>

namespace kestrel {

class EngineContext;

/// One access to a data member: `object.member` or `object.member[index]`.
struct MemberAccess {
    Variable* object;  ///< the variable named before the '.'
    const char* member;
    std::int64_t index;  ///< -1 without an index
    int slot;  ///< the kind's own number of the member, as memberSlot() gave it when the script was linked
    /// Owner of the object variable, as messages name it: the function's name, "" for a global.
    [[nodiscard]] const char* owner() const noexcept { return object->ownerName(); }
};

/// One kind of object. An implementation may keep state of its own; the context only borrows it.
class ObjectKind {
public:
    virtual ~ObjectKind() = default;

    /// The kind's own numbers for names, asked once when a script is linked, so that accesses look nothing
    /// up. What a negative number says is up to the kind.
    [[nodiscard]] virtual int memberSlot(std::string_view) const noexcept { return -1; }
    [[nodiscard]] virtual int methodSlot(std::string_view) const noexcept { return -1; }

    /// Pushes the member's value, or reports and pushes what the kind says (nothing or Nil).
    virtual void readMember(EngineContext& ctx, const MemberAccess& access) = 0;
    /// Applies an assignment operator (OP_ASSIGN, OP_ADDASSIGN ...; OP_PREINC ... with value Integer 1) and
    /// pushes what the operator leaves: nothing for assignments, the old or new value as a Number for
    /// increments.
    virtual void writeMember(EngineContext& ctx, const MemberAccess& access, const ValueCell& value,
                             int op) = 0;
    /// Runs `object.method(args)`. The top `argc` cells are the arguments; the call replaces them by its
    /// result. An unknown method reports the kind's message and drops the arguments.
    virtual void callMethod(EngineContext& ctx, Variable& object, const CodeNode& call) = 0;
};

}  // namespace kestrel
