// States as the module meets them.
#include "preview/services/instance_state.h"

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

}  // namespace

}  // namespace kestrel::preview
