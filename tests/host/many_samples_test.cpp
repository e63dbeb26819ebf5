// Many samples in one call: all that a host sees is as with one call for each of them.
#include "tests/host/fake_host.h"

#include <string>
#include <string_view>
#include <vector>

namespace kestrel::test {

namespace {

constexpr std::size_t kCount = 333;  // whole groups, and a rest
constexpr int kUntilGroups = 66'000;

/// Not the usual distance between two of them.
struct Record {
    ShadingSample sample;
    double hosts;
};

/// A script that has shaded so many samples that groups pay, and the samples that come next.
struct Shaded {
    FakeHost host;
    HxInstance instance;
    std::vector<Record> records{kCount};

    explicit Shaded(const std::string& script) : instance(host.createWith(script)) {
        Record warm{};
        for (int i = 0; i < kUntilGroups; ++i) host.handler.evaluate(instance, &warm.sample);
        host.handler.newTime(instance, 3, 0.75);
        for (std::size_t i = 0; i < kCount; ++i) {
            records[i].sample.sx = static_cast<std::int32_t>(i);
            records[i].sample.oPos[0] = 0.37 * static_cast<double>(i);
            records[i].sample.luminous = records[i].hosts = 0.5;
        }
    }
    std::size_t together(std::size_t stride = sizeof(Record), std::size_t count = kCount) {
        return host.module().evaluateMany(instance, &records.front().sample, stride, count);
    }
    [[nodiscard]] KestrelShading shading() const {
        KestrelShading told{};
        host.module().shading(instance, &told);
        return told;
    }
};

std::string withProcess(const char* body) {
    return std::string("k = 0; n = 0; list = @1, 2, 3@;\nnewtime: f, t { ::k = t; }\nprocess: sa { ") + body +
           " }";
}

/// All that a host sees.
struct Seen {
    std::string records;
    Lines said;
    bool aborted = false;
    bool operator==(const Seen&) const = default;
};

Seen seenOf(Shaded& shaded) {
    const auto* bytes = reinterpret_cast<const char*>(shaded.records.data());
    return {std::string(bytes, kCount * sizeof(Record)), shaded.host.said(),
            shaded.host.module().aborted(shaded.instance) != 0};
}

}  // namespace

TEST(ManySamples, AreShadedAsOneByOne) {
    const char* const kPlain = "sa.color[1] = sin(sa.oPos[1]) * k; if (sa.sx > 200) sa.luminous += sa.sx;";
    for (const char* body :
         {kPlain, "sa.color[1] = list[sa.sx % 4 + 1] / k;", "if (sa.sx == 100) x[5] += 1; sa.luminous = k;",
          "if (sa.sx % 50 == 7) info(\"at \", sa.sx); sa.luminous = sa.sx * k;",
          "::n += 1; sa.luminous = n; if (sa.sx == 5) ::k = \"a text\"; sa.mirror = k;"}) {
        for (const bool ended : {false, true}) {
            SCOPED_TRACE(std::string(body) + (ended ? ", ended at its first message" : ""));
            const auto shade = [&](const auto& call) {
                Shaded shaded(withProcess(body));
                if (ended) shaded.host.onMessage = [&] { shaded.host.module().watch->requested = 1; };
                call(shaded);
                return seenOf(shaded);
            };
            const Seen single = shade([](Shaded& shaded) {
                for (Record& each : shaded.records)
                    shaded.host.handler.evaluate(shaded.instance, &each.sample);
            });
            const Seen many = shade([&](Shaded& shaded) {
                EXPECT_EQ(shaded.together() < kCount, single.aborted);
                const KestrelShading told = shaded.shading();
                if (body != kPlain || told.executor != std::string_view("native")) return;
                EXPECT_EQ(told.grouped > kCount / 2, __builtin_cpu_supports("avx2") != 0);
            });
            EXPECT_TRUE(many == single);
            EXPECT_EQ(many.said, single.said);
        }
    }
}

TEST(ManySamples, WhatIsNoSampleIsLeftAlone) {
    Shaded many(withProcess("if (sa.sx == 3) info(\"three\"); sa.luminous = 2;"));
    const auto evaluateMany = many.host.module().evaluateMany;
    EXPECT_EQ(evaluateMany(nullptr, &many.records.front().sample, sizeof(Record), 1), 0U);
    EXPECT_EQ(evaluateMany(many.instance, nullptr, sizeof(Record), 1), 0U);
    EXPECT_EQ(evaluateMany(many.host.create(), &many.records.front().sample, sizeof(Record), 1), 0U);
    EXPECT_EQ(many.together(sizeof(Record), 0), 0U);
    EXPECT_EQ(many.together(sizeof(ShadingSample) - 8), 0U);
    EXPECT_EQ(many.together(sizeof(ShadingSample) + 4), 0U);
    EXPECT_EQ(many.records.front().sample.luminous, 0.5);
    many.host.onMessage = [&] {
        EXPECT_EQ(many.together(), 0U) << "it is busy";
        many.host.destroy(many.instance);
    };
    EXPECT_EQ(many.together(), 4U);
    EXPECT_EQ(many.records[4].sample.luminous, 0.5);
}

}  // namespace kestrel::test
