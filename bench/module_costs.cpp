// What the module costs beside the time of a sample. Prints numbers for soak.py.
//
// kestrel-bench-module MODULE load SCRIPT
//     Milliseconds until the script is loaded, and until it has shaded the two samples after which its code
//     is made; then the same of another instance.
// kestrel-bench-module MODULE each SCRIPT PASSES
//     The nanoseconds per sample of each pass over the grid.
// kestrel-bench-module MODULE instances SCRIPT N
//     Resident bytes per instance.
// kestrel-bench-module MODULE soak SCRIPT SAMPLES
//     Resident bytes after a tenth of the samples and at the end.
#include "bench/host_loop.h"
#include "bench/module.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

namespace {

using namespace kestrel::bench;

long residentBytes() {
    long size = 0;
    long resident = 0;
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen("/proc/self/statm", "r"),
                                                                  std::fclose);
    if (file == nullptr || std::fscanf(file.get(), "%ld %ld", &size, &resident) != 2)
        fail("no /proc/self/statm");
    return resident * sysconf(_SC_PAGESIZE);
}

void shade(Instance& instance, long from, long to) {
    for (long i = from; i < to; ++i) {
        ShadingSample sample{};
        sample.oPos[0] = (static_cast<double>(i % kSize) + 0.5) / kSize;
        sample.oPos[1] = (static_cast<double>(i / kSize % kSize) + 0.5) / kSize;
        instance.evaluate(sample);
    }
}

void load(const Module& module, const char* script) {
    for (int i = 0; i < 2; ++i) {
        const double start = processorTime();
        Instance instance(module, script);
        const double loaded = processorTime();
        shade(instance, 0, 2);
        std::printf("%.3f %.3f\n", (loaded - start) * 1e-6, (processorTime() - start) * 1e-6);
    }
}

void makeInstances(const Module& module, const char* script, long count) {
    std::vector<std::unique_ptr<Instance>> instances;
    { Instance first(module, script); }  // what the first one leaves behind is there once
    const long before = residentBytes();
    for (long i = 0; i < count; ++i) {
        instances.push_back(std::make_unique<Instance>(module, script));
        shade(*instances.back(), 0, 16);
    }
    std::printf("%ld\n", (residentBytes() - before) / count);
}

void soak(const Module& module, const char* script, long count) {
    Instance instance(module, script);
    shade(instance, 0, count / 10);
    (void)residentBytes();  // what reading it takes is there once
    const long before = residentBytes();
    shade(instance, count / 10, count);
    std::printf("%ld %ld\n", before, residentBytes());
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view task = argc > 3 ? argv[2] : "";
    const long count = argc > 4 ? std::atol(argv[4]) : 0;
    if (task != "load" && count < 1) {
        std::fputs("usage: kestrel-bench-module MODULE load|each|instances|soak SCRIPT [COUNT]\n", stderr);
        return 2;
    }
    const Module module(argv[1]);
    if (task == "load") load(module, argv[3]);
    if (task == "each") Instance(module, argv[3]).printPasses(static_cast<int>(count));
    if (task == "instances") makeInstances(module, argv[3], count);
    if (task == "soak") soak(module, argv[3], count);
    return 0;
}
