// The descriptor, the two servers, and which services are looked up and released when.
#include "tests/host/fake_host.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <tuple>

namespace kestrel::test {

const Lines kFirstLookups = {"File Request 0",       "Info Messages 1", "Directory Info 0",
                             "System Information 0", "HX Item Info 1",  "HX Object Info 1",
                             "HX Bone Info 1",       "HX Light Info 1", "HX Camera Info 1",
                             "HX Scene Info 1",      "HX Image List 1"};

TEST(Activation, TheModuleExportsItsDescriptorAndNothingElse) {
    const std::unique_ptr<FILE, int (*)(FILE*)> nm(popen("nm -D --defined-only " KESTREL_MODULE, "r"),
                                                   pclose);
    ASSERT_NE(nm, nullptr);
    std::string output(4096, '\0');
    output.resize(std::fread(output.data(), 1, output.size(), nm.get()));
    // Initialised data, or made when the module is loaded, as the compiler likes.
    EXPECT_TRUE(output.ends_with(" D _mod_descrip\n") || output.ends_with(" B _mod_descrip\n")) << output;
    EXPECT_EQ(output.find('\n'), output.size() - 1) << output;
}

TEST(Activation, TheDescriptorReadsAsDocumented) {
    FakeHost host;
    const ModuleDescriptor& descriptor = host.module().descriptor;
    EXPECT_EQ(descriptor.sync, 0x04121994u);
    EXPECT_EQ(descriptor.version, 2u);
    EXPECT_EQ(descriptor.machine, 0x300u);
    EXPECT_EQ(descriptor.startup(), 4);
    descriptor.shutdown();
    const ServerRecord* servers = descriptor.servers;
    EXPECT_STREQ(servers[0].className, "ShaderHandler");
    EXPECT_STREQ(servers[0].serverName, "Kestrel/PT");
    EXPECT_STREQ(servers[1].className, "ShaderInterface");
    EXPECT_STREQ(servers[1].serverName, "Kestrel/PT");
    EXPECT_TRUE(servers[2].className == nullptr && servers[2].serverName == nullptr &&
                servers[2].activate == nullptr);
    EXPECT_EQ(host.module().magic, KESTREL_EXTENSION_MAGIC);
}

TEST(Activation, OnlyInterfaceVersionThreeIsAccepted) {
    FakeHost host;
    for (const std::int32_t version : {2, 4, -1}) {
        EXPECT_EQ(host.activate(version), HXM_BAD_VERSION);
        EXPECT_EQ(host.handler.create, nullptr);
        EXPECT_EQ(host.lookups, Lines{});
        EXPECT_EQ(host.edit(nullptr, version), HXM_BAD_VERSION);
    }
}

TEST(Activation, TheServicesAreLookedUpOnceAndReleasedOnce) {
    FakeHost host;
    ASSERT_EQ(host.activate(), HXM_OK);
    EXPECT_EQ(host.lookups, kFirstLookups);
    const auto* callbacks = reinterpret_cast<void* const*>(&host.handler);
    for (std::size_t i = 0; i < sizeof host.handler / sizeof(void*); ++i)
        EXPECT_NE(callbacks[i], nullptr) << i;

    host.lookups.clear();
    const HxInstance a = host.create();
    const HxInstance b = host.create();
    EXPECT_EQ(host.lookups, Lines{});
    host.destroy(a);
    EXPECT_EQ(host.lookups, Lines{});
    host.destroy(b);
    EXPECT_EQ(host.lookups, (Lines{"File Request 2", "Info Messages 2", "HX Item Info 2", "HX Object Info 2",
                                   "HX Bone Info 2", "HX Light Info 2", "HX Camera Info 2", "HX Scene Info 2",
                                   "HX Image List 2"}));
    // The released services stay in use. As they are not looked up again, nothing is released again.
    host.lookups.clear();
    ASSERT_EQ(host.activate(), HXM_OK);
    host.destroy(host.create());
    EXPECT_EQ(host.lookups, Lines{});
}

TEST(Activation, AMissingServiceIsToldAndLookedUpAgainNextTime) {
    using Case = std::tuple<const char*, std::uintptr_t, Lines, std::int32_t>;
    const Lines badScene = {"error: Bad animation global detected!"};
    std::vector<Case> cases = {
        {HX_SERVICE_MESSAGES, 0, {}, HXM_MISSING_SERVICE},
        {HX_SERVICE_FILE_REQUEST, 0, {"error: Bad global!"}, HXM_MISSING_SERVICE},
        {HX_SERVICE_FILE_REQUEST, HX_SYSTEM_MODELER, {"error: Bad global!"}, HXM_MISSING_SERVICE},
        {HX_SERVICE_FILE_REQUEST, HX_SYSTEM_RENDER_NODE, {}, HXM_OK},
        {HX_SERVICE_DIRECTORY_INFO, 0, {}, HXM_OK}};
    for (const char* service :
         {HX_SERVICE_ITEM_INFO, HX_SERVICE_OBJECT_INFO, HX_SERVICE_BONE_INFO, HX_SERVICE_LIGHT_INFO,
          HX_SERVICE_CAMERA_INFO, HX_SERVICE_SCENE_INFO, HX_SERVICE_IMAGE_LIST})
        cases.emplace_back(service, 0, badScene, HXM_MISSING_SERVICE);
    for (const auto& [service, systemInfo, messages, result] : cases) {
        SCOPED_TRACE(service);
        FakeHost host;
        host.missing = {service};
        host.systemInfo = systemInfo;
        EXPECT_EQ(host.activate(), result);
        EXPECT_EQ(host.shown(), messages);
        if (result == HXM_OK) continue;
        EXPECT_EQ(host.handler.create, nullptr);
        host.missing.clear();
        host.lookups.clear();
        EXPECT_EQ(host.activate(), HXM_OK);
        EXPECT_EQ(host.lookups, kFirstLookups);
    }
}

TEST(Activation, ARenderNodeWithoutADialogCancelsRequests) {
    FakeHost host;
    host.missing = {HX_SERVICE_FILE_REQUEST};
    host.systemInfo = HX_SYSTEM_RENDER_NODE;
    const HxInstance instance = host.create();
    EXPECT_EQ(host.edit(instance), HXM_OK);
    EXPECT_STREQ(host.handler.describe(instance), "Kestrel/PT");
}

TEST(Activation, ScriptsSeeTheProgramAndTheActivationTheyRunUnder) {
    for (const auto& [word, shown] : {std::pair<std::uintptr_t, const char*>{0x00000001, "1"},
                                      {HX_SYSTEM_MODELER | 0x2000000, "2"},
                                      {HX_SYSTEM_RENDER_NODE, "3"}}) {
        FakeHost host;
        host.systemInfo = word;
        ASSERT_EQ(host.activate(), HXM_OK);
        // The instance's activation counts, not the one in which its script is loaded.
        const HxInstance instance = host.create();
        ASSERT_EQ(host.activate(), HXM_OK);
        host.load(instance, host.write("a.ks", "create { info(runningUnder(), INSTANCE); }"));
        ASSERT_EQ(host.messages.size(), 1u);
        EXPECT_TRUE(host.messages[0].ends_with(std::string(shown) + "pt2")) << host.messages[0];
    }
}

}  // namespace kestrel::test
