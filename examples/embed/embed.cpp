// A program with a script in it: compiles it, gives it a function, calls one of its own and shades a few
// samples, one by one and as a batch.
#include <kestrel/script.h>

#include <cstddef>
#include <cstdio>
#include <vector>

using namespace kestrel::script;

static const char* const kSource = R"(
var scale = 1;

area: width, height { return cm(width) * cm(height); }

process: sa {
    var stripe = floor(sa.oPos[1] * scale) % 2;
    sa.color[1] = stripe ? 0.9 : 0.2;
    if (sa.oPos[1] > 2) warn("far out: ", sa.oPos[1]);
}
)";

static void print(const std::vector<Diagnostic>& diagnostics) {
    for (const Diagnostic& said : diagnostics)
        std::printf("%s:%d:%d: %s\n", said.file.c_str(), said.line, said.column, said.text.c_str());
}

/// A row of samples in two arrays: several are computed at a time, where the script and the machine allow.
static void shadeRow(Script& script) {
    std::vector<double> xs, reds(1000);
    for (std::size_t i = 0; i < reds.size(); ++i) xs.push_back(static_cast<double>(i) * 0.001);
    Planes planes(xs.size());
    planes.read("oPos", 1, xs).update("color", 1, reds);
    const BatchResult result = script.evaluate(planes);
    double sum = 0.0;
    for (const double red : reds) sum += red;
    std::printf("a row of %zu: mean red %g\n", result.evaluated, sum / static_cast<double>(reds.size()));
    print(script.diagnostics());
}

int main() {
    Engine engine;
    engine.define("cm", 1, [](std::span<const Value> arguments) { return arguments[0].number() * 100; });
    Compiled compiled = engine.compile(kSource, "stripes");
    print(compiled.diagnostics);
    if (!compiled) return 1;
    Script script = *compiled.script;

    const Result area = script.call("area", {2, 1.5});
    if (area) std::printf("area %g\n", area.values.at(0).number());

    script.setGlobal("scale", 2);
    for (int i = 0; i < 3; ++i) {
        Sample sample;
        sample.oPos[0] = i * 1.25;
        if (script.evaluate(sample) == Status::Done)
            std::printf("x %g: red %g\n", sample.oPos[0], sample.color[0]);
        print(script.diagnostics());
    }
    shadeRow(script);
    return 0;
}
