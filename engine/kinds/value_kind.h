// Values without a kind of their own: the methods that every variable has, whatever it holds.
#pragma once

#include "engine/context/object_kind.h"

#include <span>

namespace kestrel {

/// size, asStr, sortA ... in the order of the reference.
[[nodiscard]] std::span<const MethodRow> valueMethods() noexcept;

inline constexpr KindWording kValueWording = {.argumentCount = MessageId::ValueMethodCount};

/// Unlike those of objects, the arguments of an unknown method stay on the stack until the statement ends.
/// Meant.
void reportUnknownValueMethod(EngineContext& ctx, const Variable& object, const CodeNode& call);

/// A kind whose methods are those of every value.
class ValueKind : public ObjectKind {
public:
    ValueKind() : ValueKind("value", {}, kValueWording) {}

protected:
    ValueKind(std::string_view label, std::span<const MemberRow> members, const KindWording& wording,
              KindTraits traits = {})
        : ObjectKind(ObjectInterface(label, members, valueMethods(), wording), traits) {}

    void unknownMethod(EngineContext& ctx, const Variable& object, const CodeNode& call) override {
        reportUnknownValueMethod(ctx, object, call);
    }
};

}  // namespace kestrel
