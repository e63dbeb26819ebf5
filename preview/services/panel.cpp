#include "preview/services/panel.h"

#include <algorithm>
#include <string_view>

namespace kestrel::preview {

namespace {

// The metrics of a plain window: a fixed font and one control below the other.
constexpr std::int32_t kCharacter = 7;
constexpr std::int32_t kLine = 18;
constexpr std::int32_t kRow = 22;
constexpr std::int32_t kMargin = 8;
constexpr std::int32_t kGap = 6;
constexpr std::int32_t kField = 140;
constexpr std::int32_t kButtons = 36;
constexpr std::size_t kMostControls = 10000;

std::int32_t textWidth(std::string_view text) {
    return static_cast<std::int32_t>(std::min<std::size_t>(text.size(), 10000)) * kCharacter;
}

/// The value that a control of a class has before it is set.
ControlValue valueOfClass(std::string_view name) {
    for (const char* whole : {HX_CONTROL_NUM, HX_CONTROL_BOOL, HX_CONTROL_CHOICE, HX_CONTROL_POPUP,
                              HX_CONTROL_SLIDER, HX_CONTROL_MINI_SLIDER})
        if (name == whole) return std::int32_t{0};
    for (const char* vector : {HX_CONTROL_FVEC, HX_CONTROL_VEC, HX_CONTROL_MINI_RGB, HX_CONTROL_MINI_HSV})
        if (name == vector) return Vec3{};
    if (name == HX_CONTROL_FLOAT) return 0.0;
    if (name == HX_CONTROL_EDIT || name == HX_CONTROL_FILE) return std::string();
    if (name == HX_CONTROL_LIST) return ItemChoice{};
    return std::monostate{};
}

bool known(std::string_view name) {
    return !std::holds_alternative<std::monostate>(valueOfClass(name)) || name == HX_CONTROL_INFO ||
           name == HX_CONTROL_TEXT;
}

std::int32_t fieldWidth(const PanelControl& control, const HxControlDescriptor& descriptor) {
    const bool pixels = control.className == HX_CONTROL_SLIDER || control.className == HX_CONTROL_MINI_SLIDER;
    if (descriptor.width > 0) return std::min(descriptor.width, 4096) * (pixels ? 1 : kCharacter);
    return kField;
}

}  // namespace

Panel* PanelDesk::create(const char* title) {
    if (face_ == nullptr) return nullptr;
    auto panel = std::make_unique<Panel>();
    panel->title = title == nullptr ? "" : title;
    panel->width = textWidth(panel->title) + 2 * kMargin;
    panel->height = 2 * kMargin + kButtons;
    panels_.push_back(std::move(panel));
    return panels_.back().get();
}

void PanelDesk::destroy(Panel* panel) {
    std::erase_if(panels_, [panel](const auto& known) { return known.get() == panel; });
}

bool PanelDesk::open(Panel* panel) {
    panel->lines.clear();
    if (panel->draw != nullptr) panel->draw(panel, panel->drawUser);
    return face_ != nullptr && face_->answer(*panel);
}

void PanelDesk::setDraw(Panel* panel, HxPanelDraw draw, void* user) {
    panel->draw = draw;
    panel->drawUser = user;
}

PanelControl* PanelDesk::add(Panel* panel, const char* className, const HxControlDescriptor* descriptor,
                             const char* label) {
    const HxControlDescriptor made = descriptor == nullptr ? HxControlDescriptor{} : *descriptor;
    if (className == nullptr || !known(className) || panel->controls.size() >= kMostControls) return nullptr;
    auto control = std::make_unique<PanelControl>();
    control->className = className;
    control->label = label == nullptr ? "" : label;
    control->labelWidth = control->label.empty() ? 0 : textWidth(control->label) + kGap;
    control->integerComponents = made.integerComponents != 0;
    control->minimum = made.minimum;
    control->maximum = made.maximum;
    for (const char* const* choice = made.choices; choice != nullptr && *choice != nullptr; ++choice)
        control->choices.emplace_back(*choice);
    control->flag = made.flag != 0;
    control->itemType = made.itemType;
    control->value = valueOfClass(className);

    const bool lines = control->className == HX_CONTROL_TEXT;
    control->x = kMargin;
    control->y = panel->height - kMargin - kButtons;
    control->width = control->labelWidth + fieldWidth(*control, made);
    control->height =
        lines ? kLine * static_cast<std::int32_t>(std::clamp<std::size_t>(control->choices.size(), 1, 1000))
              : kRow;
    panel->height += control->height + kGap;
    panel->width = std::max(panel->width, control->width + 2 * kMargin);
    panel->controls.push_back(std::move(control));
    return panel->controls.back().get();
}

/// A value of another type than the control's is not taken.
void PanelDesk::setValue(PanelControl* control, const HxControlValue* value) {
    const ControlValue own = valueOfClass(control->className);
    ControlValue given;
    switch (value->type) {
        case HXCV_INTEGER:
            given = value->integer;
            break;
        case HXCV_NUMBER:
            given = value->vector[0];
            break;
        case HXCV_VECTOR:
            given = Vec3{value->vector[0], value->vector[1], value->vector[2]};
            break;
        case HXCV_TEXT:
            given = std::string(value->text == nullptr ? "" : value->text);
            break;
        case HXCV_ITEM:
            given = ItemChoice{value->item};
            break;
        default:
            return;
    }
    if (given.index() == own.index()) control->value = std::move(given);
}

void PanelDesk::getValue(PanelControl* control, HxControlValue* value) {
    struct Reader {
        HxControlValue& out;
        std::string& text;
        void operator()(std::monostate) const { out.type = HXCV_NONE; }
        void operator()(std::int32_t number) const {
            out.type = HXCV_INTEGER;
            out.integer = number;
        }
        void operator()(double number) const {
            out.type = HXCV_NUMBER;
            out.vector[0] = number;
        }
        void operator()(const Vec3& vector) const {
            out.type = HXCV_VECTOR;
            store(vector, std::span<double, 3>(out.vector));
        }
        void operator()(const std::string& value) const {
            text = value;
            out.type = HXCV_TEXT;
            out.text = text.c_str();
        }
        void operator()(const ItemChoice& choice) const {
            out.type = HXCV_ITEM;
            out.item = choice.item;
        }
    };
    std::visit(Reader{*value, text_}, control->value);
}

}  // namespace kestrel::preview
