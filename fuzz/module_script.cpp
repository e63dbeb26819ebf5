#include "fuzz/module_script.h"

#include <string_view>

namespace kestrel::fuzz {

namespace {

struct Function {
    std::string_view head;
    std::string_view has;  ///< set before the statements: what they work with, where the host gave nothing
};

constexpr Function kFunctions[] = {
    {"create", "sa = nil; io = nil; m = 0;"},
    {"destroy", "sa = nil; io = nil; m = 0;"},
    {"load: m, io", "sa = nil;"},
    {"save: m, io", "sa = nil;"},
    {"options", "sa = nil; io = nil; m = 0;"},
    {"init", "sa = nil; io = nil; m = 0;"},
    {"cleanup", "sa = nil; io = nil; m = 0;"},
    {"newtime: m, t", "sa = nil; io = nil;"},
    {"flags", "sa = nil; io = nil; m = 0;"},
};

/// Each alone makes sense in any of the functions; some then are an error, which the host is told.
constexpr std::string_view kStatements[] = {
    "info(\"i \", ::g);",
    "warn(\"w\");",
    "error(\"e\");",
    "::g += 1; if (::g > 40) return;",
    "x = ::g / 0;",
    "for i = 1 to 3 do { info(i); }",
    "::v = again(m, 2);",
    "k = ::kept; info(k.sx); ::kept = sa;",
    "k = ::state; info(k.read()); ::state = io;",
    "sa.color[1] = ::g / 7; sa.mirror = sa.cosine;",
    "sa.wNorm = <1, 0, 0>; sa.eta = 1 / 1000000 * sa.rayLength; sa.diffuse = exp(1000);",
    "i = sa.objID; sa.luminous = i.next(); sa.color = sa.color;",
    "(d, r, g, b) = raytrace(<0, 0, 0>, <0, 1, 0>); ::v = d;",
    "::v = raytrace(sa.wPos, sa.gNorm);",
    "for (l = getfirstitem(LIGHT); l; l = l.next()) { (a, b, c, r, g, b) = illuminate(l, <0, 0, 0>, <0, 1, "
    "0>); }",
    "(a, b, c, r, g, h) = illuminate(sa.objID, sa.wPos, sa.gNorm);",
    "i = getfirstitem(\"Body\"); info(i.name, i.firstChild(), i.nextChild(), i.param(POSITION, 0.5));",
    "i = getfirstitem(MESH); ::item = i.next(); i = ::item; b = i.bone(); info(b.name);",
    "i = getfirstitem(CAMERA); t = i.target(); info(t.name, i.zoomFactor(0), i.fovAngles(0));",
    "s = getfirstitem(SCENE); info(s.name, s.renderopts[1], s.limitedregion[4]);",
    "effectedby(\"Body\", \"Lamp\", \"Camera\");",
    "effectedby(\"Body\", \"Hip\", \"none\");",
    "setdesc(\"d \", ::g, \" of what is shown\");",
    "if (reqbegin(\"p\")) { ::c = ctlinteger(\"n\", ::g); ctlsep(); ::v = reqpost(); info(getvalue(::c)); "
    "reqend(); }",
    "reqbegin(\"left open\"); ::c = ctlchoice(\"c\", 1, @\"a\", \"b\"@);",
    "setvalue(::c, 3); info(getvalue(::c)); ctlposition(::c, 5, 6);",
    "::c = ctlmeshitems(\"m\", getfirstitem(MESH)); ctltext(\"t\", \"one\", \"two\"); reqsize(100, 90);",
    "::v = reqpost();",
    "reqend();",
    "f = getfile(\"title\", \"*.ks\"); info(f);",
    "info(getdir(TEMPDIR), runningUnder(), INSTANCE);",
    "::words[::g + 1] = \"word \" + string(::g); info(::words);",
    "r = Pair(1, getfirstitem(MESH)); r->second = ::v; ::pair = r; q = ::pair; q->first = ::pair;",
    "info(io.read(), io.eof()); io.writeln(\"line \", ::g, <1, 2, 3>);",
    "info(io.readNumber(), io.readInt(), io.readByte()); io.writeNumber(::g); io.writeInt(7); "
    "io.writeByte(8);",
    "info(io.readString(), io.readVector()); io.writeString(\"text\"); io.writeVector(<1, 2, 3>);",
    "return COLOR, NORMAL, \"RAYTRACE\";",
    "return 99;",
    "x = nil; x[1]++;",
    "f = File(\"kept.txt\", \"a\"); f.writeln(::g); ::file = f; info(f.linecount());",
    "f = ::file; info(f.isOpen(), f.name()); f.close();",
    "store(\"key\", ::g); ::v = recall(\"key\", 1);",
    "::t = ::t + \"longer \"; if (size(::t) > 4000) ::t = \"\"; info(::t);",
    "deeper(30);",
    "deeper(3); ::g = again(m, 5);",
};

constexpr std::string_view kBegin =
    "g = 1; v = 0; c = 0; kept = nil; state = nil; item = nil; file = nil; t = \"\"; pair = nil; var "
    "words[2];\n"
    "declare record Pair { first = 1, second = \"two\"; }\n"
    "again: a, b { info(\"again \", a, b); return a, b; }\n"
    "deeper: n { if (n > 0) { (d, r, g, b) = raytrace(<n, 0, 0>, <0, 0, 1>); deeper(n - 1); } }\n";

void addStatements(Taken& data, std::string& script) {
    for (std::size_t left = data.below(5); left > 0; --left)
        script.append("    ").append(kStatements[data.below(std::size(kStatements))]) += '\n';
}

std::string process(std::string_view statements) {
    return "process: sa {\nio = nil; m = 2; ::g++;\n" + std::string(statements) + "}\n";
}

}  // namespace

std::vector<std::string> scriptsOfOneStatement() {
    std::vector<std::string> scripts;
    for (const std::string_view statement : kStatements)
        scripts.push_back(std::string(kBegin) + process(std::string(statement) + '\n'));
    return scripts;
}

std::string makeScript(Taken& data) {
    std::string script;
    if (data.rarely(4)) script += "#pragma strict\n";
    if (data.rarely(4)) script += "#pragma unused\n";
    if (data.rarely(4)) script += "#pragma errors 3\n";
    script += kBegin;
    if (data.rarely(3)) script += "info(\"outside\");\n";
    if (data.rarely(16)) return script;  // without process it does not load
    std::string statements;
    addStatements(data, statements);
    script += process(statements);
    for (const Function& function : kFunctions) {
        if (data.below(2) == 0) continue;
        script.append(function.head).append("\n{\n").append(function.has) += '\n';
        addStatements(data, script);
        script += "}\n";
    }
    return script;
}

}  // namespace kestrel::fuzz
