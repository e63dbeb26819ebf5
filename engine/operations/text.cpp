#include "engine/operations/text.h"

#include "engine/context/context.h"
#include "engine/context/kind_table.h"
#include "engine/values/format.h"

#include <array>
#include <cstring>

namespace kestrel {

namespace {

/// A text form in pieces, and room for the characters of a number.
struct TextPieces : ObjectText {
    std::array<char, kVectorChars> buffer;
};

bool describe(const EngineContext& ctx, const ValueCell& cell, TextPieces& out) {
    char* const begin = out.buffer.data();
    char* end = begin;
    switch (cell.type) {
        case Number:
            end = writeG(cell.number, begin);
            break;
        case Integer:
            end = writeInt(cell.number, begin);
            break;
        case Vector:
            end = writeVector(cell.vec.x, cell.vec.y, cell.vec.z, ' ', end);
            break;
        case String:
        case TempString:
            out.body = cell.text;
            return true;
        case Nil:
            return true;
        default:
            return isObjectKind(cell.type) &&
                   ctx.kinds().of(cell.type).text(TextUse::Value, cell.object, out);
    }
    out.body = {begin, static_cast<std::size_t>(end - begin)};
    return true;
}

std::string joined(const ObjectText& text) {
    return std::string(text.before).append(text.body).append(text.after);
}

char* put(char* out, std::string_view piece) noexcept {
    if (!piece.empty()) std::memcpy(out, piece.data(), piece.size());
    return out + piece.size();
}

}  // namespace

std::optional<std::string> valueText(const EngineContext& ctx, const ValueCell& cell) {
    TextPieces pieces;
    if (!describe(ctx, cell, pieces)) return std::nullopt;
    return joined(pieces);
}

std::optional<std::string> objectText(const EngineContext& ctx, TextUse use, const ValueCell& object) {
    ObjectText text;
    if (!isObjectKind(object.type) || !ctx.kinds().of(object.type).text(use, object.object, text))
        return std::nullopt;
    return joined(text);
}

const char* valueText(EngineContext& ctx, std::string_view prefix, const ValueCell& cell) {
    TextPieces pieces;
    if (!describe(ctx, cell, pieces)) return nullptr;
    const std::size_t length =
        prefix.size() + pieces.before.size() + pieces.body.size() + pieces.after.size();
    char* text = static_cast<char*>(ctx.pool.alloc(length + 1, false));
    if (text == nullptr) return nullptr;
    char* end = put(put(put(put(text, prefix), pieces.before), pieces.body), pieces.after);
    *end = '\0';
    return text;
}

}  // namespace kestrel
