#include "host/state_object.h"

#include "builtins/common/joined_text.h"
#include "engine/operations/text_buffer.h"
#include "engine/values/format.h"
#include "host/shader_context.h"
#include "host/state_bytes.h"
#include "host/text_argument.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

namespace {

/// What a method asks of the state: lines of a text, or the bytes of a binary one.
enum StateNeed : std::uint32_t { kAnyMode, kText, kBinary };

void resultNil(MethodCall& call) {
    call.result(ValueCell::ofNil());
}

// ---- reading ----

class StateReader {
public:
    explicit StateReader(MethodCall& call)
        : state_(*shaderContext(call.ctx).loadState),
          object_(*static_cast<StateObject*>(call.object.object)) {}

    [[nodiscard]] const LoadState& state() const noexcept { return state_; }
    /// Reads all of the bytes. @return false when the data ends before, which is noted
    [[nodiscard]] bool read(char* bytes, std::size_t size) { return readAll(state_, bytes, size) || end(); }
    /// The same for a number, vector or length.
    template <class T>
    [[nodiscard]] std::optional<T> read() {
        std::array<char, sizeof(T)> bytes{};
        if (!read(bytes.data(), bytes.size())) return std::nullopt;
        return fromBigEndian<T>(bytes);
    }
    bool end() noexcept {
        object_.endOfData = true;
        return false;
    }
    void goOn() noexcept { object_.endOfData = false; }
    [[nodiscard]] bool atEnd() const noexcept { return object_.endOfData; }

private:
    const LoadState& state_;
    StateObject& object_;
};

void eof(MethodCall& call) {
    call.resultInteger(StateReader(call).atEnd() ? 1 : 0);
}

void read(MethodCall& call) {
    StateReader reader(call);
    std::array<char, kStateLine + 1> buffer{};
    const int count = readSome(reader.state(), buffer.data(), buffer.size());
    if (count < 0) {
        reader.end();
        return resultNil(call);
    }
    if (count == 0) {  // meant: an empty line, and the one thing after which it is not the end any more
        reader.goOn();
        return resultNil(call);
    }
    const std::string_view line(buffer.data(), std::min(static_cast<std::size_t>(count), kStateLine));
    call.resultText(line.substr(0, line.find('\n')));
}

void readNumber(MethodCall& call) {
    const std::optional<float> value = StateReader(call).read<float>();
    if (!value) return resultNil(call);
    call.resultNumber(static_cast<double>(*value));
}

void readInt(MethodCall& call) {
    const std::optional<std::int32_t> value = StateReader(call).read<std::int32_t>();
    if (!value) return resultNil(call);
    call.resultInteger(*value);
}

void readByte(MethodCall& call) {
    const std::optional<std::int8_t> value = StateReader(call).read<std::int8_t>();
    if (!value) return resultNil(call);
    call.resultInteger(*value);  // meant: 255 reads as -1
}

void readVector(MethodCall& call) {
    StateReader reader(call);
    std::array<double, 3> parts{};
    for (double& part : parts) {
        const std::optional<float> value = reader.read<float>();
        if (!value) return resultNil(call);
        part = static_cast<double>(*value);
    }
    call.resultVector({parts[0], parts[1], parts[2]});
}

/// In pieces, so that a length that is a lie takes no more memory than there is data.
void readString(MethodCall& call) {
    constexpr std::size_t kPiece = 4096;
    StateReader reader(call);
    const std::optional<std::int32_t> length = reader.read<std::int32_t>();
    if (!length) return resultNil(call);
    if (*length < 0) {
        reader.end();
        return resultNil(call);
    }
    std::string text;
    const auto wanted = static_cast<std::size_t>(*length);
    while (text.size() < wanted) {
        const std::size_t done = text.size();
        const std::size_t piece = std::min(kPiece, wanted - done);
        if (!fitsText(call.ctx, done + piece)) return resultNil(call);
        text.resize(done + piece);
        if (!reader.read(text.data() + done, piece)) return resultNil(call);
    }
    call.resultText(text);
}

void parse(MethodCall& call) {
    call.none();
}

// ---- writing ----

/// A write has no result of its own, but using it as a value must not end the script.
void write(MethodCall& call, std::string_view bytes) {
    const SaveState& state = *shaderContext(call.ctx).saveState;
    state.write(state.handle, bytes.data(), static_cast<std::int32_t>(bytes.size()));
}

template <class T>
void writeItem(MethodCall& call, T value) {
    const auto bytes = toBigEndian(value);
    write(call, {bytes.data(), bytes.size()});
}

/// The one argument as a number, which a text may spell.
std::optional<double> numberArgument(const MethodCall& call) {
    if (call.argc != 1) return std::nullopt;
    const ValueCell& value = call.arg(0);
    if (value.isNumeric()) return value.number;
    if (value.isText()) return parseDouble(textOf(value));
    return std::nullopt;
}

void writeln(MethodCall& call) {
    std::string line;
    for (int i = 0; i < call.argc; ++i) {
        const ValueCell& value = call.arg(i);
        std::optional<std::string> text;
        if (value.type != Nil) text = builtins::pieceText(call.ctx, value, TextUse::Name);
        if (!text) {
            call.ctx.report(MessageId::StateArgumentSkipped, i + 1, call.object.name, call.name);
            continue;
        }
        if (!fitsText(call.ctx, line.size() + text->size())) return resultNil(call);
        line += *text;
    }
    write(call, line);
    resultNil(call);
}

void writeNumber(MethodCall& call) {
    const std::optional<double> value = numberArgument(call);
    if (!value) return call.failNamed(MessageId::StateValueType);
    writeItem(call, nearestSingle(*value));
    resultNil(call);
}

/// What does not fit keeps its low 32 bits, as in the language's own whole numbers of 32 bits.
void writeInt(MethodCall& call) {
    const std::optional<double> value = numberArgument(call);
    if (!value) return call.failNamed(MessageId::StateValueType);
    writeItem(call, truncate32(*value));
    resultNil(call);
}

/// Meant: of a text the first character is written, not the number that it spells.
void writeByte(MethodCall& call) {
    const std::optional<double> value = numberArgument(call);
    if (!value) return call.failNamed(MessageId::StateValueType);
    const ValueCell& given = call.arg(0);
    writeItem(call, given.isText() ? *textOf(given) : static_cast<char>(truncate32(*value)));
    resultNil(call);
}

void writeVector(MethodCall& call) {
    std::array<double, 3> parts{};
    if (call.argc == 1) {
        if (call.arg(0).type != Vector) return call.failNamed(MessageId::StateValueType);
        const VectorValue& v = call.arg(0).vec;
        parts = {v.x, v.y, v.z};
    } else {
        for (int i = 0; i < 3; ++i) {
            if (!call.arg(i).isNumeric()) return call.failNamed(MessageId::StateValueType);
            parts[static_cast<std::size_t>(i)] = call.arg(i).number;
        }
    }
    std::string bytes;
    for (const double part : parts) {
        const auto single = toBigEndian(nearestSingle(part));
        bytes.append(single.data(), single.size());
    }
    write(call, bytes);
    resultNil(call);
}

void writeString(MethodCall& call) {
    if (!call.arg(0).isText()) return call.failNamed(MessageId::StateValueType);
    const std::string_view text = textOf(call.arg(0));
    writeItem(call, static_cast<std::int32_t>(text.size()));
    if (!text.empty()) write(call, text);
    resultNil(call);
}

// ---- rows ----

constexpr ArgumentCounts kAny{0, ArgumentCounts::kAny};

constexpr MethodRow kReading[] = {
    {"eof", eof, 0, kAnyMode, "state.eof()", "1 after a read met the end of the state."},
    {"read", read, 0, kText, "state.read()",
     "The next line, at most 511 characters; Nil for an empty line and at the end."},
    {"readNumber", readNumber, kAny, kBinary, "state.readNumber()", "Reads what writeNumber() wrote."},
    {"readInt", readInt, kAny, kBinary, "state.readInt()", "Reads what writeInt() wrote."},
    {"readByte", readByte, kAny, kBinary, "state.readByte()", "Reads a byte, from -128 to 127."},
    {"readVector", readVector, kAny, kBinary, "state.readVector()", "Reads what writeVector() wrote."},
    {"readString", readString, kAny, kBinary, "state.readString()", "Reads what writeString() wrote."},
    {"parse", parse, kAny, kText, "state.parse()", "Does nothing: understood, but without a value."},
};

constexpr MethodRow kWriting[] = {
    {"writeln", writeln, kAny, kText, "state.writeln(value, ...)", "Writes a line: the texts of the values."},
    {"writeNumber", writeNumber, kAny, kAnyMode, "state.writeNumber(x)",
     "Writes a number in 4 bytes, rounded to single precision."},
    {"writeInt", writeInt, kAny, kAnyMode, "state.writeInt(x)", "Writes a whole number in 4 bytes."},
    {"writeByte", writeByte, kAny, kAnyMode, "state.writeByte(x)",
     "Writes one byte: the low one of a number, the first character of a text."},
    {"writeVector", writeVector, ArgumentCounts(1) | 3, kAnyMode,
     "state.writeVector(v) | state.writeVector(x, y, z)", "Writes a Vector in 12 bytes."},
    {"writeString", writeString, 1, kAnyMode, "state.writeString(text)",
     "Writes a text: its length in 4 bytes, then its characters."},
};

constexpr KindWording kReadingWording = {
    .unknownMethod = MessageId::UnknownStateMethod,
    .argumentCount = MessageId::StateReadCount,
};
constexpr KindWording kWritingWording = {
    .unknownMethod = MessageId::UnknownStateMethod,
    .argumentCount = MessageId::StateWriteCount,
};

enum Interface : std::size_t { kForReading, kForWriting };

bool reads(const Variable& object) noexcept {
    const auto* state = static_cast<const StateObject*>(object.object);
    return state == nullptr || state->reading;
}

/// The mode of the state that is being read or written; nothing when there is none.
std::optional<std::int32_t> currentMode(const EngineContext& ctx, const Variable& object) {
    const ShaderContext& context = shaderContext(ctx);
    if (object.object == nullptr) return std::nullopt;
    if (reads(object))
        return context.loadState != nullptr ? std::optional(context.loadState->mode) : std::nullopt;
    return context.saveState != nullptr ? std::optional(context.saveState->mode) : std::nullopt;
}

}  // namespace

StateObjectKind::StateObjectKind()
    : ObjectKind(ObjectInterface("state", {}, {}, {})),
      interfaces_{ObjectInterface("loaded state", {}, kReading, kReadingWording),
                  ObjectInterface("saved state", {}, kWriting, kWritingWording)} {}

const ObjectInterface& StateObjectKind::interfaceOf(const Variable& object) const {
    return interfaces_[reads(object) ? kForReading : kForWriting];
}

void StateObjectKind::runMethod(EngineContext& ctx, const CodeNode& call, Variable& object,
                                const MethodRow& row) {
    MethodCall method(ctx, call, object, row);
    const std::optional<std::int32_t> mode = currentMode(ctx, object);
    if (!mode) return resultNil(method);
    if (!row.counts.accepts(method.argc)) return finish(method);  // says so, whatever the mode
    const bool text = *mode == HX_STATE_TEXT;
    if (row.detail == kText && !text) return method.failNamed(MessageId::StateIsBinary);
    if (row.detail == kBinary && text) return method.failNamed(MessageId::StateIsText);
    finish(method);
}

}  // namespace kestrel
