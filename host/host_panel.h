// A panel of the host, of whose operations any may be missing.
#pragma once

#include "host/host_interface.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace kestrel {

/// Looks up the host's panel service, or releases it.
/// @return null when there is none; of a release nothing is looked at
using PanelFinder = std::function<const PanelServices*(HxServiceUse use)>;

/// Owns the panel, and the use of the service while it lives.
class HostPanel {
public:
    /// @param find  outlives the panel
    /// @return null when the host offers no panels, or not this one
    [[nodiscard]] static std::unique_ptr<HostPanel> create(const PanelFinder& find, const char* title);
    ~HostPanel();
    HostPanel(const HostPanel&) = delete;
    HostPanel& operator=(const HostPanel&) = delete;

    /// Shows it, and waits for the user's answer.
    [[nodiscard]] std::int32_t open() { return service_.openPanel(panel_, HXPF_MODAL | HXPF_CANCEL); }

    [[nodiscard]] std::int32_t get(HxPanelAttribute attribute) const;
    void set(HxPanelAttribute attribute, std::int32_t value);
    void setDraw(HxPanelDraw draw, void* user);
    void screenSize(std::int32_t& width, std::int32_t& height) const;
    void drawLine(std::int32_t x, std::int32_t y, std::int32_t width);

    /// @return null when it cannot be added
    [[nodiscard]] HxControl add(const char* className, const HxControlDescriptor& descriptor,
                                const char* label);
    [[nodiscard]] std::int32_t get(HxControl control, HxControlAttribute attribute) const;
    void set(HxControl control, HxControlAttribute attribute, std::int32_t value);
    void redraw(HxControl control);
    void setValue(HxControl control, const HxControlValue& value);
    /// A text in it lasts until the next operation.
    [[nodiscard]] HxControlValue value(HxControl control) const;

private:
    HostPanel(const PanelFinder& find, const PanelServices& service, HxPanel panel)
        : find_(find), service_(service), panel_(panel) {}

    const PanelFinder& find_;
    const PanelServices& service_;
    HxPanel panel_;
};

}  // namespace kestrel
