#include "builtins/files/test_file.h"
#include "engine/operations/text.h"

#include <cerrno>

namespace kestrel::test {

TEST_F(FileTest, linesAreReadInAnyOrder) {
    openWith("a\r\nb\rc\nrest", "r");
    expectCalls("linecount 3i; line 1i; read 'a'; read 'b'; offset 5i; read 'c'; line 4i; eof 0i");
    expectCalls("read nil; eof 1i");  // what follows the last line end is no line
    expectCalls("read(2i) 'b'; eof 0i; line(2.9) ; offset 3i; read(1) 'a'; read(3i) 'c'");
    expectCalls("rewind 0i; line 1i; parse('b') 'a' return 1; read(2i) 'b'");
}

TEST_F(FileTest, linesStayWhereTheyWereWhenTheFileWasOpened) {
    openWith("ab\ncd\nef\n", "r+");
    expectCalls(
        "write('xxxxx') 5i; line(3i) ; offset 6i; read(3i) 'ef'; line(1i) ; read 'xxxxx'; line(2i) ; offset "
        "3i");
    openWith("ab\ncd\nef\n", "r");
    put("xxxxx\nef\n");  // somebody else
    expectCalls("read 'xxxxx'; line(2i) ; offset 3i");
}

TEST_F(FileTest, parseCutsLinesIntoTokens) {
    openWith("a,b,,c\r\n\n,,\nlast, one\r", "r");
    expectCalls("parse(',') 'a' 'b' 'c' return 3; parse(',') return 0; parse(',') return 0; eof 0i");
    expectCalls("parse(', \r') 'last' 'one' return 2; eof 1i; line 5i; parse(',') nil; line 5i");
}

TEST_F(FileTest, numbersInTextForm) {
    openWith(" 1.5e2x-.5 1e+x 12-3 +99999999999999999999 <" + std::string(5000, '7') + "e-4999 0." +
                 std::string(900, '0') + "5e901 1e999999999999999999 1 -2\n3.5 -.q",
             "r");
    expectCalls("readNumber 150; readByte 120i; readNumber -0.5; readNumber 1; readByte 101i");  // x, e
    expectCalls("readInt nil; eof 1i; readByte 43i; readByte 120i");  // + and x are left
    expectCalls("readInt 12i; readInt -3i; readInt 9.223372037e+18i; readByte 32i; readByte 60i");
    expectCalls(
        "readNumber 7.777777778; readNumber 5; readNumber inf; readVector <1,-2,3.5>; readVector nil");
    expectCalls("readByte 45i; readByte 46i; readByte 113i; readByte nil");
}

TEST_F(FileTest, textsAreWrittenAsTheyRead) {
    const ValueCell other = fileNamed("\\o.txt");
    ArrayRecord* array = makeElements({N(1), I(2), V(1, 2, 3), nil(), S("s"), other});
    ASSERT_TRUE(open(path(), "w"));
    EXPECT_EQ(method("write", {N(0.5), I(-2.9), V(1, 2, 3), nil(), S("100%d"), other}), "21i");
    EXPECT_EQ(method("writeln", {A(array)}), "22i");
    expectCalls("setDelimiter(', ') ' '; printNil 0i");
    EXPECT_EQ(method("writeln", {A(array), nil()}), "37i");
    ArrayRecord* numbers = makeElements({I(1), I(2)});
    expectCalls("setDelimiter ', '; setDelimiter nil");
    EXPECT_EQ(method("writeln", {A(numbers)}), "3i");
    expectCalls("setDelimiter(0) nil; setDelimiter(59) ''");
    EXPECT_EQ(method("writeln", {A(numbers)}), "4i");
    expectCalls(
        "printNil('TRUE') 1i; printNil('yes') 1i; printNil(nil) 0i; printNil(0.9) 0i; printNil(-1i) 0i; "
        "printNil 1i");
    expectCalls(
        "nl ; nl(-2.5) ; writeNumber(0.1) 1i; writeByte(10i) 1i; writeInt(-7.9) 1i; writeByte(321i) 1i");
    EXPECT_EQ(method("writeVector", {V(1, 2, 3)}), "3i");
    expectCalls("writeVector(4i, 0.5, 6i) 3i; offset 109i; close 0i");
    EXPECT_EQ(bytes(),
              "0.5-21 2 3100%d\\o.txt"
              "1 2 <1,2,3>  s \\o.txt\n"
              "1, 2, <1,2,3>, (nil), s, \\o.txt(nil)\n"
              "12\n1;2\n\n\n\n0.1\n-7A1 2 34 0.5 6");
}

TEST_F(FileTest, binaryNumbersAreLittleEndian) {
    ASSERT_TRUE(open(path(), "wb"));
    expectCalls(
        "linecount 0i; writeNumber(1i) 1i; writeInt(-2.5) 1i; writeByte(-1i) 1i; writeVector(1, 2i, 3) 3i; "
        "printNil 0i");
    ArrayRecord* array = makeElements({I(7), S("x"), nil()});
    EXPECT_EQ(method("write", {nil(), N(0.5), I(3), V(4, 5, 6), S("ab"), A(array)}), "19i");
    expectCalls("close 0i");
    EXPECT_EQ(bytes().substr(0, 13), std::string("\0\0\0\0\0\0\xf0\x3f", 8) + "\xfe\xff\xff\xff\xff");
    ASSERT_TRUE(open(path(), "rb+"));
    EXPECT_EQ(method("linecount"), std::to_string(bytes().size()) + "i");
    expectCalls(
        "readNumber 1; readInt -2i; readByte 255i; readVector <1,2,3>; readByte 40i; offset(4i, 1i) ; "
        "readNumber 0.5");
    expectCalls("offset(-3i, 'FROMEND') ; readNumber nil; eof 1i; offset(8i) ; eof 0i");
    expectCalls("writeInt(9i) 1i; offset(-4i, 1) ; readInt 9i; offset(0i, 2i) ; eof 1i; readByte nil");
}

TEST_F(FileTest, readingAndWritingMix) {
    openWith("one\ntwo\nthree\n", "r+");
    expectCalls("read 'one'; write('TWO') 3i; read ''; read 'three'; read nil; writeln('four') 5i");
    expectCalls("read(2i) 'TWO'; write('T') 1i; readByte 104i; rewind 0i");
    expectCalls("reopen('a+') 1i; linecount 4i; read 'one'; writeln('five') 5i; read(2i) 'TWO'");
    expectCalls("reopen('w+') 1i; linecount 0i; writeln('new') 4i; rewind 0i; read 'new'; close 0i");
    EXPECT_EQ(bytes(), "new\n");
}

TEST_F(FileTest, aFileLivesAsLongAsItIsOpen) {
    openWith("x\n", "r");
    put("y\n", "Other.TXT");
    expectCalls("isOpen 1i; setDelimiter('-') ' '; reopen 1i; setDelimiter('+') '-'");
    EXPECT_EQ(method("open", {S(path("other.txt").c_str())}), "1i");  // whatever the letter case
    EXPECT_EQ(method("name").find('/'), std::string::npos);
    expectCalls("read 'y'; setDelimiter ' '; close 0i; isOpen 0i");
    EXPECT_EQ(valueText(ctx, ValueCell::ofObject(FileObj, object.object)), "(FILEOBJ)\"\"");
    EXPECT_EQ(method("open", {S(path().c_str()), S("r+")}), "1i");
    expectCalls("open('/nowhere/at/all', 'w') 0i; isOpen 0i");
    EXPECT_EQ(ctx.pool.liveBlocks(), 0u);
}

TEST_F(FileTest, filesAreFoundAndRemovedByJoinedNames) {
    put("", "x1.txt");
    const std::string folder = directory.string() + "/";
    const Cells name = {S(folder.c_str()), S("X"), I(1), S(".txt")};
    EXPECT_EQ(call("fileexists", name), "1i");
    EXPECT_EQ(call("fileexists", {S(folder.c_str())}), "1i");
    EXPECT_EQ(call("filedelete", name), "0i");
    EXPECT_EQ(call("filedelete", name), std::to_string(ENOENT) + "i");
    EXPECT_EQ(call("fileexists", name), "0i");
    EXPECT_TRUE(shown.empty());
    EXPECT_EQ(call("fileexists", {A(nullptr)}), "0i");
    EXPECT_EQ(shown.back().line2, "Line 1, invalid argument 1 type to fileexists()");
    EXPECT_NE(call("filedelete", {S(folder.c_str()), A(nullptr)}), "0i");  // a directory
    EXPECT_EQ(shown.back().line2, "Line 1, invalid argument 2 type to delete()");
}

}  // namespace kestrel::test
