#include "host/panel_values.h"

#include "engine/operations/text.h"
#include "host/find_item.h"
#include "host/scene_item.h"
#include "host/script_environment.h"
#include "host/shader_context.h"

#include <optional>
#include <string_view>

namespace kestrel {

namespace {

/// The number of an image from 1; 0 when there is none of that name.
HostItemID imageNamed(const EngineContext& ctx, std::string_view name) {
    const ImageList* images = shaderContext(ctx).environment.scene.images;
    if (images == nullptr || images->first == nullptr || images->next == nullptr || images->name == nullptr)
        return 0;
    HostItemID number = 1;
    for (HxImageID image = images->first(); image != nullptr && !ctx.endRequested();
         image = images->next(image), ++number) {
        const char* known = images->name(image);
        if (known != nullptr && known == name) return number;
    }
    return 0;
}

HostItemID itemNamed(const EngineContext& ctx, std::string_view name, std::int32_t itemType) {
    constexpr std::string_view kFirstCamera = "Camera";  // meant: whatever its name is
    if (itemType == HX_LIST_IMAGES) return imageNamed(ctx, name);
    if (const HostItemID item = findItemNamed(ctx, name)) return item;
    const auto first =
        shaderContext(ctx).environment.scene.operation(&SceneServices::items, &ItemInfo::first);
    return name == kFirstCamera && first != nullptr ? first(HX_CAMERA, 0) : 0;
}

bool givenNumber(const ValueCell& cell, ValueForm form, HxControlValue& out) {
    if (!cell.isNumeric()) return false;
    if (form == ValueForm::Number) {
        out.type = HXCV_NUMBER;
        out.vector[0] = cell.number;
        return true;
    }
    out.type = HXCV_INTEGER;
    out.integer = wholeNumber(cell);
    if (form == ValueForm::Flag) out.integer = out.integer != 0 ? 1 : 0;
    return true;
}

bool givenVector(const ValueCell& cell, ValueForm form, HxControlValue& out) {
    if (cell.type != Vector) return false;
    out.type = HXCV_VECTOR;
    const VectorValue& v = cell.vec;
    out.vector[0] = v.x;
    out.vector[1] = v.y;
    out.vector[2] = v.z;
    if (form == ValueForm::WholeVector)
        for (double& component : out.vector) component = saturated(truncate(component));
    return true;
}

/// A host may answer with one sort of number for the other.
std::optional<double> numberOf(const HxControlValue& value) noexcept {
    if (value.type == HXCV_INTEGER) return value.integer;
    if (value.type == HXCV_NUMBER) return value.vector[0];
    return std::nullopt;
}

void resultNil(BuiltinCall& call) {
    call.result(ValueCell::ofNil());
}

void resultNumberOf(BuiltinCall& call, ValueForm form, const HxControlValue& value) {
    const std::optional<double> number = numberOf(value);
    if (!number) return resultNil(call);
    if (form == ValueForm::Number) return call.resultNumber(*number);
    const std::int64_t whole = truncate(*number);
    call.resultInteger(static_cast<double>(form == ValueForm::Flag ? whole != 0 : whole));
}

}  // namespace

bool givenValue(const EngineContext& ctx, const ValueCell& cell, ValueForm form, GivenValue& out) {
    switch (form) {
        case ValueForm::Whole:
        case ValueForm::Flag:
        case ValueForm::Number:
            return givenNumber(cell, form, out.value);
        case ValueForm::Vector:
        case ValueForm::WholeVector:
            return givenVector(cell, form, out.value);
        case ValueForm::Text: {
            if (!cell.isText() && !cell.isNumeric() && cell.type != Vector) return false;
            out.text = valueText(ctx, cell).value_or("");
            out.value.type = HXCV_TEXT;
            out.value.text = out.text.c_str();
            return true;
        }
        case ValueForm::None:
        case ValueForm::Item:
            break;
    }
    return false;
}

ItemFound givenItem(const EngineContext& ctx, const ValueCell& cell, std::int32_t itemType, GivenValue& out) {
    out.value.type = HXCV_ITEM;
    if (cell.isText()) {
        out.value.item = itemNamed(ctx, textOf(cell), itemType);
        if (out.value.item != 0) return ItemFound::Yes;
        return ctx.endRequested() ? ItemFound::RunEnds : ItemFound::NoSuchName;
    }
    const auto* item = cell.type == HxObject ? static_cast<const SceneItem*>(cell.object) : nullptr;
    const bool wantsImage = itemType == HX_LIST_IMAGES;
    if (item == nullptr || (item->kind == kImageItem) != wantsImage) return ItemFound::WrongType;
    out.value.item = item->item;
    return ItemFound::Yes;
}

void resultValue(BuiltinCall& call, const PanelControl& control, const HxControlValue& value) {
    switch (control.value) {
        case ValueForm::Whole:
        case ValueForm::Flag:
        case ValueForm::Number:
            return resultNumberOf(call, control.value, value);
        case ValueForm::Vector:
        case ValueForm::WholeVector:
            if (value.type != HXCV_VECTOR) break;
            return call.resultVector({value.vector[0], value.vector[1], value.vector[2]});
        case ValueForm::Text:
            if (value.type != HXCV_TEXT) break;
            return call.resultText(value.text != nullptr ? value.text : "");
        case ValueForm::Item:
            if (value.type != HXCV_ITEM) break;
            return call.result(control.itemType == HX_LIST_IMAGES
                                   ? itemValue(call.ctx, kImageItem, value.item)
                                   : itemValue(call.ctx, value.item));
        case ValueForm::None:
            break;
    }
    resultNil(call);
}

}  // namespace kestrel
