// Without a library that makes machine code all code is threaded.
#include "engine/fast/native.h"

namespace kestrel::fast {

struct CodeMemory::Impl {};

CodeMemory::CodeMemory() = default;
CodeMemory::~CodeMemory() = default;

std::unique_ptr<NativeCode> NativeCode::make(const Code&, CodeMemory&, const Gate*) {
    return nullptr;
}

NativeCode::~NativeCode() = default;

}  // namespace kestrel::fast
