#include "preview/services/sample_members.h"

#include <gtest/gtest.h>

namespace kestrel::preview {

TEST(SampleMembers, CoverTheRecordWithoutGapsOrOverlaps) {
    std::size_t next = 0;
    for (const SampleMember& member : sampleMembers()) {
        EXPECT_EQ(member.offset, next) << member.name;
        next += static_cast<std::size_t>(member.count) * (member.form == SampleMember::Form::Real ? 8 : 4);
    }
    EXPECT_EQ(next, offsetof(ShadingSample, illuminate));
}

TEST(SampleMembers, AreSetFromText) {
    ShadingSample sample{};
    std::string error;
    for (const char* text : {"color=0.25,-1e2,+3", "sx=-7", "objID=4294967295", "wXfrm=1,2,3,4,5,6,7,8,9"}) {
        EXPECT_TRUE(setSampleMember(sample, text, error)) << text << ": " << error;
    }
    EXPECT_EQ(sample.color[0], 0.25);
    EXPECT_EQ(sample.color[1], -100.0);
    EXPECT_EQ(sample.color[2], 3.0);
    EXPECT_EQ(sample.sx, -7);
    EXPECT_EQ(sample.objID, 4294967295U);
    EXPECT_EQ(sample.wXfrm[8], 9.0);
}

TEST(SampleMembers, WrongTextIsRefusedAndChangesNothing) {
    for (const char* text :
         {"", "color", "colour=1,2,3", "color=1,2", "color=1,2,3,4", "color=1,,3", "diffuse=", "diffuse=0.5x",
          "diffuse=nan", "diffuse=1e999", "sx=0.5", "sx=3000000000", "objID=-1", "=1", "color=1,2,3,"}) {
        ShadingSample sample{};
        std::string error;
        EXPECT_FALSE(setSampleMember(sample, text, error)) << text;
        EXPECT_FALSE(error.empty());
        for (const SampleMember& member : sampleMembers()) EXPECT_EQ(member.get(sample, 0), 0.0) << text;
    }
}

}  // namespace kestrel::preview
