// The panel that a script has open: one in the process.
#pragma once

#include "host/host_panel.h"
#include "host/panel_kinds.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

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
    std::int32_t lineStart = 0;          ///< of a separator: where its line starts,
    std::int32_t lineWidth = -1;         ///< and how long it is; -1: up to the panel's right edge
    std::optional<PanelPlace> place;     ///< where the script wants it
    std::optional<PanelPlace> original;  ///< where the host had put it
    bool moved = false;                  ///< from there, in both directions
};

/// A panel that a script builds, shows and asks. Any operation of the host may run another script, which may
/// close the panel: whoever calls one holds a share of it.
struct RequesterPanel : std::enable_shared_from_this<RequesterPanel> {
    const void* owner = nullptr;        ///< the ShaderContext of the script
    std::deque<PanelControl> controls;  ///< by ascending numbers
    std::int32_t widestLabel = 0;
    std::optional<PanelPlace> size;   ///< width and height that the script wants
    std::unique_ptr<HostPanel> host;  ///< ends before the rest, which a host that draws meanwhile asks for
};

/// There is one panel at a time, and only the script that began it can work on it. A panel that is closed
/// while the host shows it, because the host let another script begin one or unloaded the script, ends when
/// the host comes back.
class Requester {
public:
    explicit Requester(const PanelFinder& find) : find_(find) {}
    Requester(const Requester&) = delete;
    Requester& operator=(const Requester&) = delete;

    std::function<void()> whenBegun;  ///< called when a panel has opened; may be empty

    /// Closes the panel that is open and begins another.
    /// @return false when the host has no panel
    [[nodiscard]] bool begin(const std::string& title, const void* owner);
    /// Closes the panel, if it is this script's.
    void endOf(const void* owner) noexcept {
        if (panel_ != nullptr && panel_->owner == owner) panel_.reset();
    }

    /// While a panel is open, whoever's, the callbacks around rendering run no script.
    [[nodiscard]] bool open() const noexcept { return panel_ != nullptr; }
    /// @return a share of the script's panel; null while it has none open
    [[nodiscard]] std::shared_ptr<RequesterPanel> panelOf(const void* owner) const noexcept {
        return open() && panel_->owner == owner ? panel_ : nullptr;
    }

    /// Enters a new control. Numbers are never used again, so that one kept from an earlier panel is no
    /// control of this one.
    std::int64_t enter(RequesterPanel& panel, PanelControl control);

private:
    const PanelFinder& find_;
    std::shared_ptr<RequesterPanel> panel_;
    std::int64_t lastNumber_ = 0;
};

}  // namespace kestrel
