#include "host/panel_layout.h"

#include "host/panel_values.h"

namespace kestrel {

namespace {

std::int64_t shiftOf(const RequesterPanel& panel, const PanelControl& control) noexcept {
    switch (control.shift) {
        case LabelShift::Align:
            return std::int64_t{panel.widestLabel} - control.labelWidth;
        case LabelShift::Whole:
            return panel.widestLabel;
        case LabelShift::NotAtAll:
            break;
    }
    return 0;
}

void moveTo(HostPanel& host, const PanelControl& control, const PanelPlace& place) {
    host.set(control.handle, HXCA_X, place.x);
    host.set(control.handle, HXCA_Y, place.y);
}

void placeControl(RequesterPanel& panel, PanelControl& control) {
    HostPanel& host = *panel.host;
    if (control.place) return moveTo(host, control, *control.place);
    if (panel.size) return moveTo(host, control, {});  // meant: such a script places its controls itself
    // From where the host had put it, so that a panel that is shown again does not wander.
    if (!control.originalX) control.originalX = host.get(control.handle, HXCA_X);
    host.set(control.handle, HXCA_X, saturated(*control.originalX + shiftOf(panel, control)));
}

void drawSeparator(HostPanel& host, const PanelControl& control) {
    const std::int32_t y =
        saturated(std::int64_t{host.get(control.handle, HXCA_Y)} + host.get(control.handle, HXCA_HEIGHT) / 2);
    if (control.place) return host.drawLine(control.place->x, y, host.get(control.handle, HXCA_WIDTH));
    const std::int32_t width = control.lineWidth != -1
                                   ? control.lineWidth
                                   : saturated(std::int64_t{host.get(HXPA_WIDTH)} - control.lineStart);
    host.drawLine(control.lineStart, y, width);
}

/// The host draws the panel. `user` is a RequesterPanel, which lives as long as the host's.
void drawSeparators(HxPanel, void* user) {
    auto& panel = *static_cast<RequesterPanel*>(user);
    for (const PanelControl& control : panel.controls)
        if (control.separator) drawSeparator(*panel.host, control);
}

}  // namespace

void layOut(RequesterPanel& panel) {
    HostPanel& host = *panel.host;
    if (panel.size) {
        host.set(HXPA_WIDTH, panel.size->x);
        host.set(HXPA_HEIGHT, panel.size->y);
    }
    for (PanelControl& control : panel.controls) {
        placeControl(panel, control);
        if (control.separator) host.redraw(control.handle);
    }
    std::int32_t width = 0;
    std::int32_t height = 0;
    host.screenSize(width, height);
    host.set(HXPA_X, saturated((std::int64_t{width} - host.get(HXPA_WIDTH)) / 2));
    host.set(HXPA_Y, saturated((std::int64_t{height} - host.get(HXPA_HEIGHT)) / 2));
    host.setDraw(drawSeparators, &panel);
}

}  // namespace kestrel
