// Finding the files that scripts are made of, and the settings that remember where they are.
#include "tests/host/fake_host.h"

#include <algorithm>
#include <filesystem>

namespace kestrel::test {

const char* const kUser = "@insert \"part.ks\"\ncreate { info(part()); }";

/// The script's inserts live in a directory of their own.
class Locate : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directory("lib");
        host.write("lib/part.ks", "part { return \"process of the part\"; }");
        user = host.write("user.ks", kUser);
        instance = host.create();
    }

    FakeHost host;
    std::string user;
    HxInstance instance = nullptr;
};

TEST_F(Locate, TheUserFindsAComponentOnceAndForAll) {
    host.dialogResult = 1;
    host.chosenFile = host.directory() + "\\lib\\part.ks";
    host.load(instance, user);
    EXPECT_EQ(host.dialogs, Lines{"Locate script component... / part.ks /  / 255"});
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_TRUE(host.shown()[0].ends_with("process of the part"));
    // The directory is on the library path now, in this process and in the user's store.
    host.dialogResult = 0;
    host.load(instance, user);
    EXPECT_EQ(host.dialogs.size(), 1u);
    EXPECT_EQ(host.shown().size(), 1u);
}

TEST_F(Locate, OnlyTheVeryFileThatWasAskedForWillDo) {
    host.dialogResult = 1;
    host.write("lib/Part.KS", "part { return 1; }");
    for (const char* chosen : {"\\lib\\Part.KS", "\\user.ks", "\\nowhere\\part.ks"}) {
        host.chosenFile = host.directory() + chosen;
        host.load(instance, user);
        const Lines shown = host.shown();
        EXPECT_TRUE(std::any_of(shown.begin(), shown.end(), [](const std::string& line) {
            return line.find("Cannot locate insert file") != std::string::npos;
        })) << chosen;
    }
    host.dialogResult = 0;
    host.load(instance, user);
    EXPECT_EQ(host.dialogs.size(), 4u);  // nothing was remembered
}

}  // namespace kestrel::test
