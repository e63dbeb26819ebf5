// Panels that scripts build, show and ask.
#include "tests/host/fake_host.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace kestrel::test {
namespace {

std::string number(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%g", value);
    return text.data();
}

/// A control as the host was told of it: class, label, what is not as usual in its descriptor, value.
std::string told(const FakeControl& control) {
    std::string text = control.className + " " + control.label;
    const HxControlDescriptor& made = control.made;
    if (made.width != 0) text += " width " + std::to_string(made.width);
    if (made.integerComponents != 0) text += " integers";
    if (made.minimum != 0 || made.maximum != 0)
        text += " from " + std::to_string(made.minimum) + " to " + std::to_string(made.maximum);
    if (control.hasChoices) text += " choices";
    for (const std::string& choice : control.choices) text += " " + choice;
    if (made.flag != 0) text += " flag";
    if (made.itemType != HX_LIST_ALL) text += " items " + std::to_string(made.itemType);
    const HxControlValue& value = control.value;
    switch (value.type) {
        case HXCV_INTEGER:
            return text + " = integer " + std::to_string(value.integer);
        case HXCV_NUMBER:
            return text + " = number " + number(value.vector[0]);
        case HXCV_VECTOR:
            return text + " = vector " + number(value.vector[0]) + " " + number(value.vector[1]) + " " +
                   number(value.vector[2]);
        case HXCV_TEXT:
            return text + " = text " + control.text;
        case HXCV_ITEM:
            return text + " = item " + std::to_string(value.item);
        default:
            return text;
    }
}

/// What a wrong call says: of an argument's kind, or 0 of how many there are.
std::string refusal(const std::string& call, int argument) {
    const std::string name = call.substr(0, call.find('(')) + "()";
    if (argument == 0) return "Line 1, invalid argument count to " + name;
    return "Line 1, invalid argument " + std::to_string(argument) + " type to " + name;
}

class Panels : public testing::Test {
protected:
    Panels() {
        host.scene.furnish();
        host.scene.furnishImages();
    }

    /// Runs a script's `options` with this body.
    Lines optionsSay(const std::string& body, const std::string& rest = "") {
        const HxInstance instance = host.createWith(quoted("options { " + body + " }\n" + rest));
        EXPECT_EQ(host.edit(instance), HXM_OK);
        host.destroy(instance);
        return host.said();
    }

    FakeHost host;
};

TEST_F(Panels, EveryControlIsMadeAndReadBack) {
    struct Case {
        const char* call;
        const char* told;
        const char* value;
    };
    for (const Case& c : std::initializer_list<Case>{
             {"ctlstring('l', 'text')", "EditControl l width 20 = text text", "text"},
             {"ctlsurface('l', 's')", "EditControl l = text s", "s"},
             {"ctlfilename('l', 'f')", "FileControl l width 30 = text f", "f"},
             {"ctlinteger('l', -2.9)", "NumControl l = integer -2", "-2"},
             {"ctlinteger('l', 5000000000.0)", "NumControl l = integer 2147483647", "2147483647"},
             {"ctlfont('l', 3)", "NumControl l = integer 3", "3"},
             {"ctlcheckbox('l', 7)", "BoolControl l = integer 1", "1"},
             {"ctlnumber('l', 3)", "FloatControl l = number 3", "3"},
             {"ctldistance('l', 2.5)", "FloatControl l = number 2.5", "2.5"},
             {"ctldistance('l', <1, 2, 3>)", "FVecControl l = vector 1 2 3", "<1,2,3>"},
             {"ctldistance('l', 1, 2, 3.5)", "FVecControl l = vector 1 2 3.5", "<1,2,3.5>"},
             {"ctlvector('l', @1, 2, 3@)", "FVecControl l = vector 1 2 3", "<1,2,3>"},
             {"ctlcolor('l', three())", "VecControl l integers = vector 7 8 9", "<7,8,9>"},
             {"ctlcolor('l', <1.9, -2.9, 1>)", "VecControl l integers = vector 1 -2 1", "<1,-2,1>"},
             {"ctlrgb('l', 0.5, 3000000000.0, 2)", "MiniRGBControl l integers = vector 0 2.14748e+09 2",
              "<0,2.14748e+09,2>"},
             {"ctlrgb('l', @0.5, 1.5, 2@)", "MiniRGBControl l integers = vector 0 1 2", "<0,1,2>"},
             {"ctlhsv('l', <1, 2, 3>)", "MiniHSVControl l = vector 1 2 3", "<1,2,3>"},
             {"ctlchoice('l', 2, @'a', 'b'@)", "ChoiceControl l choices a b = integer 2", "2"},
             {"ctlchoice('l', 0, names, 3)", "ChoiceControl l choices x y flag = integer 0", "0"},
             {"ctlchoice('l', 1, @'a', 'b'@, 0)", "ChoiceControl l choices a b = integer 1", "1"},
             {"ctlpopup('l', 9, @'a'@)", "PopupControl l choices a = integer 9", "9"},
             {"ctlslider('l', 5, 1, 10)", "SliderControl l width 100 from 1 to 10 = integer 5", "5"},
             {"ctlminislider('l', 5, 10, 1)", "MiniSliderControl l width 100 from 10 to 1 = integer 5", "5"},
             {"ctlallitems('l')", "HXListControl l", "nil"},
             {"ctlmeshitems('l', 'Hip')", "HXListControl l items 0 = item 30", "30 3"},
             {"ctllightitems('l', 'Lamp')", "HXListControl l items 1 = item 20", "20 1"},
             {"ctlcameraitems('l', 'Camera')", "HXListControl l items 2 = item 40", "40 2"},
             {"ctlboneitems('l')", "HXListControl l items 3", "nil"},
             {"ctlimageitems('l', 'ash.png')", "HXListControl l items 5 = item 2", "2 5"},
             {"ctltext('l', 'a', 'b')", "TextControl l choices a b", "nil"},
             {"ctlsep()", "InfoControl - = text -", "nil"},
             {"addcontrol('l', 3)", "NumControl l = integer 3", "3"},
             {"addcontrol('l', 3.5)", "FloatControl l = number 3.5", "3.5"},
             {"addcontrol('l', <1, 2, 3>)", "FVecControl l = vector 1 2 3", "<1,2,3>"},
             {"addcontrol('l', 'text')", "EditControl l = text text", "text"},
             {"addcontrol('l', 2, @'a', 'b'@, 1)", "ChoiceControl l choices a b flag = integer 2", "2"},
             {"addcontrol('l', 1, holes)", "ChoiceControl l choices x = integer 1", "1"},
             {"addcontrol('l', 1, nils)", "ChoiceControl l choices x = integer 1", "1"},
             {"addcontrol('l', 1, blanks)", "ChoiceControl l choices x  y = integer 1", "1"},
             {"addrgb('l', <1, 2, 3>)", "MiniRGBControl l integers = vector 1 2 3", "<1,2,3>"},
             {"addhsv('l', <1.5, 2, 3>)", "MiniHSVControl l = vector 1.5 2 3", "<1.5,2,3>"},
             {"addcheckbox('l', 0)", "BoolControl l = integer 0", "0"},
             {"addfilename('l', 'f')", "FileControl l = text f", "f"},
             {"additems('l', 'Body')", "HXListControl l = item 10", "10 0"},
         }) {
        std::string seen;
        host.panels.answer = [&](FakePanel& panel) {
            seen = panel.controls.size() == 1 ? told(*panel.controls[0]) : "none or several";
            return 1;
        };
        const Lines said = optionsSay(
            "var names[2]; names[1] = 'x'; names[2] = 'y'; var holes[3]; holes[1] = 'x'; holes[3] = 'y';"
            "var nils[3]; nils[1] = 'x'; nils[2] = nil; nils[3] = 'y';"
            "var blanks[3]; blanks[1] = 'x'; blanks[2] = ''; blanks[3] = 'y';"
            "reqbegin('t'); c = " +
                std::string(c.call) + "; r = reqpost(); v = getvalue(c); if(v == nil) info('nil');\n" +
                "else info(v); reqend();",
            "three { return 7, 8, 9; }");
        EXPECT_EQ(seen, c.told) << c.call;
        if (std::string_view(c.told).starts_with("HXList") && c.value != std::string_view("nil")) {
            EXPECT_EQ(said.size(), 1u) << c.call;  // an object has no text
        } else {
            EXPECT_EQ(said, Lines{c.value}) << c.call;
        }
    }
}

TEST_F(Panels, WrongArgumentsAddNothing) {
    const auto expectRefused = [this](const std::string& call, const std::string& message) {
        EXPECT_EQ(optionsSay("var holes[3]; holes[1] = 'x'; holes[3] = 'y'; reqbegin('t'); c = " + call +
                             "; info(c == nil); r = reqpost();"),
                  (Lines{message, "1"}))
            << call;
    };
    using Case = std::pair<int, std::vector<std::string>>;
    for (const auto& [argument, calls] :
         {Case{
              0,
              {"ctlstring('l')", "ctlvector('l', 1, 2)", "ctlpopup('l', 1, @'a'@, 1)", "ctlslider('l', 1, 2)",
               "ctlsep(1)", "ctltext('l')", "addcontrol('l')", "addcontrol('l', 1, @'a'@, 1, 2)"}},
          Case{1, {"ctlstring(1, 'x')"}},
          Case{2,
               {"ctlstring('l', 5)", "ctlinteger('l', 'x')", "ctlcolor('l', @1, 2@)", "ctldistance('l', 'x')",
                "ctlpopup('l', 'a', @'a'@)", "ctlsep(1, 'x')", "addcontrol('l', nil)",
                "addcontrol('l', 'a', @'a'@)"}},
          Case{3, {"ctlvector('l', 1, 'x', 3)", "ctlchoice('l', 1, 5)", "addtext('l', 'x', 1)"}},
          Case{4, {"ctlchoice('l', 1, @'a'@, 'x')", "ctlslider('l', 1, 2, 'x')"}}})
        for (const std::string& call : calls) expectRefused(call, refusal(call, argument));
    using Other = std::pair<const char*, const char*>;
    for (const auto& [call, message] : std::initializer_list<Other>{
             {"ctlchoice('l', 1, @'a', 5@)", "invalid element 2 type in argument 3 to ctlchoice()"},
             {"ctlchoice('l', 1, holes)", "invalid element 2 type in argument 3 to ctlchoice()"},
             {"addrgb('l', 5)", "invalid argument 2 type to addcontrol()"},
             {"addcheckbox(1, 5)", "invalid argument 1 type to addcontrol()"},
             {"addcontrol('l', 1, @1@)", "invalid element 1 type in argument 3 to addcontrol()"},
             {"ctlmeshitems('l', 'lamp')", "invalid object name 'lamp' provided to ctlmeshitems()"},
             {"ctlimageitems('l', 'Body')", "invalid object name 'Body' provided to ctlimageitems()"},
             {"additems('l', 'none')", "invalid object name 'none' provided to additems()"},
             {"ctllightitems('l', 5)", "invalid object type used to initialize control ctllightitems()"}})
        expectRefused(call, std::string("Line 1, ") + message);
}

TEST_F(Panels, ThereMayBeNone) {
    EXPECT_EQ(optionsSay("reqend(); x = reqbegin(5); info(x == nil);"),
              (Lines{"Line 1, invalid argument 1 type to reqbegin()", "1"}));
    EXPECT_EQ(host.panels.log, Lines{});
}

TEST_F(Panels, AHostWithoutPanelsIsTolerated) {
    const std::string body = "x = reqbegin('t'); info(x); if(x) reqend();";
    const Lines expected = {"Requester support requires the HX Panel Services plug-in", "0"};
    host.missing = {HX_SERVICE_PANELS};
    EXPECT_EQ(optionsSay(body), expected);
    host.missing = {};
    host.panels.refuses = true;
    host.lookups.clear();
    EXPECT_EQ(optionsSay(body), expected);
    EXPECT_EQ(std::ranges::count(host.lookups, "HXPanelServices 1"), 1);
    EXPECT_EQ(std::ranges::count(host.lookups, "HXPanelServices 2"), 1);
}

TEST_F(Panels, AnyOperationMayBeMissing) {
    // Each of the record's operations, as the pointers that they are.
    constexpr std::size_t kOperations = sizeof(PanelServices) / sizeof(void (*)());
    const PanelServices all = host.panels.services;
    for (std::size_t missing = 0; missing < kOperations; ++missing) {
        host.panels.services = all;
        void (*const none)() = nullptr;
        std::memcpy(reinterpret_cast<char*>(&host.panels.services) + missing * sizeof none, &none,
                    sizeof none);
        const Lines said = optionsSay(
            "if(reqbegin('t')) { c = ctlinteger('l', 4); s = ctlsep(); reqsize(1, 2); r = reqpost();"
            "if(c) { setvalue(c, 5); v = getvalue(c); ctlposition(c, 1, 2); r = reqpost(); } reqend(); }");
        const bool noPanels = missing == 0 || missing == 2;  // createPanel, openPanel
        EXPECT_EQ(said.size(), noPanels ? 1u : 0u) << missing;
    }
}

TEST_F(Panels, FieldsAreBelowEachOther) {
    std::string places;
    host.panels.answer = [&](FakePanel& panel) {
        for (std::size_t i = 0; i < panel.controls.size(); ++i) places += panel.place(i) + " ";
        places += "at " + std::to_string(panel.attributes[HXPA_X]) + "," +
                  std::to_string(panel.attributes[HXPA_Y]) + "; ";
        return 1;
    };
    EXPECT_EQ(optionsSay("reqbegin('t'); ctlinteger('long', 1); ctlinteger('x', 1); ctlcheckbox('box', 1);"
                         "ctlrgb('rgb', 1, 2, 3); addhsv('hsv', <1, 2, 3>); p = ctlnumber('placed', 1);"
                         "ctlposition(p, -7.9, 10000000000.0); info(reqpost()); info(reqpost());"
                         "ctlinteger('the longest', 1); reqpost();"),
              (Lines{"1", "1"}));
    // The widest label has 60 pixels, later 110. A panel that is shown again stays as it is.
    const std::string once = "25,0 55,20 65,40 5,60 5,80 -7,2147483647 at 350,300; ";
    EXPECT_EQ(places, once + once + "75,0 105,20 115,40 5,60 5,80 -7,2147483647 5,120 at 350,300; ");
}

TEST_F(Panels, ScriptsPlaceControlsAndSizePanelsAndTakeItBack) {
    std::string places;
    host.panels.answer = [&](FakePanel& panel) {
        places += panel.place(0) + " " + panel.place(1);
        for (const std::int32_t which : {HXPA_WIDTH, HXPA_HEIGHT, HXPA_X, HXPA_Y})
            places += ' ' + std::to_string(panel.attributes[which]);
        places += "; ";
        return 0;
    };
    optionsSay(
        "reqbegin('t'); a = ctlinteger('long', 1); b = ctlinteger('b', 2);"
        "reqsize(-1, -1.9); ctlposition(b, -1, -1); reqpost();"
        "reqsize(401.9, 100); ctlposition(b, 30, 40); reqpost();"
        "reqsize(400, -1); ctlposition(a, -1, 70); ctlposition(b, 30, -1); reqpost();"
        "reqsize(-1, -1); reqpost(); ctlposition(a, -1, -1); ctlposition(b, -1, -1);"
        "reqpost(); reqend();");
    EXPECT_EQ(places,
              "5,0 35,20 300 200 350 300; 0,0 30,40 401 100 299 350; -1,70 30,-1 400 -1 300 400; "
              "-1,70 30,-1 400 -1 300 400; 5,0 35,20 400 -1 300 400; ");
}

TEST_F(Panels, SeparatorsAreDrawnByTheModule) {
    EXPECT_EQ(optionsSay("reqbegin('t'); a = ctlsep(); b = ctlsep(20, 55); c = ctlsep(30, -1);"
                         "e = ctlsep(300, -1); e = ctlsep(1, 0); e = ctlsep(1, -7);"
                         "d = ctlsep(1, 2); ctlposition(d, 8, 90); reqpost(); reqend();"),
              Lines{});
    // The panel is 300 wide; half the height of a control is 5.
    EXPECT_EQ(host.panels.log, (Lines{"create t", "redraw", "redraw", "redraw", "redraw", "redraw", "redraw",
                                      "redraw", "open t", "line 0 5 300", "line 20 25 55", "line 30 45 270",
                                      "line 8 95 100", "destroy t"}));
}

TEST_F(Panels, ValuesGoBothWays) {
    EXPECT_EQ(optionsSay("reqbegin('t'); i = ctlinteger('i', 1); setvalue(i, 2.9); info(getvalue(i));\n"
                         "n = ctlnumber('n', 1); setvalue(n, 3); info(getvalue(n));"
                         "s = ctlstring('s', 'a'); setvalue(s, 'b' + 'c'); t = getvalue(s); info(t);"
                         "setvalue(s, 1.5); info(getvalue(s), t);"
                         "\nv = ctlvector('v', 1, 2, 3); setvalue(v, <4, 5, 6>); info(getvalue(v));"
                         "b = ctlcheckbox('b', 0); setvalue(b, -3); info(getvalue(b));"
                         "\nm = ctlallitems('m', 'Body'); k = ctlallitems('k'); setvalue(k, getvalue(m));"
                         "info(getvalue(k) == getvalue(m)); setvalue(m, nil); info(getvalue(m) == nil);"
                         "setvalue(m, 'Lamp'); setvalue(i + 0.5, 7); info(getvalue(i));"
                         "c = addrgb('c', <0, 0, 0>); setvalue(c, <4.9, -5.9, 6>); info(getvalue(c));"),
              (Lines{"2", "3", "bc", "1.5bc", "<4,5,6>", "1", "1", "1", "7", "<4,-5,6>"}));
    EXPECT_EQ(
        optionsSay("reqbegin('t'); i = ctlinteger('i', 1); t = ctltext('t', 'x'); m = ctlallitems('m');"
                   "setvalue(i, 'x'); setvalue(t, 'x'); setvalue(m, 5); setvalue(m, 'none');\n"
                   "setvalue(0, 1); v = getvalue('x'); w = getvalue(99); ctlposition(77, 1, 2);"
                   "ctlposition(i, 'x', 2); reqsize(1, nil); info(v == nil, w == nil, getvalue(i));"),
        (Lines{
            "Line 1, invalid argument 2 type to setvalue()", "Line 1, invalid argument 2 type to setvalue()",
            "Line 1, invalid argument 2 type to setvalue()",
            "Line 1, invalid object name 'none' provided to setvalue()",
            "Line 2, invalid argument 1 type to setvalue()", "Line 2, invalid argument 1 type to getvalue()",
            "Line 2, invalid argument 1 type to getvalue()",
            "Line 2, invalid argument 1 type to ctlposition()",
            "Line 2, invalid argument 2 type to ctlposition()",
            "Line 2, invalid argument 2 type to reqsize()", "111"}));
}

TEST_F(Panels, ASearchThatIsToEndFindsNothingAndSaysNothing) {
    static FakeHost* searched;
    searched = &host;
    host.scene.items.next = [](HostItemID item) {
        searched->module().watch->requested = 1;
        return item;
    };
    host.scene.images.next = [](HxImageID image) {
        searched->module().watch->requested = 1;
        return image;
    };
    for (const std::string kind : {"ctlallitems", "ctlimageitems"}) {
        for (const std::string& call : {kind + "('l', 'none')", std::string("setvalue(c, 'none')")}) {
            host.module().watch->requested = 0;
            EXPECT_EQ(optionsSay("reqbegin('t'); c = " + kind + "('l'); x = " + call + ";"), Lines{}) << call;
            EXPECT_EQ(host.module().watch->requested, 1) << call;
        }
    }
}

TEST_F(Panels, WhatTheHostHasNoValueForIsNil) {
    host.panels.services.getValue = [](HxControl, HxControlValue*) {};
    EXPECT_EQ(
        optionsSay("reqbegin('t'); a = getvalue(ctlstring('s', 'x')); b = getvalue(ctlrgb('s', 1, 2, 3));"
                   "c = getvalue(ctlnumber('n', 1)); info(a == nil, b == nil, c == nil);"),
        Lines{"111"});
    host.panels.services.getValue = [](HxControl, HxControlValue* value) { value->type = HXCV_TEXT; };
    EXPECT_EQ(optionsSay("reqbegin('t'); info(size(getvalue(ctlstring('s', 'x'))));"), Lines{"0"});
}

TEST_F(Panels, BeginningAgainStartsAfresh) {
    EXPECT_EQ(optionsSay("reqbegin('one'); a = ctlinteger('a', 1); reqsize(1, 2); reqbegin('two');"
                         "info(a, getvalue(a) == nil); b = ctlinteger('b', 2); reqpost();"),
              (Lines{"Line 1, invalid argument 1 type to getvalue()", "11"}));
    // What the script leaves open goes with it.
    EXPECT_EQ(host.panels.log, (Lines{"create one", "destroy one", "create two", "open two", "destroy two"}));
    EXPECT_EQ(std::ranges::count(host.lookups, "HXPanelServices 1"), 2);
    EXPECT_EQ(std::ranges::count(host.lookups, "HXPanelServices 2"), 2);
}

TEST_F(Panels, WhileOneIsOpenRenderingRunsNoScript) {
    const HxInstance instance = host.createWith(
        quoted("options { if(::shown) reqend();\nelse { ::shown = reqbegin('t'); } }\nshown = 0;\n"
               "init { info('init'); }\ncleanup { info('cleanup'); }\nnewtime: f, t { info('newtime'); }\n"
               "flags { info('flags'); return COLOR; }\nprocess: sa { sa.diffuse = 9; }\n"
               "save: mode, state { info('save'); }"));
    const HxInstance other = host.createWith("process: sa { sa.diffuse = 8; }", "other.ks");
    const auto render = [&] {
        ShadingSample sample{};
        host.handler.init(instance);
        host.handler.newTime(instance, 1, 0.0);
        const std::uint32_t flags = host.handler.flags(instance);
        host.handler.evaluate(instance, &sample);
        host.handler.cleanup(instance);
        ShadingSample another{};
        host.handler.evaluate(other, &another);
        return std::to_string(flags) + " " + number(sample.diffuse) + " " + number(another.diffuse);
    };
    EXPECT_EQ(host.edit(instance), HXM_OK);
    EXPECT_EQ(render(), "0 0 0");
    EXPECT_EQ(host.said(), Lines{});
    host.save(instance, HX_STATE_TEXT);
    EXPECT_EQ(host.said(), Lines{"save"});
    EXPECT_EQ(host.edit(instance), HXM_OK);
    EXPECT_EQ(render(), "2 9 8");
    EXPECT_EQ(host.said(), (Lines{"init", "newtime", "flags", "cleanup"}));
}

TEST_F(Panels, AHostMayRunAnotherScriptWhileItShowsOne) {
    const HxInstance first = host.createWith(
        quoted("options { reqbegin('one'); c = ctlinteger('c', 1); r = reqpost(); info('one ', r);\n"
               "v = getvalue(c); info('over ', v == nil); reqend(); }"),
        "one.ks");
    const HxInstance second = host.createWith(
        quoted("options { x = reqpost(); info(x == nil); reqend(); reqbegin('two'); ctlinteger('d', 2);\n"
               "r = reqpost();"
               "info('two ', r); }"),
        "two.ks");
    host.panels.answer = [&](FakePanel& panel) {
        if (panel.title == "two") return 5;
        EXPECT_EQ(host.edit(second), HXM_OK);
        EXPECT_EQ(panel.title, "one") << "it is still there";
        host.destroy(second);  // with its panel open
        return 4;
    };
    EXPECT_EQ(host.edit(first), HXM_OK);
    EXPECT_EQ(
        host.said(),
        (Lines{"Line 1, illegal call to reqpost(): requestor has not been initialized", "1", "two 5", "one 4",
               "Line 2, illegal call to getvalue(): requestor has not been initialized", "over 1"}));
    EXPECT_EQ(host.panels.log,
              (Lines{"create one", "open one", "create two", "open two", "destroy two", "destroy one"}));
}

TEST_F(Panels, AnInstanceMayBeDestroyedWhileItsPanelIsShown) {
    const HxInstance instance = host.createWith(
        quoted("options { reqbegin('t'); r = reqpost(); info('posted ', r); }\ndestroy { info('destroy'); }\n"
               "process: sa { info('process'); }"));
    const std::string other = host.write("other.ks", "create { info(\"other\"); }");
    host.panels.answer = [&](FakePanel& panel) {
        ShadingSample sample{};
        EXPECT_EQ(host.edit(instance), HXM_OK);
        host.handler.evaluate(instance, &sample);
        host.load(instance, other);
        host.destroy(instance);
        EXPECT_EQ(host.said(), Lines{});
        EXPECT_EQ(panel.title, "t");
        return 1;
    };
    EXPECT_EQ(host.edit(instance), HXM_OK);
    EXPECT_EQ(host.said(), (Lines{"posted 1", "destroy"}));
    EXPECT_EQ(host.panels.log, (Lines{"create t", "open t", "destroy t"}));
}

TEST_F(Panels, AnImageHasNothingToAskFor) {
    EXPECT_EQ(optionsSay("reqbegin('t'); g = ctlimageitems('g', 'ash.png'); i = getvalue(g); i.name = 1;\n"
                         "m = i.next(); setvalue(g, i); info(i == nil, m == nil);\n"
                         "k = ctlmeshitems('m', i); info(k == nil);"),
              (Lines{"Line 1, unknown ImageListInfo data member: options::i.name", "01",
                     "Line 3, invalid object type used to initialize control ctlmeshitems()", "1"}));
}

TEST_F(Panels, TheExampleKeepsItsSettings) {
    for (const std::int32_t mode : {HX_STATE_TEXT, HX_STATE_BINARY}) {
        const HxInstance instance = host.create();
        host.load(instance, KESTREL_EXAMPLES "/options_panel.ks");
        std::size_t controls = 0;
        host.panels.answer = [&](FakePanel& panel) {
            controls = panel.controls.size();
            for (const auto& control : panel.controls) {
                if (control->label == "Title") control->text = "Kitchen";
                if (control->label == "Width") control->value.vector[0] = 0.25;
                if (control->label == "or the light") control->value = {HXCV_ITEM, 0, {}, nullptr, 20};
            }
            return 1;
        };
        EXPECT_EQ(host.edit(instance), HXM_OK);
        EXPECT_EQ(controls, 26u);
        MemoryState saved = host.save(instance, mode);
        for (const std::string& write : saved.lines) saved.bytes += write;
        const HxInstance loaded = host.create();
        MemoryState read = saved;
        host.load(loaded, read);
        EXPECT_STREQ(host.handler.describe(loaded), "Kitchen, 0.25 wide");
        EXPECT_EQ(host.save(loaded, mode).lines, saved.lines);
        EXPECT_EQ(host.said(), Lines{});
    }
}

TEST_F(Panels, FilesAreChosenThroughTheDialog) {
    EXPECT_EQ(optionsSay("f = getfile(); info(f == nil);"), Lines{"1"});
    host.dialogResult = 1;
    host.chosenFile = "/some/where/x.png";
    EXPECT_EQ(optionsSay("info(getfile('Wood', '*.png', 'C:\\\\here')); info(getfile(1, 2, 3));"
                         "x = getfile(1, 2, 3, 4); info(x == nil);"),
              (Lines{"\\some\\where\\x.png", "\\some\\where\\x.png",
                     "Line 1, invalid argument count to getfile()", "1"}));
    optionsSay("f = getfile('t', '" + std::string(300, 'n') + "', '" + std::string(300, 'd') + "');");
    const std::string plain = "Select File /  / " + host.directory() + " / 99";
    EXPECT_EQ(host.dialogs, (Lines{plain, "Wood / *.png / C:\\here / 99", plain,
                                   "t / " + std::string(99, 'n') + " / " + std::string(255, 'd') + " / 99"}));
}

}  // namespace
}  // namespace kestrel::test
