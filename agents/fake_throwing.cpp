// A class for the tests whose functions end with exceptions.
#include "sdk/kestrel_agent.h"

#include <stdexcept>

namespace {

[[noreturn]] void fail() {
    throw std::runtime_error("thrown");
}

}  // namespace

KESTREL_AGENT void* constructor(const KestrelCall* call);
KESTREL_AGENT void destructor(void* instance);
KESTREL_AGENT int32_t ownmethod(const char* name);
KESTREL_AGENT int32_t owndata(const char* name);
#ifdef FAKE_THROWING_VERSION
KESTREL_AGENT void version(int32_t* major, int32_t* minor);
void version(int32_t*, int32_t*) {
    fail();
}
#endif
#ifdef FAKE_THROWING_DATA
KESTREL_AGENT void* instdata(void* instance);
void* instdata(void*) {
    fail();
}
#endif
KESTREL_AGENT const KestrelRecord* blow(int32_t count, const KestrelRecord* arguments,
                                        const KestrelCall* call);

void* constructor(const KestrelCall* call) {
    if (call->argument_count > 0) throw 3;
    static int object;
    return &object;
}
void destructor(void*) {
    fail();
}
int32_t ownmethod(const char*) {
    return 1;
}
int32_t owndata(const char*) {
    fail();
}
const KestrelRecord* blow(int32_t, const KestrelRecord*, const KestrelCall*) {
    fail();
}
