#include "tests/host/fake_panels.h"

#include <gtest/gtest.h>

namespace kestrel::test {

namespace {

FakePanels* fake = nullptr;  // services are plain functions

FakePanel& panelOf(HxPanel panel) {
    return *static_cast<FakePanel*>(panel);
}

FakeControl& controlOf(HxControl control) {
    return *static_cast<FakeControl*>(control);
}

HxPanel createPanel(const char* title) {
    if (fake->refuses) return nullptr;
    fake->log.push_back(std::string("create ") + title);
    fake->panels.push_back(std::make_unique<FakePanel>());
    fake->panel().title = title;
    return fake->panels.back().get();
}

void destroyPanel(HxPanel panel) {
    EXPECT_FALSE(panelOf(panel).open) << "destroyed while it is shown";
    EXPECT_EQ(panelOf(panel).draw, nullptr) << "what it draws is not the script's any more";
    fake->log.push_back("destroy " + panelOf(panel).title);
    std::erase_if(fake->panels, [panel](const auto& known) { return known.get() == panel; });
}

std::int32_t openPanel(HxPanel handle, std::int32_t flags) {
    FakePanel& panel = panelOf(handle);
    EXPECT_EQ(flags, 3);
    EXPECT_FALSE(panel.open);
    fake->log.push_back("open " + panel.title);
    panel.open = true;
    if (panel.draw != nullptr) panel.draw(handle, panel.user);
    const std::int32_t result = fake->answer ? fake->answer(panel) : 0;
    panel.open = false;
    return result;
}

HxControl addControl(HxPanel handle, const char* className, const HxControlDescriptor* descriptor,
                     const char* label) {
    FakePanel& panel = panelOf(handle);
    auto control = std::make_unique<FakeControl>();
    control->className = className;
    control->label = label;
    control->made = *descriptor;
    control->hasChoices = descriptor->choices != nullptr;
    for (const char* const* choice = descriptor->choices; choice != nullptr && *choice != nullptr; ++choice)
        control->choices.emplace_back(*choice);
    control->attributes = {{HXCA_X, 5},
                           {HXCA_Y, 20 * static_cast<std::int32_t>(panel.controls.size())},
                           {HXCA_WIDTH, 100},
                           {HXCA_HEIGHT, 10},
                           {HXCA_LABEL_WIDTH, 10 * static_cast<std::int32_t>(control->label.size())}};
    panel.controls.push_back(std::move(control));
    return panel.controls.back().get();
}

void setValue(HxControl handle, const HxControlValue* value) {
    FakeControl& control = controlOf(handle);
    control.value = *value;
    control.text = value->text != nullptr ? value->text : "";
}

void getValue(HxControl handle, HxControlValue* value) {
    static std::string lent;
    EXPECT_EQ(value->type, HXCV_NONE);
    *value = controlOf(handle).value;
    lent = controlOf(handle).text;
    value->text = lent.c_str();
}

}  // namespace

FakePanels::FakePanels()
    : services{createPanel,
               destroyPanel,
               openPanel,
               [](HxPanel panel, std::int32_t which) { return panelOf(panel).attributes[which]; },
               [](HxPanel panel, std::int32_t which, std::int32_t value) {
                   panelOf(panel).attributes[which] = value;
               },
               [](HxPanel panel, HxPanelDraw draw, void* user) {
                   panelOf(panel).draw = draw;
                   panelOf(panel).user = user;
               },
               [](std::int32_t* width, std::int32_t* height) {
                   *width = 1000;
                   *height = 800;
               },
               addControl,
               [](HxControl control, std::int32_t which) { return controlOf(control).attributes[which]; },
               [](HxControl control, std::int32_t which, std::int32_t value) {
                   EXPECT_NE(which, HXCA_LABEL_WIDTH);
                   controlOf(control).attributes[which] = value;
               },
               [](HxControl) { fake->log.emplace_back("redraw"); },
               setValue,
               getValue,
               [](HxPanel, std::int32_t x, std::int32_t y, std::int32_t width) {
                   fake->log.push_back("line " + std::to_string(x) + " " + std::to_string(y) + " " +
                                       std::to_string(width));
               }} {
    fake = this;
}

FakePanels::~FakePanels() {
    fake = nullptr;
}

std::string FakePanel::place(std::size_t control) const {
    auto& at = controls.at(control)->attributes;
    return std::to_string(at[HXCA_X]) + "," + std::to_string(at[HXCA_Y]);
}

}  // namespace kestrel::test
