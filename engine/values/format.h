// Number formatting and reading that never depends on the process's locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kestrel {

/// Room for any number that writeG() or writeInt() writes.
inline constexpr int kNumberChars = 32;
/// "%g" without allocating.
/// @param out  at least kNumberChars characters; no NUL is written
/// @return     one past the last character
char* writeG(double v, char* out) noexcept;
/// The "%d" of formatInt() without allocating, otherwise as writeG().
char* writeInt(double v, char* out) noexcept;
/// Room for what writeVector() writes.
inline constexpr int kVectorChars = 3 * kNumberChars + 2;
/// The text of formatVector() without allocating, otherwise as writeG().
char* writeVector(double x, double y, double z, char separator, char* out) noexcept;

/// "%g": six significant digits.
[[nodiscard]] std::string formatG(double v);
/// "%.*f"; a negative precision counts as 6, one beyond the digits that a double can have adds nothing.
[[nodiscard]] std::string formatFixed(double v, int precision);
/// The value as its formatFixed() text reads, without allocating; infinities and NaN stay.
[[nodiscard]] double roundFixed(double v, int precision) noexcept;
/// "%d" of the value truncated toward zero (64-bit inside, so large Integers stay exact).
[[nodiscard]] std::string formatInt(double v);
/// x, y, z in "%g", joined by `separator` (' ' or ',').
[[nodiscard]] std::string formatVector(double x, double y, double z, char separator);

/// Reads a leading decimal floating-point number after optional white space, as C's strtod does in the "C"
/// locale (no hexadecimal, no "inf"/"nan").
/// @param used  receives how many characters were consumed, 0 when there is no number; may be null
/// @return      the value, 0 when there is none
[[nodiscard]] double parseDouble(std::string_view text, std::size_t* used = nullptr);
/// The same at single precision.
[[nodiscard]] float parseFloat(std::string_view text, std::size_t* used = nullptr);
/// Reads a leading decimal integer after optional white space and sign; saturates at 64 bits.
[[nodiscard]] std::int64_t parseInteger(std::string_view text, std::size_t* used = nullptr);
/// Reads up to three numbers separated by white space ("%g %g %g").
/// @return how many were read; the others are left untouched
int parseThree(std::string_view text, double out[3]);
/// The same at single precision.
int parseThree(std::string_view text, float out[3]);

}  // namespace kestrel
