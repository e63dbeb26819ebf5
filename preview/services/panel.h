// Panels that scripts post, and who answers them.
#pragma once

#include "host/host_interface.h"
#include "preview/math/vec.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace kestrel::preview {

class SceneIndex;

/// Nothing, a whole number, a number, three numbers, a text, or an item (0 = none).
struct ItemChoice {
    HostItemID item = 0;
};
using ControlValue = std::variant<std::monostate, std::int32_t, double, Vec3, std::string, ItemChoice>;

struct PanelControl {
    std::string className;  ///< one of HX_CONTROL_*
    std::string label;
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;  ///< with its label
    std::int32_t height = 0;
    std::int32_t labelWidth = 0;
    bool integerComponents = false;
    std::int32_t minimum = 0;
    std::int32_t maximum = 0;
    std::vector<std::string> choices;  ///< of a text: its lines
    bool flag = false;
    std::int32_t itemType = HX_LIST_ALL;
    ControlValue value;
};

/// A line that the module has drawn.
struct PanelLine {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;
};

struct Panel {
    std::string title;
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::vector<std::unique_ptr<PanelControl>> controls;  ///< in the order in which the script added them
    std::vector<PanelLine> lines;
    HxPanelDraw draw = nullptr;  ///< what the module draws on it, with its own pointer
    void* drawUser = nullptr;
};

/// Answers panels in place of a window.
class PanelFace {
public:
    virtual ~PanelFace() = default;
    /// Called when a script posts a panel; may change the values of its controls.
    /// @return true for OK, false for cancelled
    [[nodiscard]] virtual bool answer(Panel& panel) = 0;
};

/// The panel service. It knows the sizes of text as a window with a fixed font would, and shows nothing
/// itself.
class PanelDesk {
public:
    /// @param face  outlives the desk; null: there is no panel service
    void setFace(PanelFace* face) noexcept { face_ = face; }
    [[nodiscard]] bool offered() const noexcept { return face_ != nullptr; }

    // The operations of PanelServices.
    [[nodiscard]] Panel* create(const char* title);
    void destroy(Panel* panel);
    [[nodiscard]] bool open(Panel* panel);
    void setDraw(Panel* panel, HxPanelDraw draw, void* user);
    [[nodiscard]] PanelControl* add(Panel* panel, const char* className,
                                    const HxControlDescriptor* descriptor, const char* label);
    void setValue(PanelControl* control, const HxControlValue* value);
    void getValue(PanelControl* control, HxControlValue* value);

private:
    PanelFace* face_ = nullptr;
    std::vector<std::unique_ptr<Panel>> panels_;
    std::string text_;  // what the latest getValue() handed out
};

}  // namespace kestrel::preview
