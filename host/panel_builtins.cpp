// The built-ins that work on a panel as a whole, and those that place its controls and exchange their values.
#include "host/panel_builtins.h"

#include "host/host_builtins.h"
#include "host/panel_layout.h"
#include "host/panel_values.h"
#include "host/script_environment.h"
#include "host/shader_context.h"

#include <algorithm>
#include <cstdint>

namespace kestrel {

namespace {

/// The control whose number is the first argument.
/// @return null after the call has failed
PanelControl* controlArgument(BuiltinCall& call, RequesterPanel& panel) {
    const ValueCell& number = call.arg(0);
    if (number.isNumeric()) {
        const auto found =
            std::ranges::find(panel.controls, truncate(number.payload.number), &PanelControl::number);
        if (found != panel.controls.end()) return &*found;
    }
    call.failType(1);
    return nullptr;
}

/// Whether the call's arguments are numbers; otherwise it has failed.
bool areNumbers(BuiltinCall& call) {
    for (int i = 0; i < call.argc; ++i) {
        if (call.arg(i).isNumeric()) continue;
        call.failType(i + 1);
        return false;
    }
    return true;
}

/// A panel that the host shows.
class Waiting {
public:
    explicit Waiting(RequesterPanel& panel) noexcept : panel_(panel) { panel.waiting = true; }
    ~Waiting() { panel_.waiting = false; }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

private:
    RequesterPanel& panel_;
};

}  // namespace

Requester& requesterOf(const EngineContext& ctx) noexcept {
    return shaderContext(ctx).environment.requester;
}

std::shared_ptr<RequesterPanel> openPanel(BuiltinCall& call) {
    std::shared_ptr<RequesterPanel> panel = requesterOf(call.ctx).panel();
    if (panel == nullptr) call.fail(MessageId::NoPanel, call.name);
    return panel;
}

void reqbeginBuiltin(BuiltinCall& call) {
    if (!call.arg(0).isText()) return call.failType(1);
    const bool open = requesterOf(call.ctx).begin(textOf(call.arg(0)), &shaderContext(call.ctx));
    if (!open) call.ctx.report(MessageId::NoPanelService);
    call.resultInteger(open ? 1 : 0);
}

void reqendBuiltin(BuiltinCall& call) {
    requesterOf(call.ctx).end();
    call.none();
}

void reqsizeBuiltin(BuiltinCall& call) {
    const std::shared_ptr<RequesterPanel> panel = openPanel(call);
    if (panel == nullptr || !areNumbers(call)) return;
    panel->size = PanelPlace{wholeNumber(call.arg(0)), wholeNumber(call.arg(1))};
    call.none();
}

void ctlpositionBuiltin(BuiltinCall& call) {
    const std::shared_ptr<RequesterPanel> panel = openPanel(call);
    if (panel == nullptr || !areNumbers(call)) return;
    PanelControl* control = controlArgument(call, *panel);
    if (control == nullptr) return;
    control->place = PanelPlace{wholeNumber(call.arg(1)), wholeNumber(call.arg(2))};
    call.none();
}

void reqpostBuiltin(BuiltinCall& call) {
    const std::shared_ptr<RequesterPanel> panel = openPanel(call);
    if (panel == nullptr) return;
    // The host lets another script run while it shows the panel; that cannot show it once more.
    if (panel->waiting) return call.result(ValueCell::ofNil());
    layOut(*panel);
    const Waiting waiting(*panel);
    call.resultInteger(panel->host->open());
}

void getvalueBuiltin(BuiltinCall& call) {
    const std::shared_ptr<RequesterPanel> panel = openPanel(call);
    if (panel == nullptr) return;
    const PanelControl* control = controlArgument(call, *panel);
    if (control == nullptr) return;
    if (control->value == ValueForm::None) return call.result(ValueCell::ofNil());
    resultValue(call, *control, panel->host->value(control->handle));
}

void setvalueBuiltin(BuiltinCall& call) {
    const std::shared_ptr<RequesterPanel> panel = openPanel(call);
    if (panel == nullptr) return;
    const PanelControl* control = controlArgument(call, *panel);
    if (control == nullptr) return;
    const HxControl handle = control->handle;
    const ValueCell& value = call.arg(1);
    GivenValue given;
    if (control->value != ValueForm::Item) {
        if (!givenValue(call.ctx, value, control->value, given)) return call.failType(2);
    } else if (value.type == Nil) {
        given.value.type = HXCV_ITEM;  // nothing is selected
    } else {
        switch (givenItem(call.ctx, value, control->itemType, given)) {
            case ItemFound::Yes:
                break;
            case ItemFound::NoSuchName:
                return call.fail(MessageId::ItemNotFound, textOf(value), call.name);
            case ItemFound::RunEnds:
                return call.result(ValueCell::ofNil());
            case ItemFound::WrongType:
                return call.failType(2);
        }
    }
    panel->host->setValue(handle, given.value);
    call.none();
}

}  // namespace kestrel
