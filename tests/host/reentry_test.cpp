// A host that calls the module from inside its own operations.
#include "tests/host/fake_host.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace kestrel::test {
namespace {

std::function<void()> duringTrace;  // operations of a sample are plain functions

double trace(const double*, const double*, double*) {
    if (duringTrace) duringTrace();
    return 2.5;
}

class Reentry : public testing::Test {
protected:
    ~Reentry() override { duringTrace = nullptr; }

    static ShadingSample tracingSample(int x) {
        ShadingSample sample{};
        sample.sx = x;
        sample.rayTrace = trace;
        return sample;
    }

    FakeHost host;
};

/// Traces a ray in the middle of everything: a loop, a call, an expression; and counts what it has shaded.
const char* const kOuter =
    "shaded = 0;\n"
    "depth: x { (d, r, g, b) = raytrace(<0,0,0>, <0,0,1>); return x + d; }\n"
    "process: sa {\n"
    "for k = 1 to 2 do { sa.mirror = sa.sx + depth(k) * 2; }\n"
    "::shaded++; info(\"outer \", sa.sx, \" \", sa.mirror, \" \", ::shaded);\n"
    "x = nil; x[1]++; }\n"
    "init { info(\"init\"); }\ndestroy { info(\"destroyed\"); }\nsave: m, io { info(\"save\"); }";

TEST_F(Reentry, AnotherScriptShadesWhatARayMeets) {
    const HxInstance outer = host.createWith(kOuter, "outer.ks");
    const HxInstance inner = host.createWith(
        "process: sa { i = sa.objID; i.firstChild(); sa.eta = sa.sx; info(\"inner \", sa.sx);\n"
        "v = ab(1); }\nab: x { error(\"inside\"); return x; }",
        "inner.ks");
    ShadingSample within = tracingSample(7);
    duringTrace = [&] { host.handler.evaluate(inner, &within); };
    ShadingSample sample = tracingSample(5);
    host.handler.evaluate(outer, &sample);
    EXPECT_EQ(within.eta, 7.0);
    EXPECT_EQ(sample.mirror, 5.0 + 4.5 * 2);
    EXPECT_EQ(sample.eta, 0.0);
    // The outer script goes on in its own place, with its own line.
    const Lines said = host.said();
    ASSERT_EQ(said.size(), 6u);
    EXPECT_EQ(said[0], "inner 7");
    EXPECT_EQ(said[1], "inside");
    EXPECT_EQ(said[4], "outer 5 14 1");
    EXPECT_EQ(said[5].substr(0, 7), "Line 6,");
    EXPECT_EQ(host.module().aborted(inner), 0);
}

TEST_F(Reentry, ARunningInstanceIsLeftAlone) {
    const HxInstance outer = host.createWith(kOuter, "outer.ks");
    const HxInstance copy = host.create();
    host.handler.copy(outer, copy);
    const std::string other = host.write("other.ks", "create { info(\"other\"); }");
    const HxInstance spare = host.createWith("process: sa { }", "spare.ks");
    int times = 0;
    duringTrace = [&] {
        ++times;
        for (const HxInstance each : {outer, copy}) {
            ShadingSample within = tracingSample(9);
            host.handler.evaluate(each, &within);
            EXPECT_EQ(within.mirror, 0.0);
            EXPECT_EQ(host.handler.init(each), nullptr);
            host.handler.cleanup(each);
            host.handler.newTime(each, 1, 0.0);
            EXPECT_EQ(host.handler.flags(each), 0u);
            EXPECT_EQ(host.handler.usedItems(each), nullptr);
            EXPECT_EQ(host.save(each, HX_STATE_TEXT).lines.size(), 1u)
                << "which script it has, without a run of its save";
            host.load(each, other);
            host.handler.copy(spare, each);
            EXPECT_EQ(host.edit(each), HXM_OK);
            EXPECT_STREQ(host.handler.describe(each), "Kestrel/PT - OUTER.KS");
        }
    };
    ShadingSample sample = tracingSample(5);
    host.handler.evaluate(outer, &sample);
    EXPECT_EQ(times, 2);
    EXPECT_EQ(host.said().front(), "outer 5 14 1");
    // Afterwards everything is as before.
    host.handler.init(copy);
    EXPECT_EQ(host.said(), Lines{"init"});
    host.handler.copy(spare, copy);
    EXPECT_STREQ(host.handler.describe(copy), "Kestrel/PT - SPARE.KS");
}

TEST_F(Reentry, WhatIsDestroyedMeanwhileEndsAfterwards) {
    const HxInstance outer = host.createWith(kOuter, "outer.ks");
    const HxInstance copy = host.create();
    host.handler.copy(outer, copy);
    HxInstance heir = nullptr;
    duringTrace = [&] {
        if (heir != nullptr) return;
        heir = host.create();
        host.handler.copy(outer, heir);  // of a running one a copy can be made
        host.destroy(outer);
        host.destroy(copy);
        EXPECT_EQ(host.said(), Lines{});
    };
    ShadingSample sample = tracingSample(5);
    host.handler.evaluate(outer, &sample);
    EXPECT_EQ(host.said().front(), "outer 5 14 1");
    duringTrace = nullptr;
    sample.mirror = 0.0;
    host.handler.init(heir);  // the script goes on in it
    host.handler.evaluate(heir, &sample);
    EXPECT_EQ(host.said()[1], "outer 5 14 2");
    // The last instance, destroyed from inside itself; its `destroy` runs once.
    host.lookups.clear();
    duringTrace = [&] {
        if (heir != nullptr) host.destroy(std::exchange(heir, nullptr));
    };
    host.handler.init(heir);
    host.handler.evaluate(heir, &sample);
    const Lines said = host.said();
    EXPECT_EQ(said.back(), "destroyed");
    EXPECT_EQ(std::count(said.begin(), said.end(), "destroyed"), 1);
    EXPECT_FALSE(host.lookups.empty());  // the services are released
}

TEST_F(Reentry, AnythingMayBeCalledFromTheScenesOperations) {
    host.scene.furnish();
    const HxInstance instance = host.createWith(
        "create { effectedby(\"Body\"); }\n"
        "process: sa { i = sa.objID; n = i.name; c = i.firstChild(); c = i.nextChild(); j = "
        "getfirstitem(\"Spot\"); "
        "v = j.getUp(0); info(n, v); }\ndestroy { i = getfirstitem(MESH); info(\"destroyed \", i.name); }");
    HxInstance victim = instance;
    host.scene.onQuestion = [&] {
        ShadingSample within{};
        host.handler.evaluate(instance, &within);
        EXPECT_EQ(host.handler.usedItems(instance), nullptr);
        host.load(instance, host.write("other.ks", ""));
        host.handler.copy(host.create(), instance);
        if (victim != nullptr) host.destroy(std::exchange(victim, nullptr));
    };
    ShadingSample sample{};
    sample.objID = 10;
    host.handler.evaluate(instance, &sample);
    EXPECT_EQ(host.said(), (Lines{"Body<21,3,0>", "destroyed Body"}));
}

TEST_F(Reentry, AnythingMayBeCalledFromAMessageBox) {
    const HxInstance spare = host.createWith("process: sa { sa.eta = 3; }", "spare.ks");
    const std::string other = host.write("other.ks", "create { info(\"other\"); }");
    for (const char* last :
         {"create", "load 1", "init", "newtime", "flags", "process", "save 1", "destroy"}) {
        SCOPED_TRACE(last);
        const HxInstance instance = host.create();
        HxInstance victim = instance;
        host.onMessage = [&] {
            ShadingSample within{};
            host.handler.evaluate(instance, &within);
            EXPECT_EQ(within.eta, 0.0);
            host.handler.init(instance);
            host.load(instance, other);
            host.handler.copy(spare, instance);
            host.handler.evaluate(spare, &within);
            EXPECT_EQ(within.eta, 3.0) << "others are free";
            if (host.messages.back().ends_with(last) && victim != nullptr)
                host.destroy(std::exchange(victim, nullptr));
        };
        host.load(
            instance,
            host.write("shade.ks",
                       "create { info(\"create\"); }\n"
                       "load: m, io { info(\"load \", m); }\ninit { info(\"init\"); }\n"
                       "newtime: f, t { info(\"newtime\"); }\nflags { info(\"flags\"); return COLOR; }\n"
                       "process: sa { info(\"process\"); sa.eta = 0; }\n"
                       "save: m, io { info(\"save \", m); }\ndestroy { info(\"destroy\"); }"));
        ShadingSample sample{};
        const auto alive = [&](auto&& call) {
            if (victim != nullptr) call();
        };
        alive([&] { host.handler.init(instance); });
        alive([&] { host.handler.newTime(instance, 1, 0.0); });
        alive([&] { EXPECT_NE(host.handler.flags(instance), 0u); });
        alive([&] { host.handler.evaluate(instance, &sample); });
        alive([&] { host.save(instance, HX_STATE_TEXT); });
        alive([&] { host.destroy(std::exchange(victim, nullptr)); });
        host.onMessage = nullptr;
        const Lines said = host.said();
        EXPECT_EQ(std::count(said.begin(), said.end(), "destroy"), 1);
        EXPECT_EQ(std::count(said.begin(), said.end(), "other"), 0);
        EXPECT_EQ(said.back(), "destroy");
    }
}

TEST_F(Reentry, AnythingMayBeCalledFromAStateThatIsRead) {
    const HxInstance instance = host.createWith("destroy { info(\"destroyed\"); }", "first.ks");
    const std::string script = host.write("second.ks", "create { info(\"second\"); }");
    struct Reading {
        FakeHost& host;
        HxInstance instance;
        std::string line;
    } reading{host, instance, "Script " + script};
    const LoadState state{
        HX_STATE_TEXT, &reading, [](void* handle, char* buffer, std::int32_t size) {
            auto& self = *static_cast<Reading*>(handle);
            self.host.destroy(self.instance);
            return static_cast<std::int32_t>(self.line.copy(
                buffer, static_cast<std::size_t>(size) - 1));  // the module's buffer holds zeros
        }};
    host.handler.load(instance, &state);
    EXPECT_EQ(host.said(), Lines{"second"});
}

}  // namespace
}  // namespace kestrel::test
