// The generated scanner as scanner.cpp sees it.
#pragma once

namespace kestrel {

class Scanner;

[[nodiscard]] void* newScannerState(Scanner* scanner);
void deleteScannerState(void* state) noexcept;
/// @return the code of the next token, 0 at the end of all input
int scanToken(void* state);

}  // namespace kestrel
