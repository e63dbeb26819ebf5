// The methods of file objects.
#pragma once

#include "builtins/files/file_record.h"
#include "engine/context/builtin.h"
#include "engine/context/object_kind.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace kestrel::builtins {

/// A method call in progress: like that of a built-in, it ends with exactly one result.
class FileCall : public BuiltinCall {
public:
    FileCall(EngineContext& context, const CodeNode& call, std::string_view method, const char* variableName,
             FileRecord& fileRecord)
        : BuiltinCall(context, call, 0, method), record(fileRecord), variable(variableName) {}

    FileRecord& record;
    const char* const variable;  ///< named before the dot

    /// The open file; only for methods that a closed one does not have.
    [[nodiscard]] OpenFile& file() const noexcept { return *record.file; }
    [[nodiscard]] std::FILE* stream() const noexcept { return record.file->stream.get(); }

    void resultNil() { result(ValueCell::ofNil()); }
    void resultInteger(std::int64_t value) { BuiltinCall::resultInteger(static_cast<double>(value)); }
    /// Reports an error that names the variable and the method; the call yields Nil.
    void failNamed(std::string_view format) { fail(format, ctx.run.currentLine, variable, name); }
    /// @param position  from 1
    void failType(int position) {
        fail("#ELine %d, invalid argument %d type to (File)%s.%s()", ctx.run.currentLine, position, variable,
             name);
    }
};

/// What a method asks of its file. On a closed one all but the methods without a need are Nil; those that
/// need a text refuse binary files.
enum class FileNeed { Nothing, Open, OpenText };

struct FileMethod {
    std::string_view name;
    void (*run)(FileCall& call);
    std::uint32_t counts;  ///< bit n: n arguments are accepted; the highest bit: any larger count
    FileNeed need = FileNeed::Open;

    [[nodiscard]] constexpr bool accepts(int argc) const noexcept {
        return (counts >> (argc < 31 ? argc : 31) & 1U) != 0;
    }
};

/// All methods; the position of one is its slot.
[[nodiscard]] std::span<const FileMethod> fileMethods() noexcept;

/// Values of type FileObj.
class FileKind final : public ObjectKind {
public:
    [[nodiscard]] int methodSlot(std::string_view name) const noexcept override;
    /// Files have no data members; the engine never asks.
    void readMember(EngineContext&, const MemberAccess&) override {}
    void writeMember(EngineContext&, const MemberAccess&, const ValueCell&, int) override {}
    void callMethod(EngineContext& ctx, Variable& object, const CodeNode& call) override;
};

namespace file {

// file_methods.cpp
void isOpen(FileCall& call);
void open(FileCall& call);
void reopen(FileCall& call);
void close(FileCall& call);
void name(FileCall& call);

// file_read.cpp
void read(FileCall& call);
void parse(FileCall& call);

// file_numbers.cpp
void readNumber(FileCall& call);
void readInt(FileCall& call);
void readByte(FileCall& call);
void readVector(FileCall& call);

// file_write.cpp
void write(FileCall& call);
void writeln(FileCall& call);
void writeNumber(FileCall& call);
void writeInt(FileCall& call);
void writeByte(FileCall& call);
void writeVector(FileCall& call);
void nl(FileCall& call);
void setDelimiter(FileCall& call);
void printNil(FileCall& call);

// file_position.cpp
void eof(FileCall& call);
void rewind(FileCall& call);
void line(FileCall& call);
void linecount(FileCall& call);
void offset(FileCall& call);

/// Moves to the beginning of a line, whose number is an argument of the call, and clears the end-of-file
/// flag.
/// @return false after failing with `rangeMessage` (line, number, variable) or a type error
[[nodiscard]] bool moveToLine(FileCall& call, std::string_view rangeMessage);

}  // namespace file

}  // namespace kestrel::builtins
