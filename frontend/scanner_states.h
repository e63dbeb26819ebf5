// The generated scanner as scanner.cpp sees it.
#pragma once

#include <cstddef>

namespace kestrel {

class Scanner;

/// @throw std::bad_alloc
[[nodiscard]] void* newScannerState(Scanner* scanner);
/// Goes on at the start of a text, which must stay where it is. The scanner changes it and restores it as it
/// goes.
/// @param size  with two zeros at its end
/// @throw std::bad_alloc
void scanIn(void* state, char* text, std::size_t size);
/// The character behind the last match, where the text has a zero until the next one.
[[nodiscard]] char heldCharacter(void* state) noexcept;
void deleteScannerState(void* state) noexcept;
/// @return the code of the next token, 0 at the end of all input
int scanToken(void* state);

}  // namespace kestrel
