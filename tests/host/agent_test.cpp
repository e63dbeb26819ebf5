// Objects of native classes in shaders: when they end.
#include "tests/host/fake_host.h"

#include <dlfcn.h>

namespace kestrel::test {

TEST(Agents, ObjectsEndWithTheCallThatMadeThemOrWithTheScript) {
    void* library = dlopen(KESTREL_FAKE_CLASS, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto* made = static_cast<const int*>(dlsym(library, "fake_made"));
    const auto* ended = static_cast<const int*>(dlsym(library, "fake_ended"));
    {
        FakeHost host;
        const HxInstance first = host.createWith("use \"" KESTREL_FAKE_CLASS
                                                 "\" as class Probe;\nkept = Probe(1);\n"
                                                 "add: object, x { object.value += x; }\n"
                                                 "process: sa { local = Probe(2); add(local, sa.luminous); "
                                                 "sa.luminous = local.value + kept.value;\n"
                                                 "              if (sa.luminous > 102) x[5] += 1; }");
        ShadingSample sample{};
        for (int i = 1; i <= 100; ++i) {
            sample.luminous = i;
            host.handler.evaluate(first, &sample);
            EXPECT_EQ(sample.luminous, i + 3);
            EXPECT_EQ(*made - *ended, 1) << "also when the last call is aborted";
        }
        EXPECT_EQ(*made, 101);

        const HxInstance second = host.create();
        EXPECT_EQ(host.handler.copy(first, second), nullptr);
        host.destroy(first);
        EXPECT_EQ(*made - *ended, 1) << "the copy shares the script";
        host.destroy(second);
        EXPECT_EQ(*made - *ended, 0);
    }
    dlclose(library);
}

}  // namespace kestrel::test
