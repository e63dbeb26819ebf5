#include "builtins/test_call.h"
#include "engine/operations/text.h"
#include "tests/temporary_folder.h"

#include <filesystem>

namespace kestrel::test {

using platform::Hive;

constexpr const char* kMaster = "Software\\Mirtex\\Kestrel";
constexpr const char* kScriptKey = "Software\\Mirtex\\Kestrel\\2.0\\KS-PT\\C__my_dir_a_ks";

class StoreTest : public BuiltinTest {
protected:
    StoreTest() {
        ctx.services.store = &store;
        ctx.scriptFile = "C:\\my dir\\a.ks";
    }

    const TemporaryFolder folder;
    platform::Registry registry{(folder.path / "registry.db").string()};
    PersistentStore store{registry};
};

TEST_F(StoreTest, valuesComeBackTyped) {
    const ValueCell file = fileNamed("\\tmp\\f.txt");
    const struct {
        ValueCell value;
        const char* text;
        const char* recalled;
        const char* global;
    } rows[] = {
        {N(1.23456789), "dbl::1.23457", "1.23457", "'1.23457'"},
        {I(-4294967296.9), "int::-4294967296", "-4294967296i", "'-4294967296'"},
        {S("a::b 100%"), "str::a::b 100%", "'a::b 100%'", "'a::b 100%'"},
        {V(1, -2.5, 0.1), "vec::1 -2.5 0.1", "<1,-2.5,0.1000000015>", "'1 -2.5 0.1'"},  // single precision
        {nil(), "nil::", "nil", "nil"},  // an empty text counts as nothing stored
        {file, "fob::\\tmp\\f.txt", "'\\tmp\\f.txt'", nullptr},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(call("store", {S("Key"), row.value}), "");
        EXPECT_EQ(registry.value(Hive::CurrentUser, kScriptKey, "key"), row.text);
        EXPECT_EQ(call("recall", {S("key")}), row.recalled) << row.text;
        if (row.global == nullptr) continue;
        EXPECT_EQ(call("globalstore", {S("g"), row.value}), "");
        EXPECT_EQ(call("globalrecall", {S("g")}), row.global) << row.text;
    }
    EXPECT_TRUE(registry.keyExists(Hive::LocalMachine, "Software\\Mirtex\\Kestrel\\2.0"));
    EXPECT_FALSE(registry.keyExists(Hive::LocalMachine, "Software\\Mirtex\\Kestrel\\2.0\\KS-PT"));
}

TEST_F(StoreTest, scopesAreApart) {
    const ValueCell file = fileNamed("f");
    call("store", {S("k"), I(1)});
    call("globalstore", {S("k"), I(2)});
    call("globalstore", {S("file"), file});
    EXPECT_EQ(registry.value(Hive::CurrentUser, kMaster, "k"), "2");
    EXPECT_EQ(registry.value(Hive::CurrentUser, kScriptKey, "file"), "f");  // always the script's
    EXPECT_EQ(call("globalrecall", {S("file")}), "nil");
    ctx.scriptFile = "C:\\my dir\\b.ks";
    EXPECT_EQ(call("recall", {S("k")}), "nil");
    ctx.scriptFile = "C:\\MY DIR\\A.KS";
    EXPECT_EQ(call("recall", {S("k")}), "1i");

    EXPECT_EQ(store.read(kGlobalScope, "k", "none"), "2");  // the master scope comes first
    ASSERT_TRUE(store.write(kMasterScope, "k", "(none)"));
    ASSERT_TRUE(store.write(kGlobalScope, "k", "3"));
    EXPECT_EQ(store.read(kGlobalScope, "k", "none"), "3");
    EXPECT_EQ(store.read(kMasterScope, "missing", "none"), "none");
}

TEST_F(StoreTest, defaultsStandInForWhatWasNeverStored) {
    const ValueCell file = fileNamed("f.txt");
    const ValueCell mark = ValueCell::ofMark(ListMark);
    std::vector<Row> rows = {
        {"recall", {S("k")}, "nil"},
        {"recall", {S("k"), I(7)}, "7i"},
        {"recall", {S("k"), V(1, 2, 3)}, "<1,2,3>"},
        {"recall", {S("k"), S("text")}, "'text'"},
        {"recall", {S("k"), nil()}, "nil"},
        {"recall", {S("k"), file}, "'f.txt'"},
        {"recall", {S("k"), mark, N(1), S("b"), mark}, "@ 1 'b' @", 2},
        {"recall", {S("k"), N(1), S("b"), ValueCell::ofCount(2)}, "1 'b' return 2", 2},
    };
    expectRows(rows);
    call("store", {S("k"), N(5)});
    for (Row& row : rows) row.left = "5";
    expectRows(rows);
    EXPECT_EQ(ctx.pool.liveBlocks(), 0u);
}

TEST_F(StoreTest, recordsComeBackAsTheirMembers) {
    RecordInstance record{ctx.pool};
    for (const ValueCell& value : {N(0.5), I(3), S("name"), V(1, 2, 3), nil(), A(nullptr)}) {
        record.members.emplace_back();
        record.members.back().value = value;
    }
    call("store", {S("r"), ValueCell::ofObject(UserRecord, &record)});
    EXPECT_EQ(registry.value(Hive::CurrentUser, kScriptKey, "r"),
              "rec::dbl@@0.5##int@@3##str@@name##vec@@1 2 3##nil@@nil##nil@@nil##");
    EXPECT_EQ(call("recall", {S("r"), I(1)}), "@ 0.5 3i 'name' <1,2,3> nil nil @");

    const std::string large(490, 'x');  // leaves room for small fields only
    record.members[2].value = S(large.c_str());
    call("store", {S("r"), ValueCell::ofObject(UserRecord, &record)});
    EXPECT_EQ(call("recall", {S("r")}), "@ 0.5 3i <1,2,3> nil nil @");

    for (const char* damaged : {"rec::", "rec::dbl", "rec::dbl@@1", "rec::?@@1##", "rec::##@@", "rec::@@"}) {
        ASSERT_TRUE(store.write(ctx.scriptFile, "r", damaged));
        EXPECT_EQ(call("recall", {S("r")}).back(), '@') << damaged;
    }
}

TEST_F(StoreTest, foreignAndLongTexts) {
    ASSERT_TRUE(store.write(ctx.scriptFile, "k", "oops"));
    EXPECT_EQ(call("recall", {S("k")}), "nil");
    EXPECT_EQ(shown.back().line2, "Line 1, illegal data type found in storage area: oops");
    call("store", {S("k"), S(std::string(600, 'x').c_str())});
    EXPECT_EQ(call("recall", {S("k")}), "'" + std::string(506, 'x') + "'");  // 511 bytes with the type
}

TEST_F(StoreTest, aStoreThatFailsAbortsWritersAndHoldsNothing) {
    platform::Registry broken("/dev/null/registry.db");
    PersistentStore failing(broken);
    ctx.services.store = &failing;
    EXPECT_EQ(call("recall", {S("k"), I(7)}), "7i");
    EXPECT_FALSE(ctx.run.abort);
    EXPECT_EQ(call("store", {S("k"), I(7)}), "");
    EXPECT_TRUE(ctx.run.abort);
    EXPECT_EQ(shown.back().line2, "Line 1, cannot add Registry key");
}

}  // namespace kestrel::test
