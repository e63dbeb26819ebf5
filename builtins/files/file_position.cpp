// Where a file stands.
#include "builtins/files/file_methods.h"

#include <array>
#include <optional>
#include <string_view>

namespace kestrel::builtins::file {

namespace {

using platform::SeekFrom;

bool seek(OpenFile& file, std::int64_t offset, SeekFrom from) {
    if (!platform::seekFile(file.stream.get(), offset, from)) return false;
    file.direction = OpenFile::Direction::None;
    file.standsAtLine = -1;
    file.eof = false;
    return true;
}

/// Reads over lines; at the end of the file there are no more.
void skipLines(const EngineContext& ctx, std::FILE* stream, std::int64_t count) {
    for (; count > 0 && !ctx.endRequested(); --count) {
        int c = 0;
        do c = platform::nextByte(stream);
        while (c != '\n' && c != '\r' && c != EOF);
        if (c == '\r') platform::takeLineFeed(stream);
        if (c == EOF) break;
    }
    std::clearerr(stream);
}

/// The byte offset of a line of a file that is only written: read through its second stream.
std::int64_t lineOffset(const EngineContext& ctx, const OpenFile& file, LineIndex::Place place) {
    std::FILE* reader = file.lineReader.get();
    if (reader == nullptr || !platform::seekFile(reader, place.offset, SeekFrom::Start)) return place.offset;
    skipLines(ctx, reader, place.linesToSkip);
    return platform::filePosition(reader);
}

void goToLine(const EngineContext& ctx, OpenFile& file, std::int64_t line) {
    const LineIndex::Place place = file.lines.find(line);
    if (!file.readable()) {
        platform::flushFile(file.stream.get());  // what was written may belong to the lines in between
        seek(file, lineOffset(ctx, file, place), SeekFrom::Start);
    } else {
        // Reading one line after the other needs no seeking, unless lines were written over since.
        std::int64_t toSkip = file.standsAtLine < 0 ? -1 : line - file.standsAtLine;
        const bool moved =
            place.linesToSkip == 0 && platform::filePosition(file.stream.get()) != place.offset;
        if (toSkip < 0 || toSkip > place.linesToSkip || moved) {
            seek(file, place.offset, SeekFrom::Start);
            toSkip = place.linesToSkip;
        }
        file.beginReading();
        skipLines(ctx, file.stream.get(), toSkip);
    }
    file.standsAtLine = line;
    file.currentLine = line;
    file.eof = false;
}

/// The whence argument of offset(): a number or one of the constants' names.
std::optional<SeekFrom> seekOrigin(const ValueCell& cell) {
    constexpr std::array<std::string_view, 3> kNames = {"FROMSTART", "FROMHERE", "FROMEND"};
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        const bool named = cell.isText() && cell.text == kNames[i];
        if (named || (cell.isNumeric() && truncate(cell.number) == static_cast<std::int64_t>(i)))
            return static_cast<SeekFrom>(i);
    }
    return std::nullopt;
}

}  // namespace

bool moveToLine(FileCall& call) {
    const ValueCell& given = call.arg(0);
    if (!given.isNumeric()) {
        call.failType(1);
        return false;
    }
    const std::int64_t line = truncate(given.number);
    if (line < 1 || line > call.file().lineCount) {
        call.fail(MessageId::FileLineRange, line, call.variable, call.name);
        return false;
    }
    goToLine(call.ctx, call.file(), line - 1);
    return true;
}

void eof(FileCall& call) {
    call.resultInteger(call.file().eof ? 1 : 0);
}

void rewind(FileCall& call) {
    OpenFile& file = call.file();
    if (seek(file, 0, SeekFrom::Start)) file.standsAtLine = 0;
    file.eof = false;
    file.currentLine = 0;
    call.resultInteger(platform::filePosition(call.stream()));
}

void line(FileCall& call) {
    if (call.argc == 0) return call.resultInteger(call.file().currentLine + 1);
    if (call.ctx.options.nonrandom) return call.fail(MessageId::LinesNotIndexed, call.variable);
    if (moveToLine(call)) call.none();
}

void linecount(FileCall& call) {
    call.resultInteger(call.file().lineCount);
}

void offset(FileCall& call) {
    if (call.argc == 0) return call.resultInteger(platform::filePosition(call.stream()));
    std::optional<SeekFrom> from = SeekFrom::Start;
    if (call.argc == 2 && !(from = seekOrigin(call.arg(1)))) return call.failType(2);
    if (!call.arg(0).isNumeric()) return call.failType(1);
    const std::int64_t position = truncate(call.arg(0).number);
    seek(call.file(), position, *from);
    // Meant: only the very end counts as the end, and no position beyond it.
    call.file().eof = position == 0 && from == SeekFrom::End;
    call.none();
}

}  // namespace kestrel::builtins::file
