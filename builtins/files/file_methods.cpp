#include "builtins/files/file_methods.h"

#include "builtins/common/handlers.h"
#include "builtins/common/joined_text.h"
#include "builtins/files/file_pool.h"
#include "engine/operations/file_names.h"
#include "engine/operations/operators.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace kestrel::builtins {

namespace {

/// What a method asks of its file. On a closed one all but the methods without a need are Nil; those that
/// need a text refuse binary files.
enum FileNeed : std::uint32_t { kNothing, kOpen, kOpenText };

template <void (*kMethod)(FileCall&), FileNeed kNeed = kOpen>
void method(MethodCall& call) {
    auto& fileCall = static_cast<FileCall&>(call);  // made by runMethod()
    if (kNeed == kOpenText && fileCall.file().binary) return call.failNamed(MessageId::BinaryFile);
    kMethod(fileCall);
}

constexpr int kAny = ArgumentCounts::kAny;

constexpr MethodRow kMethods[] = {
    {"isOpen", method<file::isOpen, kNothing>, 0, kNothing, "f.isOpen()", "1 while the file is open."},
    {"open",
     method<file::open, kNothing>,
     {1, 2},
     kNothing,
     "f.open(name [, mode])",
     "Closes the file and opens another one; 1 when it opened."},
    {"reopen",
     method<file::reopen>,
     {0, 1},
     kOpen,
     "f.reopen([mode])",
     "Opens the same file again; 1 when it opened."},
    {"close", method<file::close>, 0, kOpen, "f.close()",
     "Closes the file; 0, or -1 when not everything could be written."},
    {"eof", method<file::eof>, 0, kOpen, "f.eof()", "1 after a read met the end of the file."},
    {"rewind", method<file::rewind>, 0, kOpen, "f.rewind()", "Goes back to the beginning."},
    {"name", method<file::name>, 0, kOpen, "f.name()", "The name of the file."},
    {"write",
     method<file::write>,
     {1, kAny},
     kOpen,
     "f.write(value, ...)",
     "Writes values; the number of characters, or of items in a binary file."},
    {"writeNumber", method<file::writeNumber>, 1, kOpen, "f.writeNumber(x)",
     "Writes a number; 1 on success."},
    {"writeInt", method<file::writeInt>, 1, kOpen, "f.writeInt(x)", "Writes a whole number; 1 on success."},
    {"writeByte", method<file::writeByte>, 1, kOpen, "f.writeByte(x)", "Writes one byte; 1 on success."},
    {"writeVector", method<file::writeVector>, ArgumentCounts(1) | 3, kOpen,
     "f.writeVector(v) | f.writeVector(x, y, z)", "Writes a Vector; 3 on success."},
    {"writeln",
     method<file::writeln, kOpenText>,
     {1, kAny},
     kOpenText,
     "f.writeln(value, ...)",
     "Writes values and the end of the line."},
    {"read",
     method<file::read, kOpenText>,
     {0, 1},
     kOpenText,
     "f.read([line])",
     "The next line, or the line of that number; Nil at the end."},
    {"readNumber", method<file::readNumber>, 0, kOpen, "f.readNumber()", "Reads a number."},
    {"readInt", method<file::readInt>, 0, kOpen, "f.readInt()", "Reads a whole number."},
    {"readByte", method<file::readByte>, 0, kOpen, "f.readByte()", "Reads one byte."},
    {"readVector", method<file::readVector>, 0, kOpen, "f.readVector()", "Reads a Vector."},
    {"parse", method<file::parse, kOpenText>, 1, kOpenText, "f.parse(delims)",
     "The pieces of the next line between delimiters, as several values."},
    {"nl", method<file::nl, kOpenText>, {0, 1}, kOpenText, "f.nl([count])", "Writes ends of lines."},
    {"line",
     method<file::line, kOpenText>,
     {0, 1},
     kOpenText,
     "f.line([number])",
     "The number of the line that is read next; with a number, goes there."},
    {"linecount", method<file::linecount>, 0, kOpen, "f.linecount()",
     "Lines of a text, bytes of a binary file."},
    {"offset",
     method<file::offset>,
     {0, 2},
     kOpen,
     "f.offset([bytes [, FROMSTART | FROMHERE | FROMEND]])",
     "The position in the file; with an argument, goes there."},
    {"setDelimiter",
     method<file::setDelimiter>,
     {0, 1},
     kOpen,
     "f.setDelimiter([text])",
     "What stands between the elements of a written array; the one before."},
    {"printNil",
     method<file::printNil>,
     {0, 1},
     kOpen,
     "f.printNil([flag])",
     "Whether Nil is written as (nil); the setting before."},
};

constexpr KindWording kWording = {
    .unknownMethod = MessageId::UnknownFileMethod,
    .argumentCount = MessageId::FileArgumentCount,
};

std::string_view nameOf(const void* object) noexcept {
    const auto* record = static_cast<const FileRecord*>(object);
    return record != nullptr && record->file != nullptr ? std::string_view(record->file->path) : "";
}

/// The mode argument, or the default; null where it is no text.
const char* modeArgument(const BuiltinCall& call, int i) noexcept {
    if (i >= call.argc) return "r";
    return call.arg(i).isText() ? call.arg(i).text : nullptr;
}

}  // namespace

FileKind::FileKind()
    : ObjectKind(ObjectInterface("File", {}, kMethods, kWording), {.counted = true, .appendable = true}) {}

bool FileKind::text(TextUse use, const void* object, ObjectText& out) const {
    out = {.before = "", .body = nameOf(object), .after = ""};
    switch (use) {
        case TextUse::Name:
            return true;
        case TextUse::Dump:
            out.before = "(FileObject)";
            return true;
        case TextUse::Value:
        case TextUse::Message:
            break;
    }
    out.before = "(FILEOBJ)\"";
    out.after = "\"";
    return object != nullptr;
}

bool FileKind::compare(int op, const ValueCell& left, const ValueCell& right) const {
    const std::string_view name = nameOf(left.object);
    if (right.type == FileObj) return textRelation(op, name, nameOf(right.object));
    return textRelation(op, name, right.isText() ? right.text : "");
}

bool FileKind::refusedInLists(const void* object, const Variable&, std::string_view& label,
                              std::string_view& name) const {
    label = "FILEOBJ";
    name = nameOf(object);
    return true;
}

StoredAs FileKind::storedAs() const {
    return {.type = "fob", .scriptOnly = true};
}

void* FileKind::assigned(EngineContext& ctx, void* object) {
    hold(ctx, object);
    return object;
}

void FileKind::hold(EngineContext& ctx, void* object) {
    FilePool::of(ctx).hold(fileRecord(object));
}

void FileKind::drop(EngineContext& ctx, void* object) {
    FilePool::of(ctx).drop(fileRecord(object));
}

void FileKind::sweep(EngineContext& ctx) {
    if (ctx.files != nullptr) FilePool::of(ctx).sweep();
}

void FileKind::runMethod(EngineContext& ctx, const CodeNode& call, Variable& object, const MethodRow& row) {
    FileRecord* record = fileRecord(object.object);
    if (record == nullptr || (record->file == nullptr && row.detail != kNothing)) {
        ctx.stack.drop(call.argc);
        ctx.stack.push(ValueCell::ofNil());
        return;
    }
    FileCall method(ctx, call, object, row, *record);
    finish(method);
}

namespace file {

void isOpen(FileCall& call) {
    call.resultInteger(call.record.file != nullptr ? 1 : 0);
}

void open(FileCall& call) {
    const char* mode = modeArgument(call, 1);
    if (mode == nullptr) return call.failType(2);
    if (!call.arg(0).isText()) return call.failType(1);
    std::string path = convertSeparators(call.ctx, call.arg(0).text);
    call.resultInteger(call.record.open(std::move(path), mode) ? 1 : 0);
}

void reopen(FileCall& call) {
    const char* mode = modeArgument(call, 0);
    // Meant: the message names open().
    if (mode == nullptr) {
        return call.fail(MessageId::FileArgumentType, 1, call.variable, "open");
    }
    FileRecord& record = call.record;
    std::optional<std::string> delimiter = std::move(record.file->delimiter);
    const bool printNil = record.file->printNil;
    const bool opened = record.open(std::string(record.file->path), mode);
    if (opened) {
        record.file->delimiter = std::move(delimiter);
        record.file->printNil = printNil;
    }
    call.resultInteger(opened ? 1 : 0);
}

void close(FileCall& call) {
    call.resultInteger(call.record.close());
}

void name(FileCall& call) {
    call.resultText(call.file().path);
}

}  // namespace file

void openFile(BuiltinCall& call) {
    if (call.argc < 1 || call.argc > 2) return call.fail(MessageId::ArgumentCount, "File");
    const char* mode = modeArgument(call, 1);
    if (mode == nullptr) return call.fail(MessageId::ArgumentType, 2, "File");
    if (!call.arg(0).isText()) return call.fail(MessageId::ArgumentType, 1, "File");
    FileRecord* record = openScriptFile(call.ctx, call.arg(0).text, mode);
    call.result(record != nullptr ? fileCell(*record) : ValueCell::ofNil());
}

void fileExists(BuiltinCall& call) {
    if (call.argc == 0) {
        call.ctx.report(MessageId::ArgumentCount, call.name);
        return call.none();  // meant: unlike other argument errors, this one leaves nothing
    }
    const std::string name = joinArguments(call, call.name);
    call.resultInteger(platform::pathExists(convertSeparators(call.ctx, name)) ? 1.0 : 0.0);
}

void fileDelete(BuiltinCall& call) {
    if (call.argc == 0) return call.failCount();
    const std::string name = joinArguments(call, "delete");
    call.resultInteger(platform::removeFile(convertSeparators(call.ctx, name)));
}

}  // namespace kestrel::builtins
