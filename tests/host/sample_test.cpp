// The shading object: every member's way of reading and writing, and what the host is asked at a sample.
#include "tests/host/fake_host.h"

#include <array>
#include <cstring>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace kestrel::test {
namespace {

/// A sample in which every value differs.
ShadingSample numberedSample() {
    ShadingSample s{};
    s.sx = 11;
    s.sy = 12;
    s.objID = 77;
    s.polNum = 78;
    s.spotSize = 0.5;
    s.rayLength = 0.25;
    s.cosine = 0.125;
    double next = 1.0;
    for (double* v : {&s.luminous, &s.diffuse, &s.specular, &s.mirror, &s.transparency, &s.eta, &s.roughness})
        *v = next++;
    next = 101.0;
    for (double* vector : {s.oPos, s.wPos, s.gNorm, s.raySource, s.wNorm, s.color, s.oXfrm, s.wXfrm}) {
        const int count = vector == s.oXfrm || vector == s.wXfrm ? 9 : 3;
        for (int i = 0; i < count; ++i) vector[i] = next + i;
        next += 100.0;
    }
    return s;
}

class Sample : public testing::Test {
protected:
    /// Runs one `process`, of which every line is line 1, on the sample.
    Lines evaluate(const std::string& body, ShadingSample& sample) {
        const HxInstance instance = host.createWith("process: sa { " + body + " }");
        host.handler.evaluate(instance, &sample);
        host.destroy(instance);
        return host.said();
    }

    FakeHost host;
};

TEST_F(Sample, EveryMemberReadsAsItsRule) {
    const std::string badIndex = "Line 1, illegal index value: ";
    ShadingSample sample = numberedSample();
    // Is it an Integer, is it a Number; an index on a single value is ignored.
    const std::pair<std::string, const char*> singles[] = {
        {"sx", "11 10 11"},         {"sy", "12 10 12"},     {"polNum", "78 10 78"},
        {"spotSize", "0.5 01 0.5"}, {"luminous", "1 01 1"}, {"rayLength", "0.25 01 0.25"},
        {"diffuse", "2 01 2"},      {"specular", "3 01 3"}, {"cosine", "0.125 01 0.125"},
        {"transparency", "5 01 5"}, {"mirror", "4 01 4"},   {"eta", "6 01 6"},
        {"roughness", "7 01 7"},
    };
    for (const auto& [member, shown] : singles) {
        const std::string kinds = ", \" \", v.isInt(), v.isNum(), \" \", ";
        EXPECT_EQ(evaluate("v = sa." + member + "; info(v" + kinds + "sa." + member + "[9]);", sample),
                  Lines{shown});
    }
    const std::tuple<std::string, int, int> vectors[] = {
        {"oPos", 101, 3},  {"wPos", 201, 3},  {"gNorm", 301, 3}, {"wNorm", 501, 3},
        {"color", 601, 3}, {"oXfrm", 701, 9}, {"wXfrm", 701, 9},  // both transforms read the same numbers
    };
    for (const auto& [member, first, count] : vectors) {
        const std::string last = std::to_string(count);
        EXPECT_EQ(evaluate("info(sa." + member + "[1], \" \", sa." + member + "[" + last + "]);", sample),
                  Lines{std::to_string(first) + " " + std::to_string(first + count - 1)});
        for (const std::string& index : {std::string("0"), std::to_string(count + 1)})
            EXPECT_EQ(evaluate("v = sa." + member + "[" + index + "]; info(v);", sample),
                      (Lines{badIndex + member + "[" + index + "]", "(nil)"}));
        EXPECT_EQ(evaluate("v = sa." + member + "; info(v);", sample),
                  (Lines{badIndex + member + "[-1]", "(nil)"}));
    }
}

TEST_F(Sample, NamesThatAreNoMembersAreTold) {
    ShadingSample sample = numberedSample();
    // A piece of a name passes the first look and fails the second.
    EXPECT_EQ(evaluate("v = sa.os; info(v);", sample),
              (Lines{"Line 1, unknown Shader data member specified: os", "(nil)"}));
    EXPECT_EQ(evaluate("sa.os = 1;", sample), (Lines{"Line 1, unknown Shader data member specified: os"}));
    EXPECT_EQ(evaluate("info(sa.shine);", sample).front(),
              "Line 1, unknown ShaderObj data member: process::sa.shine");
    EXPECT_EQ(evaluate("sa.shine = 1;", sample),
              (Lines{"Line 1, unknown ShaderObject data member: process::sa.shine"}));
    EXPECT_EQ(evaluate("sa.shine(1);", sample),
              (Lines{"Line 1, unknown object method: (ShaderObj)process::sa.shine()"}));
    // The source of the ray is a known name without a value.
    EXPECT_EQ(evaluate("sa.raySource; info(\"on\");", sample), (Lines{"on"}));
}

TEST_F(Sample, WritesGoStraightIntoTheSample) {
    using Case = std::tuple<const char*, std::ptrdiff_t, double>;
    for (const auto& [statement, offset, after] :
         {Case{"sa.luminous[7] = 0.5;", offsetof(ShadingSample, luminous), 0.5},
          Case{"sa.diffuse = 9;", offsetof(ShadingSample, diffuse), 9},
          Case{"sa.specular += 0.5;", offsetof(ShadingSample, specular), 3.5},
          Case{"sa.mirror -= 1;", offsetof(ShadingSample, mirror), 3},
          Case{"sa.transparency *= 2;", offsetof(ShadingSample, transparency), 10},
          Case{"sa.eta /= 4;", offsetof(ShadingSample, eta), 1.5},
          Case{"sa.roughness++;", offsetof(ShadingSample, roughness), 8},
          Case{"sa.color[2] = -1;", offsetof(ShadingSample, color) + 8, -1},
          Case{"--sa.wNorm[3];", offsetof(ShadingSample, wNorm) + 16, 502}}) {
        SCOPED_TRACE(statement);
        ShadingSample sample = numberedSample();
        ShadingSample expected = sample;
        std::memcpy(reinterpret_cast<char*>(&expected) + offset, &after, sizeof after);
        EXPECT_EQ(evaluate(statement, sample), Lines{});
        EXPECT_EQ(std::memcmp(&sample, &expected, sizeof sample), 0);
    }
    ShadingSample sample = numberedSample();
    EXPECT_EQ(evaluate("info(sa.eta++, \" \", ++sa.eta, \" \", sa.eta);", sample), (Lines{"6 8 8"}));
}

TEST_F(Sample, RefusedWritesLeaveTheSampleAsItWas) {
    const ShadingSample original = numberedSample();
    const auto refused = [&](const std::string& statement, const std::string& message) {
        ShadingSample sample = original;
        EXPECT_EQ(evaluate(statement, sample), Lines{"Line 1, " + message}) << statement;
        EXPECT_EQ(std::memcmp(&sample, &original, sizeof sample), 0) << statement;
    };
    for (const char* member : {"sx", "sy", "oPos[1]", "wPos[1]", "gNorm[1]", "spotSize", "raySource[1]",
                               "rayLength", "cosine", "oXfrm[1]", "wXfrm[1]", "objID", "polNum"}) {
        const std::string name = std::string(member).substr(0, std::string(member).find('['));
        for (const char* value : {"1", "\"text\""})
            refused(std::string("sa.") + member + " = " + value + ";",
                    "illegal assignment to read-only Shader data member: " + name);
    }
    refused("sa.color[4] = 1;", "illegal index value: color[4]");
    refused("sa.color = 1;", "illegal index value: color[-1]");
    refused("sa.wNorm[0] = \"text\";", "illegal index value: wNorm[0]");
    refused("sa.diffuse = \"text\";", "illegal value in assignment to Shader data member: diffuse");
    refused("sa.color[1] = nil;", "illegal value in assignment to Shader data member: color");
    refused("sa.eta = <1,2,3>;", "illegal value in assignment to Shader data member: eta");
    refused("sa.eta /= 0;", "illegal division by zero detected");
}

/// What the host was asked by illuminate and raytrace.
struct Asked {
    HostItemID light;
    double point[3];
    double vector[3];
} asked;

std::int32_t illuminateAt(HostItemID light, const double point[3], double vector[3], double color[3]) {
    asked.light = light;
    std::memcpy(asked.point, point, sizeof asked.point);
    std::memcpy(asked.vector, vector, sizeof asked.vector);
    for (int i = 0; i < 3; ++i) {
        vector[i] = i + 1;
        color[i] = i + 4;
    }
    return 0;
}

double traceRay(const double point[3], const double direction[3], double color[3]) {
    std::memcpy(asked.point, point, sizeof asked.point);
    std::memcpy(asked.vector, direction, sizeof asked.vector);
    for (int i = 0; i < 3; ++i) color[i] = i + 0.5;
    return 42.0;
}

ShadingSample litSample() {
    ShadingSample sample = numberedSample();
    sample.illuminate = illuminateAt;
    sample.rayTrace = traceRay;
    return sample;
}

TEST_F(Sample, TheHostIsAskedForLightAndRays) {
    ShadingSample sample = litSample();
    for (const char* call : {"illuminate(sa.objID, <1,2,3>, a)", "sa.illuminate(sa.objID, <1,2,3>, a)"}) {
        asked = {};
        // Elements that hold nothing are passed over.
        EXPECT_EQ(evaluate(std::string("var a[5]; a[2] = 4; a[3] = 5.5; a[5] = 6; ") +
                               "(x, y, z, r, g, b) = " + call + "; info(x, y, z, r, g, b);",
                           sample),
                  (Lines{"123456"}));
        EXPECT_EQ(asked.light, 77u);
        EXPECT_EQ(asked.point[2], 3.0);
        EXPECT_EQ(std::to_array(asked.vector), (std::array{4.0, 5.5, 6.0}));
    }
    for (const char* call : {"raytrace(<1,2,3>, <0,3,4>)", "sa.raytrace(<1,2,3>, <0,3,4>)"}) {
        asked = {};
        EXPECT_EQ(evaluate(std::string("(d, r, g, b) = ") + call + "; info(d, \" \", r, \" \", g, \" \", b);",
                           sample),
                  (Lines{"42 0.5 1.5 2.5"}));
        EXPECT_EQ(asked.point[0], 1.0);
        EXPECT_DOUBLE_EQ(asked.vector[1], 0.6);
        EXPECT_DOUBLE_EQ(asked.vector[2], 0.8);
    }
    asked.vector[0] = 1.0;
    evaluate("raytrace(<1,2,3>, <0,0,0>);", sample);
    EXPECT_EQ(asked.vector[0], 0.0);
}

TEST_F(Sample, WrongQuestionsToTheHostAreTold) {
    const std::string arrays = "var few[3]; few[1] = 1; few[3] = 2; var odd[4]; odd[2] = 1; odd[3] = \"x\"; ";
    using Case = std::pair<const char*, const char*>;
    for (const auto& [call, message] :
         {Case{"sa.illuminate(1, <0,0,0>)", "invalid argument count to illuminate()"},
          Case{"illuminate(sa.objID, 1, 2)", "invalid argument 3 type to illuminate()"},
          Case{"illuminate(sa.objID, 1, <0,0,0>)", "invalid argument 2 type to illuminate()"},
          Case{"illuminate(1, <0,0,0>, <0,0,0>)", "invalid argument 1 type to illuminate()"},
          Case{"illuminate(sa.objID, few, <0,0,0>)", "array size less than required argument count"},
          Case{"illuminate(sa.objID, odd, <0,0,0>)", "invalid array element [3] type to illuminate()"},
          Case{"sa.raytrace(<0,0,0>)", "invalid argument count to raytrace()"},
          Case{"raytrace(1, 2)", "invalid argument 2 type to raytrace()"},
          Case{"raytrace(\"p\", <0,0,1>)", "invalid argument 1 type to raytrace()"},
          Case{"raytrace(<0,0,0>, few)", "array size less than required argument count"},
          Case{"raytrace(odd, <0,0,1>)", "invalid array element [3] type to raytrace()"}}) {
        ShadingSample sample = litSample();
        EXPECT_EQ(evaluate(arrays + "v = " + call + "; info(v);", sample),
                  (Lines{std::string("Line 1, ") + message, "(nil)"}))
            << call;
    }
}

TEST_F(Sample, ItemsCompareByTheirNumbers) {
    const HxInstance instance = host.createWith(
        "first = nil;\nprocess: sa {\n  if (::first == nil) ::first = sa.objID;\n  i = sa.objID;\n"
        "  info(::first == i, ::first < i, ::first > i, ::first == 5);\n}");
    ShadingSample sample{};
    for (const HostItemID item : {5U, 0x80000001U}) {
        sample.objID = item;
        host.handler.evaluate(instance, &sample);
    }
    EXPECT_EQ(host.said(), (Lines{"1000", "0100"}));
}

TEST_F(Sample, NothingIsSeenWrittenOrAskedOutsideProcess) {
    const HxInstance instance = host.createWith(
        "kept = nil;\nid = nil;\nprocess: sa { ::kept = sa; ::id = sa.objID; }\n"
        "init { v = illuminate(::id, <0,0,0>, <0,0,1>); info(v);\n v = raytrace(<0,0,0>, <0,0,1>); info(v);\n"
        "k = ::kept; v = k.sx; info(v); v = k.shine; info(v); k.luminous = 3; k.luminous++; }");
    ShadingSample sample = litSample();
    host.handler.evaluate(instance, &sample);
    host.handler.init(instance);
    EXPECT_EQ(host.said(),
              (Lines{"Line 4, illegal invocation of function illuminate()", "(nil)",
                     "Line 5, illegal invocation of function raytrace()", "(nil)", "(nil)", "(nil)"}));
    EXPECT_EQ(sample.luminous, 1.0);
}

TEST_F(Sample, WhatIsThrownStaysInside) {
    const HxInstance instance =
        host.createWith("process: sa { (d, r, g, b) = raytrace(<0,0,0>, <0,0,1>); sa.eta = d; }");
    ShadingSample sample{};
    sample.rayTrace = [](const double*, const double*, double*) -> double {
        throw std::runtime_error("no rays");
    };
    for (int i = 0; i < 3; ++i) host.handler.evaluate(instance, &sample);
    EXPECT_EQ(host.shown(), Lines{"error: Kestrel/PT / no rays"});  // once: the script is left alone
    host.destroy(instance);
    EXPECT_EQ(host.shown(), Lines{});
}

}  // namespace
}  // namespace kestrel::test
