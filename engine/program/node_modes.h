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
    kSlotRead,         ///< a variable, or an element, in a queue: read it now
    kSlotReference,    ///< a variable in a queue as a target (for an element that is kReference)
    kDeclare,          ///< OP_INDEX of a declaration
};

/// What the node names is a member, or in a queue: its own symbol is no variable.
[[nodiscard]] constexpr bool namesMember(std::uint8_t mode) noexcept {
    return mode >= kMemberRead && mode <= kSlotReference;
}

/// What has been read goes on behind the marker that names its object.
[[nodiscard]] constexpr bool readsMember(std::uint8_t mode) noexcept {
    return mode == kMemberRead || mode == kRecordRead;
}

/// OP_NEG and OP_NOT: the statement forms `-x;` and `!x;` that change the variable in place.
inline constexpr std::uint8_t kStatementForm = 1;
/// OP_BLOCK: brackets the targets of an assignment; otherwise the parentheses are just that.
inline constexpr std::uint8_t kAssignmentBlock = 1;
/// OP_CALL.
inline constexpr std::uint8_t kMethodCall = 1;

}  // namespace kestrel
