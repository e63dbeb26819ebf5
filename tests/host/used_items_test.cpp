// effectedby() and usedItems(): what is found, in which order, and the walk that only the watch ends.
#include "tests/host/fake_host.h"

#include <utility>

namespace kestrel::test {
namespace {

using Found = std::vector<HostItemID>;

class UsedItems : public testing::Test {
protected:
    UsedItems() { host.scene.furnish(); }

    Found used(HxInstance instance) {
        Found found;
        const HostItemID* item = host.handler.usedItems(instance);
        if (item == nullptr) return {0};
        for (; *item != 0; ++item) found.push_back(*item);
        return found;
    }
    Found usedBy(const std::string& names) {
        const HxInstance instance = host.createWith("create { effectedby(" + names + "); }");
        const Found found = used(instance);
        host.destroy(instance);
        return found;
    }

    FakeHost host;
};

TEST_F(UsedItems, AreWhatTheScriptNames) {
    EXPECT_EQ(usedBy("\"Body\", \"Lamp\""), (Found{10, 20}));
    EXPECT_EQ(usedBy("\"Spot\", \"Body\", \"Camera\", \"Lamp\""), (Found{10, 20, 21, 40}));
    EXPECT_EQ(usedBy("\"Knee\", \"Hip\""), (Found{30, 31}));
    EXPECT_EQ(usedBy("\"Body\", \"body\", \"Eye\""), (Found{10}));
    host.scene.content[10].firstBone = 0;
    EXPECT_EQ(usedBy("\"nobody\""), Found{});
    host.scene.first[HX_CAMERA] = 0;
    EXPECT_EQ(usedBy("\"Camera\""), Found{});
    EXPECT_EQ(host.said(), Lines{});
}

TEST_F(UsedItems, AHostsListsThatLeadInCirclesEnd) {
    host.scene.content[10].firstBone = 0;
    host.scene.content[20].next = 20;
    EXPECT_EQ(usedBy("\"Body\""), Found{0}) << "nothing is known of such a scene";
    host.createWith("create { i = getfirstitem(\"nobody\"); info(i); }");
    EXPECT_EQ(host.said(),
              (Lines{"Line 1, invalid object name 'nobody' provided to getfirstitem()", "(nil)"}));
}

TEST_F(UsedItems, GoWithAnInstanceThatIsDestroyedMeanwhile) {
    const std::string script = "create { effectedby(\"Body\"); }\ndestroy { info(\"destroyed\"); }";
    HxInstance instance = host.createWith(script);
    host.scene.onQuestion = [&] {
        if (instance != nullptr) host.destroy(std::exchange(instance, nullptr));
    };
    EXPECT_EQ(host.handler.usedItems(instance), nullptr);
    EXPECT_EQ(host.said(), Lines{"destroyed"});
    // With a copy the script lives on, and with it the items.
    instance = host.createWith(script);
    const HxInstance copy = host.create();
    host.handler.copy(instance, copy);
    EXPECT_EQ(used(instance), Found{10});
}

TEST_F(UsedItems, TheLastDeclarationCounts) {
    const HxInstance instance = host.createWith(
        "create { effectedby(\"Body\", \"Lamp\"); }\n"
        "init { v = 5; v = effectedby(); info(v);\n v = effectedby(\"Spot\", 1, nil); info(v); }\n"
        "cleanup { effectedby(\"Sp\" + \"ot\", \"Body\"); }");
    const auto names = [&] {
        Lines texts;
        for (const char* const* name = host.module().effectedBy(instance); *name != nullptr; ++name)
            texts.emplace_back(*name);
        return texts;
    };
    host.handler.init(instance);
    EXPECT_EQ(host.said(), (Lines{"Line 2, invalid argument count to effectedby()", "(nil)",
                                  "Line 3, invalid argument 2 type to effectedby()", "(nil)"}));
    EXPECT_EQ(names(), (Lines{"Body", "Lamp"}));
    EXPECT_EQ(used(instance), (Found{10, 20}));
    const HxInstance copy = host.create();
    host.handler.copy(instance, copy);
    host.handler.cleanup(copy);
    EXPECT_EQ(names(), (Lines{"Spot", "Body"}));
    EXPECT_EQ(used(instance), (Found{10, 21}));
    host.load(instance, host.write("other.ks", ""));
    EXPECT_EQ(host.module().effectedBy(copy), nullptr);
    EXPECT_EQ(used(copy), Found{0});
    EXPECT_EQ(host.module().effectedBy(host.create()), nullptr);
}

TEST_F(UsedItems, ABoneThatIsNotNamedIsLookedAtForEver) {
    const HxInstance instance = host.createWith("create { effectedby(\"Knee\", \"Lamp\"); }");
    host.scene.asked();
    int questions = 0;
    host.scene.onQuestion = [&] {
        if (++questions == 100'000) host.module().watch->requested = 1;
    };
    EXPECT_EQ(host.handler.usedItems(instance), nullptr);
    EXPECT_GE(questions, 100'000);
    EXPECT_EQ(host.scene.asked().back(), "name 30");
    host.module().watch->requested = 0;
    // So does a host whose list leads in a circle end it.
    host.scene.onQuestion = nullptr;
    host.scene.recording = false;
    host.scene.content[10] = {.name = "Knee", .next = 10};
    EXPECT_EQ(host.handler.usedItems(instance), nullptr);
    // Without the operations there is nothing to walk.
    host.scene.items.name = nullptr;
    EXPECT_EQ(host.handler.usedItems(instance), nullptr);
}

}  // namespace
}  // namespace kestrel::test
