// The built-ins that work on a panel as a whole, and those that place its controls and exchange their values.
#include "host/panel_builtins.h"

#include "host/host_builtins.h"
#include "host/panel_layout.h"
#include "host/panel_values.h"
#include "host/script_environment.h"
#include "host/shader_context.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace kestrel {

namespace {

/// The control whose number is the first argument.
/// @return null after the call has failed
PanelControl* controlArgument(BuiltinCall& call, RequesterPanel& panel) {
    const ValueCell& argument = call.arg(0);
    if (argument.isNumeric()) {
        const std::int64_t number = truncate(argument.number);
        const auto found = std::ranges::lower_bound(panel.controls, number, {}, &PanelControl::number);
        if (found != panel.controls.end() && found->number == number) return &*found;
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

/// Two numbers from argument `first` on.
/// @return nothing when both are -1, by which a script takes back what it had set
std::optional<PanelPlace> placeArgument(const BuiltinCall& call, int first) {
    constexpr std::int32_t kNotSet = -1;
    const PanelPlace place{wholeNumber(call.arg(first)), wholeNumber(call.arg(first + 1))};
    if (place.x == kNotSet && place.y == kNotSet) return std::nullopt;
    return place;
}

}  // namespace

Requester& requesterOf(const EngineContext& ctx) noexcept {
    return shaderContext(ctx).environment.requester;
}

std::shared_ptr<RequesterPanel> openPanel(BuiltinCall& call) {
    std::shared_ptr<RequesterPanel> panel = requesterOf(call.ctx).panelOf(&shaderContext(call.ctx));
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
    requesterOf(call.ctx).endOf(&shaderContext(call.ctx));
    call.none();
}

void reqsizeBuiltin(BuiltinCall& call) {
    const std::shared_ptr<RequesterPanel> panel = openPanel(call);
    if (panel == nullptr || !areNumbers(call)) return;
    panel->size = placeArgument(call, 0);
    call.none();
}

void ctlpositionBuiltin(BuiltinCall& call) {
    const std::shared_ptr<RequesterPanel> panel = openPanel(call);
    if (panel == nullptr || !areNumbers(call)) return;
    PanelControl* control = controlArgument(call, *panel);
    if (control == nullptr) return;
    control->place = placeArgument(call, 1);
    call.none();
}

void reqpostBuiltin(BuiltinCall& call) {
    const std::shared_ptr<RequesterPanel> panel = openPanel(call);
    if (panel == nullptr) return;
    layOut(*panel);
    call.resultInteger(panel->host->open());
}

void getvalueBuiltin(BuiltinCall& call) {
    const std::shared_ptr<RequesterPanel> panel = openPanel(call);
    if (panel == nullptr) return;
    const PanelControl* found = controlArgument(call, *panel);
    if (found == nullptr) return;
    const PanelControl control = *found;
    if (control.value == ValueForm::None) return call.result(ValueCell::ofNil());
    resultValue(call, control, panel->host->value(control.handle));
}

void setvalueBuiltin(BuiltinCall& call) {
    const std::shared_ptr<RequesterPanel> panel = openPanel(call);
    if (panel == nullptr) return;
    const PanelControl* found = controlArgument(call, *panel);
    if (found == nullptr) return;
    const PanelControl control = *found;
    const ValueCell& value = call.arg(1);
    GivenValue given;
    if (control.value != ValueForm::Item) {
        if (!givenValue(call.ctx, value, control.value, given)) return call.failType(2);
    } else if (value.type == Nil) {
        given.value.type = HXCV_ITEM;  // nothing is selected
    } else {
        switch (givenItem(call.ctx, value, control.itemType, given)) {
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
    panel->host->setValue(control.handle, given.value);
    call.none();
}

}  // namespace kestrel
