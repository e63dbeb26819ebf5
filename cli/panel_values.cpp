#include "cli/panel_values.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string_view>

namespace kestrel::cli {

namespace {

using Json = nlohmann::ordered_json;
using preview::ControlValue;
using preview::ItemChoice;
using preview::PanelControl;
using preview::Vec3;

bool isChoice(const PanelControl& control) {
    return control.className == HX_CONTROL_CHOICE || control.className == HX_CONTROL_POPUP;
}

bool isSlider(const PanelControl& control) {
    return control.className == HX_CONTROL_SLIDER || control.className == HX_CONTROL_MINI_SLIDER;
}

bool listsImages(const PanelControl& control) {
    return control.itemType == HX_LIST_IMAGES;
}

/// In a list of images an item is the image's place, from 1.
std::string itemName(const PanelControl& control, HostItemID id, const preview::SceneIndex& index) {
    const std::vector<preview::ImageItem>& images = index.scene().images;
    if (listsImages(control)) return id <= images.size() ? images[id - 1].name : std::string();
    const preview::Item* item = index.item(id);
    return item != nullptr ? item->name : std::string();
}

HostItemID imageByName(const std::string& name, const std::vector<preview::ImageItem>& images) {
    const auto found = std::find_if(images.begin(), images.end(),
                                    [&](const preview::ImageItem& image) { return image.name == name; });
    return found == images.end() ? 0 : static_cast<HostItemID>(found - images.begin() + 1);
}

/// The item that a list may select by its name; 0 when there is none.
HostItemID itemByName(const PanelControl& control, const std::string& name,
                      const preview::SceneIndex& index) {
    const preview::Scene& scene = index.scene();
    if (listsImages(control)) return imageByName(name, scene.images);
    const auto offered = [&control](std::int32_t type) {
        return control.itemType == HX_LIST_ALL || control.itemType == type;
    };
    const auto search = [&](const auto& entries, std::int32_t type) -> HostItemID {
        if (!offered(type)) return 0;
        for (const auto& entry : entries)
            if (entry.item.name == name) return entry.item.id;
        return 0;
    };
    for (const HostItemID found : {search(scene.meshes, HX_MESH), search(scene.bones, HX_BONE),
                                   search(scene.lights, HX_LIGHT), search(scene.cameras, HX_CAMERA)})
        if (found != 0) return found;
    return 0;
}

std::optional<std::int32_t> wholeNumber(const Json& value) {
    if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
    if (!value.is_number()) return std::nullopt;
    const double number = value.get<double>();
    if (!(std::abs(number) <= std::numeric_limits<std::int32_t>::max()) || number != std::floor(number))
        return std::nullopt;
    return static_cast<std::int32_t>(number);
}

std::optional<std::string> setWhole(PanelControl& control, const Json& value) {
    if (isChoice(control) && value.is_string()) {
        const auto found =
            std::find(control.choices.begin(), control.choices.end(), value.get_ref<const std::string&>());
        if (found == control.choices.end()) return "is none of its choices";
        control.value = static_cast<std::int32_t>(found - control.choices.begin()) + 1;
        return std::nullopt;
    }
    const std::optional<std::int32_t> number = wholeNumber(value);
    if (!number)
        return isChoice(control) ? "must be the number or the text of a choice" : "must be a whole number";
    if (control.className == HX_CONTROL_BOOL && *number != 0 && *number != 1) return "must be true or false";
    const auto [low, high] = std::minmax(control.minimum, control.maximum);
    if (isSlider(control) && (*number < low || *number > high))
        return "must lie between " + std::to_string(low) + " and " + std::to_string(high);
    control.value = *number;
    return std::nullopt;
}

std::optional<std::string> setVector(PanelControl& control, const Json& value) {
    std::array<double, 3> numbers{};
    const bool fits =
        value.is_array() && value.size() == numbers.size() &&
        std::all_of(value.begin(), value.end(), [](const Json& part) { return part.is_number(); });
    if (!fits) return "must be three numbers";
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        numbers[i] = value[i].get<double>();
        if (control.integerComponents && numbers[i] != std::floor(numbers[i]))
            return "must be three whole numbers";
    }
    control.value = Vec3{numbers[0], numbers[1], numbers[2]};
    return std::nullopt;
}

std::optional<std::string> setItem(PanelControl& control, const Json& value,
                                   const preview::SceneIndex& index) {
    HostItemID item = 0;
    if (value.is_string()) {
        item = itemByName(control, value.get_ref<const std::string&>(), index);
        if (item == 0) return "is the name of no item that it offers";
    } else if (!value.is_null()) {
        return "must be the name of an item, or null";
    }
    control.value = ItemChoice{item};
    return std::nullopt;
}

/// What a person typed as the JSON that a file would hold.
Json typedJson(const PanelControl& control, const std::string& text) {
    if (std::holds_alternative<std::string>(control.value)) return text;
    if (std::holds_alternative<ItemChoice>(control.value)) return text == "-" ? Json() : Json(text);
    if (std::holds_alternative<Vec3>(control.value)) {
        std::string spaced = text;
        std::replace(spaced.begin(), spaced.end(), ',', ' ');
        std::istringstream in(spaced);
        in.imbue(std::locale::classic());
        Json numbers = Json::array();
        for (double number = 0.0; in >> number;) numbers.push_back(number);
        return in.eof() ? numbers : Json(text);
    }
    if (control.className == HX_CONTROL_BOOL) {
        if (text == "y" || text == "yes") return true;
        if (text == "n" || text == "no") return false;
    }
    Json parsed = Json::parse(text, nullptr, false);
    return parsed.is_discarded() ? Json(text) : parsed;
}

}  // namespace

nlohmann::ordered_json valueAsJson(const PanelControl& control, const preview::SceneIndex& index) {
    struct Writer {
        const PanelControl& control;
        const preview::SceneIndex& index;
        bool whole;
        bool truth;
        Json operator()(std::monostate) const { return nullptr; }
        Json operator()(std::int32_t number) const { return truth ? Json(number != 0) : Json(number); }
        Json operator()(double number) const { return number; }
        Json operator()(const Vec3& v) const {
            if (!whole) return {v.x, v.y, v.z};
            return {std::llround(v.x), std::llround(v.y), std::llround(v.z)};
        }
        Json operator()(const std::string& text) const { return text; }
        Json operator()(const ItemChoice& choice) const {
            return choice.item == 0 ? Json() : Json(itemName(control, choice.item, index));
        }
    };
    return std::visit(Writer{control, index, control.integerComponents, control.className == HX_CONTROL_BOOL},
                      control.value);
}

std::optional<std::string> setFromJson(PanelControl& control, const nlohmann::ordered_json& value,
                                       const preview::SceneIndex& index) {
    if (std::holds_alternative<std::int32_t>(control.value)) return setWhole(control, value);
    if (std::holds_alternative<Vec3>(control.value)) return setVector(control, value);
    if (std::holds_alternative<ItemChoice>(control.value)) return setItem(control, value, index);
    if (std::holds_alternative<double>(control.value)) {
        if (!value.is_number()) return "must be a number";
        control.value = value.get<double>();
        return std::nullopt;
    }
    if (std::holds_alternative<std::string>(control.value)) {
        if (!value.is_string()) return "must be a text";
        control.value = value.get<std::string>();
        return std::nullopt;
    }
    return "has no value";
}

std::optional<std::string> setFromText(PanelControl& control, const std::string& text,
                                       const preview::SceneIndex& index) {
    return setFromJson(control, typedJson(control, text), index);
}

}  // namespace kestrel::cli
