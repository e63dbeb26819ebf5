#include "engine/operations/text.h"

#include "engine/context/context.h"
#include "engine/values/format.h"

#include <array>
#include <cstring>

namespace kestrel {

namespace {

/// A text form in pieces: literal text around a name, or characters in a buffer of its own.
struct TextPieces {
    std::string_view before;
    std::string_view body;
    std::string_view after;
    std::array<char, kVectorChars> buffer;
};

bool describe(const ValueCell& cell, TextPieces& out) {
    char* const begin = out.buffer.data();
    char* end = begin;
    switch (cell.type) {
        case Number:
            end = writeG(cell.payload.number, begin);
            break;
        case Integer:
            end = writeInt(cell.payload.number, begin);
            break;
        case Vector:
            end = writeVector(cell.payload.vec.x, cell.payload.vec.y, cell.payload.vec.z, ' ', end);
            break;
        case String:
        case TempString:
            out.body = cell.payload.text;
            return true;
        case FileObj:
            if (cell.payload.object == nullptr) return false;
            out.before = "(FILEOBJ)\"";
            out.body = fileName(cell);
            out.after = "\"";
            return true;
        case Nil:
            return true;
        default:
            return false;
    }
    out.body = {begin, static_cast<std::size_t>(end - begin)};
    return true;
}

char* put(char* out, std::string_view piece) noexcept {
    if (!piece.empty()) std::memcpy(out, piece.data(), piece.size());
    return out + piece.size();
}

}  // namespace

std::optional<std::string> valueText(const ValueCell& cell) {
    TextPieces pieces;
    if (!describe(cell, pieces)) return std::nullopt;
    std::string text(pieces.before);
    text += pieces.body;
    text += pieces.after;
    return text;
}

const char* valueText(EngineContext& ctx, std::string_view prefix, const ValueCell& cell) {
    TextPieces pieces;
    if (!describe(cell, pieces)) return nullptr;
    const std::size_t length =
        prefix.size() + pieces.before.size() + pieces.body.size() + pieces.after.size();
    char* text = static_cast<char*>(ctx.pool.alloc(length + 1, false));
    if (text == nullptr) return nullptr;
    char* end = put(put(put(put(text, prefix), pieces.before), pieces.body), pieces.after);
    *end = '\0';
    return text;
}

}  // namespace kestrel
