// The callbacks around rendering: what they pass, what flags() may return, when a failed script is left
// alone.
#include "tests/host/fake_host.h"

#include <tuple>

namespace kestrel::test {

TEST(Evaluate, EachCallbackRunsItsFunctionIfThereIsOne) {
    FakeHost host;
    const HxInstance instance = host.createWith(
        "init { info(\"init\"); }\ncleanup { info(\"cleanup\"); }\n"
        "newtime: frame, time { info(frame, \" \", frame.isInt(), \" \", time, \" \", time.isNum()); }\n"
        "flags { info(\"flags\"); }\nprocess: sa { info(\"process\"); }");
    const HxInstance bare = host.createWith("INIT { info(\"wrong case\"); }", "bare.ks");
    const HxInstance none = host.create();
    for (const HxInstance each : {instance, bare, none}) {
        ShadingSample sample{};
        EXPECT_EQ(host.handler.init(each), nullptr);
        EXPECT_EQ(host.handler.newTime(each, 12, 0.5), nullptr);
        EXPECT_EQ(host.handler.flags(each), 0u);
        host.handler.evaluate(each, &sample);
        host.handler.cleanup(each);
        EXPECT_EQ(host.handler.usedItems(each), nullptr);
        if (each == instance)
            EXPECT_EQ(host.said(), (Lines{"init", "12 1 0.5 1", "flags", "process", "cleanup"}));
        else
            EXPECT_EQ(host.said(), Lines{});
    }
    host.handler.init(nullptr);
    host.handler.evaluate(nullptr, nullptr);
}

TEST(Evaluate, FlagsAreNamesAndNumbers) {
    const char* const kWarning = "Ignoring illegal flag type in function flags()";
    using Case = std::tuple<const char*, std::uint32_t, std::size_t>;
    for (const auto& [body, mask, warnings] :
         {Case{"return \"color\";", HXSF_COLOR, 0}, Case{"return COLOR;", HXSF_COLOR, 0},
          Case{"return 2.9;", HXSF_LUMINOUS, 0},
          Case{"return \"Normal\", \"LUMINOUS\", \"diffuse\", \"specular\", \"mirror\";", 0x3d, 0},
          Case{"return \"transparent\", \"eta\", \"rough\", \"raytrace\";", 0x5c0, 0},
          Case{"return NORMAL, COLOR, LUMINOUS, DIFFUSE, SPECULAR, MIRROR, TRANSPARENT, ETA, "
               "ROUGHNESS, RAYTRACE;",
               0x5ff, 0},
          Case{"return \"roughness\";", 0, 1}, Case{"return 9, -1, 11, nil, <1,2,3>, COLOR;", HXSF_COLOR, 5},
          Case{"return \"co\" + \"lor\";", HXSF_COLOR, 0}, Case{"return;", 0, 0}, Case{"x = 1;", 0, 0}}) {
        SCOPED_TRACE(body);
        FakeHost host;
        const HxInstance instance = host.createWith(std::string("flags { ") + body + " }");
        EXPECT_EQ(host.handler.flags(instance), mask);
        EXPECT_EQ(host.said(), Lines(warnings, kWarning));
    }
}

TEST(Evaluate, AdviceGoesToWhoeverTakesItOnceForEachPlace) {
    const char* const kScript = "process: sa {\n  width = nil;\n  sa.luminous = 1 + width;\n}";
    FakeHost host;
    ShadingSample sample{};
    const auto shade = [&](const HxInstance instance) {
        for (int i = 0; i < 3; ++i) {
            host.handler.init(instance);  // the run before has failed
            host.handler.evaluate(instance, &sample);
        }
        return host.said();
    };
    const Lines said = shade(host.createWith(kScript));
    ASSERT_FALSE(said.empty());

    struct Taken {
        const FakeHost& host;
        Lines lines;
    } taken{host, {}};
    host.module().setAdvice(
        [](void* user, const char* rule, const char* text) {
            auto& to = *static_cast<Taken*>(user);
            KestrelPlace place{};
            EXPECT_EQ(to.host.module().place(0, &place), 1);
            to.lines.push_back(std::string(rule) + ", line " + std::to_string(place.line) + ": " + text);
        },
        &taken);
    EXPECT_EQ(shade(host.createWith(kScript, "other.ks")), said) << "messages stay as they are";
    EXPECT_EQ(taken.lines, (Lines{"operands, line 3: left of the + stands the number 1, right of it width, "
                                  "which is nil"}));
    host.module().setAdvice(nullptr, nullptr);
    shade(host.createWith(kScript, "third.ks"));
    EXPECT_EQ(taken.lines.size(), 1U);
}

TEST(Evaluate, AdviceNamesWhatStandsOnEitherSideOfEveryOperator) {
    for (const std::string sign : {"-", "*", "/", "%", "<<", ">>", "^", "|", "&"}) {
        FakeHost host;
        std::string taken;
        host.module().setAdvice(
            [](void* user, const char*, const char* text) { *static_cast<std::string*>(user) += text; },
            &taken);
        const HxInstance instance =
            host.createWith("process: sa { t = \"text\"; n = 3; a = n " + sign + " t; }");
        ShadingSample sample{};
        host.handler.evaluate(instance, &sample);
        host.module().setAdvice(nullptr, nullptr);
        EXPECT_TRUE(taken.starts_with("left of the " + sign +
                                      " stands n, which is the number 3, right of it t, which is the text"))
            << sign << ": " << taken;
    }
}

TEST(Evaluate, AFailedScriptWaitsForAnotherCallback) {
    FakeHost host;
    const HxInstance instance = host.createWith(
        "broken = 0;\ninit { ::broken = 1; }\nnewtime: f, t { ::broken = 0; }\nflags { if (::broken) x[5] += "
        "1; return 1; }\n"
        "process: sa { sa.luminous = 1; if (::broken) x[5] += 1; sa.luminous = 2; }");
    ShadingSample sample{};
    const auto luminous = [&] {
        sample.luminous = 0.0;
        host.handler.evaluate(instance, &sample);
        return sample.luminous;
    };
    EXPECT_EQ(luminous(), 2.0);
    host.handler.init(instance);
    EXPECT_EQ(luminous(), 1.0);
    EXPECT_EQ(host.module().aborted(instance), 1);
    EXPECT_EQ(host.said(), Lines{"Line 5, attempt to access undeclared array x"});
    EXPECT_EQ(luminous(), 0.0);      // skipped
    host.handler.cleanup(instance);  // not defined: changes nothing
    EXPECT_EQ(luminous(), 0.0);
    EXPECT_EQ(host.handler.flags(instance), 0u);  // runs, and fails itself
    EXPECT_EQ(luminous(), 0.0);
    host.handler.newTime(instance, 1, 0.0);
    EXPECT_EQ(luminous(), 2.0);
}

TEST(Evaluate, TopLevelCodeThatFailsKeepsProcessFromRunning) {
    FakeHost host;
    const HxInstance instance =
        host.createWith("bad = 1 / 0;\nprocess: sa { sa.eta = 3; }\nlast = 1;\n", "ok.ks");
    ShadingSample sample{};
    host.handler.evaluate(instance, &sample);
    EXPECT_EQ(sample.eta, 3.0);  // the last stretch went well
    host.load(instance, host.write("bad.ks", "process: sa { sa.eta = 4; }\nbad = 1 / 0;"));
    host.handler.evaluate(instance, &sample);
    EXPECT_EQ(sample.eta, 3.0);
}

}  // namespace kestrel::test
