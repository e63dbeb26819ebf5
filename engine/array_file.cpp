#include "engine/array_file.h"

#include "engine/file_names.h"
#include "engine/format.h"
#include "platform/files.h"

#include <array>
#include <cstdio>
#include <string>

namespace kestrel {

namespace {

/// Longest piece of a line, its LF included.
constexpr std::size_t kPiece = 1023;

/// Reads up to the next LF, which is counted and dropped; a CR before it is no part of the line.
/// @return false at the end of the file
bool readPiece(std::FILE* file, std::array<char, kPiece + 1>& piece) {
    std::size_t length = 0;
    int c = platform::nextByte(file);
    for (; c != EOF && c != '\n'; c = platform::nextByte(file)) {
        if (c == '\r') {
            const int next = platform::nextByte(file);
            if (next != EOF) platform::unreadByte(file, next);
            if (next == '\n') continue;
        }
        piece[length++] = static_cast<char>(c);
        if (length == kPiece) break;
    }
    piece[length] = '\0';
    return length > 0 || c != EOF;
}

ValueCell lineValue(const char* piece) {
    const std::string_view line = piece;
    if (line.find_first_not_of("0123456789.-+eE") != std::string_view::npos) return ValueCell::ofText(piece);
    if (line.find('.') != std::string_view::npos) return ValueCell::ofNumber(parseDouble(line));
    return ValueCell::ofInteger(static_cast<double>(parseInteger(line)));
}

}  // namespace

void loadArrayFile(EngineContext& ctx, ArrayRecord& array, std::string_view name) {
    const std::string path = convertSeparators(ctx, name);
    if (!platform::pathExists(path)) {
        ctx.abortWith("#ELine %d, cannot access file \"%s\"", ctx.run.currentLine, path);
        return;
    }
    const platform::FileHandle file = platform::openFile(path, "r");
    if (file == nullptr) {
        ctx.abortWith("#ELine %d, cannot open file \"%s\"", ctx.run.currentLine, path);
        return;
    }
    const RunWatch* watch = ctx.services.watch;
    std::array<char, kPiece + 1> piece;
    while (readPiece(file.get(), piece)) {
        if (watch != nullptr && watch->requested != 0) return;
        if (!resizeArray(ctx, array, array.count() + 1)) return;
        storeValue(ctx, array.elements.back(), lineValue(piece.data()));
        if (ctx.run.abort) return;
    }
}

}  // namespace kestrel
