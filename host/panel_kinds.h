// The kinds of controls that scripts can put on a panel.
#pragma once

#include "host/host_interface.h"

#include <cstdint>
#include <string_view>

namespace kestrel {

/// What a control holds.
enum class ValueForm { None, Whole, Flag, Number, Vector, WholeVector, Text, Item };

/// What a class of controls is like, whoever makes one of it.
struct ControlClass {
    const char* name;  ///< the host's
    ValueForm value;
};

/// The arguments by which a script makes a control, behind its label.
enum class ControlArguments {
    Value,      ///< the value, which the class takes
    Distance,   ///< a number or a vector, which choose the class
    Choice,     ///< the selected index, the choices, maybe a flag
    Popup,      ///< the selected index, the choices
    Slider,     ///< the value, the smallest, the largest
    Items,      ///< maybe an item
    Separator,  ///< no label; maybe where it starts, and how wide it is
    Lines,      ///< texts
    Added,      ///< the value, maybe choices, maybe a flag; the value may choose the class
};

/// How far the layout moves a control to the right, so that the fields are below each other.
enum class LabelShift {
    Align,     ///< by what its label is narrower than the widest
    Whole,     ///< by the widest label
    NotAtAll,  ///< it stays
};

/// One of the built-ins that add a control.
struct ControlKind {
    std::string_view name;
    const ControlClass* controlClass;  ///< null: the value chooses
    ControlArguments arguments;
    LabelShift shift;
    std::int32_t itemType;
    std::int32_t width = 0;  ///< of the field: characters for texts, pixels for sliders; 0: as usual
    /// The built-in as messages about its arguments call it.
    [[nodiscard]] constexpr std::string_view calledAs() const noexcept {
        return arguments == ControlArguments::Added ? "addcontrol" : name;  // meant: one name for all of them
    }
};

/// @param name  of a built-in of the table
[[nodiscard]] const ControlKind& controlKind(std::string_view name) noexcept;

// The classes that are chosen by a value.
extern const ControlClass kEditClass;
extern const ControlClass kNumClass;
extern const ControlClass kFloatClass;
extern const ControlClass kVectorClass;
extern const ControlClass kChoiceClass;

}  // namespace kestrel
