// File objects: the kind, and the methods by subject.
#pragma once

#include "builtins/files/file_record.h"
#include "engine/context/object_kind.h"

#include <cstdint>
#include <cstdio>
#include <string_view>

namespace kestrel::builtins {

/// A call of a file's method in progress.
class FileCall : public MethodCall {
public:
    FileCall(EngineContext& context, const CodeNode& call, Variable& named, const MethodRow& methodRow,
             FileRecord& openRecord)
        : MethodCall(context, call, named, methodRow), record(openRecord), variable(named.name) {}

    FileRecord& record;
    const char* const variable;  ///< named before the dot

    /// The open file; only for methods that a closed one does not have.
    [[nodiscard]] OpenFile& file() const noexcept { return *record.file; }
    [[nodiscard]] std::FILE* stream() const noexcept { return record.file->stream.get(); }

    void resultNil() { result(ValueCell::ofNil()); }
    void resultInteger(std::int64_t value) { BuiltinCall::resultInteger(static_cast<double>(value)); }
    /// @param position  from 1
    void failType(int position) { fail(MessageId::FileArgumentType, position, variable, name); }
};

/// Values of type FileObj. They have methods, no data members.
class FileKind : public ObjectKind {
public:
    static constexpr std::int32_t kTags[] = {FileObj};

    FileKind();

    [[nodiscard]] bool text(TextUse use, const void* object, ObjectText& out) const override;
    /// Files compare by their names, as texts do.
    [[nodiscard]] bool compare(int op, const ValueCell& left, const ValueCell& right) const override;
    [[nodiscard]] bool refusedInLists(const void* object, const Variable& target, std::string_view& label,
                                      std::string_view& name) const override;
    [[nodiscard]] StoredAs storedAs() const override;
    [[nodiscard]] void* assigned(EngineContext& ctx, void* object) override;
    void hold(EngineContext& ctx, void* object) override;
    void drop(EngineContext& ctx, void* object) override;
    void sweep(EngineContext& ctx) override;

protected:
    void runMethod(EngineContext& ctx, const CodeNode& call, Variable& object, const MethodRow& row) override;
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
/// @return false after failing
[[nodiscard]] bool moveToLine(FileCall& call);

}  // namespace file

}  // namespace kestrel::builtins
