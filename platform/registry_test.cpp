#include "platform/registry.h"

#include "platform/environment.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>

namespace kestrel::platform {

namespace fs = std::filesystem;

class RegistryStore : public testing::Test {
protected:
    const test::TemporaryFolder folder_;
    const fs::path& root_ = folder_.path;
    const std::string database_ = (root_ / "deep" / "registry.db").string();
};

constexpr Hive kUser = Hive::CurrentUser;
constexpr Hive kMachine = Hive::LocalMachine;

TEST_F(RegistryStore, ValuesLiveInKeysAndOutliveTheProcess) {
    {
        Registry registry(database_);
        EXPECT_FALSE(registry.setValue(kUser, "Software\\Tool", "a", "1"));  // no such key yet
        EXPECT_TRUE(registry.createKey(kUser, "Software\\Tool"));
        EXPECT_TRUE(registry.keyExists(kUser, "Software"));  // came along
        EXPECT_FALSE(registry.keyExists(kMachine, "Software"));
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
}

TEST_F(RegistryStore, ProcessesThatStoreAtOnceLoseNothing) {
    constexpr int kProcesses = 4;
    constexpr int kValues = 10;
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

TEST_F(RegistryStore, AStoreThatStaysLockedIsGivenUp) {
    Registry registry(database_);
    ASSERT_TRUE(registry.createKey(kUser, "Key"));
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(database_.c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 10; ++i) {
        EXPECT_FALSE(registry.keyExists(kUser, "Key"));
        EXPECT_FALSE(registry.setValue(kUser, "Key", "a", "1"));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20))
        << "waited for once, not for each";
    Registry cancelled(database_);
    const SharedFlag flag{1};
    cancelled.setCancel(&flag);
    for (int i = 0; i < 10; ++i) EXPECT_FALSE(cancelled.keyExists(kUser, "Key"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    ASSERT_EQ(sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(other);
    EXPECT_TRUE(Registry(database_).keyExists(kUser, "Key"));
}

TEST_F(RegistryStore, NobodyElseLooksIntoIt) {
    const mode_t mask = umask(0);
    setEnvironment("XDG_DATA_HOME", root_.string());
    EXPECT_TRUE(Registry().createKey(kUser, "Key"));
    umask(mask);
    EXPECT_EQ(fs::status(root_ / "kestrel").permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(root_ / "kestrel" / "registry.db").permissions(),
              fs::perms::owner_read | fs::perms::owner_write);
}

}  // namespace kestrel::platform
