// What the link step found out about nodes whose effect depends on the instructions around them.
#pragma once

#include <cstdint>

namespace kestrel {

/// OP_VAR and OP_INDEX.
enum NodeMode : std::uint8_t {
    kLoad = 0,    ///< push the value
    kReference,   ///< push a reference: an assignment, "++" or "--" follows, or it is a member of a block
    kMemberRead,  ///< object.member: read it now
    kMemberReference,  ///< object.member as a target
    kRecordRead,       ///< record->member: read it now
    kRecordReference,  ///< record->member as a target
    kSlotRead,         ///< queue$slot
    kSlotReference,
    kDeclare,  ///< OP_INDEX of a declaration
};

/// OP_NEG and OP_NOT: the statement forms `-x;` and `!x;` that change the variable in place.
inline constexpr std::uint8_t kStatementForm = 1;
/// OP_BLOCK: brackets the targets of an assignment; otherwise the parentheses are just that.
inline constexpr std::uint8_t kAssignmentBlock = 1;
/// OP_CALL.
inline constexpr std::uint8_t kMethodCall = 1;

/// Operators that the plain loop can apply together with the load of their right operand.
#define KESTREL_FUSABLE(apply) \
    apply(ADD) apply(SUB) apply(MUL) apply(DIV) apply(LT) apply(GT) apply(LE) apply(GE) apply(EQ) apply(NE)

/// What the plain loop dispatches on where two instructions run as one (CodeNode::exec). They are a short cut
/// for numbers: with other types the first instruction runs alone and the second after it. The loop with a
/// line hook runs every instruction by itself.
enum FusedCode : std::int32_t {
    kFusedBase = 209,  // close to the last ordinary code, so that the dispatch table stays dense
#define KESTREL_FUSED(name) kVar_##name,
    KESTREL_FUSABLE(KESTREL_FUSED)
#undef KESTREL_FUSED
#define KESTREL_FUSED(name) kConst_##name,
        KESTREL_FUSABLE(KESTREL_FUSED)
#undef KESTREL_FUSED
            kAssignStatement,  ///< OP_ASSIGN and the end of its statement
    kCountUp,                  ///< `name++` or `++name` whose value nobody wants
    kCountDown,
};

}  // namespace kestrel
