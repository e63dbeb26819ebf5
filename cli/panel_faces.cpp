#include "cli/panel_faces.h"

#include "cli/panel_values.h"

#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>
#include <unordered_map>
#include <utility>

namespace kestrel::cli {

namespace {

using Json = nlohmann::ordered_json;
using preview::Panel;
using preview::PanelControl;

std::string onOneLine(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json controlJson(const PanelControl& control, const preview::SceneIndex& index) {
    Json json;
    json["label"] = control.label;
    json["class"] = control.className;
    json["value"] = valueAsJson(control, index);
    json["x"] = control.x;
    json["y"] = control.y;
    if (!control.choices.empty()) json["choices"] = control.choices;
    if (control.minimum != control.maximum) {
        json["minimum"] = control.minimum;
        json["maximum"] = control.maximum;
    }
    return json;
}

class NoAnswers final : public preview::PanelFace {
public:
    explicit NoAnswers(PanelObserver observer) : observer_(std::move(observer)) {}
    bool answer(Panel& panel) override {
        observer_(panel);
        return false;
    }

private:
    PanelObserver observer_;
};

class Answers final : public preview::PanelFace {
public:
    Answers(Json answers, const preview::SceneIndex& index, PanelObserver observer, PanelComplaint complaint)
        : answers_(std::move(answers)),
          index_(index),
          observer_(std::move(observer)),
          complaint_(std::move(complaint)) {}

    bool answer(Panel& panel) override {
        observer_(panel);
        if (next_ == answers_.size()) return false;
        const Json& given = answers_[next_++];
        const std::string problem = take(given, panel);
        if (problem.empty()) return saysOk(given);
        complaint_("answer " + std::to_string(next_) + ", panel \"" + panel.title + "\": " + problem);
        return false;
    }

private:
    /// A control may be called "ok", too.
    static bool saysOk(const Json& given) {
        const auto ok = given.find("ok");
        return ok == given.end() || !ok->is_boolean() || ok->get<bool>();
    }

    /// All values are taken, or none. @return what is wrong
    std::string take(const Json& given, Panel& panel) {
        std::unordered_map<std::string, PanelControl*> byLabel;
        for (const auto& control : panel.controls) {
            if (!std::holds_alternative<std::monostate>(control->value))
                byLabel.emplace(control->label, control.get());
        }
        std::vector<std::pair<PanelControl*, preview::ControlValue>> before;
        for (const auto& [label, value] : given.items()) {
            if (label == "ok" && value.is_boolean()) continue;
            std::string problem = "\"" + label + "\" ";
            const auto found = byLabel.find(label);
            if (found == byLabel.end()) {
                problem += "is the label of no control";
            } else {
                before.emplace_back(found->second, found->second->value);
                const std::optional<std::string> wrong = setFromJson(*found->second, value, index_);
                if (!wrong) continue;
                problem += *wrong;
            }
            for (auto& [control, old] : before) control->value = std::move(old);
            return problem;
        }
        return {};
    }

    Json answers_;
    std::size_t next_ = 0;
    const preview::SceneIndex& index_;
    PanelObserver observer_;
    PanelComplaint complaint_;
};

class TerminalForm final : public preview::PanelFace {
public:
    TerminalForm(const preview::SceneIndex& index, PanelObserver observer)
        : index_(index), observer_(std::move(observer)) {}

    bool answer(Panel& panel) override {
        observer_(panel);
        say("\n" + panel.title + "\n(Enter keeps what stands in brackets.)\n");
        for (const auto& control : panel.controls) {
            if (!ask(*control)) return false;
        }
        say("OK? [Y/n] ");
        std::string line;
        return std::getline(std::cin, line) && (line.empty() || line == "y" || line == "Y" || line == "yes");
    }

private:
    /// The form is no output of the script.
    static void say(const std::string& text) {
        std::fputs(text.c_str(), stderr);
        std::fflush(stderr);
    }

    /// @return false when the input has ended
    bool ask(PanelControl& control) {
        if (std::holds_alternative<std::monostate>(control.value)) {
            if (control.className == HX_CONTROL_INFO) say("----\n");
            for (const std::string& line : control.choices) say("  " + line + "\n");
            return true;
        }
        if (control.className == HX_CONTROL_CHOICE || control.className == HX_CONTROL_POPUP) {
            for (std::size_t i = 0; i < control.choices.size(); ++i)
                say("  " + std::to_string(i + 1) + " " + control.choices[i] + "\n");
        }
        for (std::string line;;) {
            say(control.label + " [" + onOneLine(valueAsJson(control, index_)) + "]: ");
            if (!std::getline(std::cin, line)) return false;
            if (line.empty()) return true;
            const std::optional<std::string> wrong = setFromText(control, line, index_);
            if (!wrong) return true;
            say("  " + control.label + " " + *wrong + ".\n");
        }
    }

    const preview::SceneIndex& index_;
    PanelObserver observer_;
};

}  // namespace

std::string panelJson(const Panel& panel, const preview::SceneIndex& index) {
    Json json;
    json["kind"] = "panel";
    json["title"] = panel.title;
    json["width"] = panel.width;
    json["height"] = panel.height;
    json["controls"] = Json::array();
    for (const auto& control : panel.controls) json["controls"].push_back(controlJson(*control, index));
    return onOneLine(json);
}

std::unique_ptr<preview::PanelFace> answersFromJson(const std::string& text, const preview::SceneIndex& index,
                                                    PanelObserver observer, PanelComplaint complaint,
                                                    std::string& error) {
    Json answers;
    try {
        answers = Json::parse(text);
    } catch (const Json::exception& problem) {
        error = problem.what();
        return nullptr;
    }
    const bool objects = answers.is_array() && std::all_of(answers.begin(), answers.end(),
                                                           [](const Json& one) { return one.is_object(); });
    if (!objects) {
        error =
            "it must hold an array of objects, one for each panel, such as [{\"ok\": true, \"LABEL\": 1.5}]";
        return nullptr;
    }
    return std::make_unique<Answers>(std::move(answers), index, std::move(observer), std::move(complaint));
}

std::unique_ptr<preview::PanelFace> noAnswers(PanelObserver observer) {
    return std::make_unique<NoAnswers>(std::move(observer));
}

std::unique_ptr<preview::PanelFace> terminalForm(const preview::SceneIndex& index, PanelObserver observer) {
    return std::make_unique<TerminalForm>(index, std::move(observer));
}

}  // namespace kestrel::cli
