// The values of a panel's controls as JSON and as text.
#pragma once

#include "preview/scene/scene.h"
#include "preview/services/panel.h"

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace kestrel::cli {

/// Items go by their names, null for none; texts and separators have the value null.
[[nodiscard]] nlohmann::ordered_json valueAsJson(const preview::PanelControl& control,
                                                 const preview::SceneIndex& index);

/// Sets a control's value. @return what is wrong with `value`, in a few words; nothing when it was taken
[[nodiscard]] std::optional<std::string> setFromJson(preview::PanelControl& control,
                                                     const nlohmann::ordered_json& value,
                                                     const preview::SceneIndex& index);

/// Sets a control's value from what a person typed: numbers may stand without brackets, texts without quotes.
/// @return as setFromJson()
[[nodiscard]] std::optional<std::string> setFromText(preview::PanelControl& control, const std::string& text,
                                                     const preview::SceneIndex& index);

}  // namespace kestrel::cli
