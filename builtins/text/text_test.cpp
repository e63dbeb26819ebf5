#include "engine/operations/text.h"

#include "builtins/test_call.h"
#include "engine/operations/storage.h"
#include "platform/paths.h"
#include "tests/temporary_folder.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace kestrel::test {

class TextTest : public BuiltinTest {};

TEST_F(TextTest, joinsAndFormats) {
    const ValueCell file = fileNamed("\\a.txt");
    expectRows({
        {"string", {}, "''"},
        {"string", {N(1), N(2.5), V(1, 2, 3), I(-7.9), file}, "'12.51 2 3-7(FILEOBJ)\"\\a.txt\"'"},
        {"string", {S("a"), nil(), S("b"), nil()}, "'aabb'"},  // a Nil repeats the piece before it
        {"string", {nil()}, "''"},
        {"append", {S("x"), I(2.9)}, "'x 2'"},
        {"append", {S("x"), I(2147483648.0)}, "'x -2147483648'"},
        {"string", {I(4294967297.5), N(4294967297.5)}, "'14.29497e+09'"},
    });
    EXPECT_TRUE(shown.empty());
    EXPECT_EQ(call("string", {S("a"), A(makeElements({N(1)})), S("b")}), "'aab'");
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].line2, "Line 1, invalid argument 2 type to string()");
    EXPECT_EQ(shown[0].kind, MessageKind::Warning);
}

TEST_F(TextTest, digitsAndWidths) {
    expectRows({
        {"hex", {I(255)}, "'0xff'"},
        {"hex", {N(4294967296.0 + 10)}, "'0xa'"},  // 32 bits
        {"hex", {I(255), I(4)}, "'0xff'"},
        {"hex", {I(255), I(-4), S("True")}, "'0xff  '"},  // "%0-4x"
        {"hex", {I(255), N(-1.5), S("TRUE")}, "'0xff'"},
        {"hex", {I(255), I(0), I(1)}, "'0xff'"},
        {"hex", {I(255), I(4), S("tRUE")}, "'0xff'"},
        {"hex", {I(255), N(1e300), I(0)}, "'0xff'"},
        {"octal", {I(0), I(3), I(1)}, "'\\000'"},
        {"octal", {I(-1)}, "'\\37777777777'"},
    });
    for (const double width : {1e300, -1e300, 4294967300.0}) {
        shown.clear();
        EXPECT_EQ(call("octal", {I(8), N(width), I(1)}), "nil");
        ASSERT_EQ(shown.size(), 1u);
        EXPECT_EQ(shown[0].line2, "Line 1, memory exhausted!  Cannot continue!");
    }
}

TEST_F(TextTest, cuts) {
    expectRows({
        {"parse", {S(","), S(",a b,")}, "'a b' return 1"},
        {"parse", {S(""), S("a,b")}, "'a,b' return 1"},
        {"split", {S("/a.b/c d/x.tar.gz")}, "nil '\\a.b\\c d\\' 'x.tar' '.gz' return 4"},
        {"split", {S("z:file.")}, "'z:' nil 'file' '.' return 4"},
        {"split", {S("a.b/")}, "nil 'a.b\\' nil nil return 4"},
        {"strleft", {S("abc"), N(2.9)}, "'ab'"},
        {"strleft", {S("abc"), I(-1)}, "nil"},
        {"strright", {S("abc"), I(5)}, "'abc'"},
        {"strright", {S("abc"), I(-1)}, "'abc'"},
        {"strsub", {S("abc"), I(3), I(9)}, "'c'"},
        {"strsub", {S("abc"), I(4), I(1)}, "'abc'"},  // all of it, from beyond its end
        {"strsub", {S("abc"), I(0), I(2)}, "'ab'"},
        {"strsub", {S("abc"), I(-2), I(1)}, "'abc'"},
        {"strsub", {S("abc"), I(2), I(-1)}, "'bc'"},
        {"strupper", {S("aZz{`\xe4 9")}, "'AZZ{`\xe4 9'"},
        {"strlower", {S("aZA[@\xc4")}, "'aza[@\xc4'"},
    });
}

TEST_F(TextTest, everyArgumentErrorReportsAndYieldsOneNil) {
    const std::int64_t sizes[] = {2, 2};
    Variable names[3];
    names[0].name = "grid";
    names[1].name = "list";
    names[2].name = "none";
    const ValueCell grid = ValueCell::ofArray(makeArray(ctx, sizes, Nil), &names[0]);
    const ValueCell list = ValueCell::ofArray(makeElements({N(1), N(2)}), &names[1]);
    const ValueCell none = ValueCell::ofArray(nullptr, &names[2]);
    RecordInstance record{ctx.pool};
    const ValueCell recordCell = ValueCell::ofObject(UserRecord, &record);
    const std::vector<Row> rows = {
        {"parse", {N(1), nil()}, "invalid argument 2 type to parse()"},
        {"parse", {N(1), S("a")}, "invalid argument 1 type to parse()"},
        {"split", {nil()}, "invalid argument 1 type to split()"},
        {"append", {S("a"), nil()}, "invalid argument 2 type to append()"},
        {"append", {nil(), list}, "invalid argument 1 type to append()"},
        {"append", {grid, N(1)}, "illegal operation on multi-dimensional array \"grid\" in append()"},
        {"append", {list, recordCell}, "invalid argument 2 type to append()"},
        {"append", {list, none}, "illegal assignment type: cannot append non-array none to array list[2]"},
        {"hex", {}, "invalid argument count to hex()"},
        {"octal", Cells(4, N(1)), "invalid argument count to octal()"},
        {"hex", {nil(), nil(), nil()}, "invalid argument 3 type to hex()"},
        {"octal", {nil(), S("4"), N(1)}, "invalid argument 2 type to octal()"},
        {"hex", {S("1")}, "invalid argument 1 type to hex()"},
        {"strleft", {N(1), S("a")}, "invalid argument 2 type to strleft()"},
        {"strright", {N(1), N(1)}, "invalid argument 1 type to strright()"},
        {"strsub", {nil(), nil(), nil()}, "invalid argument 3 type to strsub()"},
        {"strsub", {nil(), nil(), N(1)}, "invalid argument 2 type to strsub()"},
        {"strsub", {nil(), I(1), N(1)}, "invalid argument 1 type to strsub()"},
        {"strupper", {N(1)}, "invalid argument 1 type to strupper()"},
        {"strlower", {N(1)}, "invalid argument 1 type to strupper()"},  // meant
        {"getlocalestr", {nil(), nil()}, "invalid argument 2 type to getlocalestr()"},
        {"getlocalestr", {nil(), S("d")}, "invalid argument 1 type to getlocalestr()"},
    };
    expectErrors(rows);
}

TEST_F(TextTest, localizedTexts) {
    const TemporaryFolder directory;
    std::filesystem::create_directories(directory.path / "library");
    struct Components : ComponentLocator {
        bool locate(EngineContext&, std::string_view name, std::string& fullPath) override {
            asked = name;
            fullPath = path;
            return true;
        }
        std::string path, asked;
    } components;
    components.path = platform::systemPath((directory.path / "library" / "wave.loc").string());
    ctx.services.locator = &components;
    ctx.scriptFile = platform::systemPath((directory.path / "wave.v2.ks").string());
    const auto at = [this](double index) { return call("getlocalestr", {N(index), S("dflt")}); };

    EXPECT_EQ(at(1), "'dflt'");
    EXPECT_EQ(components.asked, "wave.loc");
    components.asked.clear();
    std::ofstream(directory.path / "library" / "wave.loc", std::ios::binary) << "found" << '\0';
    EXPECT_EQ(at(0.9), "'dflt'");
    EXPECT_EQ(components.asked, "");  // nobody looked
    EXPECT_EQ(at(1), "'found'");

    const std::string longText(40000, 'x');  // more than is read at once
    std::ofstream(directory.path / "wave.loc", std::ios::binary)
        << "eins" << '\0' << '\0' << longText << '\0' << "vier\n"
        << '\0' << "cut off";
    EXPECT_EQ(at(1.9), "'eins'");
    EXPECT_EQ(at(2), "''");
    EXPECT_EQ(at(3), "'" + longText + "'");
    EXPECT_EQ(at(4), "'vier\n'");
    EXPECT_EQ(at(5), "'dflt'");
    EXPECT_EQ(at(1e300), "'dflt'");
}

}  // namespace kestrel::test
