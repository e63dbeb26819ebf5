// The panel that a script has open: one in the process.
#pragma once

#include "host/host_panel.h"
#include "host/panel_kinds.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

struct PanelPlace {
    std::int32_t x = 0;
    std::int32_t y = 0;
};

struct PanelControl {
    std::int64_t number = 0;  ///< what the script knows it by
    HxControl handle = nullptr;
    ValueForm value = ValueForm::None;
    LabelShift shift = LabelShift::Align;
    std::int32_t itemType = HX_LIST_ALL;
    std::int32_t labelWidth = 0;
    bool separator = false;
    std::int32_t lineStart = 0;             ///< of a separator: where its line starts,
    std::int32_t lineWidth = -1;            ///< and how long it is; -1: up to the panel's right edge
    std::optional<PanelPlace> place;        ///< where the script wants it
    std::optional<std::int32_t> originalX;  ///< where the host had put it
};

/// A panel that a script builds, shows and asks.
struct RequesterPanel {
    std::unique_ptr<HostPanel> host;
    const void* owner = nullptr;  ///< the ShaderContext of the script
    std::vector<PanelControl> controls;
    std::int32_t widestLabel = 0;
    std::optional<PanelPlace> size;  ///< width and height that the script wants
    bool waiting = false;            ///< the host is showing it
};

/// There is one panel at a time. A panel that is closed while the host shows it, because the host let another
/// script begin one or unloaded the script, ends when the host comes back.
class Requester {
public:
    explicit Requester(const PanelFinder& find) : find_(find) {}
    Requester(const Requester&) = delete;
    Requester& operator=(const Requester&) = delete;

    /// Closes the panel that is open and begins another.
    /// @return false when the host has no panel
    [[nodiscard]] bool begin(const std::string& title, const void* owner);
    void end() noexcept { panel_.reset(); }
    /// The script is unloaded.
    void endOf(const void* owner) noexcept {
        if (panel_ != nullptr && panel_->owner == owner) end();
    }

    /// While a panel is open the callbacks around rendering run no script.
    [[nodiscard]] bool open() const noexcept { return panel_ != nullptr; }
    /// @return null while none is open; who waits in the host keeps a share of it
    [[nodiscard]] const std::shared_ptr<RequesterPanel>& panel() const noexcept { return panel_; }

    /// Enters a new control. Numbers are never used again, so that one kept from an earlier panel is no
    /// control of this one.
    std::int64_t enter(RequesterPanel& panel, PanelControl control);

private:
    const PanelFinder& find_;
    std::shared_ptr<RequesterPanel> panel_;
    std::int64_t lastNumber_ = 0;
};

}  // namespace kestrel
