#include "engine/operations/array_file.h"

#include "engine/operations/file_names.h"
#include "engine/operations/storage.h"
#include "engine/values/format.h"
#include "platform/files.h"

#include <string>

namespace kestrel {

namespace {

/// Longest piece of a line, its LF included.
constexpr std::size_t kPiece = 1023;

ValueCell lineValue(const char* piece) {
    const std::string_view line = piece;
    if (line.find_first_not_of("0123456789.-+eE") != std::string_view::npos) return ValueCell::ofText(piece);
    if (line.find('.') != std::string_view::npos) return ValueCell::ofNumber(parseDouble(line));
    return ValueCell::ofInteger(static_cast<double>(parseInteger(line)));
}

}  // namespace

void loadArrayFile(EngineContext& ctx, ArrayRecord& array, std::string_view name) {
    if (ctx.services.filesClosed) return ctx.report(MessageId::NotAllowed, "an array made of a file");
    const std::string path = convertSeparators(ctx, name);
    if (!platform::pathExists(path)) {
        ctx.report(MessageId::ArrayFileMissing, path);
        return;
    }
    const platform::FileHandle file = platform::openRegularFile(path);
    if (file == nullptr) {
        ctx.report(MessageId::ArrayFileNotOpened, path);
        return;
    }
    std::string piece;
    while (platform::readPiece(file.get(), kPiece, piece)) {
        if (ctx.endRequested() || !resizeArray(ctx, array, array.count() + 1)) return;
        store(ctx, array.elements.back(), lineValue(piece.c_str()));
        if (ctx.run.abort) return;
    }
}

}  // namespace kestrel
