// What can be assigned to, changed and counted up, whatever it lies in.
#pragma once

#include "engine/operations/indexes.h"
#include "engine/program/names.h"
#include "engine/program/program.h"

#include <cstdint>

namespace kestrel {

/// A place that a script names. Nothing has been looked up yet: what is wrong with the index of an element is
/// told by the operation, in the order that the operation has.
struct Place {
    enum class Kind : std::uint8_t {
        Variable,
        Element,      ///< of an array, or a character of a text
        Slot,         ///< a variable in a queue
        SlotElement,  ///< an element of an array in a queue
        Member,       ///< object.member
        IndexedMember,
        Field,  ///< record->member
    };

    Kind kind;
    Variable* variable;            ///< the variable, the array's, or the object's
    const char* member = nullptr;  ///< Member to Field: the name as the script wrote it
    NameId name = kNoName;         ///< the same interned
    std::int32_t queue = 0;        ///< Slot, SlotElement: the queue's variable (ScriptQueues)
    std::int32_t line = 0;         ///< where the script names it
    IndexList indexes = {};        ///< Element, SlotElement, IndexedMember
};

/// What reading a place came to.
enum class Reading {
    Value,
    Nothing,  ///< reported, and the run goes on without a value
    Failed,   ///< reported, and the run ends
};

/// The place that a node names.
/// @param kind     by the node's reference: Element for either sort of element
/// @param indexes  of Element and IndexedMember
[[nodiscard]] inline Place placeOf(const CodeNode& node, Place::Kind kind,
                                   const IndexList& indexes = {}) noexcept {
    if (kind >= Place::Kind::Member)
        return {kind, node.to.object, node.operand.variable->name, node.name, 0, node.line, indexes};
    if (kind == Place::Kind::Element && node.queueVariable != 0) kind = Place::Kind::SlotElement;
    return {kind, node.operand.variable, nullptr, kNoName, node.queueVariable, node.line, indexes};
}

}  // namespace kestrel
