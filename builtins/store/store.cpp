// store(), recall(), globalstore() and globalrecall(): values as typed texts in the persistent store.
#include "builtins/common/arguments.h"
#include "builtins/common/handlers.h"
#include "builtins/common/several_texts.h"
#include "builtins/store/persistent_store.h"
#include "engine/context/kind_table.h"
#include "engine/operations/text.h"
#include "engine/values/format.h"
#include "engine/values/record_instance.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::builtins {

namespace {

/// What a read yields when there is nothing.
constexpr std::string_view kNothing = ">>($$NONE$$)<<";
constexpr std::size_t kRecordChars = 511;

/// The text of a value without its type.
std::string plainText(const EngineContext& ctx, const ValueCell& cell) {
    switch (cell.type) {
        case Number:
            return formatG(cell.number);
        case Integer:
            return formatInt(cell.number);
        case Vector:
            return formatVector(cell.vec.x, cell.vec.y, cell.vec.z, ' ');
        case String:
        case TempString:
            return cell.text;
        default:
            return objectText(ctx, TextUse::Name, cell).value_or("");
    }
}

/// The type as the store writes it, or an empty text for what it cannot keep.
std::string_view typeText(const EngineContext& ctx, std::int32_t type) {
    switch (type) {
        case Number:
            return "dbl";
        case Integer:
            return "int";
        case String:
        case TempString:
            return "str";
        case Vector:
            return "vec";
        case Nil:
            return "nil";
        default:
            return isObjectKind(type) ? ctx.kinds().of(type).storedAs().type : "";
    }
}

using Parts = std::optional<std::span<RecordMember>>;

/// What a value consists of; nothing for one that is no composite object.
Parts partsOf(const EngineContext& ctx, const ValueCell& cell) {
    return isObjectKind(cell.type) ? ctx.kinds().of(cell.type).parts(cell.object) : std::nullopt;
}

/// The members in order. A member that does not fit is left out, later ones are still tried; one that is a
/// record itself is kept as Nil.
std::string recordText(const EngineContext& ctx, std::span<const RecordMember> members) {
    std::string text = "rec::";
    for (const RecordMember& member : members) {
        const std::string_view type = typeText(ctx, member.value.type);
        std::string field;
        if (type.empty() || type == "nil" || partsOf(ctx, member.value)) {
            field = "nil@@nil##";
        } else {
            field.append(type).append("@@").append(plainText(ctx, member.value)).append("##");
        }
        if (text.size() + field.size() < kRecordChars) text += field;
    }
    return text;
}

VectorValue readVector(std::string_view text) {
    float v[3] = {0.0f, 0.0f, 0.0f};
    parseThree(text, v);
    return {static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2])};
}

/// The value that a text of a type stands for.
/// @param type  the first letter of the type's name
/// @return nothing for a letter that names no type
std::optional<ValueCell> decode(EngineContext& ctx, char type, std::string_view text) {
    switch (type) {
        case 'd':
            return ValueCell::ofNumber(parseDouble(text));
        case 'i':
            return ValueCell::ofInteger(static_cast<double>(parseInteger(text)));
        case 's':
        case 'f':
            return ownedText(ctx, text);
        case 'n':
            return ValueCell::ofNil();
        case 'v':
            return ValueCell::ofVector(readVector(text));
        default:
            return std::nullopt;
    }
}

/// Leaves the members' values in order and a ListMark above them.
void resultOfRecord(BuiltinCall& call, std::string_view fields) {
    EngineContext& ctx = call.ctx;
    call.none();
    // Marked like @ ... @, so that assignment tells the values from what lies below them.
    ctx.stack.push(ValueCell::ofMark(ListMark));
    while (!fields.empty()) {
        const std::size_t separator = fields.find("@@");
        if (separator == std::string_view::npos) break;
        std::string_view text = fields.substr(separator + 2);
        const std::size_t end = text.find("##");
        if (const auto value = decode(ctx, fields[0], text.substr(0, end))) ctx.stack.push(*value);
        fields = end == std::string_view::npos ? std::string_view{} : text.substr(end + 2);
    }
    ctx.stack.push(ValueCell::ofMark(ListMark));
}

void resultOfStored(BuiltinCall& call, std::string_view stored, bool global) {
    constexpr std::array<std::string_view, 6> kPrefixes = {
        "nil::", "dbl::", "int::", "str::", "fob::", "vec::"};
    constexpr std::size_t kPrefixChars = 5;
    const std::string_view rest = stored.substr(std::min(stored.size(), kPrefixChars));
    for (std::string_view prefix : kPrefixes)
        if (stored.starts_with(prefix)) return call.result(*decode(call.ctx, prefix[0], rest));
    if (stored.starts_with("rec::")) return resultOfRecord(call, rest);
    if (global) return call.resultText(stored);
    call.fail(MessageId::StoredKind, stored);
}

/// Replaces all arguments by the values of the default's list, whose cells lie on top of the stack.
void resultOfList(BuiltinCall& call, const Values& values) {
    EvalStack& stack = call.ctx.stack;
    const std::vector<ValueCell> cells(&stack.at(values.first), &stack.at(stack.size() - 1) + 1);
    stack.forgetTo(values.first);  // their texts live on in `cells`
    call.none();
    for (const ValueCell& cell : cells) stack.push(cell);
}

void resultOfDefault(BuiltinCall& call, const Values& values) {
    if (values.count >= 0) return resultOfList(call, values);
    const ValueCell& value = call.arg(1);
    if (isPlainKind(value.type)) return call.resultArgument(1);
    if (const auto name = objectText(call.ctx, TextUse::Name, value)) return call.resultText(*name);
    call.fail(MessageId::RecallDefault, call.name);
}

}  // namespace

void store(BuiltinCall& call) {
    EngineContext& ctx = call.ctx;
    const bool global = call.name == "globalstore";
    const ValueCell& value = call.arg(1);
    const StoredAs object = isObjectKind(value.type) ? ctx.kinds().of(value.type).storedAs() : StoredAs{};
    if (object.refusedGlobal && global) return call.fail(MessageId::RecordStoredGlobally, call.name);
    const std::string_view type = typeText(ctx, value.type);
    if (type.empty()) return call.fail(MessageId::KindNotStored, call.name);
    if (!call.arg(0).isText()) return call.failType(1);

    std::string text;
    if (const Parts parts = partsOf(ctx, value)) {
        text = recordText(ctx, *parts);
    } else {
        if (!global) text.append(type).append("::");
        text += plainText(ctx, value);
    }
    const bool master = global && !object.scriptOnly;
    PersistentStore* target = ctx.services.store;
    if (target == nullptr || !target->write(master ? kMasterScope : ctx.scriptFile, call.arg(0).text, text))
        ctx.report(MessageId::StoreNotWritten);
    call.none();
}

void recall(BuiltinCall& call) {
    EngineContext& ctx = call.ctx;
    const bool global = call.name == "globalrecall";
    if (call.argc < 1 || call.argc > 2) return call.failCount();
    const Values values = widen(call);
    const bool severalKeys = call.argc == 1 && values.count >= 0;
    if (severalKeys || !call.arg(0).isText()) return call.failType(1);

    std::string stored(kNothing);
    if (ctx.services.store != nullptr)
        stored = ctx.services.store->read(global ? kMasterScope : ctx.scriptFile, call.arg(0).text, kNothing);
    if (stored != kNothing) return resultOfStored(call, stored, global);
    if (call.argc == 1) return call.result(ValueCell::ofNil());
    resultOfDefault(call, values);
}

}  // namespace kestrel::builtins
