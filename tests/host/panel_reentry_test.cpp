// A host that runs other scripts, or draws, from inside the operations of its panels.
#include "tests/host/fake_host.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>

namespace kestrel::test {
namespace {

std::function<void()> interruption;  // operations of the service are plain functions
PanelServices plain{};

void interrupt() {
    if (const auto once = std::exchange(interruption, nullptr)) once();
}

/// Runs the interruption first: the operation then works on what must still be there.
template <auto kOperation, class Result, class... Args>
auto interrupted(Result (*)(Args...)) {
    return +[](Args... args) {
        interrupt();
        return (plain.*kOperation)(args...);
    };
}

template <auto kOperation>
void interruptIn(PanelServices& services) {
    services.*kOperation = interrupted<kOperation>(services.*kOperation);
}

class PanelReentry : public testing::Test {
protected:
    PanelReentry() { plain = host.panels.services; }
    ~PanelReentry() override { interruption = nullptr; }

    [[nodiscard]] bool there(const std::string& title) const {
        return std::ranges::any_of(host.panels.panels,
                                   [&](const auto& panel) { return panel->title == title; });
    }

    FakeHost host;
};

const char* const kFirst =
    "options { reqbegin(\"one\"); c = ctlinteger(\"c\", 1); s = ctlsep(); t = ctlsep(1, 2);\n"
    "setvalue(c, 2); v = getvalue(c); r = reqpost(); reqend(); info(\"first\"); }";
const char* const kSecond =
    "options { reqbegin(\"two\"); for k = 1 to 200 do { s = ctlsep(); c = ctlinteger(\"d\", k); }\n"
    "r = reqpost(); info(\"second \", getvalue(c)); }";

TEST_F(PanelReentry, AnotherScriptMayTakeOverInAnyOperation) {
    using Wrap = void (*)(PanelServices&);
    for (const Wrap wrap : std::initializer_list<Wrap>{
             interruptIn<&PanelServices::createPanel>, interruptIn<&PanelServices::destroyPanel>,
             interruptIn<&PanelServices::openPanel>, interruptIn<&PanelServices::getPanel>,
             interruptIn<&PanelServices::setPanel>, interruptIn<&PanelServices::setPanelDraw>,
             interruptIn<&PanelServices::screenSize>, interruptIn<&PanelServices::addControl>,
             interruptIn<&PanelServices::getControl>, interruptIn<&PanelServices::setControl>,
             interruptIn<&PanelServices::redrawControl>, interruptIn<&PanelServices::setValue>,
             interruptIn<&PanelServices::getValue>, interruptIn<&PanelServices::drawLine>}) {
        host.panels.services = plain;
        wrap(host.panels.services);
        const HxInstance first = host.createWith(kFirst, "one.ks");
        const HxInstance second = host.createWith(kSecond, "two.ks");
        bool before = false;
        interruption = [&] {
            before = there("one");
            EXPECT_EQ(host.edit(second), HXM_OK);
            EXPECT_EQ(there("one"), before) << "it is at work";
        };
        EXPECT_EQ(host.edit(first), HXM_OK);
        EXPECT_EQ(interruption, nullptr);
        const Lines said = host.said();
        EXPECT_EQ(std::ranges::count(said, "second 200"), 1);
        EXPECT_EQ(said.back(), "first");
        host.destroy(first);
        host.destroy(second);
        EXPECT_TRUE(host.panels.panels.empty());
    }
}

TEST_F(PanelReentry, AnothersPanelIsOutOfReach) {
    const HxInstance first = host.createWith(
        "kept = 0; options { reqbegin(\"one\"); c = ctlinteger(\"c\", 7); r = reqpost();\n"
        "info(\"mine \", getvalue(c)); }\n",
        "one.ks");
    host.panels.answer = [&](FakePanel& panel) {
        for (const std::string call :
             {"ctlinteger(\"l\", 1)", "addtext(\"l\", \"x\")", "reqpost()", "reqsize(1, 2)",
              "ctlposition(1, 2, 3)", "getvalue(1)", "setvalue(1, 2)"}) {
            const HxInstance other = host.createWith("options { reqend(); x = " + call +
                                                         "; info(x == nil); }\n"
                                                         "process: sa { info(\"shades\"); }",
                                                     "other.ks");
            ShadingSample sample{};
            host.handler.evaluate(other, &sample);
            EXPECT_EQ(host.edit(other), HXM_OK);
            host.destroy(other);
            EXPECT_EQ(host.said(), (Lines{"Line 1, illegal call to " + call.substr(0, call.find('(')) +
                                              "(): requestor has not been initialized",
                                          "1"}));
        }
        EXPECT_EQ(panel.controls.size(), 1u);
        return 1;
    };
    EXPECT_EQ(host.edit(first), HXM_OK);
    EXPECT_EQ(host.said(), Lines{"mine 7"});
    EXPECT_EQ(host.panels.log, (Lines{"create one", "open one"}));
}

TEST_F(PanelReentry, APanelThatIsDrawnStaysUntilItIsDrawn) {
    interruptIn<&PanelServices::drawLine>(host.panels.services);
    const HxInstance first = host.createWith(
        "options { reqbegin(\"one\"); s = ctlsep(); t = ctlsep(1, 2); r = reqpost(); }", "one.ks");
    const HxInstance second = host.createWith(kSecond, "two.ks");
    EXPECT_EQ(host.edit(first), HXM_OK);
    interruption = [&] {
        EXPECT_EQ(host.edit(second), HXM_OK);
        EXPECT_TRUE(there("one"));
    };
    FakePanel& panel = host.panels.panel();
    panel.draw(&panel, panel.user);
    EXPECT_FALSE(there("one"));
    EXPECT_EQ(Lines(host.panels.log.end() - 3, host.panels.log.end()),
              (Lines{"line 0 5 300", "line 1 25 2", "destroy one"}));
}

TEST_F(PanelReentry, NothingIsDrawnOfAPanelThatEnds) {
    static HxPanelDraw draw;
    static void* user;
    host.panels.services.setPanelDraw = [](HxPanel panel, HxPanelDraw newDraw, void* newUser) {
        plain.setPanelDraw(panel, newDraw, newUser);
        if (newDraw == nullptr) return;  // this host does not listen
        draw = newDraw;
        user = newUser;
    };
    host.panels.services.destroyPanel = [](HxPanel panel) {
        draw(panel, user);
        plain.destroyPanel(panel);
    };
    const HxInstance instance = host.createWith(kFirst);
    EXPECT_EQ(host.edit(instance), HXM_OK);
    EXPECT_EQ(host.panels.log, (Lines{"create one", "redraw", "redraw", "open one", "line 0 25 300",
                                      "line 1 45 2", "destroy one"}));
}

TEST_F(PanelReentry, AScriptThatACopyReplacesMayBeReplacedOnceMore) {
    const HxInstance changed =
        host.createWith("options { reqbegin(\"one\"); c = ctlinteger(\"c\", 1); }", "one.ks");
    const HxInstance second = host.createWith("process: sa { }", "two.ks");
    const HxInstance third = host.createWith("process: sa { }", "three.ks");
    EXPECT_EQ(host.edit(changed), HXM_OK);
    ASSERT_TRUE(there("one"));
    interruptIn<&PanelServices::destroyPanel>(host.panels.services);
    interruption = [&] { host.handler.copy(third, changed); };
    host.handler.copy(changed, changed);
    host.handler.copy(second, changed);
    EXPECT_EQ(interruption, nullptr);
    EXPECT_FALSE(there("one"));
    host.destroy(second);
    EXPECT_STREQ(host.handler.describe(changed), "Kestrel/PT - THREE.KS");
    host.destroy(third);
    EXPECT_STREQ(host.handler.describe(changed), "Kestrel/PT - THREE.KS");
}

TEST_F(PanelReentry, AHostThatLeavesWithoutDestroyingIsNotCalledAnyMore) {
    const HxInstance instance =
        host.createWith("options { reqbegin(\"one\"); f = File(\"left.txt\", \"w\"); f.write(\"kept\"); }");
    EXPECT_EQ(host.edit(instance), HXM_OK);
    host.panels.services.destroyPanel = [](HxPanel) { std::_Exit(3); };
    EXPECT_EXIT(std::exit(0), testing::ExitedWithCode(0), "");
    host.panels.services = plain;
    EXPECT_EQ(std::filesystem::file_size("left.txt"), 4u);
}

}  // namespace
}  // namespace kestrel::test
