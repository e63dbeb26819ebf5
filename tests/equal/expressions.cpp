#include "tests/equal/expressions.h"

#include <string_view>

namespace kestrel::equal {

namespace {

constexpr std::string_view kNumbers[] = {
    "0",
    "1",
    "2",
    "3",
    "-1",
    "7",
    "0.5",
    "0.25",
    "-2.5",
    "1.0",
    "0.0",
    "-0.0",
    "3.75",
    "0.0000000000001",
    "0.000000000000000000001",
    "340282346638528859811704183484516925440.0",
    "1000000000000000000000.5",
    "100",
    "255",
    "-7",
    "2147483647",
    "2147483648.0",
    "-2147483649.0",
    "4294967296.0",
    "9007199254740993.0",
    "0.1",
    "1.000000001",
};
/// What meets by itself too rarely: both zeros, and numbers that nearly are the same.
constexpr std::string_view kNear[] = {
    "-0.0", "-0.0", "0.0", "0", "0.00000000000001", "1", "1.0", "1.00000000000001"};
constexpr std::string_view kTexts[] = {"\"\"",      "\"a\"",     "\"Word\"", "\"word\"",
                                       "\"12.5x\"", "\"b c,d\"", "\"1 2 3\""};
constexpr std::string_view kVectors[] = {"<1, 2, 3>", "<0, 0, 0>", "<0.5, -1, 2.5>",
                                         "<-0.0, 4294967296.5, 7>"};

constexpr std::string_view kArithmetic[] = {"+", "-",  "*",  "+", "-", "*", "/",
                                            "%", "<<", ">>", "&", "|", "^"};
constexpr std::string_view kComparisons[] = {"<", ">", "<=", ">=", "==", "!=", "<>"};
constexpr std::string_view kLogical[] = {"&&", "||", "and", "or"};

constexpr std::string_view kOfOne[] = {"sqrt", "exp",   "log",     "sin",  "cos",   "tan",  "asin",
                                       "acos", "atan",  "abs",     "ceil", "floor", "cosh", "sinh",
                                       "tanh", "rad",   "deg",     "frac", "fac",   "cot",  "sec",
                                       "csc",  "gamma", "integer", "size", "sizeof"};
constexpr std::string_view kOfTwo[] = {"mod", "pow", "hypot", "min", "max", "round"};
constexpr std::string_view kOfVectors[] = {"dot3d", "vmag", "angle"};
constexpr std::string_view kVectorsOfTwo[] = {"cross3d", "center", "extent", "translate3d", "scale3d"};
constexpr std::string_view kQuestions[] = {"isNil", "isInt", "isStr", "isNum", "isVec", "isArray"};
constexpr std::string_view kConversions[] = {"asInt", "asNum", "size", "count"};

constexpr std::string_view kReadMembers[] = {"sx",           "sy",       "spotSize", "rayLength", "cosine",
                                             "polNum",       "luminous", "diffuse",  "specular",  "mirror",
                                             "transparency", "eta",      "roughness"};
constexpr std::string_view kReadArrays[] = {"oPos", "wPos", "gNorm", "oXfrm", "wXfrm", "wNorm", "color"};
constexpr std::string_view kWrittenMembers[] = {"luminous",     "diffuse", "specular",  "mirror",
                                                "transparency", "eta",     "roughness", "color[1]",
                                                "wNorm[2]",     "color[3]"};
// "second" is a text, which would count as a number by its address.
constexpr std::string_view kFields[] = {"first", "first", "second", "fourth"};
constexpr std::string_view kNumberFields[] = {"first", "first", "third"};

}  // namespace

std::string Expressions::literal(Kind kind) {
    switch (kind) {
        case Kind::Number:
            return std::string(random_.pick(kNumbers));
        case Kind::Text:
            return std::string(random_.pick(kTexts));
        case Kind::Vector:
            return std::string(random_.pick(kVectors));
        case Kind::Any:
            break;
    }
    constexpr Kind kPlain[] = {Kind::Number, Kind::Text, Kind::Vector};
    return random_.chance(20) ? "nil" : literal(random_.pick(kPlain));
}

std::string Expressions::variable(Kind kind, const Scope& scope) {
    const auto numbered = [this](std::string_view name, std::size_t count) {
        return std::string(name) + std::to_string(random_.below(count));
    };
    // Global, of another function's names, or shadowed by a local.
    const std::string_view prefix = random_.chance(30) ? (random_.chance(50) ? "::g" : "g") : "";
    switch (kind) {
        case Kind::Number:
            return std::string(prefix) + numbered("n", 3);
        case Kind::Text:
            return std::string(prefix) + numbered("t", 2);
        case Kind::Vector:
            return std::string(prefix) + numbered("v", 2);
        case Kind::Any:
            break;
    }
    if (scope.parameters > 0 && random_.chance(40))
        return std::string(
            1, static_cast<char>('a' + random_.below(static_cast<std::size_t>(scope.parameters))));
    return std::string(prefix) + numbered("x", 2);
}

std::string Expressions::owner(Kind kind, const Scope& scope) {
    std::string name = variable(kind, scope);
    return name.starts_with("::") ? name.substr(2) : name;
}

std::string Expressions::smallIndex(const Scope& scope) {
    if (!scope.counters.empty() && random_.chance(40))
        return scope.counters[random_.below(scope.counters.size())];
    if (random_.chance(3)) return random_.chance(50) ? "0" : "-1";
    if (random_.chance(4)) return "9";
    return std::to_string(1 + random_.below(2));
}

std::string Expressions::sampleMember() {
    if (random_.chance(60)) return "sa." + std::string(random_.pick(kReadMembers));
    return "sa." + std::string(random_.pick(kReadArrays)) + '[' + std::to_string(1 + random_.below(3)) + ']';
}

Node Expressions::memberRead(const Scope& scope) {
    if (scope.shades && random_.chance(75)) return make(Role::Expression, {sampleMember()});
    switch (random_.below(3)) {
        case 0:
            return make(Role::Expression, {owner(Kind::Vector, scope), ".",
                                           std::string(1, static_cast<char>('x' + random_.below(3)))});
        case 1:
            return make(Role::Expression,
                        {random_.chance(50) ? "r0" : "gr0", "->", random_.pick(kNumberFields)});
        default: {
            const Kind kind = random_.chance(70) ? Kind::Number : Kind::Any;
            const bool question = random_.chance(40);
            return make(Role::Expression,
                        {owner(kind, scope), ".",
                         question ? random_.pick(kQuestions) : random_.pick(kConversions), "()"});
        }
    }
}

Node Expressions::element(Scope& scope, int depth) {
    // What is read may be out of bounds, now and then, and then ends the run.
    const bool wild = random_.chance(3);
    const auto index = [&] {
        return wild ? number(scope, depth - 1)
                    : make(Role::Expression, {std::to_string(1 + random_.below(2))});
    };
    switch (random_.below(4)) {
        case 0:
            return make(Role::Expression, {"ga2[", index(), ", ", index(), "]"});
        case 1:
            return make(Role::Expression, {"ga3[", index(), ", ", index(), ", ", index(), "]"});
        case 2:
            return make(Role::Expression, {"l1[", index(), "]"});
        default:
            return make(Role::Expression, {"ga1[", index(), "]"});
    }
}

/// The right side of an operator is mostly what can be loaded together with it.
Node Expressions::leafOrNumber(Scope& scope, int depth) {
    if (random_.chance(35)) return make(Role::Expression, {literal(Kind::Number)});
    if (random_.chance(55))
        return make(Role::Expression, {variable(random_.chance(96) ? Kind::Number : Kind::Any, scope)});
    return number(scope, depth);
}

Node Expressions::binary(Scope& scope, int depth) {
    const std::size_t form = random_.below(10);
    const std::string_view op = form < 6   ? random_.pick(kArithmetic)
                                : form < 9 ? random_.pick(kComparisons)
                                           : random_.pick(kLogical);
    if (random_.chance(6) && (op != "/" || random_.chance(15)))
        return make(Role::Expression, {"(", random_.pick(kNear), " ", op, " ", random_.pick(kNear), ")"});
    Node left = random_.chance(2) ? of(Kind::Any, scope, depth - 1) : number(scope, depth - 1);
    const bool divides = op == "/" || op == "%";
    Node right = divides && random_.chance(85) ? make(Role::Expression, {random_.chance(50) ? "3" : "0.7"})
                                               : leafOrNumber(scope, depth - 1);
    // A line may end inside an expression, and messages name the line of the instruction.
    return make(Role::Expression,
                {"(", std::move(left), " ", op, random_.chance(10) ? "\n" : " ", std::move(right), ")"});
}

Node Expressions::builtin(Scope& scope, int depth) {
    switch (random_.below(7)) {
        case 0:
        case 1:
            return make(Role::Expression, {random_.pick(kOfOne), "(", number(scope, depth - 1), ")"});
        case 2:
            return make(Role::Expression, {random_.pick(kOfTwo), "(", number(scope, depth - 1), ", ",
                                           number(scope, depth - 1), ")"});
        case 3: {
            const std::string_view name = random_.pick(kOfVectors);
            if (name == "vmag") return make(Role::Expression, {name, "(", vector(scope, depth - 1), ")"});
            return make(Role::Expression, {name, "(", vector(scope, depth - 1), ", ",
                                           vector(scope, depth - 1), name == "angle" ? ", 3)" : ")"});
        }
        case 4:
            return make(Role::Expression, {"step(", number(scope, depth - 1), ", ", number(scope, depth - 1),
                                           ", ", number(scope, depth - 1), ")"});
        case 5:
            return make(Role::Expression, {random_.chance(50) ? "randu()" : "random(1, 6)"});
        default:
            return make(Role::Expression,
                        {random_.chance(50) ? "number(" : "integer(", text(scope, depth - 1), ")"});
    }
}

Node Expressions::condition(Scope& scope, int depth) {
    if (random_.chance(15)) return of(Kind::Any, scope, depth);
    return make(Role::Expression, {"(", number(scope, depth - 1), " ", random_.pick(kComparisons), " ",
                                   leafOrNumber(scope, depth - 1), ")"});
}

Node Expressions::call(const Function& function, Scope& scope, int depth) {
    Node node = make(Role::Expression, {function.name, "("});
    const int wrong = random_.chance(3) ? 1 : 0;
    for (int i = 0; i < function.parameters + wrong; ++i) {
        if (i > 0) node.add(Node(", "));
        node.add(of(i == 0 ? Kind::Number : Kind::Any, scope, depth - 1));
    }
    node.add(Node(")"));
    return node;
}

Node Expressions::number(Scope& scope, int depth) {
    if (depth <= 0 || random_.chance(15)) {
        if (!scope.counters.empty() && random_.chance(20))
            return make(Role::Expression, {scope.counters[random_.below(scope.counters.size())]});
        if (scope.shades && random_.chance(25)) return make(Role::Expression, {sampleMember()});
        return make(Role::Expression,
                    {random_.chance(35) ? literal(Kind::Number) : variable(Kind::Number, scope)});
    }
    switch (random_.below(12)) {
        case 0:
            return make(Role::Expression,
                        {"(", random_.chance(50) ? "-" : "!", number(scope, depth - 1), ")"});
        case 1:
            return builtin(scope, depth);
        case 2:
            return memberRead(scope);
        case 3:
            return element(scope, depth);
        case 4: {
            if (scope.conditional) return binary(scope, depth);
            scope.conditional = true;
            Node node =
                make(Role::Expression, {"(", condition(scope, depth - 1), " ? ", number(scope, depth - 1),
                                        " : ", number(scope, depth - 1), ")"});
            scope.conditional = false;
            return node;
        }
        case 5:
            if (random_.chance(50))
                return make(Role::Expression,
                            {"(", variable(Kind::Number, scope), random_.chance(50) ? "++)" : "--)"});
            return make(Role::Expression,
                        {"(", random_.chance(50) ? "++" : "--", variable(Kind::Number, scope), ")"});
        case 6:
            if (functions_.empty()) return binary(scope, depth);
            return call(random_.pick(functions_), scope, depth);
        default:
            return binary(scope, depth);
    }
}

Node Expressions::text(Scope& scope, int depth) {
    if (depth <= 0 || random_.chance(30))
        return make(Role::Expression,
                    {random_.chance(50) ? literal(Kind::Text) : variable(Kind::Text, scope)});
    switch (random_.below(7)) {
        case 0:
            return make(Role::Expression, {"strright(string(", of(Kind::Any, scope, depth - 1), ", ",
                                           number(scope, depth - 1), "), 30)"});
        case 1:
            return make(Role::Expression,
                        {"strsub(", text(scope, depth - 1), ", 1, ", number(scope, 0), ")"});
        case 2:
            return make(Role::Expression,
                        {random_.chance(50) ? "strupper(" : "strlower(", text(scope, depth - 1), ")"});
        case 3:
            return make(Role::Expression, {"(", text(scope, depth - 1), random_.chance(50) ? " - " : " / ",
                                           literal(Kind::Text), ")"});
        case 4:
            return make(Role::Expression,
                        {"(", literal(Kind::Text), " * ", std::to_string(random_.below(4)), ")"});
        case 5:
            return make(Role::Expression, {owner(Kind::Any, scope), ".asStr()"});
        default:
            return make(Role::Expression, {"strright(", text(scope, depth - 1), " + ",
                                           of(Kind::Any, scope, depth - 1), ", 20)"});
    }
}

Node Expressions::vector(Scope& scope, int depth) {
    if (depth <= 0 || random_.chance(25))
        return make(Role::Expression,
                    {random_.chance(35) ? literal(Kind::Vector) : variable(Kind::Vector, scope)});
    switch (random_.below(5)) {
        case 0:
            return make(Role::Expression, {"<", number(scope, depth - 1), ", ", number(scope, depth - 1),
                                           ", ", number(scope, depth - 1), ">"});
        case 1:
            return make(Role::Expression, {random_.pick(kVectorsOfTwo), "(", vector(scope, depth - 1), ", ",
                                           vector(scope, depth - 1), ")"});
        case 2: {
            constexpr std::string_view kOperators[] = {"+", "-", "*", "/", "^", "|"};
            return make(Role::Expression, {"(", vector(scope, depth - 1), " ", random_.pick(kOperators), " ",
                                           vector(scope, depth - 1), ")"});
        }
        case 3:
            return make(Role::Expression,
                        {"(", leafOrNumber(scope, depth - 1), " * ", vector(scope, depth - 1), ")"});
        default:
            return make(Role::Expression, {"(", vector(scope, depth - 1), random_.chance(50) ? " * " : " + ",
                                           leafOrNumber(scope, depth - 1), ")"});
    }
}

Node Expressions::any(Scope& scope, int depth) {
    constexpr Kind kPlain[] = {Kind::Number, Kind::Text, Kind::Vector};
    switch (random_.below(20)) {
        case 0:
            return make(Role::Expression, {"nil"});
        case 1:
            return make(Role::Expression, {"Pair(", number(scope, depth - 1), ")"});
        case 2:
            return make(Role::Expression, {random_.chance(50) ? "r0" : "gr0"});
        case 3:
            return make(Role::Expression, {random_.chance(50) ? "ga1" : "l1"});
        case 4:
            if (scope.conditional || depth <= 0) return make(Role::Expression, {variable(Kind::Any, scope)});
            scope.conditional = true;
            {
                Node node = make(Role::Expression, {"(integer(", number(scope, 0), ") ? ", number(scope, 1),
                                                    ", ", text(scope, 0), ", ", vector(scope, 0), ")"});
                scope.conditional = false;
                return node;
            }
        case 5:
            return make(Role::Expression, {scope.shades ? "sa.objID" : "getfirstitem(MESH)"});
        case 6:
        case 7:
        case 8:
            return make(Role::Expression, {variable(Kind::Any, scope)});
        default:
            return of(random_.pick(kPlain), scope, depth);
    }
}

Node Expressions::of(Kind kind, Scope& scope, int depth) {
    if (kind != Kind::Any && random_.chance(2)) kind = Kind::Any;
    switch (kind) {
        case Kind::Number:
            return number(scope, depth);
        case Kind::Text:
            return text(scope, depth);
        case Kind::Vector:
            return vector(scope, depth);
        case Kind::Any:
            break;
    }
    return any(scope, depth);
}

Node Expressions::target(Kind kind, const Scope& scope) {
    // Elements and fields hold numbers, mostly: others make an error of what reads them.
    if (random_.chance(kind == Kind::Number ? 55 : 88)) return Node(variable(kind, scope));
    const auto index = [&] { return smallIndex(scope); };
    switch (random_.below(6)) {
        case 0:
            return make(Role::Group, {"ga1[", index(), "]"});
        case 1:
            return make(Role::Group, {"ga2[", index(), ", ", index(), "]"});
        case 2:
            return make(Role::Group, {"l1[", index(), "]"});
        case 3:
            return make(Role::Group, {random_.chance(50) ? "r0->" : "gr0->", random_.pick(kFields)});
        case 4:
            return make(Role::Group, {owner(Kind::Vector, scope), ".",
                                      std::string(1, static_cast<char>('x' + random_.below(3)))});
        default:
            if (!scope.shades) return make(Role::Group, {"ga3[", index(), ", ", index(), ", ", index(), "]"});
            return Node(random_.chance(95) ? "sa." + std::string(random_.pick(kWrittenMembers))
                                           : sampleMember());
    }
}

}  // namespace kestrel::equal
