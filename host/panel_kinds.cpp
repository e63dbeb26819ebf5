#include "host/panel_kinds.h"

#include <algorithm>
#include <cassert>
#include <iterator>

namespace kestrel {

using enum ValueForm;

const ControlClass kEditClass{HX_CONTROL_EDIT, Text};
const ControlClass kNumClass{HX_CONTROL_NUM, Whole};
const ControlClass kFloatClass{HX_CONTROL_FLOAT, Number};
const ControlClass kVectorClass{HX_CONTROL_FVEC, Vector};
const ControlClass kChoiceClass{HX_CONTROL_CHOICE, Whole};

namespace {

constexpr ControlClass kFileClass{HX_CONTROL_FILE, Text};
constexpr ControlClass kBoolClass{HX_CONTROL_BOOL, Flag};
constexpr ControlClass kColorClass{HX_CONTROL_VEC, WholeVector};
constexpr ControlClass kMiniRgbClass{HX_CONTROL_MINI_RGB, WholeVector};
constexpr ControlClass kMiniHsvClass{HX_CONTROL_MINI_HSV, Vector};
constexpr ControlClass kPopupClass{HX_CONTROL_POPUP, Whole};
constexpr ControlClass kSliderClass{HX_CONTROL_SLIDER, Whole};
constexpr ControlClass kMiniSliderClass{HX_CONTROL_MINI_SLIDER, Whole};
constexpr ControlClass kListClass{HX_CONTROL_LIST, Item};
constexpr ControlClass kSeparatorClass{HX_CONTROL_INFO, None};
constexpr ControlClass kTextClass{HX_CONTROL_TEXT, None};

using enum ControlArguments;
using enum LabelShift;

/// One row per built-in.
constexpr ControlKind kKinds[] = {
    {"ctlstring", &kEditClass, Value, Align, HX_LIST_ALL, 20},
    {"ctlsurface", &kEditClass, Value, Align, HX_LIST_ALL},
    {"ctlfilename", &kFileClass, Value, Align, HX_LIST_ALL, 30},
    {"ctlinteger", &kNumClass, Value, Align, HX_LIST_ALL},
    {"ctlfont", &kNumClass, Value, Align, HX_LIST_ALL},
    {"ctlcheckbox", &kBoolClass, Value, LabelShift::Whole, HX_LIST_ALL},
    {"ctlnumber", &kFloatClass, Value, Align, HX_LIST_ALL},
    {"ctldistance", nullptr, Distance, Align, HX_LIST_ALL},
    {"ctlvector", &kVectorClass, Value, Align, HX_LIST_ALL},
    {"ctlcolor", &kColorClass, Value, Align, HX_LIST_ALL},
    {"ctlrgb", &kMiniRgbClass, Value, NotAtAll, HX_LIST_ALL},
    {"ctlhsv", &kMiniHsvClass, Value, NotAtAll, HX_LIST_ALL},
    {"ctlchoice", &kChoiceClass, Choice, Align, HX_LIST_ALL},
    {"ctlpopup", &kPopupClass, Popup, Align, HX_LIST_ALL},
    {"ctlslider", &kSliderClass, Slider, Align, HX_LIST_ALL, 100},
    {"ctlminislider", &kMiniSliderClass, Slider, Align, HX_LIST_ALL, 100},
    {"ctlallitems", &kListClass, Items, Align, HX_LIST_ALL},
    {"ctlmeshitems", &kListClass, Items, Align, HX_MESH},
    {"ctlcameraitems", &kListClass, Items, Align, HX_CAMERA},
    {"ctllightitems", &kListClass, Items, Align, HX_LIGHT},
    {"ctlboneitems", &kListClass, Items, Align, HX_BONE},
    {"ctlimageitems", &kListClass, Items, Align, HX_LIST_IMAGES},
    {"ctlsep", &kSeparatorClass, Separator, Align, HX_LIST_ALL},
    {"ctltext", &kTextClass, Lines, Align, HX_LIST_ALL},
    {"addtext", &kTextClass, Lines, Align, HX_LIST_ALL},
    {"addcontrol", nullptr, Added, Align, HX_LIST_ALL},
    {"addrgb", &kMiniRgbClass, Added, NotAtAll, HX_LIST_ALL},
    {"addhsv", &kMiniHsvClass, Added, NotAtAll, HX_LIST_ALL},
    {"addcheckbox", &kBoolClass, Added, LabelShift::Whole, HX_LIST_ALL},
    {"addfilename", &kFileClass, Added, Align, HX_LIST_ALL},
    {"additems", &kListClass, Added, Align, HX_LIST_ALL},
};

}  // namespace

const ControlKind& controlKind(std::string_view name) noexcept {
    const auto* found = std::ranges::find(kKinds, name, &ControlKind::name);
    assert(found != std::end(kKinds));
    return *found;
}

}  // namespace kestrel
