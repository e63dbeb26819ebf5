// Who answers the panels that scripts post: a file of answers, or the person at the terminal.
#pragma once

#include "preview/scene/scene.h"
#include "preview/services/panel.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace kestrel::cli {

/// One panel as a JSON text on one line:
/// {"kind":"panel","title":...,"width":...,"height":...,"controls":[...]}; each control has label, class,
/// value, x and y, and its choices or limits where there are any.
[[nodiscard]] std::string panelJson(const preview::Panel& panel, const preview::SceneIndex& index);

/// Told of each panel before it is answered.
using PanelObserver = std::function<void(const preview::Panel&)>;
/// Told of what is wrong with an answer, in a plain sentence.
using PanelComplaint = std::function<void(const std::string&)>;

/// Answers from an array of objects, one for each posted panel: {"ok": true, "LABEL": value, ...}. Values are
/// numbers, texts, true or false, three numbers, the index or text of a choice, the name of an item or null.
/// What an answer does not name stays as it is; "ok" is true unless it says otherwise. When no answer is left
/// a panel is cancelled. A panel whose answer has a label that it does not have, or a value that a control
/// cannot take, is cancelled too.
/// @param text       JSON
/// @param error      receives a plain sentence when `text` is no such array
/// @return null then
[[nodiscard]] std::unique_ptr<preview::PanelFace> answersFromJson(const std::string& text,
                                                                  const preview::SceneIndex& index,
                                                                  PanelObserver observer,
                                                                  PanelComplaint complaint,
                                                                  std::string& error);

/// Cancels every panel.
[[nodiscard]] std::unique_ptr<preview::PanelFace> noAnswers(PanelObserver observer);

/// Asks for each control's value in turn on the terminal; then for OK.
[[nodiscard]] std::unique_ptr<preview::PanelFace> terminalForm(const preview::SceneIndex& index,
                                                               PanelObserver observer);

}  // namespace kestrel::cli
