#include "host/host_panel.h"

namespace kestrel {

std::unique_ptr<HostPanel> HostPanel::create(const PanelFinder& find, const char* title) {
    if (!find) return nullptr;
    const PanelServices* service = find(HX_USE_KEEP);
    if (service == nullptr) return nullptr;
    HxPanel panel = nullptr;
    if (service->createPanel != nullptr && service->openPanel != nullptr) panel = service->createPanel(title);
    if (panel != nullptr) return std::unique_ptr<HostPanel>(new HostPanel(find, *service, panel));
    find(HX_USE_RELEASE);
    return nullptr;
}

HostPanel::~HostPanel() {
    setDraw(nullptr, nullptr);
    if (service_.destroyPanel != nullptr) service_.destroyPanel(panel_);
    find_(HX_USE_RELEASE);
}

std::int32_t HostPanel::get(HxPanelAttribute attribute) const {
    return service_.getPanel != nullptr ? service_.getPanel(panel_, attribute) : 0;
}

void HostPanel::set(HxPanelAttribute attribute, std::int32_t value) {
    if (service_.setPanel != nullptr) service_.setPanel(panel_, attribute, value);
}

void HostPanel::setDraw(HxPanelDraw draw, void* user) {
    if (service_.setPanelDraw != nullptr) service_.setPanelDraw(panel_, draw, user);
}

void HostPanel::screenSize(std::int32_t& width, std::int32_t& height) const {
    width = height = 0;
    if (service_.screenSize != nullptr) service_.screenSize(&width, &height);
}

void HostPanel::drawLine(std::int32_t x, std::int32_t y, std::int32_t width) {
    if (service_.drawLine != nullptr) service_.drawLine(panel_, x, y, width);
}

HxControl HostPanel::add(const char* className, const HxControlDescriptor& descriptor, const char* label) {
    return service_.addControl != nullptr ? service_.addControl(panel_, className, &descriptor, label)
                                          : nullptr;
}

std::int32_t HostPanel::get(HxControl control, HxControlAttribute attribute) const {
    return service_.getControl != nullptr ? service_.getControl(control, attribute) : 0;
}

void HostPanel::set(HxControl control, HxControlAttribute attribute, std::int32_t value) {
    if (service_.setControl != nullptr) service_.setControl(control, attribute, value);
}

void HostPanel::redraw(HxControl control) {
    if (service_.redrawControl != nullptr) service_.redrawControl(control);
}

void HostPanel::setValue(HxControl control, const HxControlValue& value) {
    if (service_.setValue != nullptr) service_.setValue(control, &value);
}

HxControlValue HostPanel::value(HxControl control) const {
    HxControlValue value{};
    if (service_.getValue != nullptr) service_.getValue(control, &value);
    return value;
}

}  // namespace kestrel
