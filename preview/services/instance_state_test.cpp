// States and panels as the module meets them.
#include "preview/services/instance_state.h"

#include "preview/services/panel_services.h"

#include <gtest/gtest.h>

#include <cstring>

namespace kestrel::preview {

namespace {

std::string binary(std::string_view path, std::string_view settings) {
    const auto length = static_cast<std::uint32_t>(path.size() + 1);
    std::string bytes(sizeof length, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes + std::string(path) + '\0' + std::string(settings);
}

TEST(InstanceState, IsRecognisedByItsFirstBytesAndCanNameAnotherScript) {
    const std::optional<InstanceState> text = stateFromBytes("Script A.KS\n1.5\n\nend");
    ASSERT_TRUE(text);
    EXPECT_EQ(text->mode, HX_STATE_TEXT);
    EXPECT_EQ(withScript(*text, "\\b\\c.ks").bytes, "Script \\b\\c.ks\n1.5\n\nend");
    EXPECT_EQ(withScript({HX_STATE_TEXT, "Script A.KS"}, "\\b").bytes, "Script \\b\n");

    const std::optional<InstanceState> packed = stateFromBytes(binary("A.KS", std::string("\0\n\x3f", 3)));
    ASSERT_TRUE(packed);
    EXPECT_EQ(packed->mode, HX_STATE_BINARY);
    EXPECT_EQ(withScript(*packed, "\\bc.ks").bytes, binary("\\bc.ks", std::string("\0\n\x3f", 3)));

    for (const std::string& bad : {std::string(), std::string("Scr"), std::string("PK\3\4 and more"),
                                   binary("A.KS", "").substr(0, 7), std::string(8, '\0')})
        EXPECT_FALSE(stateFromBytes(bad)) << bad;
}

TEST(InstanceState, TextIsReadInLinesAndALongLineGoesOnWithTheNextRead) {
    const InstanceState state{HX_STATE_TEXT, "Script x\n\nabcdef\nlast"};
    const StateReader reader(state);
    const LoadState& load = *reader.loadState();
    char buffer[16];
    std::string seen;
    std::int32_t count = 0;
    while ((count = load.read(load.handle, buffer, seen.empty() ? 16 : 5)) >= 0)
        seen += std::to_string(count) + buffer + "|";
    EXPECT_EQ(seen, "8Script x|0|4abcd|2ef|4last|");
    EXPECT_LT(load.read(load.handle, buffer, 5), 0) << "the end stays the end";
}

TEST(InstanceState, WhatIsWrittenComesBackAsItWas) {
    for (const std::int32_t mode : {HX_STATE_TEXT, HX_STATE_BINARY}) {
        StateWriter writer(mode);
        const SaveState& save = *writer.saveState();
        save.write(save.handle, "ab", 2);
        save.write(save.handle, "", 0);
        save.write(save.handle, "c", -4);
        EXPECT_FALSE(writer.overflowed());
        EXPECT_EQ(writer.take().bytes, mode == HX_STATE_TEXT ? "ab\n\n\n" : "ab");
    }
}

class Face final : public PanelFace {
public:
    bool answer(Panel& panel) override {
        seen = &panel;
        std::get<double>(panel.controls[1]->value) = 2.5;
        return true;
    }
    Panel* seen = nullptr;
};

void drawOneLine(HxPanel panel, void* user) {
    static_cast<PanelServices*>(user)->drawLine(panel, 3, 4, 50);
}

TEST(PanelService, PanelsAreBuiltAnsweredAndReadBack) {
    PanelDesk desk;
    EXPECT_EQ(panelServices(desk), nullptr) << "nobody answers";
    Face face;
    desk.setFace(&face);
    PanelServices& service = *panelServices(desk);
    const HxPanel panel = service.createPanel("Wood");
    const char* const choices[] = {"Oak", "Ash", nullptr};
    HxControlDescriptor descriptor{};
    descriptor.choices = choices;
    const HxControl kind = service.addControl(panel, HX_CONTROL_CHOICE, &descriptor, "Kind");
    const HxControl rings = service.addControl(panel, HX_CONTROL_FLOAT, &descriptor, "Number of rings");
    EXPECT_EQ(service.addControl(panel, "UnknownControl", &descriptor, "x"), nullptr);
    EXPECT_GT(service.getControl(rings, HXCA_LABEL_WIDTH), service.getControl(kind, HXCA_LABEL_WIDTH));
    EXPECT_GE(service.getControl(rings, HXCA_Y),
              service.getControl(kind, HXCA_Y) + service.getControl(kind, HXCA_HEIGHT));

    HxControlValue value{};
    value.type = HXCV_INTEGER;
    value.integer = 2;
    service.setValue(kind, &value);
    service.setValue(rings, &value);  // of another type: not taken
    service.setPanelDraw(panel, drawOneLine, &service);
    EXPECT_EQ(service.openPanel(panel, HXPF_MODAL | HXPF_CANCEL), 1);
    EXPECT_EQ(face.seen->title, "Wood");
    ASSERT_EQ(face.seen->lines.size(), 1U);
    EXPECT_EQ(face.seen->lines.front().width, 50);
    HxControlValue read{};
    service.getValue(kind, &read);
    EXPECT_EQ(read.integer, 2);
    service.getValue(rings, &read);
    EXPECT_EQ(read.vector[0], 2.5);
    service.destroyPanel(panel);
}

}  // namespace

}  // namespace kestrel::preview
