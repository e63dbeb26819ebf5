#include "tests/equal/generator.h"

#include "tests/equal/expressions.h"

#include <string>
#include <string_view>

namespace kestrel::equal {

namespace {

/// Loops and calls of one call from the host, all together. Nothing else that is generated touches ::fuel.
constexpr std::string_view kSpend = "::fuel++; if (::fuel > 150) return 0;\n";

constexpr std::string_view kCompound[] = {"+=", "-=", "*=", "/=", "+=", "-=", "&=", "|=", "^="};

class Generator {
public:
    explicit Generator(std::uint64_t seed) : random_(seed) {}

    Node script() {
        strict_ = random_.chance(25);
        const std::size_t count = random_.below(4);
        for (std::size_t i = 0; i < count; ++i)
            functions_.push_back({"f" + std::to_string(i), static_cast<int>(random_.below(4)),
                                  random_.chance(85) ? 1 + static_cast<int>(random_.below(3)) : 0});
        Node script(Role::Block);
        addHead(script);
        for (const Function& function : functions_) script.add(functionNode(function));
        addHostFunctions(script);
        return script;
    }

private:
    void addHead(Node& script) {
        if (strict_) script.add(make(Role::Statement, {"#pragma strict\n"}));
        if (random_.chance(10)) script.add(make(Role::Statement, {"#pragma unused\n"}));
        if (random_.chance(20))
            script.add(
                make(Role::Statement, {"#pragma errors ", std::to_string(1 + random_.below(9)), "\n"}));
        if (random_.chance(10))
            script.add(make(Role::Statement, {"#pragma warnings ", std::to_string(random_.below(3)), "\n"}));
        script.add(make(Role::Statement, {"var fuel = 0;\n"}));
        if (strict_) script.add(make(Role::Statement, {"var first, second, third, fourth;\n"}));
        script.add(make(Role::Statement,
                        {"declare record Pair { first = 1, second = \"two\"; third = <1.0,2.0,3.0>, "
                         "fourth; }\n"}));
        for (const std::string_view name : {"gn0", "gn1", "gn2", "gx0"}) declare(script, name, Kind::Number);
        for (const std::string_view name : {"gt0", "gt1", "gx1"}) declare(script, name, Kind::Text);
        for (const std::string_view name : {"gv0", "gv1"}) declare(script, name, Kind::Vector);
        for (const std::string_view name : {"ga1[3]", "ga2[2, 3]", "ga3[2, 2, 2]", "gr0"})
            script.add(make(Role::Statement, {"var ", name, ";\n"}));
    }

    /// A declaration can go only with all that uses it, which under strict it is an error to do without.
    void declare(Node& block, std::string_view name, Kind kind) {
        if (random_.chance(93))
            block.add(make(Role::Statement, {"var ", name, " = ",
                                             make(Role::Expression, {expressions_.literal(kind)}), ";\n"}));
        else
            block.add(make(Role::Statement, {"var ", name, ";\n"}));
    }

    /// Locals, most of them with a value.
    Node locals() {
        Node block(Role::Block);
        for (const std::string_view name : {"n0", "n1", "n2"}) declare(block, name, Kind::Number);
        for (const std::string_view name : {"t0", "t1"}) declare(block, name, Kind::Text);
        for (const std::string_view name : {"v0", "v1"}) declare(block, name, Kind::Vector);
        for (const std::string_view name : {"x0", "x1"}) declare(block, name, Kind::Any);
        if (random_.chance(30)) declare(block, "gn1", Kind::Number);  // hides the global
        if (strict_ || random_.chance(93))
            block.add(make(Role::Statement, {"var l1[3], r0, k0, k1, k2, k3;\n"}));
        if (random_.chance(93)) block.add(make(Role::Statement, {"r0 = Pair(2, \"r\");\n"}));
        if (random_.chance(93)) {
            const Kind kind = random_.chance(80) ? Kind::Number : Kind::Any;
            block.add(make(Role::Statement,
                           {"l1[] = ", make(Role::Expression, {expressions_.literal(kind)}), ";\n"}));
        }
        if (random_.chance(70)) block.add(make(Role::Statement, {"ga1[] = 1; ga2[] = 2.5; ga3[] = 0;\n"}));
        if (random_.chance(70)) block.add(make(Role::Statement, {"gr0 = Pair();\n"}));
        return block;
    }

    Node functionNode(const Function& function) {
        Scope scope;
        scope.parameters = function.parameters;
        std::string head = (random_.chance(20) ? "procedure " : "") + function.name;
        for (int i = 0; i < function.parameters; ++i)
            head += (i == 0 ? ": " : ", ") + std::string(1, static_cast<char>('a' + i));
        results_ = function.results;
        Node body = make(Role::Group, {head, "\n{\n", kSpend, locals(), statements(scope, 3)});
        if (function.results > 0) body.add(returning(scope));
        body.add(Node("}\n"));
        body.role = Role::Statement;
        return body;
    }

    void addHostFunctions(Node& script) {
        Scope shading;
        shading.shades = true;
        results_ = 0;
        script.add(make(Role::Group, {"process: sa\n{\n", make(Role::Statement, {"::fuel = 0;\n"}), locals(),
                                      statements(shading, 7), "}\n"}));
        for (const std::string_view head : {"newtime: a, b", "init", "cleanup", "flags"}) {
            // A new time lets a script run again that has failed.
            if (!head.starts_with("newtime") && random_.chance(60)) continue;
            Scope scope;
            scope.parameters = head.starts_with("newtime") ? 2 : 0;
            results_ = head == "flags" ? 2 : 0;
            Node body = make(Role::Statement, {head, "\n{\n", make(Role::Statement, {"::fuel = 0;\n"}),
                                               locals(), statements(scope, 3)});
            if (results_ > 0) {
                constexpr std::string_view kFlags[] = {"COLOR", "\"normal\"", "99", "DIFFUSE"};
                if (random_.chance(60))
                    body.add(make(Role::Statement,
                                  {"return ", random_.pick(kFlags), ", ", random_.pick(kFlags), ";\n"}));
            }
            body.add(Node("}\n"));
            script.add(std::move(body));
        }
    }

    Node statements(Scope& scope, std::size_t most) {
        Node block(Role::Block);
        for (std::size_t left = 1 + random_.below(most); left > 0; --left) block.add(statement(scope));
        return block;
    }

    /// Statements in braces, one level deeper.
    Node body(Scope& scope) {
        ++depth_;
        Node node = make(Role::Group, {"{\n", statements(scope, 3), "}\n"});
        --depth_;
        return node;
    }

    Node statement(Scope& scope) {
        const std::size_t form = random_.below(depth_ < 3 ? 32 : 18);
        if (form < 8) return assignment(scope);
        switch (form) {
            case 8:
            case 9:
                return make(Role::Statement, {expressions_.target(Kind::Number, scope), " ",
                                              random_.pick(kCompound), " ", number(scope, 2), ";\n"});
            case 10:
                return increment(scope);
            case 11:
                return small(scope);
            case 12:
                return make(Role::Statement,
                            {saying(), "(", any(scope), ", \" \", ", number(scope, 1), ");\n"});
            case 13:
            case 14:
                return several(scope);
            case 15:
                return leaving(scope);
            case 16:
                return outside(scope);
            case 17:
                return arrays(scope);
            case 18:
            case 19:
            case 20:
            case 21:
                return choice(scope);
            case 22:
            case 23:
                return arms(scope);
            default:
                return loop(scope);
        }
    }

    std::string_view saying() {
        constexpr std::string_view kSaying[] = {"info", "info", "warn", "error"};
        return random_.pick(kSaying);
    }
    Node number(Scope& scope, int depth) { return expressions_.of(Kind::Number, scope, depth); }
    Node any(Scope& scope) { return expressions_.of(Kind::Any, scope, 2); }

    Node assignment(Scope& scope) {
        const std::size_t form = random_.below(10);
        const Kind kind = form < 6   ? Kind::Number
                          : form < 7 ? Kind::Text
                          : form < 8 ? Kind::Vector
                                     : Kind::Any;
        if (random_.chance(4)) {
            return make(Role::Statement,
                        {expressions_.target(kind, scope), " = ", expressions_.variable(kind, scope), " = ",
                         expressions_.of(kind, scope, 2), ";\n"});
        }
        return make(Role::Statement, {expressions_.target(kind, scope), random_.chance(10) ? " := " : " = ",
                                      expressions_.of(kind, scope, 3), ";\n"});
    }

    Node increment(Scope& scope) {
        Node target = random_.chance(70)
                          ? Node(expressions_.variable(random_.chance(85) ? Kind::Number : Kind::Any, scope))
                          : expressions_.target(random_.chance(80) ? Kind::Number : Kind::Vector, scope);
        const std::string_view op = random_.chance(50) ? "++" : "--";
        if (random_.chance(50)) return make(Role::Statement, {std::move(target), op, ";\n"});
        return make(Role::Statement, {op, std::move(target), ";\n"});
    }

    Node small(Scope& scope) {
        switch (random_.below(6)) {
            case 0:
                return make(Role::Statement, {"goto;\n"});
            case 1:
                return make(Role::Statement, {random_.chance(50) ? "-" : "!",
                                              expressions_.variable(Kind::Number, scope), ";\n"});
            case 2:
                return make(Role::Statement, {number(scope, 2), ";\n"});
            case 3:
                return make(Role::Statement,
                            {"var w", std::to_string(random_.below(3)), " = ", number(scope, 2), ";\n"});
            case 4:
                return make(Role::Statement,
                            {expressions_.variable(Kind::Text, scope),
                             " += ", make(Role::Expression, {expressions_.literal(Kind::Any)}), ";\n"});
            default:
                return make(Role::Statement,
                            {"do { ", assignment(scope), "} while (", number(scope, 1), ");\n"});
        }
    }

    /// Several values at once: lists, and what functions return.
    Node several(Scope& scope) {
        Node values =
            make(Role::Expression, {"@", any(scope), ", ", number(scope, 1), ", ", number(scope, 1), "@"});
        if (!functions_.empty() && random_.chance(60))
            values = expressions_.call(random_.pick(functions_), scope, 2);
        if (random_.chance(15))
            values = make(Role::Expression, {"parse(\" ,\", ", expressions_.of(Kind::Text, scope, 1), ")"});
        if (scope.shades && random_.chance(10))
            values =
                make(Role::Expression, {"sa.raytrace(", expressions_.of(Kind::Vector, scope, 1), ", v0)"});
        if (random_.chance(25))
            return make(Role::Statement,
                        {random_.chance(50) ? "ga1" : "l1", " = ", std::move(values), ";\n"});
        Node node = make(Role::Statement, {"(", expressions_.target(Kind::Number, scope)});
        for (std::size_t left = random_.below(3); left > 0; --left) {
            node.add(Node(", "));
            node.add(expressions_.target(random_.chance(70) ? Kind::Number : Kind::Any, scope));
        }
        node.add(Node(") = "));
        node.add(std::move(values));
        node.add(Node(";\n"));
        return node;
    }

    Node returning(Scope& scope) {
        Node node = make(Role::Statement, {"return ("});
        for (int i = 0; i < results_; ++i) {
            if (i > 0) node.add(Node(", "));
            node.add(random_.chance(80) ? number(scope, 2) : any(scope));
        }
        node.add(Node(");\n"));
        if (results_ == 1 && random_.chance(30)) return make(Role::Statement, {"return n0;\n"});
        return node;
    }

    Node leaving(Scope& scope) {
        Node condition = expressions_.condition(scope, 2);
        switch (random_.below(5)) {
            case 0:
                return make(Role::Statement, {"if (", std::move(condition), ") return;\n"});
            case 1:
                // Behind the opening of a switch it starts over, so it spends.
                return make(Role::Statement,
                            {"::fuel++; if (::fuel < 150) if (", std::move(condition), ") continue;\n"});
            case 2:
                return results_ > 0
                           ? make(Role::Statement, {"if (", std::move(condition), ") ", returning(scope)})
                           : make(Role::Statement, {"if (", std::move(condition), ") return;\n"});
            default:
                return scope.counters.empty() && !random_.chance(5)
                           ? assignment(scope)
                           : make(Role::Statement, {"if (", std::move(condition), ") break;\n"});
        }
    }

    /// What reaches out of the script: files, the store, the scene.
    Node outside(Scope& scope) {
        switch (random_.below(6)) {
            case 0:
                return make(Role::Statement, {"x0 = File(\"out.txt\", \"a\"); if (x0 != nil) { x0.writeln(",
                                              any(scope), ", ", number(scope, 1), "); x0.close(); }\n"});
            case 1:
                return make(Role::Statement,
                            {"store(\"key", std::to_string(random_.below(2)), "\", ", any(scope), ");\n"});
            case 2:
                return make(Role::Statement, {"x1 = recall(\"key0\", ", number(scope, 1), ");\n"});
            case 3:
                return random_.chance(30) ? make(Role::Statement, {"dump(\"dump.txt\");\n"})
                                          : assignment(scope);
            case 4:
                return make(Role::Statement,
                            {"x0 = getfirstitem(MESH); if (x0 != nil) info(x0.name, x0.getPosition(",
                             number(scope, 1), "));\n"});
            default:
                return make(Role::Statement, {"randu(", number(scope, 1), ");\n"});
        }
    }

    Node arrays(Scope& scope) {
        constexpr std::string_view kArrays[] = {"ga1", "l1", "ga2"};
        constexpr std::string_view kMethods[] = {"sortA", "sortD", "pack", "trunc", "count"};
        const std::string array(random_.pick(kArrays));
        switch (random_.below(4)) {
            case 0:
                return make(Role::Statement, {"n0 = ", array, ".", random_.pick(kMethods), "();\n"});
            case 1:
                return make(Role::Statement,
                            {array, "[", random_.chance(50) ? "" : "-1", "] = ", any(scope), ";\n"});
            case 2:
                return make(Role::Statement, {"l1 = array(", std::to_string(1 + random_.below(4)), ");\n"});
            default:
                return make(Role::Statement, {array, "[1]", array == "ga2" ? " = " : random_.pick(kCompound),
                                              " ", any(scope), ";\n"});
        }
    }

    Node choice(Scope& scope) {
        Node condition = expressions_.condition(scope, 2);
        if (random_.chance(20))
            return make(Role::Statement,
                        {"if +", std::move(condition), " then ", body(scope), "else ", body(scope)});
        if (random_.chance(50))
            return make(Role::Statement, {"if (", std::move(condition), ") ", body(scope)});
        return make(Role::Statement, {"if (", std::move(condition), ") ", body(scope), "else ", body(scope)});
    }

    Node arms(Scope& scope) {
        if (random_.chance(50)) {
            Node node = make(Role::Statement, {"switch (", number(scope, 2), ") {\n"});
            for (std::size_t left = 1 + random_.below(3); left > 0; --left) {
                constexpr std::string_view kCases[] = {"0", "1", "2", "0.5", "gn0"};
                node.add(make(Role::Statement, {"case ", random_.pick(kCases), ":\n", body(scope),
                                                random_.chance(70) ? "break;\n" : ""}));
            }
            if (random_.chance(60)) node.add(make(Role::Statement, {"default: ", body(scope)}));
            node.add(Node("}\n"));
            return node;
        }
        Node node = make(Role::Statement, {"select\n"});
        for (std::size_t left = 1 + random_.below(2); left > 0; --left)
            node.add(make(Role::Statement,
                          {"when ", expressions_.condition(scope, 2), " then do ", body(scope), "end\n"}));
        if (random_.chance(60)) node.add(make(Role::Statement, {"otherwise do ", body(scope), "end\n"}));
        node.add(Node("end\n"));
        return node;
    }

    Node loop(Scope& scope) {
        const std::string counter = "k" + std::to_string(depth_);
        scope.counters.push_back(counter);
        Node node = countedLoop(scope, counter);
        scope.counters.pop_back();
        return node;
    }

    Node loopBody(Scope& scope) { return make(Role::Group, {"{\n", kSpend, body(scope), "}\n"}); }

    Node countedLoop(Scope& scope, const std::string& counter) {
        const std::string last = std::to_string(1 + random_.below(5));
        switch (random_.below(6)) {
            case 0:
                return make(Role::Statement,
                            {counter, " = 0; while (", counter, " < ", last, ") {\n", kSpend, counter,
                             random_.chance(50) ? "++;\n" : " += 1;\n", body(scope), "}\n"});
            case 1:
                return make(Role::Statement, {counter, " = ", last, "; while +",
                                              expressions_.condition(scope, 2), " do ", loopBody(scope)});
            case 2: {
                const std::string step = random_.chance(50) ? counter + "--" : "--" + counter;
                return make(Role::Statement, {"for (", counter, " = ", last, "; ", counter, " > 0; ", step,
                                              ") ", loopBody(scope)});
            }
            case 3: {
                constexpr std::string_view kSteps[] = {"", " by 2", " by 0.5", " by gn0"};
                return make(Role::Statement, {"for ", counter, " = ", random_.chance(70) ? "1" : "0.5",
                                              " to ", last, random_.pick(kSteps), " do ", loopBody(scope)});
            }
            case 4:
                return make(Role::Statement,
                            {"do ", counter, " = ", number(scope, 1), " to ", last, " ", loopBody(scope)});
            default:
                return make(Role::Statement, {"for (", counter, " = 0; ", counter, " <= ", last, "; ",
                                              counter, "++) ", loopBody(scope)});
        }
    }

    Random random_;
    std::vector<Function> functions_;
    Expressions expressions_{random_, functions_};
    bool strict_ = false;
    int results_ = 0;  ///< of the function that is being made
    int depth_ = 0;
};

}  // namespace

Node generate(std::uint64_t seed) {
    return Generator(seed).script();
}

}  // namespace kestrel::equal
