#include "engine/values/format.h"

#include "engine/values/value.h"
#include "platform/ascii.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace kestrel {

namespace {

/// No double has more digits than this after its decimal point; what a larger precision adds are zeros nobody
/// wants.
constexpr int kMaxPrecision = 1074;
/// Digits before the point of the largest double, its sign and the point.
constexpr std::size_t kFixedOverhead = 320;

using FixedBuffer = std::array<char, kFixedOverhead + kMaxPrecision>;

char* writeFixed(double v, int precision, FixedBuffer& out) noexcept {
    const int digits = precision < 0 ? 6 : std::min(precision, kMaxPrecision);
    return std::to_chars(out.data(), out.data() + out.size(), v, std::chars_format::fixed, digits).ptr;
}

std::size_t skipSpace(std::string_view text) noexcept {
    std::size_t i = 0;
    while (i < text.size() && ascii::isSpace(text[i])) ++i;
    return i;
}

/// True when the number, which is too large or too small for its type, is too large: the decimal position of
/// its first significant digit decides.
bool isHuge(std::string_view number) noexcept {
    std::int64_t position = 0;
    bool pointSeen = false;
    bool significant = false;
    std::size_t i = 0;
    for (; i < number.size() && (ascii::isDigit(number[i]) || number[i] == '.'); ++i) {
        if (number[i] == '.') {
            pointSeen = true;
            continue;
        }
        if (number[i] != '0') significant = true;
        if (significant && !pointSeen) ++position;
        if (!significant && pointSeen) --position;
    }
    std::int64_t exponent = 0;
    if (i < number.size()) exponent = parseInteger(number.substr(i + 1));
    return exponent > -position;
}

template <class T>
T parseReal(std::string_view text, std::size_t* used) {
    if (used != nullptr) *used = 0;
    std::size_t start = skipSpace(text);
    const bool negative = start < text.size() && text[start] == '-';
    if (start < text.size() && (text[start] == '-' || text[start] == '+')) ++start;
    // from_chars would also take "inf" and "nan" here.
    const std::string_view number = text.substr(start);
    const bool plausible =
        !number.empty() &&
        (ascii::isDigit(number[0]) || (number[0] == '.' && number.size() > 1 && ascii::isDigit(number[1])));
    if (!plausible) return T(0);

    T value = T(0);
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    const auto length = static_cast<std::size_t>(end - number.data());
    if (error == std::errc::result_out_of_range)
        value = isHuge(number.substr(0, length)) ? std::numeric_limits<T>::infinity() : T(0);
    if (used != nullptr) *used = start + length;
    return negative ? -value : value;
}

template <class T>
int parseThreeReals(std::string_view text, T out[3]) {
    int count = 0;
    while (count < 3) {
        std::size_t used = 0;
        const T value = parseReal<T>(text, &used);
        if (used == 0) break;
        out[count++] = value;
        text.remove_prefix(used);
    }
    return count;
}

}  // namespace

char* writeG(double v, char* out) noexcept {
    return std::to_chars(out, out + kNumberChars, v, std::chars_format::general, 6).ptr;
}

char* writeInt(double v, char* out) noexcept {
    return std::to_chars(out, out + kNumberChars, truncate(v)).ptr;
}

std::string formatG(double v) {
    std::array<char, kNumberChars> buffer;
    return {buffer.data(), writeG(v, buffer.data())};
}

std::string formatFixed(double v, int precision) {
    FixedBuffer buffer;
    return {buffer.data(), writeFixed(v, precision, buffer)};
}

double roundFixed(double v, int precision) noexcept {
    if (!std::isfinite(v)) return v;
    FixedBuffer buffer;
    const char* end = writeFixed(v, precision, buffer);
    std::from_chars(buffer.data(), end, v);
    return v;
}

std::string formatInt(double v) {
    std::array<char, kNumberChars> buffer;
    return {buffer.data(), writeInt(v, buffer.data())};
}

char* writeVector(double x, double y, double z, char separator, char* out) noexcept {
    out = writeG(x, out);
    *out++ = separator;
    out = writeG(y, out);
    *out++ = separator;
    return writeG(z, out);
}

std::string formatVector(double x, double y, double z, char separator) {
    std::array<char, kVectorChars> buffer;
    return {buffer.data(), writeVector(x, y, z, separator, buffer.data())};
}

double parseDouble(std::string_view text, std::size_t* used) {
    return parseReal<double>(text, used);
}

float parseFloat(std::string_view text, std::size_t* used) {
    return parseReal<float>(text, used);
}

std::int64_t parseInteger(std::string_view text, std::size_t* used) {
    if (used != nullptr) *used = 0;
    std::size_t i = skipSpace(text);
    const bool negative = i < text.size() && text[i] == '-';
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
    if (i == text.size() || !ascii::isDigit(text[i])) return 0;

    // Collected as a negative number, whose range is the larger one.
    constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
    std::int64_t value = 0;
    for (; i < text.size() && ascii::isDigit(text[i]); ++i) {
        const int digit = text[i] - '0';
        value = value < (kLowest + digit) / 10 ? kLowest : value * 10 - digit;
    }
    if (used != nullptr) *used = i;
    if (negative) return value;
    return value == kLowest ? std::numeric_limits<std::int64_t>::max() : -value;
}

int parseThree(std::string_view text, double out[3]) {
    return parseThreeReals(text, out);
}

int parseThree(std::string_view text, float out[3]) {
    return parseThreeReals(text, out);
}

}  // namespace kestrel
