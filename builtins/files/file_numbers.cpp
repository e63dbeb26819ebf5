// Reading numbers, in text form and in binary form.
#include "builtins/files/file_methods.h"
#include "engine/values/format.h"
#include "platform/ascii.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <limits>
#include <optional>

namespace kestrel::builtins::file {

namespace {

constexpr bool isSign(int c) noexcept {
    return c == '-' || c == '+';
}

/// The bytes of a stream; to someone who wants the run to end it looks as if they were over.
class Bytes {
public:
    explicit Bytes(FileCall& call) : ctx_(call.ctx), stream_(call.stream()) {}

    int next() noexcept {
        constexpr std::uint32_t kPollMask = 0xFFFF;
        if ((++taken_ & kPollMask) == 0 && ctx_.endRequested()) return EOF;
        return platform::nextByte(stream_);
    }
    int nextAfterSpace() noexcept {
        int c = next();
        while (ascii::isSpace(c)) c = next();
        return c;
    }
    /// Puts bytes back, the last one first. EOF stands for no byte.
    template <class... Rest>
    void unread(int c, Rest... rest) noexcept {
        if (c != EOF) platform::unreadByte(stream_, c);
        if constexpr (sizeof...(rest) > 0) unread(rest...);
    }

private:
    const EngineContext& ctx_;
    std::FILE* stream_;
    std::uint32_t taken_ = 0;
};

/// A decimal number of any length in bounded room: digits that no double can tell apart are only counted.
class Decimal {
public:
    void add(int digit, bool afterPoint) noexcept {
        if (count_ == 0 && digit == '0') {
            if (afterPoint) --exponent_;
        } else if (count_ < kDigits) {
            text_[count_++] = static_cast<char>(digit);
            if (afterPoint) --exponent_;
        } else if (!afterPoint) {
            ++exponent_;
        }
    }
    void addExponent(std::int64_t exponent) noexcept { exponent_ += exponent; }
    [[nodiscard]] double value() noexcept {
        if (count_ == 0) return 0.0;
        char* end = text_.data() + count_;
        *end++ = 'e';
        end = std::to_chars(end, text_.data() + text_.size(), exponent_).ptr;
        return parseDouble({text_.data(), static_cast<std::size_t>(end - text_.data())});
    }

private:
    static constexpr std::size_t kDigits = 800;
    std::array<char, kDigits + kNumberChars> text_;
    std::size_t count_ = 0;
    std::int64_t exponent_ = 0;
};

/// Digits up to a byte that is none, with a sign in front; far beyond any use they saturate.
std::int64_t readDigits(Bytes& bytes, int& c, bool negative, std::int64_t bound) noexcept {
    std::int64_t value = 0;
    for (; ascii::isDigit(c); c = bytes.next()) {
        const int digit = c - '0';
        value = value > (bound - digit) / 10 ? bound : value * 10 + digit;
    }
    return negative ? -value : value;
}

void readExponent(Bytes& bytes, int& c, Decimal& number) noexcept {
    constexpr std::int64_t kBound = 1'000'000'000'000;
    const int letter = c;
    c = bytes.next();
    const int sign = isSign(c) ? c : EOF;
    if (sign != EOF) c = bytes.next();
    if (ascii::isDigit(c)) {
        number.addExponent(readDigits(bytes, c, sign == '-', kBound));
    } else {  // no exponent after all
        bytes.unread(c, sign);
        c = letter;
    }
}

/// The longest number that follows white space; what comes after it is left.
std::optional<double> readDecimal(Bytes& bytes) noexcept {
    int c = bytes.nextAfterSpace();
    const int sign = isSign(c) ? c : EOF;
    if (sign != EOF) c = bytes.next();
    Decimal number;
    bool any = false;
    int point = EOF;
    for (;; c = bytes.next()) {
        if (ascii::isDigit(c)) {
            number.add(c, point != EOF);
            any = true;
        } else if (c == '.' && point == EOF) {
            point = c;
        } else {
            break;
        }
    }
    if (!any) {
        bytes.unread(c, point, sign);
        return std::nullopt;
    }
    if (c == 'e' || c == 'E') readExponent(bytes, c, number);
    bytes.unread(c);
    return sign == '-' ? -number.value() : number.value();
}

std::optional<std::int64_t> readInteger(Bytes& bytes) noexcept {
    int c = bytes.nextAfterSpace();
    const int sign = isSign(c) ? c : EOF;
    if (sign != EOF) c = bytes.next();
    if (!ascii::isDigit(c)) {
        bytes.unread(c, sign);
        return std::nullopt;
    }
    const std::int64_t value = readDigits(bytes, c, sign == '-', std::numeric_limits<std::int64_t>::max());
    bytes.unread(c);
    return value;
}

/// A little-endian number.
template <class T>
std::optional<T> readBinary(FileCall& call) {
    std::array<unsigned char, sizeof(T)> bytes;
    if (std::fread(bytes.data(), 1, bytes.size(), call.stream()) != bytes.size()) return std::nullopt;
    if constexpr (std::endian::native == std::endian::big) std::reverse(bytes.begin(), bytes.end());
    return std::bit_cast<T>(bytes);
}

std::optional<double> readReal(FileCall& call) {
    if (call.file().binary) return readBinary<double>(call);
    Bytes bytes(call);
    return readDecimal(bytes);
}

/// The result where nothing could be read.
void endOfFile(FileCall& call) {
    call.file().meetEnd();
    call.resultNil();
}

}  // namespace

void readNumber(FileCall& call) {
    call.file().beginReading();
    if (const std::optional<double> value = readReal(call)) return call.resultNumber(*value);
    endOfFile(call);
}

void readInt(FileCall& call) {
    call.file().beginReading();
    if (call.file().binary) {
        if (const auto value = readBinary<std::int32_t>(call)) return call.resultInteger(*value);
    } else {
        Bytes bytes(call);
        if (const auto value = readInteger(bytes)) return call.resultInteger(*value);
    }
    endOfFile(call);
}

void readByte(FileCall& call) {
    call.file().beginReading();
    const int byte = platform::nextByte(call.stream());
    if (byte != EOF) return call.resultInteger(byte);
    endOfFile(call);
}

void readVector(FileCall& call) {
    call.file().beginReading();
    std::array<double, 3> parts{};
    for (double& part : parts) {
        const std::optional<double> value = readReal(call);
        if (!value) return endOfFile(call);
        part = *value;
    }
    call.resultVector({parts[0], parts[1], parts[2]});
}

}  // namespace kestrel::builtins::file
