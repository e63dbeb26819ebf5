#include "platform/registry.h"

#include "platform/environment.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace kestrel::platform {

namespace fs = std::filesystem;

class RegistryStore : public testing::Test {
protected:
    void SetUp() override {
        root_ = fs::temp_directory_path() / ("kestrel_registry_" + std::to_string(processId()));
        database_ = (root_ / "deep" / "registry.db").string();
    }
    void TearDown() override { fs::remove_all(root_); }

    fs::path root_;
    std::string database_;
};

constexpr Hive kUser = Hive::CurrentUser;
constexpr Hive kMachine = Hive::LocalMachine;

TEST_F(RegistryStore, ValuesLiveInKeysAndOutliveTheProcess) {
    {
        Registry registry(database_);
        EXPECT_FALSE(registry.setValue(kUser, "Software\\Tool", "a", "1"));  // no such key yet
        EXPECT_TRUE(registry.createKey(kUser, "Software\\Tool"));
        EXPECT_TRUE(registry.createKey(kUser, "SOFTWARE\\tool"));
        EXPECT_TRUE(registry.keyExists(kUser, "Software"));  // came along
        EXPECT_FALSE(registry.keyExists(kMachine, "Software"));
        EXPECT_EQ(registry.value(kUser, "Software\\Tool", ""), std::nullopt);
        EXPECT_TRUE(registry.setValue(kUser, "Software\\Tool", "Name", "first"));
        EXPECT_TRUE(registry.setValue(kUser, "software\\tool", "NAME", "it's \xe9; \"x\"\n"));
        EXPECT_TRUE(registry.setValue(kUser, "Software\\Tool", "", "unnamed"));
        EXPECT_TRUE(registry.setValue(kUser, "Software\\Tool", "empty", ""));
    }
    Registry registry(database_);
    EXPECT_EQ(registry.value(kUser, "Software\\Tool", "name"), "it's \xe9; \"x\"\n");
    EXPECT_EQ(registry.value(kUser, "Software\\Tool", ""), "unnamed");
    EXPECT_EQ(registry.value(kUser, "Software\\Tool", "empty"), "");
    EXPECT_EQ(registry.value(kUser, "Software\\Tool", "none"), std::nullopt);
    EXPECT_EQ(registry.value(kMachine, "Software\\Tool", "Name"), std::nullopt);
    EXPECT_EQ(registry.value(kUser, "Software", "Name"), std::nullopt);
}

TEST_F(RegistryStore, ProcessesThatStoreAtOnceLoseNothing) {
    constexpr int kProcesses = 4;
    constexpr int kValues = 25;
    Registry shared(database_);
    ASSERT_TRUE(shared.createKey(kUser, "before the fork"));  // children must not use this connection
    for (int p = 0; p < kProcesses; ++p) {
        if (fork() != 0) continue;
        bool ok = shared.createKey(kUser, "Many");
        for (int i = 0; i < kValues; ++i)
            ok = ok && shared.setValue(kUser, "Many", std::to_string(p) + "." + std::to_string(i),
                                       std::to_string(i));
        _exit(ok ? 0 : 1);
    }
    for (int p = 0; p < kProcesses; ++p) {
        int status = -1;
        ASSERT_GT(wait(&status), 0);
        EXPECT_EQ(status, 0);
    }
    for (int p = 0; p < kProcesses; ++p)
        for (int i = 0; i < kValues; ++i)
            EXPECT_EQ(shared.value(kUser, "Many", std::to_string(p) + "." + std::to_string(i)),
                      std::to_string(i));
}

TEST_F(RegistryStore, AStoreThatCannotBeUsedFailsCleanly) {
    fs::create_directories(root_);
    const fs::path garbage = root_ / "garbage.db";
    std::ofstream(garbage) << std::string(5000, 'x');
    for (const std::string& path : {std::string(), root_.string(), garbage.string(),
                                    (garbage / "below.db").string(), std::string("/proc/none/registry.db")}) {
        Registry registry(path);
        EXPECT_FALSE(registry.createKey(kUser, "Key")) << path;
        EXPECT_FALSE(registry.keyExists(kUser, "Key")) << path;
        EXPECT_FALSE(registry.setValue(kUser, "Key", "a", "1")) << path;
        EXPECT_EQ(registry.value(kUser, "Key", "a"), std::nullopt) << path;
    }
}

TEST_F(RegistryStore, TheUsersStoreFollowsTheDataDirectory) {
    setEnvironment("XDG_DATA_HOME", root_.string());
    EXPECT_TRUE(Registry().createKey(kUser, "Key"));
    EXPECT_TRUE(fs::exists(root_ / "kestrel" / "registry.db"));
}

}  // namespace kestrel::platform
