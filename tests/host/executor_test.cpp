// What a host can do between samples, and from inside of them, to a script that is shaded by code: all
// executors must look the same to it.
#include "tests/host/fake_host.h"

#include <cstdlib>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

namespace kestrel::test {
namespace {

Lines* told = nullptr;  // operations of a sample are plain functions
std::function<void(int)> duringTrace;
int rays = 0;

double trace(const double* point, const double* direction, double* color) {
    told->push_back("ray " + std::to_string(point[0]) + " " + std::to_string(direction[2]));
    if (duringTrace) duringTrace(++rays);
    color[0] = 0.25;
    return 2.5;
}

class Executors : public testing::Test {
protected:
    using Scenario = std::function<void(FakeHost&, HxInstance)>;

    ~Executors() override {
        duringTrace = nullptr;
        unsetenv("KESTREL_EXECUTOR");
    }

    static ShadingSample sampleAt(int x) {
        ShadingSample sample{};
        sample.sx = x;
        sample.eta = 1.0;
        sample.rayTrace = trace;
        return sample;
    }

    static void evaluate(FakeHost& host, HxInstance instance, ShadingSample sample) {
        host.handler.evaluate(instance, &sample);
        told->push_back(std::to_string(sample.eta) + " " + std::to_string(sample.mirror));
    }

    /// What a script and its host see of a scenario that begins when code shades the script's samples.
    static Lines life(const char* executor, const char* script, const Scenario& scenario) {
        setenv("KESTREL_EXECUTOR", executor, 1);
        Lines lines;
        told = &lines;
        duringTrace = nullptr;
        FakeHost host;
        const HxInstance instance = host.createWith(script);
        for (int i = 1; i <= 3; ++i) evaluate(host, instance, sampleAt(i));
        KestrelShading shading{};
        EXPECT_EQ(host.module().shading(instance, &shading), 1);
        EXPECT_EQ(shading.shaded, executor == std::string("definition") ? 0u : 2u) << executor;
        rays = 0;
        scenario(host, instance);
        for (const std::string& message : host.said()) lines.push_back(message);
        return lines;
    }

    static void compare(const char* script, const Scenario& scenario) {
        SCOPED_TRACE(script);
        const Lines expected = life("definition", script, scenario);
        EXPECT_GT(expected.size(), 3u);
        for (const char* executor : {"threaded", "native"})
            EXPECT_EQ(life(executor, script, scenario), expected) << executor;
    }
};

TEST_F(Executors, ARunThatIsToEndEndsAtACallOrLoop) {
    for (const char* script :
         {"process: sa { sa.eta = sa.sx; }", "process: sa { sa.eta = abs(sa.sx); }",
          "process: sa { if (sa.sx > 8) sa.eta = f(2); }\nf: x { return x; }",
          "process: sa { for i = 1 to 2 do { sa.eta += i; } }",
          "process: sa { (d, r, g, b) = raytrace(<sa.sx, 0, 0>, <0, 0, 1>);\nsa.eta = d; }"})
        compare(script, [](FakeHost& host, HxInstance instance) {
            host.module().watch->requested = 1;
            for (const int x : {8, 9}) {
                evaluate(host, instance, sampleAt(x));
                told->push_back(std::to_string(host.module().aborted(instance)) + " " +
                                std::to_string(host.module().watch->line));
            }
            host.module().watch->requested = 0;
            evaluate(host, instance, sampleAt(10));
            host.handler.init(instance);
            evaluate(host, instance, sampleAt(11));
        });
}

/// Two rays, what the sample has behind them, and a report of some samples.
const char* const kRays =
    "shaded = 0;\nbegun = 0;\n"
    "process: sa {\n"
    "::begun += abs(sa.sx);\n"
    "(d, r, g, b) = raytrace(<sa.sx, 0, 0>, <0, 0, 2>);\n"
    "if (sa.sx == 7) info(\"seven \", d);\n"
    "(e, r, g, b) = raytrace(<d, 0, 0>, <0, 1, 1>);\n"
    "::shaded++;\n"
    "sa.eta = r + sa.eta * sa.sy; sa.mirror = ::shaded * e; }\n"
    "destroy { info(\"destroyed \", ::shaded, \" \", ::begun); }";

/// Code leaves before it comes to a ray, so it is no longer at work when the host is asked.
const char* const kLeaves =
    "process: sa {\n"
    "if (sa.sx > 3) { t = \"x\"; t += sa.sx; (d, r, g, b) = raytrace(<sa.sx, 0, 0>, <0, 0, 1>); sa.eta += d; "
    "}\n"
    "else sa.eta = sa.sx; }\n"
    "destroy { info(\"destroyed \", t); }";

/// What each way through thousands of branches assigns is found out in a time that grows with the script, not
/// with its third power: that would be hours.
TEST_F(Executors, BranchesAndLocalsByTheThousandAreSoonLookedThrough) {
    std::string script = "process: sa\n{\n    b = 0;\n";
    for (int i = 1; i <= 10'000; ++i) {
        const std::string number = std::to_string(i);
        script += "    if (sa.sx > " + number + ") a" + number + " = 1; else b = " + number + ";\n";
    }
    script += "    sa.eta = b + a1;\n}\n";
    Lines expected;
    for (const char* executor : {"definition", "threaded", "native"}) {
        setenv("KESTREL_EXECUTOR", executor, 1);
        Lines lines;
        told = &lines;
        FakeHost host;
        const HxInstance instance = host.createWith(script.c_str());
        for (const int x : {500, 2, 1, 9'999}) evaluate(host, instance, sampleAt(x));
        EXPECT_TRUE(host.said().empty());
        if (expected.empty()) expected = lines;
        EXPECT_EQ(lines, expected) << executor;
    }
    EXPECT_EQ(expected.size(), 4u);
}

TEST_F(Executors, CodeGoesWhileItsSampleIsShadedOtherwise) {
    compare(kLeaves, [](FakeHost& host, HxInstance instance) {
        duringTrace = [](int ray) {
            if (ray != 1 && ray < 1990) told->clear();  // few tell enough
        };
        for (int x = 4; x < 2000; ++x) evaluate(host, instance, sampleAt(x));
        KestrelShading shading{};
        EXPECT_EQ(host.module().shading(instance, &shading), 1);
        EXPECT_GT(shading.interpreted, 500u) << "it has been given up";
    });
}

TEST_F(Executors, TheHostIsAskedOnceForEachRay) {
    compare(kRays, [](FakeHost& host, HxInstance instance) {
        for (const int x : {4, 7, 8}) evaluate(host, instance, sampleAt(x));
        ShadingSample blind = sampleAt(9);
        blind.rayTrace = nullptr;
        evaluate(host, instance, blind);
    });
    // The run is to end where it leaves a loop.
    compare(
        "process: sa { d = 0; for i = 1 to 20 * sa.sx do {\n"
        "(d, r, g, b) = raytrace(<i, 0, 0>, <0, 0, 1>);\nif (d > 0) break; }\nsa.eta = d; }",
        [](FakeHost& host, HxInstance instance) {
            duringTrace = [&](int) { host.module().watch->requested = 1; };
            evaluate(host, instance, sampleAt(9));
            told->push_back(std::to_string(host.module().watch->line));
            host.module().watch->requested = 0;
        });
    // More than anybody keeps answers of.
    compare(
        "process: sa { for i = 1 to 20 * sa.sx do { (d, r, g, b) = raytrace(<i, 0, 0>, <0, 0, 1>); }\n"
        "sa.eta = d * sa.sx; }",
        [](FakeHost& host, HxInstance instance) { evaluate(host, instance, sampleAt(9)); });
}

TEST_F(Executors, TheHostSeesWhatIsWrittenBeforeARay) {
    compare(
        "process: sa { d = 1; if (sa.sx > 8) { sa.eta = 3; (d, r, g, b) = raytrace(<1, 0, 0>, <0, 0, 1>); }\n"
        "sa.mirror = d; }",
        [](FakeHost& host, HxInstance instance) {
            ShadingSample sample = sampleAt(9);
            duringTrace = [&](int) { told->push_back(std::to_string(sample.eta)); };
            host.handler.evaluate(instance, &sample);
            EXPECT_EQ(told->back().substr(0, 1), "3");
        });
}

TEST_F(Executors, ARayMayChangeTheSampleCallBackThrowAndEndTheInstance) {
    using Act = std::function<void(FakeHost&, HxInstance, ShadingSample&)>;
    const Act acts[] = {
        [](FakeHost& host, HxInstance instance, ShadingSample& sample) {
            sample.eta = 5.0;
            sample.sy = 3;
            evaluate(host, instance, sampleAt(6));  // at work: nothing happens
        },
        [](FakeHost&, HxInstance, ShadingSample& sample) {
            sample.eta = 5.0;
            throw std::runtime_error("no rays");
        },
        [](FakeHost& host, HxInstance, ShadingSample&) { host.module().watch->requested = 1; },
        [](FakeHost& host, HxInstance instance, ShadingSample&) { host.destroy(instance); },
    };
    const std::pair<const char*, int> where[] = {{kRays, 1}, {kRays, 2}, {kLeaves, 1}};
    for (const Act& act : acts)
        for (const auto& [script, nth] : where)
            compare(script, [&, nth = nth](FakeHost& host, HxInstance instance) {
                ShadingSample sample = sampleAt(4);
                duringTrace = [&](int ray) {
                    if (ray == nth) act(host, instance, sample);
                };
                host.handler.evaluate(instance, &sample);
                told->push_back(std::to_string(sample.eta) + " " + std::to_string(sample.mirror));
                if (&act == std::end(acts) - 1) return;  // destroyed
                told->push_back(std::to_string(host.module().aborted(instance)) + " " +
                                std::to_string(host.module().watch->line));
                host.module().watch->requested = 0;
                host.handler.init(instance);
                evaluate(host, instance, sampleAt(5));
            });
}

}  // namespace
}  // namespace kestrel::test
