// Writing.
#include "builtins/files/file_methods.h"
#include "engine/operations/arrays.h"
#include "engine/operations/text.h"
#include "engine/values/format.h"
#include "platform/ascii.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace kestrel::builtins::file {

namespace {

/// Writes the file's text in one go.
/// @return false when the system refuses
bool flushText(FileCall& call) {
    OpenFile& file = call.file();
    const std::string_view text = file.text.view();
    if (text.empty()) return true;
    file.beginWriting();
    if (std::fwrite(text.data(), 1, text.size(), call.stream()) == text.size()) return true;
    std::clearerr(call.stream());
    return false;
}

bool appendNumber(GrowingText& text, double value) {
    std::array<char, kNumberChars> buffer;
    return text.append({buffer.data(), writeG(value, buffer.data())});
}

bool appendInteger(GrowingText& text, double value) {
    std::array<char, kNumberChars> buffer;
    return text.append({buffer.data(), kestrel::writeInt(value, buffer.data())});
}

bool appendVector(GrowingText& text, const VectorValue& v, char separator) {
    std::array<char, kVectorChars> buffer;
    return text.append({buffer.data(), kestrel::writeVector(v.x, v.y, v.z, separator, buffer.data())});
}

/// Appends a number as it stands in binary files: little-endian, whatever the machine is.
template <class T>
bool appendBinary(GrowingText& text, T value) {
    auto bytes = std::bit_cast<std::array<char, sizeof(T)>>(value);
    if constexpr (std::endian::native == std::endian::big) std::reverse(bytes.begin(), bytes.end());
    return text.append({bytes.data(), bytes.size()});
}

/// The rendering of one write.
class Rendering {
public:
    explicit Rendering(FileCall& call) : ctx_(call.ctx), file_(call.file()), text_(call.file().text) {
        text_.clear();
    }

    /// @return false for a kind that cannot be written
    bool add(const ValueCell& cell) {
        if (cell.type == ArrayRef) {
            addElements(cell.array);
            return true;
        }
        return file_.binary ? addBinary(cell) : addText(cell, false);
    }
    /// What a successful write counts: characters, or in binary files numbers and the bytes of texts.
    [[nodiscard]] std::int64_t count() const noexcept {
        return file_.binary ? items_ : static_cast<std::int64_t>(text_.view().size());
    }
    /// False after memory exhaustion, which has been reported.
    [[nodiscard]] bool complete() const noexcept { return complete_; }
    void addCharacters(std::string_view text) {
        items_ += static_cast<std::int64_t>(text.size());
        keep(text_.append(text));
    }

private:
    bool addText(const ValueCell& cell, bool element) {
        const VectorValue& v = cell.vec;
        switch (cell.type) {
            case Number:
                keep(appendNumber(text_, cell.number));
                return true;
            case Integer:
                keep(appendInteger(text_, cell.number));
                return true;
            case Vector:
                // Meant: only as an element it has brackets.
                keep(element ? text_.append("<") && appendVector(text_, v, ',') && text_.append(">")
                             : appendVector(text_, v, ' '));
                return true;
            default:
                return addOther(cell);
        }
    }

    bool addBinary(const ValueCell& cell) {
        const VectorValue& v = cell.vec;
        switch (cell.type) {
            case Number:
                keep(appendBinary(text_, cell.number));
                ++items_;
                return true;
            case Integer:
                keep(appendBinary(text_, truncate32(cell.number)));
                ++items_;
                return true;
            case Vector:
                keep(appendBinary(text_, v.x) && appendBinary(text_, v.y) && appendBinary(text_, v.z));
                items_ += 3;
                return true;
            default:
                return addOther(cell);
        }
    }

    /// The kinds that look the same in text and binary files.
    bool addOther(const ValueCell& cell) {
        switch (cell.type) {
            case String:
            case TempString:
                addCharacters(cell.text);
                return true;
            case Nil:
                if (file_.printNil) addCharacters("(nil)");
                return true;
            default:
                return addObject(cell);
        }
    }

    bool addObject(const ValueCell& cell) {
        const std::optional<std::string> text = objectText(ctx_, TextUse::Name, cell);
        if (text) addCharacters(*text);
        return text.has_value();
    }

    void addElements(const ArrayRecord* array) {
        if (array == nullptr) return;
        const std::string_view delimiter =
            file_.delimiter && !file_.binary ? std::string_view(*file_.delimiter) : "";
        for (std::size_t i = 0; i < array->elements.size() && complete_; ++i) {
            if (i > 0) keep(text_.append(delimiter));
            if (file_.binary)
                addBinary(array->elements[i]);
            else
                addText(array->elements[i], true);
        }
    }

    void keep(bool ok) noexcept { complete_ = complete_ && ok; }

    const EngineContext& ctx_;
    OpenFile& file_;
    GrowingText& text_;
    std::int64_t items_ = 0;
    bool complete_ = true;
};

void writeValues(FileCall& call, std::string_view end) {
    Rendering rendering(call);
    for (int i = 0; i < call.argc; ++i) {
        if (!rendering.add(call.arg(i)))
            call.ctx.report(MessageId::FileArgumentSkipped, i + 1, call.variable, call.name);
    }
    rendering.addCharacters(end);
    if (!rendering.complete()) return call.resultNil();
    const std::int64_t count = rendering.count();
    const bool written = flushText(call);
    call.resultInteger(written ? count : call.file().binary ? 0 : -1);
}

/// The end of a typed write: the number of items, 0 when the system refuses.
void finishItems(FileCall& call, const Rendering& rendering, std::int64_t count) {
    if (!rendering.complete()) return call.resultNil();
    call.resultInteger(flushText(call) ? count : 0);
}

void writeItems(FileCall& call, const ValueCell& value, std::int64_t count) {
    Rendering rendering(call);
    rendering.add(value);
    finishItems(call, rendering, count);
}

}  // namespace

void write(FileCall& call) {
    writeValues(call, "");
}

void writeln(FileCall& call) {
    writeValues(call, "\n");
}

void writeNumber(FileCall& call) {
    if (!call.arg(0).isNumeric()) return call.failType(1);
    writeItems(call, ValueCell::ofNumber(call.arg(0).number), 1);
}

void writeInt(FileCall& call) {
    if (!call.arg(0).isNumeric()) return call.failType(1);
    writeItems(call, ValueCell::ofInteger(call.arg(0).number), 1);
}

void writeByte(FileCall& call) {
    if (!call.arg(0).isNumeric()) return call.failType(1);
    const char byte = static_cast<char>(truncate32(call.arg(0).number));
    Rendering rendering(call);
    rendering.addCharacters({&byte, 1});
    finishItems(call, rendering, 1);
}

void writeVector(FileCall& call) {
    if (call.argc == 1) {
        if (call.arg(0).type != Vector) return call.failType(1);
        return writeItems(call, call.arg(0), 3);
    }
    for (int i = 2; i >= 0; --i)
        if (!call.arg(i).isNumeric()) return call.failType(i + 1);
    const auto part = [&call](int i) { return call.arg(i).number; };
    writeItems(call, ValueCell::ofVector({part(0), part(1), part(2)}), 3);
}

void nl(FileCall& call) {
    double count = 1.0;
    if (call.argc == 1) {
        if (!call.arg(0).isNumeric()) return call.failType(1);
        count = std::fabs(std::trunc(call.arg(0).number));
    }
    GrowingText& text = call.file().text;
    text.clear();
    if (text.append(static_cast<std::size_t>(truncate(count)), '\n')) flushText(call);
    call.none();
}

void setDelimiter(FileCall& call) {
    std::optional<std::string> next;
    if (call.argc == 1) {
        const ValueCell& given = call.arg(0);
        if (given.isText())
            next = given.text;
        else if (given.isNumeric())
            next = std::string(1, static_cast<char>(truncate32(given.number))).c_str();  // 0 is no character
        else
            return call.failType(1);
    }
    const std::optional<std::string> previous = std::exchange(call.file().delimiter, std::move(next));
    if (!previous) return call.resultNil();
    call.resultText(*previous);
}

void printNil(FileCall& call) {
    bool& flag = call.file().printNil;
    const bool previous = flag;
    if (call.argc == 0) {
        flag = true;
    } else if (const ValueCell& given = call.arg(0); given.isNumeric()) {
        flag = truncate(given.number) != 0;
    } else if (given.isText()) {
        flag = ascii::equalIgnoringCase(given.text, "true");
    }
    call.resultInteger(previous ? 1 : 0);
}

}  // namespace kestrel::builtins::file
