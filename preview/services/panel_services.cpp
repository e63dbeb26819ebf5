#include "preview/services/panel_services.h"

namespace kestrel::preview {

namespace {

constexpr std::int32_t kScreenWidth = 1920;
constexpr std::int32_t kScreenHeight = 1080;

// How the functions below find their desk; set with each lookup of the service.
PanelDesk* current = nullptr;

Panel* panelOf(HxPanel handle) {
    return static_cast<Panel*>(handle);
}
PanelControl* controlOf(HxControl handle) {
    return static_cast<PanelControl*>(handle);
}

/// The member behind an attribute; null for an unknown one.
std::int32_t* member(Panel& panel, std::int32_t attribute) {
    switch (attribute) {
        case HXPA_X:
            return &panel.x;
        case HXPA_Y:
            return &panel.y;
        case HXPA_WIDTH:
            return &panel.width;
        case HXPA_HEIGHT:
            return &panel.height;
        default:
            return nullptr;
    }
}
std::int32_t* member(PanelControl& control, std::int32_t attribute) {
    switch (attribute) {
        case HXCA_X:
            return &control.x;
        case HXCA_Y:
            return &control.y;
        case HXCA_WIDTH:
            return &control.width;
        case HXCA_HEIGHT:
            return &control.height;
        case HXCA_LABEL_WIDTH:
            return &control.labelWidth;
        default:
            return nullptr;
    }
}

HxPanel createPanel(const char* title) {
    return current == nullptr ? nullptr : current->create(title);
}
void destroyPanel(HxPanel panel) {
    if (current != nullptr) current->destroy(panelOf(panel));
}
std::int32_t openPanel(HxPanel panel, std::int32_t) {
    return current != nullptr && panel != nullptr && current->open(panelOf(panel)) ? 1 : 0;
}
std::int32_t getPanel(HxPanel panel, std::int32_t attribute) {
    const std::int32_t* value = panel == nullptr ? nullptr : member(*panelOf(panel), attribute);
    return value == nullptr ? 0 : *value;
}
void setPanel(HxPanel panel, std::int32_t attribute, std::int32_t value) {
    if (std::int32_t* place = panel == nullptr ? nullptr : member(*panelOf(panel), attribute)) *place = value;
}
void setPanelDraw(HxPanel panel, HxPanelDraw draw, void* user) {
    if (current != nullptr && panel != nullptr) current->setDraw(panelOf(panel), draw, user);
}
void screenSize(std::int32_t* width, std::int32_t* height) {
    *width = kScreenWidth;
    *height = kScreenHeight;
}
HxControl addControl(HxPanel panel, const char* className, const HxControlDescriptor* descriptor,
                     const char* label) {
    if (current == nullptr || panel == nullptr) return nullptr;
    return current->add(panelOf(panel), className, descriptor, label);
}
std::int32_t getControl(HxControl control, std::int32_t attribute) {
    const std::int32_t* value = control == nullptr ? nullptr : member(*controlOf(control), attribute);
    return value == nullptr ? 0 : *value;
}
void setControl(HxControl control, std::int32_t attribute, std::int32_t value) {
    if (control == nullptr || attribute == HXCA_LABEL_WIDTH) return;
    if (std::int32_t* place = member(*controlOf(control), attribute)) *place = value;
}
void redrawControl(HxControl) {}  // nothing is drawn
void setValue(HxControl control, const HxControlValue* value) {
    if (current != nullptr && control != nullptr && value != nullptr)
        current->setValue(controlOf(control), value);
}
void getValue(HxControl control, HxControlValue* value) {
    if (current != nullptr && control != nullptr && value != nullptr)
        current->getValue(controlOf(control), value);
}
void drawLine(HxPanel panel, std::int32_t x, std::int32_t y, std::int32_t width) {
    if (panel != nullptr) panelOf(panel)->lines.push_back({x, y, width});
}

PanelServices service{createPanel,   destroyPanel, openPanel,  getPanel,   setPanel,
                      setPanelDraw,  screenSize,   addControl, getControl, setControl,
                      redrawControl, setValue,     getValue,   drawLine};

}  // namespace

PanelServices* panelServices(PanelDesk& desk) {
    current = &desk;
    return desk.offered() ? &service : nullptr;
}

}  // namespace kestrel::preview
