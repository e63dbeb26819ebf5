// Machine code for x86-64: its memory, and how it comes to be there.
#include "engine/fast/code_memory_x86.h"
#include "engine/fast/native.h"
#include "engine/fast/x86_emitter.h"

#include <cstdlib>

// What the library does when it finds a fault of its own, in place of its file for that: as Debian builds it,
// it cannot go into a shared library for the one mention of stderr there.
ASMJIT_BEGIN_NAMESPACE
namespace DebugUtils {

const char* errorAsString(Error) noexcept {
    return "asmjit failed";
}

void debugOutput(const char*) noexcept {}

void assertionFailed(const char*, int, const char*) noexcept {
    std::abort();
}

}  // namespace DebugUtils
ASMJIT_END_NAMESPACE

#ifndef KESTREL_SANITIZED
// As Debian builds the library, its register allocator looks after each step whether all registers are right,
// which takes two thirds of the time in which machine code is made. Its class is the library's own, so that
// what takes the function's place is known by the linker's name alone; another version of the library does
// not ask for it.
extern "C" bool kestrelTrustsAllocator(const void* assignment) noexcept
    __asm__("_ZN6asmjit8_abi_1_912RAAssignment6verifyEv");
bool kestrelTrustsAllocator(const void*) noexcept {
    return true;
}
#endif

namespace kestrel::fast {

using namespace asmjit;  // NOLINT: its names are all that this file is about

CodeMemory::CodeMemory() {
    // Not the library's own way to ask: in some programs it says no the first time.
    if (__builtin_cpu_supports("avx") != 0) impl_ = std::make_unique<Impl>();
}
CodeMemory::~CodeMemory() = default;

std::unique_ptr<NativeCode> NativeCode::make(const Code& code, CodeMemory& memory, const Gate* gate) {
    CodeMemory::Impl* impl = memory.impl();
    if (impl == nullptr || impl->used.load() >= CodeMemory::kLimit) return nullptr;
    CodeHolder holder;
    if (holder.init(impl->runtime.environment()) != kErrorOk) return nullptr;
    FirstError failed;
    holder.setErrorHandler(&failed);
    x86::Assembler assembler(&holder);
    Gate::Enter entry = nullptr;
    if (!X86Emitter(code, assembler, gate).assemble() || !failed.none() ||
        impl->runtime.add(&entry, &holder) != kErrorOk)
        return nullptr;
    const std::size_t bytes = holder.codeSize();
    impl->used += bytes;
    return std::unique_ptr<NativeCode>(new NativeCode(memory, entry, bytes));
}

NativeCode::~NativeCode() {
    memory_.impl()->used -= bytes_;
    memory_.impl()->runtime.release(enter_);
}

}  // namespace kestrel::fast
