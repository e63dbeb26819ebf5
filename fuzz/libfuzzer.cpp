// The door for libFuzzer. The variable KESTREL_FUZZ_TARGET names the target: programs that it starts of
// itself (to merge, to make a find smaller) so have the same one.
#include "fuzz/sandbox.h"
#include "fuzz/target.h"

#include <cstdint>
#include <cstdlib>

namespace {

const kestrel::fuzz::Target* target = nullptr;  // libFuzzer's functions are plain ones

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    const char* name = std::getenv("KESTREL_FUZZ_TARGET");
    target = kestrel::fuzz::findTarget(name != nullptr ? name : "");
    kestrel::fuzz::require(target != nullptr, "KESTREL_FUZZ_TARGET names none of the targets");
    kestrel::fuzz::Sandbox::get().enter();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    target->run({bytes, size});
    return 0;
}
