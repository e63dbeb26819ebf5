// A panel service for tests: it records what it is told, and a test answers for the user.
#pragma once

#include "host/host_interface.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kestrel::test {

struct FakeControl {
    std::string className;
    std::string label;
    HxControlDescriptor made{};
    std::vector<std::string> choices;
    bool hasChoices = false;
    std::map<std::int32_t, std::int32_t> attributes;
    HxControlValue value{};
    std::string text;
};

struct FakePanel {
    std::string title;
    std::map<std::int32_t, std::int32_t> attributes{{HXPA_WIDTH, 300}, {HXPA_HEIGHT, 200}};
    std::vector<std::unique_ptr<FakeControl>> controls;
    HxPanelDraw draw = nullptr;
    void* user = nullptr;
    bool open = false;

    /// "x,y" of a control.
    [[nodiscard]] std::string place(std::size_t control) const;
};

/// The screen is 1000 by 800. A label is 10 pixels wide for each character; the host puts controls at (5, 20
/// n) and makes them 100 by 10.
class FakePanels {
public:
    FakePanels();
    ~FakePanels();
    FakePanels(const FakePanels&) = delete;
    FakePanels& operator=(const FakePanels&) = delete;

    PanelServices services;                          ///< a test may take operations out
    bool refuses = false;                            ///< createPanel gives nothing
    std::function<std::int32_t(FakePanel&)> answer;  ///< what the user does; empty: cancels

    std::vector<std::string>
        log;  ///< "create", "open", "destroy", each with the title; "redraw", "line x y width"
    std::vector<std::unique_ptr<FakePanel>> panels;

    [[nodiscard]] FakePanel& panel() { return *panels.back(); }
};

}  // namespace kestrel::test
