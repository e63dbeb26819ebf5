// Items of the scene: finding them, every member and method, what wrong uses say, hosts that do not answer.
#include "tests/host/fake_host.h"

#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <utility>

namespace kestrel::test {
namespace {

class Items : public testing::Test {
protected:
    Items() { host.scene.furnish(); }

    /// Runs an `init`, of which every line is line 1.
    Lines run(const std::string& body) {
        const HxInstance instance = host.createWith("init { " + body + " }");
        host.handler.init(instance);
        host.destroy(instance);
        return host.said();
    }
    /// The value of an expression about the item of a name or a kind.
    std::string value(const std::string& item, const std::string& expression) {
        const Lines said = run("i = getfirstitem(" + item + "); v = " + expression + "; info(v);");
        return said.empty() ? "nothing said" : said.front();
    }
    /// The values of members and methods of an item, both lists with a blank between two.
    void expectValues(const std::string& item, const std::string& members, const std::string& expected) {
        std::string body = "i = getfirstitem(" + item + "); ";
        std::istringstream list(members);
        for (std::string member; list >> member;) body += "v = i." + member + "; info(v);\n";
        std::string values;
        for (const std::string& value : run(body)) values += (values.empty() ? "" : " ") + value;
        EXPECT_EQ(values, expected) << item;
    }
    /// What a wrong use says; its value is Nil.
    void expectRefused(const std::string& item, const std::string& expression, const std::string& message) {
        EXPECT_EQ(run("i = getfirstitem(" + item + "); v = 5; v = " + expression + "; info(v);"),
                  (Lines{"Line 1, " + message, "(nil)"}))
            << expression;
    }

    FakeHost host;
};

const std::string kBody = "\"Body\"";

TEST_F(Items, AreFoundByKindAndByName) {
    EXPECT_EQ(run("i = getfirstitem(MESH); info(i.name); i = getfirstitem(\"LIGHT\"); info(i.name);"),
              (Lines{"Body", "Lamp"}));
    EXPECT_EQ(value("CAMERA", "i.name"), "Eye");
    EXPECT_EQ(value("SCENE", "i.name"), "Stage");
    EXPECT_EQ(value("4", "i.next()"), "(nil)");
    // Meshes in order, each with its bones before the next one.
    host.scene.asked();
    EXPECT_EQ(value("\"Spot\"", "i.name"), "Spot");
    EXPECT_EQ(host.scene.asked(),
              (Lines{"first 0", "name 10", "first bone 10", "name 30", "neighbour 30", "name 31",
                     "neighbour 31", "neighbour 10", "name 11", "first bone 11", "neighbour 11", "first 1",
                     "name 20", "neighbour 20", "name 21", "type 21", "name 21"}));
    for (const char* name :
         {"mesh", "Eye", "body", ""}) {  // kinds and names are exact; no camera has a name here
        EXPECT_EQ(run(std::string("v = getfirstitem(\"") + name + "\"); info(v);"),
                  (Lines{std::string("Line 1, invalid object name '") + name + "' provided to getfirstitem()",
                         "(nil)"}));
    }
    for (const char* wrong : {"BONE", "5", "-1", "0.5", "nil", "<0,0,0>"})
        EXPECT_EQ(run(std::string("v = getfirstitem(") + wrong + "); info(v);"),
                  (Lines{"Line 1, invalid argument 1 type to getfirstitem()", "(nil)"}));
    EXPECT_EQ(run("v = getfirstitem(); info(v);").front(),
              "Line 1, invalid argument count to function getfirstitem(): expecting 1, found 0");
    host.scene.first[HX_CAMERA] = 0;
    EXPECT_EQ(value("CAMERA", "i"), "(nil)");
}

TEST_F(Items, TellTheirMembers) {
    host.scene.bits = 0x5;
    expectValues("MESH", "type filename pointcount polycount parent shadows[3]", "0 body.obj 8 6 (nil) 1");
    expectValues("\"Hip\"", "flags[1] flags[2] restlength innerlimit outerlimit", "1 0 1.5 0.25 0.75");
    expectValues("LIGHT", "type shadowtype coneangles[1] coneangles[2]", "7 2 0.5 0.125");
    expectValues("SCENE",
                 "filename totalpoints totalpolygons rendertype renderopts[1] renderopts[2] renderopts[8] "
                 "framestart frameend framestep framewidth frameheight pixelaspect minsamplesperpixel "
                 "maxsamplesperpixel limitedregion[1] limitedregion[4]",
                 "stage.scn 100 50 2 1 0 1 1 60 2 640 480 1.25 1 16 5 8");
    EXPECT_EQ(run("i = getfirstitem(MESH); t = i.target; info(t.name, t.type); g = i.goal; info(g.name);"
                  "a = getfirstitem(\"Arm\"); p = a.parent; info(p.name, p == i);"),
              (Lines{"Lamp7", "Hip", "Body1"}));
    // A frame rate is whole to look at, and keeps its fraction.
    EXPECT_EQ(run("i = getfirstitem(SCENE); f = i.fps; info(f, f.isInt()); f = f + 0.0; info(f);"),
              (Lines{"291", "29.97"}));
    // A clear shadow bit has no value: the assignment finds none.
    EXPECT_EQ(run("i = getfirstitem(MESH); v = 1; v = i.shadows[2]; info(\"not reached\");").size(), 1u);
}

TEST_F(Items, RefuseWrongMembers) {
    for (const auto& [item, index] : {std::pair{"MESH", "shadows[0]"},
                                      {"MESH", "shadows[4]"},
                                      {"\"Hip\"", "flags[3]"},
                                      {"LIGHT", "coneangles[3]"},
                                      {"SCENE", "renderopts[9]"},
                                      {"SCENE", "limitedregion[5]"}})
        expectRefused(item, std::string("i.") + index, std::string("illegal index value: ") + index);
    expectRefused("LIGHT", "i.coneangles", "illegal index value: coneangles[-1]");
    for (const auto& [item, exact, dispatcher] : {std::tuple{"MESH", "Object", "HxObject"},
                                                  {"\"Hip\"", "Bone", "Bone"},
                                                  {"LIGHT", "Light", "Light"},
                                                  {"CAMERA", "Camera", "Camera"},
                                                  {"SCENE", "Scene", "Scene"}}) {
        // A piece of a name passes the first look, and no other name does.
        expectRefused(item, "i.am", "unknown " + std::string(exact) + " data member specified: am");
        const std::string start = "i = getfirstitem(" + std::string(item) + "); ";
        const std::string unknown =
            "Line 1, unknown " + std::string(dispatcher) + " data member: init::i.color";
        EXPECT_EQ(run(start + "info(i.color);").front(), unknown);
        EXPECT_EQ(run(start + "i.color = 1;"), Lines{unknown});
        EXPECT_EQ(run(start + "i.am = 1;"),
                  Lines{"Line 1, unknown " + std::string(exact) + " data member specified: am"});
        for (const char* change : {"i.name = \"x\";", "i.name++;"})
            EXPECT_EQ(run(start + change), Lines{"Line 1, illegal assignment to read-only " +
                                                 std::string(exact) + " data member: name"});
    }
    const std::string images = "Line 1, unknown ImageListInfo data member: ::ImageInfo.name";
    EXPECT_EQ(run("info(ImageInfo.name);").front(), images);
    EXPECT_EQ(run("ImageInfo.name = 1;"), Lines{images});
    EXPECT_EQ(run("info(LightInfo.name);").front(), "Line 1, unknown object reference: ::LightInfo");
}

TEST_F(Items, LeadFromOneToAnother) {
    EXPECT_EQ(run("i = getfirstitem(MESH); for (b = i.bone(); b; b = b.next()) info(b.name); "
                  "a = i.next(); v = a.bone(); info(v); info(b);"),
              (Lines{"Hip", "Knee", "(nil)", "(nil)"}));
    // Every value has a cursor of its own, also two of one item; an assigned one shares it.
    EXPECT_EQ(
        run("a = getfirstitem(MESH); b = getfirstitem(MESH); same = a; a.firstChild(); v = b.nextChild(); "
            "info(v); c = same.nextChild(); info(c.name); v = a.nextChild(); info(v, a == b);"),
        (Lines{"Line 1, call to (HxObject).firstChild() pending", "(nil)", "Lamp", "(nil)1"}));
    EXPECT_EQ(run("a = getfirstitem(MESH); b = getfirstitem(MESH); "
                  "for (x = a.firstChild(); x; x = a.nextChild()) "
                  "for (y = b.firstChild(); y; y = b.nextChild()) info(x.name, y.name); v = a.nextChild();"),
              (Lines{"ArmArm", "ArmLamp", "LampArm", "LampLamp",
                     "Line 1, call to (HxObject).firstChild() pending"}));
    EXPECT_EQ(
        run("s = getfirstitem(SCENE); a = s.next(); b = s.firstChild(); c = s.nextChild(); info(a, b, c);"),
        Lines{"(nil)(nil)(nil)"});
    // A function's local keeps its item, and what arrays hold stays as it is.
    EXPECT_EQ(
        run("keep(); keep(); var held[3]; held[1] = getfirstitem(LIGHT); held[2] = getfirstitem(CAMERA); "
            "for k = 1 to 1000 do { i = getfirstitem(MESH); j = i.next(); } "
            "l = held[1]; c = held[2]; info(l.name, c.name); } "
            "keep { if (!kept) kept = getfirstitem(MESH); else info(kept.name);"),
        (Lines{"Body", "LampEye"}));
}

TEST_F(Items, AnswerTheirMethods) {
    expectValues("MESH", "getPosition(2) getRight(2) getUp(2) getForward(2) getRotation(2) getScaling(2)",
                 "<10,1,2> <10,2,2> <10,3,2> <10,4,2> <10,5,2> <10,6,2>");
    expectValues(
        "MESH",
        "getPivot(2) getWorldPosition(2) getWorldRight(2) getWorldUp(2) getWorldForward(2) param(0,0)",
        "<10,7,2> <10,8,2> <10,9,2> <10,10,2> <10,11,2> <10,1,0>");
    expectValues("MESH", "param(WFORWARD,0.5) param(\"SCALING\",1) dissolve(0.5)",
                 "<10,11,0.5> <10,6,1> 11.5");
    expectValues("\"Hip\"", "restParam(\"UP\")", "<30,3,-1>");
    expectValues("LIGHT", "ambient(0.5) color(0)", "<0.25,0.5,2> <1,0.5,0>");
    expectValues("CAMERA", "zoomFactor(0) focalLength(0) focalDistance(0) fStop(0) blurLength(0)",
                 "41 42 43 43 45");
    EXPECT_EQ(run("i = getfirstitem(CAMERA); (h, v) = i.fovAngles(2); info(h, \" \", v);"), Lines{"2 0.5"});
    const std::string light = "i = getfirstitem(LIGHT); (r, g, b) = ";
    const std::string colors = "; info(r, \" \", g, \" \", b, \" \", r.isInt());";
    EXPECT_EQ(run(light + "i.rgbcolor(0)" + colors), Lines{"255 127 0 1"});
    EXPECT_EQ(run(light + "i.rgbambient(1)" + colors), Lines{"63 255 510 1"});
    host.scene.bits = 2;
    EXPECT_EQ(run("i = getfirstitem(MESH); (a, b, c, d, e, f) = i.limits(\"UP\"); "
                  "info(a, \" \", b, \" \", c, \" \", d, \" \", e, \" \", f);"),
              Lines{"-3 (nil) -3 3 (nil) 3"});
    // What needs no item is there without one.
    EXPECT_EQ(run("v = LightInfo.ambient(0); info(v); v = LightInfo.color(0); info(v); v = ImageInfo.next(); "
                  "info(v);"),
              (Lines{"<0.25,0,2>", "(nil)", "(nil)"}));
}

TEST_F(Items, RefuseWrongArguments) {
    const auto refused = [this](const char* item, const std::string& kind, const std::string& calls) {
        std::istringstream list(calls);
        for (std::string call; list >> call;)
            expectRefused(item, "i." + call, kind + call.substr(0, call.find('(')) + "()");
    };
    refused("MESH", "invalid argument count to (HxObject).",
            "next(1) nextChild(1) bone(1) param(1) getUp() limits() dissolve()");
    refused("MESH", "invalid argument 2 type to (HxObject).",
            "param(\"position\",0) param(11,0) param(-1,0) param(1.5,0) param(0,\"now\") limits(nil) "
            "dissolve(\"x\")");
    refused("MESH", "invalid argument 1 type to (HxObject).", "getWorldUp(nil)");
    refused("SCENE", "invalid argument count to (HxObject).", "next(1)");
    refused("LIGHT", "invalid argument count to (LightInfo).", "ambient() color(1,2)");
    refused("LIGHT", "invalid argument 1 type to (LightInfo).", "ambient(nil) rgbambient(nil) rgbcolor(nil)");
    refused("CAMERA", "invalid argument count to (CameraInfo).", "zoomFactor()");
    refused("CAMERA", "invalid argument 2 type to (CameraInfo).",
            "zoomFactor(nil) fStop(nil) fovAngles(nil)");
    expectRefused("MESH", "i.firstChild(1)", "invalid argument 1 type to (HxObject).first()");
    expectRefused("\"Hip\"", "i.restParam()", "invalid argument count to (BoneInfo).restparm()");
    expectRefused("\"Hip\"", "i.restParam(99)", "invalid argument 2 type to (BoneInfo).restparam()");
    // Known by name, but not on these.
    expectRefused("MESH", "i.restParam(1)", "unknown object method: (HexaplaneObject)init::i.restParam");
    expectRefused("SCENE", "i.param(1, 0)", "unknown object method: (HexaplaneObject)init::i.param");
    // Other names are nobody's, and leave nothing.
    EXPECT_EQ(run("i = getfirstitem(MESH); i.color(0); i.Next();"),
              (Lines{"Line 1, unknown object method: (HexaplaneObject)init::i.color()",
                     "Line 1, unknown object method: (HexaplaneObject)init::i.Next()"}));
}

/// Everything that asks the host, about items that the script has by its global variables.
const char* const kAskAll =
    "m = nil; l = nil; c = nil; b = nil; s = nil;\n"
    "create { ::m = getfirstitem(\"Body\"); ::l = getfirstitem(LIGHT); ::c = getfirstitem(CAMERA);"
    " ::b = getfirstitem(\"Hip\"); ::s = getfirstitem(SCENE); }\n"
    "say: v { info(v); }\n"
    "init {\n"
    "say(m.parent); say(m.name); say(m.filename); say(m.pointcount); say(m.shadows[1]); say(l.type); "
    "say(l.name);\n"
    "say(l.coneangles[1]); say(c.name); say(b.flags[1]); say(b.innerlimit); say(s.name); say(s.fps);\n"
    "say(s.renderopts[1]); say(m.next()); say(m.firstChild()); say(m.bone()); say(m.param(0, 0)); "
    "say(m.getUp(0));\n"
    "say(m.limits(0)); say(m.dissolve(0)); say(l.ambient(0)); say(l.rgbcolor(0)); say(c.fStop(0));\n"
    "say(c.fovAngles(0)); say(b.restParam(0)); say(getfirstitem(MESH)); say(getfirstitem(\"Body\"));\n}";

TEST_F(Items, AreNilWhereTheHostDoesNotAnswer) {
    const HxInstance instance = host.createWith(kAskAll);
    EXPECT_EQ(host.said(), Lines{});
    FakeScene& scene = host.scene;
    scene.items = {};
    scene.objects = {};
    scene.bones = {};
    scene.lights = {};
    scene.cameras = {};
    scene.info = {};
    host.handler.init(instance);
    Lines said = host.said();
    EXPECT_EQ(std::erase(said, "(nil)"), 26u);
    EXPECT_EQ(said, (Lines{"0", "0"}));  // of the scene's record, which is there
}

TEST_F(Items, StandNonsenseFromTheHost) {
    const HxInstance instance = host.createWith(kAskAll);
    FakeScene& scene = host.scene;
    for (auto& [id, item] : scene.content) {
        item = {.type = item.type == HX_MESH ? -7 : 99,
                .name = nullptr,
                .next = id,
                .firstBone = 0xffffffff,
                .firstChild = id,
                .nextSibling = id,
                .parent = id};
    }
    scene.bits = 0xffffffff;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (double& part : scene.color) part = nan;
    scene.info.framesPerSecond = nan;
    scene.info.name = nullptr;
    scene.objects.dissolve = [](HostItemID, double) { return std::numeric_limits<double>::quiet_NaN(); };
    // The search goes round in a circle until somebody ends it.
    int questions = 0;
    scene.onQuestion = [&] {
        if (++questions == 100'000) host.module().watch->requested = 1;
    };
    scene.recording = false;
    host.handler.init(instance);
    EXPECT_GE(questions, 100'000);
    EXPECT_EQ(host.module().watch->line, 9);
    host.module().watch->requested = 0;
}

TEST_F(Items, TheExampleShowsThemAll) {
    std::ifstream file(KESTREL_EXAMPLES "/tools/scene_tree.ks");
    std::string script{std::istreambuf_iterator<char>(file), {}};
    script.replace(script.find("\nmain\n"), 6, "\ninit\n");  // what a host runs
    const HxInstance instance = host.createWith(script);
    host.handler.init(instance);
    EXPECT_EQ(host.said(), (Lines{
                               "scene Stage: frames 1 to 60, 640 by 480 pixels",
                               "objects",
                               "  mesh Body: 8 points, 6 polygons, at <10,8,0>",
                               "    mesh Arm: 8 points, 6 polygons, at <11,8,0>",
                               "    light Lamp: type 7, colour 255 127 0, at <20,8,0>",
                               "    bone Hip: 1.5 long, at <30,8,0>",
                               "    bone Knee: 1.5 long, at <31,8,0>",
                               "lights",
                               "  light Lamp: type 7, colour 255 127 0, at <20,8,0>",
                               "  light Spot: type 7, colour 255 127 0, at <21,8,0>",
                               "cameras",
                               "  camera Eye: sees 0 by 28.6479 degrees, at <40,8,0>",
                           }));
}

}  // namespace
}  // namespace kestrel::test
