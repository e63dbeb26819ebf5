#include "host/panel_layout.h"

#include "host/panel_values.h"

#include <cstddef>
#include <memory>
#include <utility>

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

void moveTo(HostPanel& host, PanelControl& control, const PanelPlace& place) {
    control.moved = true;
    host.set(control.handle, HXCA_X, place.x);
    host.set(control.handle, HXCA_Y, place.y);
}

void placeControl(RequesterPanel& panel, PanelControl& control) {
    HostPanel& host = *panel.host;
    if (!control.original)
        control.original = {host.get(control.handle, HXCA_X), host.get(control.handle, HXCA_Y)};
    if (control.place) return moveTo(host, control, *control.place);
    if (panel.size) return moveTo(host, control, {});  // meant: such a script places its controls itself
    // From where the host had put it, so that a panel that is shown again does not wander.
    host.set(control.handle, HXCA_X, saturated(control.original->x + shiftOf(panel, control)));
    if (std::exchange(control.moved, false)) host.set(control.handle, HXCA_Y, control.original->y);
}

/// Where a separator's line starts, and how long it is: maybe not at all.
struct Line {
    std::int32_t x;
    std::int32_t width;
};

Line lineOf(const HostPanel& host, const PanelControl& control) {
    if (control.place) return {control.place->x, host.get(control.handle, HXCA_WIDTH)};
    if (control.lineWidth != -1) return {control.lineStart, control.lineWidth};
    return {control.lineStart, saturated(std::int64_t{host.get(HXPA_WIDTH)} - control.lineStart)};
}

void drawSeparator(HostPanel& host, const PanelControl& control) {
    const Line line = lineOf(host, control);
    if (line.width <= 0) return;
    const std::int32_t y =
        saturated(std::int64_t{host.get(control.handle, HXCA_Y)} + host.get(control.handle, HXCA_HEIGHT) / 2);
    host.drawLine(line.x, y, line.width);
}

/// The host draws the panel. `user` is a RequesterPanel, of which nothing is drawn any more once it ends.
void drawSeparators(HxPanel, void* user) {
    const std::shared_ptr<RequesterPanel> panel = static_cast<RequesterPanel*>(user)->weak_from_this().lock();
    if (panel == nullptr) return;
    for (std::size_t i = 0; i < panel->controls.size(); ++i)
        if (panel->controls[i].separator) drawSeparator(*panel->host, panel->controls[i]);
}

}  // namespace

void layOut(RequesterPanel& panel) {
    HostPanel& host = *panel.host;
    if (panel.size) {
        host.set(HXPA_WIDTH, panel.size->x);
        host.set(HXPA_HEIGHT, panel.size->y);
    }
    for (std::size_t i = 0; i < panel.controls.size(); ++i) {
        PanelControl& control = panel.controls[i];
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
