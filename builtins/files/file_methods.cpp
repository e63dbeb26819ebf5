#include "builtins/files/file_methods.h"

#include "builtins/common/handlers.h"
#include "builtins/common/joined_text.h"
#include "engine/operations/file_names.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace kestrel::builtins {

namespace {

constexpr std::uint32_t counts(int least, int most) {
    std::uint32_t bits = 0;
    for (int n = least; n <= most; ++n) bits |= 1U << n;
    return bits;
}
constexpr int kAny = 31;

constexpr FileMethod kMethods[] = {
    {"isOpen", file::isOpen, counts(0, 0), FileNeed::Nothing},
    {"open", file::open, counts(1, 2), FileNeed::Nothing},
    {"reopen", file::reopen, counts(0, 1)},
    {"close", file::close, counts(0, 0)},
    {"eof", file::eof, counts(0, 0)},
    {"rewind", file::rewind, counts(0, 0)},
    {"name", file::name, counts(0, 0)},
    {"write", file::write, counts(1, kAny)},
    {"writeNumber", file::writeNumber, counts(1, 1)},
    {"writeInt", file::writeInt, counts(1, 1)},
    {"writeByte", file::writeByte, counts(1, 1)},
    {"writeVector", file::writeVector, counts(1, 1) | counts(3, 3)},
    {"writeln", file::writeln, counts(1, kAny), FileNeed::OpenText},
    {"read", file::read, counts(0, 1), FileNeed::OpenText},
    {"readNumber", file::readNumber, counts(0, 0)},
    {"readInt", file::readInt, counts(0, 0)},
    {"readByte", file::readByte, counts(0, 0)},
    {"readVector", file::readVector, counts(0, 0)},
    {"parse", file::parse, counts(1, 1), FileNeed::OpenText},
    {"nl", file::nl, counts(0, 1), FileNeed::OpenText},
    {"line", file::line, counts(0, 1), FileNeed::OpenText},
    {"linecount", file::linecount, counts(0, 0)},
    {"offset", file::offset, counts(0, 2)},
    {"setDelimiter", file::setDelimiter, counts(0, 1)},
    {"printNil", file::printNil, counts(0, 1)},
};

/// The mode argument, or the default; null where it is no text.
const char* modeArgument(const BuiltinCall& call, int i) noexcept {
    if (i >= call.argc) return "r";
    return call.arg(i).isText() ? call.arg(i).payload.text : nullptr;
}

}  // namespace

std::span<const FileMethod> fileMethods() noexcept {
    return kMethods;
}

int FileKind::methodSlot(std::string_view name) const noexcept {
    for (std::size_t i = 0; i < std::size(kMethods); ++i)
        if (kMethods[i].name == name) return static_cast<int>(i);
    return -1;
}

void FileKind::callMethod(EngineContext& ctx, Variable& object, const CodeNode& node) {
    if (node.fileSlot < 0) {
        ctx.reporter.report("#ELine %d, unknown object method: (FileObj)%s::%s.%s()", ctx.run.currentLine,
                            object.ownerName(), object.name, node.operand.variable->name);
        ctx.stack.drop(node.argc);
        return;
    }
    const FileMethod& method = kMethods[node.fileSlot];
    FileRecord* record = fileRecord(object.object);
    if (record == nullptr || (record->file == nullptr && method.need != FileNeed::Nothing)) {
        ctx.stack.drop(node.argc);
        ctx.stack.push(ValueCell::ofNil());
        return;
    }
    FileCall call(ctx, node, method.name, object.name, *record);
    if (!method.accepts(call.argc))
        return call.failNamed("#ELine %d, invalid argument count to (File)%s.%s()");
    if (method.need == FileNeed::OpenText && call.file().binary)
        return call.failNamed("#ELine %d, illegal operation on binary file: (File)%s.%s()");
    method.run(call);
}

namespace file {

void isOpen(FileCall& call) {
    call.resultInteger(call.record.file != nullptr ? 1 : 0);
}

void open(FileCall& call) {
    const char* mode = modeArgument(call, 1);
    if (mode == nullptr) return call.failType(2);
    if (!call.arg(0).isText()) return call.failType(1);
    std::string path = convertSeparators(call.ctx, call.arg(0).payload.text);
    call.resultInteger(call.record.open(call.ctx, std::move(path), mode) ? 1 : 0);
}

void reopen(FileCall& call) {
    const char* mode = modeArgument(call, 0);
    // Meant: the message names open().
    if (mode == nullptr) {
        return call.fail("#ELine %d, invalid argument 1 type to (File)%s.open()", call.ctx.run.currentLine,
                         call.variable);
    }
    FileRecord& record = call.record;
    std::optional<std::string> delimiter = std::move(record.file->delimiter);
    const bool printNil = record.file->printNil;
    const bool opened = record.open(call.ctx, std::string(record.file->path), mode);
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
    const int line = call.ctx.run.currentLine;
    if (call.argc < 1 || call.argc > 2) return call.fail("#ELine %d, invalid argument count to File()", line);
    const char* mode = modeArgument(call, 1);
    if (mode == nullptr) return call.fail("#ELine %d, invalid argument 2 type to File()", line);
    if (!call.arg(0).isText()) return call.fail("#ELine %d, invalid argument 1 type to File()", line);
    // Records stay until the script is unloaded, so one that opens files again and again must end somewhere.
    constexpr std::size_t kMostResources = 1'000'000;
    EngineContext& ctx = call.ctx;
    if (ctx.resources.size() >= kMostResources) {
        ctx.abortWith("#ELine %d, memory exhausted!  Cannot continue!", line);
        return call.result(ValueCell::ofNil());
    }
    auto record = std::make_unique<FileRecord>();
    if (!record->open(ctx, convertSeparators(ctx, call.arg(0).payload.text), mode))
        return call.result(ValueCell::ofNil());
    const ValueCell file = fileCell(*record);
    ctx.resources.push_back(std::move(record));
    call.result(file);
}

void fileExists(BuiltinCall& call) {
    const int line = call.ctx.run.currentLine;
    if (call.argc == 0) {
        call.ctx.reporter.report("#ELine %d, invalid argument count to fileexists()", line);
        return call.none();  // meant: unlike other argument errors, this one leaves nothing
    }
    const std::string name = joinArguments(call, "#WLine %d, invalid argument %d type to fileexists()");
    call.resultInteger(platform::pathExists(convertSeparators(call.ctx, name)) ? 1.0 : 0.0);
}

void fileDelete(BuiltinCall& call) {
    const int line = call.ctx.run.currentLine;
    if (call.argc == 0) return call.fail("#ELine %d, invalid argument count to filedelete()", line);
    const std::string name = joinArguments(call, "#WLine %d, invalid argument %d type to delete()");
    call.resultInteger(platform::removeFile(convertSeparators(call.ctx, name)));
}

}  // namespace kestrel::builtins
