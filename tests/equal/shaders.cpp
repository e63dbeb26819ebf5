#include "tests/equal/shaders.h"

#include "tests/equal/random.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrel::equal {

namespace {

constexpr std::string_view kNumbers[] = {"0",
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
                                         "8",
                                         "0.1",
                                         "100",
                                         "2147483647",
                                         "2147483648.0",
                                         "-2147483649.0",
                                         "9007199254740993.0",
                                         "0.0000000000001",
                                         "340282346638528859811704183484516925440.0"};
constexpr std::string_view kDivisors[] = {"3", "4", "8", "-3"};
constexpr std::string_view kSmall[] = {"0", "1", "2", "3", "0.5", "0.25", "-1", "1.5", "4", "0.75"};
constexpr std::string_view kOperators[] = {"+", "-", "*", "+", "-", "*", "/", "%", "&", "|", "^", "<<", ">>"};
constexpr std::string_view kPlainOperators[] = {"+", "-", "*"};
constexpr std::string_view kComparisons[] = {"<", ">", "<=", ">=", "==", "!="};
constexpr std::string_view kOfOne[] = {"sqrt", "sin",  "cos", "abs",  "floor", "ceil",  "frac",   "exp",
                                       "atan", "rad",  "deg", "tanh", "floor", "cot",   "sec",    "csc",
                                       "log",  "asin", "fac", "abs",  "size",  "gamma", "integer"};
constexpr std::string_view kMethods[] = {"asInt", "asNum", "size",  "count", "isInt",
                                         "isNum", "isVec", "isNil", "trunc", "asInt"};
/// Spans that a draw hits soon.
constexpr std::string_view kDraws[] = {"randu()",          "randu()",           "randu()",
                                       "randu(7)",         "randu(-2.5)",       "random(0, 32767)",
                                       "random(-5, 9000)", "random(12000, 2)",  "random(2.5, 2)",
                                       "random(3, 40000)", "random(0, 20000.5)"};
constexpr std::string_view kRead[] = {"oPos[1]",  "oPos[2]", "oPos[3]",  "wPos[1]",  "gNorm[2]", "sx",
                                      "sy",       "cosine",  "spotSize", "luminous", "diffuse",  "color[1]",
                                      "wNorm[3]", "polNum",  "wXfrm[4]", "rayLength"};
constexpr std::string_view kWritten[] = {"color[1]", "color[2]", "color[3]",     "luminous", "diffuse",
                                         "specular", "mirror",   "transparency", "wNorm[1]", "roughness"};
constexpr std::string_view kCompound[] = {"+=", "-=", "*=", "+=", "/=", "&=", "|=", "^="};

struct Function {
    int parameters;
    int results;
    bool vector;  ///< one more parameter, p
};

class Shaders {
public:
    Shaders(std::uint64_t seed, bool independent) : random_(seed), independent_(independent) {}

    Node script() {
        switches_ = random_.chance(40);
        calls_ = random_.chance(65);
        changes_ = !independent_ && random_.chance(45);
        Node script(Role::Block);
        head(script);
        const std::size_t count = random_.below(4);
        for (std::size_t i = 0; i < count; ++i) {
            const Function made{static_cast<int>(random_.below(4)),
                                random_.chance(60) ? 1 : 2 + static_cast<int>(random_.below(2)),
                                random_.chance(30)};
            script.add(function(i, made));
            functions_.push_back(made);
        }
        process_ = true;
        script.add(
            make(Role::Group, {"process: sa\n{\n", locals(), ownArray(), statements(8), writes(), "}\n"}));
        process_ = false;
        if (random_.chance(60))
            script.add(make(Role::Statement, {"newtime: frame, time\n{\n", changes(), "}\n"}));
        script.add(make(Role::Group, {"init\n{\nfor i = 1 to 16 do table[i] = randu();\n"
                                      "for i = 1 to 8 do whole[i] = i * 3;\n"
                                      "for i = 1 to 4 do ways[i] = <i, 0.5 * i, -1>;\n"
                                      "for i = 1 to 2 do for j = 1 to 3 do grid[i, j] = i + 0.5 * j;\n",
                                      changes(), "}\n"}));
        return script;
    }

private:
    void head(Node& script) {
        script.add(Node("var table[16], whole[8], grid[2, 3], ways[4];\n"));
        for (const std::string_view name : {"g0", "g1", "g2"})
            script.add(make(Role::Statement, {"var ", name, " = ", literal(), ";\n"}));
        for (const std::string_view name : {"gv0", "gv1"})
            script.add(make(Role::Statement,
                            {"var ", name, " = <", literal(), ", ", literal(), ", ", literal(), ">;\n"}));
        script.add(Node("var seen = 0;\n"));
    }

    std::string literal() {
        return std::string(random_.chance(independent_ ? 97 : 88) ? random_.pick(kSmall)
                                                                  : random_.pick(kNumbers));
    }

    // ---- names

    std::string number() {
        if (!counters_.empty() && random_.chance(25)) return counters_[random_.below(counters_.size())];
        if (parameters_ > 0 && random_.chance(40))
            return std::string(1,
                               static_cast<char>('a' + random_.below(static_cast<std::size_t>(parameters_))));
        if (random_.chance(25)) return (random_.chance(70) ? "g" : "::g") + std::to_string(random_.below(3));
        if (numbers_ == 0) return "g0";
        return "n" + std::to_string(random_.below(numbers_));
    }
    std::string vector() {
        if (vectorParameter_ && random_.chance(40)) return "p";
        if (vectors_ == 0 || random_.chance(30)) return "gv" + std::to_string(random_.below(2));
        return "v" + std::to_string(random_.below(vectors_));
    }
    /// Written to: mostly locals.
    std::string target() {
        if (!independent_ && random_.chance(8)) return "seen";
        if (!independent_ && random_.chance(5)) return "g" + std::to_string(random_.below(3));
        if (parameters_ > 0 && random_.chance(20))
            return std::string(1,
                               static_cast<char>('a' + random_.below(static_cast<std::size_t>(parameters_))));
        return "n" + std::to_string(random_.below(4));
    }

    // ---- expressions

    Node value(int depth) {
        if (depth <= 0 || random_.chance(15)) {
            if (process_ && random_.chance(45)) return make(Role::Expression, {"sa.", random_.pick(kRead)});
            return make(Role::Expression, {random_.chance(35) ? literal() : number()});
        }
        switch (random_.below(20)) {
            case 16:
                return selected(depth);
            case 17:
                if (calls_) return binary(depth);
                return make(Role::Expression,
                            {random_.chance(80) ? local() : vectorName(), ".", random_.pick(kMethods), "()"});
            case 18:
                return random_.chance(60) ? make(Role::Expression, {"round(", value(depth - 1), ", ",
                                                                    std::to_string(random_.below(4)), ")"})
                                          : member(depth);
            case 19:
                return random_.chance(95) ? binary(depth)
                                          : make(Role::Expression, {"(", value(depth - 1), " ",
                                                                    random_.pick(kComparisons), " nil)"});
            case 0: {
                const std::string_view name = random_.pick(kOfOne);
                const bool positive = name == "sqrt" || name == "log" || name == "exp";
                return make(Role::Expression,
                            {name, positive && random_.chance(85) ? "(abs(1.5 - sin(" : "(((",
                             value(depth - 1), ")))"});
            }
            case 1:
                return make(Role::Expression,
                            {random_.pick(kTwo), "(", value(depth - 1), ", ", value(depth - 1), ")"});
            case 2:
                return make(Role::Expression, {"(", random_.chance(60) ? "- " : "!", value(depth - 1), ")"});
            case 3:
                if (!changes_ || random_.chance(90)) return element(depth);
                return make(Role::Expression, {"(", element(depth), random_.pick(kSteps), ")"});
            case 4:
                return make(Role::Expression,
                            {vector(), ".", std::string(1, static_cast<char>('x' + random_.below(3)))});
            case 5:
                if (nested_) return binary(depth);
                nested_ = true;
                {
                    Node node = make(Role::Expression, {"(", condition(depth - 1), " ? ", value(depth - 1),
                                                        " : ", value(depth - 1), ")"});
                    nested_ = false;
                    return node;
                }
            case 6:
                if (independent_ && numbers_ < 4) return binary(depth);
                return make(Role::Expression, {"(", numbers_ < 4 ? std::string("seen") : target(),
                                               random_.chance(50) ? "++)" : "--)"});
            case 7:
                if (functions_.empty() || !calls_) return binary(depth);
                {
                    const std::size_t which = random_.below(functions_.size());
                    if (functions_[which].results > 1 && !seldom()) return binary(depth);
                    return call(which, depth);
                }
            case 8:
                return !independent_ && random_.chance(50)
                           ? make(Role::Expression, {random_.pick(kDraws)})
                           : make(Role::Expression,
                                  {"(", vectorValue(depth - 1), " & ", vectorValue(depth - 1), ")"});
            case 9:
                return make(Role::Expression, {"vmag(", vectorValue(depth - 1), ")"});
            case 10:
                return make(Role::Expression,
                            {"step(", value(depth - 1), ", ", value(depth - 1), ", ", value(depth - 1), ")"});
            case 11:
                return condition(depth);
            default:
                return binary(depth);
        }
    }

    Node binary(int depth) {
        const std::string_view op =
            random_.chance(independent_ ? 82 : 75) ? random_.pick(kPlainOperators) : random_.pick(kOperators);
        const bool whole = op == "%" || op == "&" || op == "|" || op == "^" || op == "<<" || op == ">>";
        Node left = value(depth - 1);
        if (whole && random_.chance(70)) left = make(Role::Expression, {"floor(", std::move(left), ")"});
        const bool cut = left.parts.size() == 3 && left.parts.front().text == "floor(";
        if (op == "%" && !seldom())
            return make(Role::Expression, {"(", std::move(left), " % ",
                                           cut ? random_.pick(kDivisors) : std::string_view("0.7"), ")"});
        Node right = op == "/" && random_.chance(90)
                         ? make(Role::Expression, {random_.chance(60) ? "3" : "0.7"})
                         : value(depth - 1);
        return make(Role::Expression, {"(", std::move(left), " ", op, " ", std::move(right), ")"});
    }

    Node vectorValue(int depth) {
        if (depth <= 0 || random_.chance(35)) return make(Role::Expression, {vector()});
        switch (random_.below(8)) {
            case 4:
                return make(Role::Expression, {"ways[(floor(", value(depth - 1), ") & 3) + 1]"});
            case 5:
                return make(Role::Expression, {random_.pick(kVectorsOfTwo), "(", vectorValue(depth - 1), ", ",
                                               vectorValue(depth - 1), ")"});
            case 6:
                return make(Role::Expression,
                            {"rotate3d(", std::to_string(1 + random_.below(3)), ", ", value(depth - 1), ", ",
                             vectorValue(depth - 1), random_.chance(50) ? ", gv0)" : ")"});
            case 7:
                return make(Role::Expression,
                            {"(", vectorValue(depth - 1), " ", random_.pick(kVectorOperators), " ",
                             vectorValue(depth - 1), ")"});
            case 0:
                return make(Role::Expression,
                            {"<", value(depth - 1), ", ", value(depth - 1), ", ", value(depth - 1), ">"});
            case 1:
                return make(Role::Expression, {"(", vectorValue(depth - 1), " ",
                                               random_.chance(85) ? random_.pick(kPlainOperators) : "/", " ",
                                               vectorValue(depth - 1), ")"});
            case 2:
                return make(Role::Expression, {"(", value(depth - 1), " * ", vectorValue(depth - 1), ")"});
            default:
                return make(Role::Expression,
                            {random_.chance(50) ? "sin(" : "abs(", vectorValue(depth - 1), ")"});
        }
    }

    Node selected(int depth) {
        if (nested_ || calls_) return binary(depth);
        nested_ = true;
        Node node =
            make(Role::Expression, {"(", random_.chance(95) ? "1 + " : "", condition(depth - 1), " ? @0.5 + ",
                                    value(depth - 1), ", 1.5 * ", value(depth - 1), "@)"});
        nested_ = false;
        return node;
    }

    Node condition(int depth) {
        if (random_.chance(15))
            return make(Role::Expression, {"(", condition(depth - 1 > 0 ? depth - 1 : 0),
                                           random_.chance(50) ? " && " : " || ", value(depth - 1), ")"});
        if (random_.chance(6))
            return make(Role::Expression,
                        {"(", vectorValue(1), " ", random_.pick(kComparisons), " ", vectorValue(1), ")"});
        return make(Role::Expression,
                    {"(", value(depth - 1), " ", random_.pick(kComparisons), " ", value(depth - 1), ")"});
    }

    /// A local array, which each sample fills.
    Node ownArray() {
        Node block(Role::Block);
        if (!changes_) return block;
        block.add(Node("var own[3];\n"));
        for (const std::string_view index : {"1", "2", "3"})
            block.add(make(Role::Group, {"own[", index, "] = ", value(1), ";\n"}));
        own_ = true;
        return block;
    }

    /// An element that is written.
    Node changed() {
        if (depth_ == 0 && random_.chance(3))  // more often than can be taken back
            return make(Role::Statement, {"for k0 = 1 to 1100 do ", element(1), " += k0;\n"});
        const bool whole = random_.chance(25);
        if (random_.chance(15)) {
            Node node = make(Role::Statement, {"ways[(floor(", value(1), ") & 3) + 1] "});
            node.add(Node(random_.chance(60) ? "= " : "+= "));
            node.add(vectorValue(2));
            node.add(Node(";\n"));
            return node;
        }
        if (process_ && random_.chance(15))
            return make(Role::Statement, {random_.chance(60)   ? "own"
                                          : random_.chance(50) ? "list"
                                                               : "whole",
                                          " = @0.5, ", literal(), ", 2.5 * ", value(0), "@;\n"});
        Node node = make(Role::Statement, {whole ? wholeElement(2) : element(2)});
        switch (random_.below(5)) {
            case 0:
                node.add(Node(std::string(random_.pick(kSteps)) + ";\n"));
                return node;
            case 1:
                node.add(Node(" += "));
                break;
            case 2:
                node.add(Node(random_.chance(50) ? " *= " : " -= "));
                break;
            default:
                node.add(Node(" = "));
                break;
        }
        node.add(whole ? make(Role::Expression, {"floor(8 * ", value(1), ")"}) : value(2));
        node.add(Node(";\n"));
        return node;
    }

    Node wholeElement(int depth) {
        return make(Role::Expression, {"whole[(floor(", value(depth - 1), ") & 7) + 1]"});
    }

    Node element(int depth) {
        const auto index = [&](std::string_view most) {
            return seldom() ? value(depth - 1)
                            : make(Role::Expression, {"(floor(", value(depth - 1), ") & ", most, ") + 1"});
        };
        if (own_ && process_ && random_.chance(40)) return make(Role::Expression, {"own[", index("1"), "]"});
        switch (random_.below(3)) {
            case 0:
                return make(Role::Expression, {"table[", index("15"), "]"});
            case 1:
                return wholeElement(depth);
            default:
                return make(Role::Expression, {"grid[", index("1"), ", ", index("1"), "]"});
        }
    }

    /// A member of the sample by an index that depends.
    Node member(int depth) {
        if (!process_) return binary(depth);
        constexpr std::string_view kOfThree[] = {"oPos", "gNorm", "color", "wNorm"};
        return make(Role::Expression, {"sa.", random_.pick(kOfThree), "[(floor(", value(depth - 1),
                                       seldom() ? ") & 3) + 1]" : ") & 1) + 1]"});
    }

    Node call(std::size_t which, int depth) {
        const bool nested = std::exchange(nested_, nested_ || !calls_);
        Node node = make(Role::Expression, {"f" + std::to_string(which) + "("});
        for (int i = 0; i < functions_[which].parameters; ++i) {
            if (i > 0) node.add(Node(", "));
            node.add(seldom() ? vectorValue(depth - 1) : value(depth - 1));
        }
        if (functions_[which].vector) {
            if (functions_[which].parameters > 0) node.add(Node(", "));
            node.add(vectorValue(depth - 1));
        }
        node.add(Node(")"));
        nested_ = nested;
        return node;
    }

    // ---- statements

    Node locals() {
        Node block(Role::Block);
        vectors_ = 0;
        for (numbers_ = 0; numbers_ < 4; ++numbers_)
            if (independent_ || !seldom())
                block.add(make(Role::Statement, {"n" + std::to_string(numbers_), " = ", value(1), ";\n"}));
        for (; vectors_ < 2; ++vectors_)
            if (independent_ || !seldom())
                block.add(
                    make(Role::Statement, {"v" + std::to_string(vectors_), " = ", vectorValue(2), ";\n"}));
        return block;
    }

    Node function(std::size_t index, const Function& made) {
        parameters_ = made.parameters;
        results_ = made.results;
        vectorParameter_ = made.vector;
        depth_ = 1;
        std::string head = "f" + std::to_string(index);
        for (int i = 0; i < made.parameters; ++i)
            head += (i == 0 ? ": " : ", ") + std::string(1, static_cast<char>('a' + i));
        if (made.vector) head += made.parameters == 0 ? ": p" : ", p";
        Node node = make(Role::Group, {head, "\n{\n", locals(), statements(4), returning(), "}\n"});
        node.role = Role::Statement;
        parameters_ = results_ = depth_ = 0;
        vectorParameter_ = false;
        return node;
    }

    Node returning() {
        Node node = make(Role::Statement, {"return ("});
        const bool nested = std::exchange(nested_, nested_ || !calls_);
        for (int i = 0; i < results_; ++i) {
            if (i > 0) node.add(Node(", "));
            node.add(seldom() ? vectorValue(2) : value(2));
        }
        nested_ = nested;
        node.add(Node(");\n"));
        return node;
    }

    Node statements(std::size_t most) {
        Node block(Role::Block);
        for (std::size_t left = 1 + random_.below(most); left > 0; --left) block.add(statement());
        return block;
    }

    Node body() {
        ++depth_;
        Node node = make(Role::Group, {"{\n", statements(3), "}\n"});
        --depth_;
        return node;
    }

    Node writes() {
        Node block(Role::Block);
        for (std::size_t left = 1 + random_.below(3); left > 0; --left) block.add(write());
        return block;
    }

    Node combination(std::string name) {
        const std::string_view op = random_.pick(kCompound);
        const bool divides = op == "/=" && random_.chance(95);
        return make(Role::Statement, {std::move(name), " ", op, " ", divides ? Node("3") : value(2), ";\n"});
    }

    Node write() {
        if (random_.chance(10)) {
            constexpr std::string_view kOfThree[] = {"sa.color[", "sa.wNorm["};
            const std::string_view which = random_.pick(kOfThree);
            return make(Role::Statement,
                        {which, seldom() ? "1.5 * " : "", "(floor(", value(1), ") & 1) + 1] ",
                         random_.chance(70) ? "=" : "+=", " ", value(2), ";\n"});
        }
        const std::string member = "sa." + std::string(random_.pick(kWritten));
        if (random_.chance(20)) return combination(member);
        if (random_.chance(10)) return make(Role::Statement, {member, random_.pick(kSteps), ";\n"});
        return make(Role::Statement, {member, " = ", value(2), ";\n"});
    }

    Node statement() {
        if (changes_ && random_.chance(12)) return changed();
        switch (random_.below(depth_ < 3 ? 27 : 13)) {
            case 25:
                return switches_ ? switchOver() : leaving();
            case 26:
                return switches_ ? selectOver() : leaving();
            case 11:
                return make(Role::Statement, {random_.chance(60) ? "-" : "!", target(), ";\n"});
            case 12:
                if (calls_ || random_.chance(50))
                    return make(Role::Statement,
                                {vectorName(), ".", std::string(1, static_cast<char>('x' + random_.below(3))),
                                 random_.pick(kSteps), ";\n"});
                return make(Role::Statement, {random_.chance(70) ? target() : vectorName(), ".trunc();\n"});
            case 0:
            case 1:
            case 2:
            case 3:
                return make(Role::Statement, {target(), " = ", value(3), ";\n"});
            case 4:
                return combination(target());
            case 5:
                return make(Role::Statement, {target(), random_.chance(50) ? "++;\n" : "--;\n"});
            case 6:
                return random_.chance(70)
                           ? make(Role::Statement,
                                  {"v", std::to_string(random_.below(2)), " = ", vectorValue(3), ";\n"})
                           : make(Role::Statement,
                                  {"v0.", std::string(1, static_cast<char>('x' + random_.below(3))), " ",
                                   random_.chance(60) ? "=" : "+=", " ", value(2), ";\n"});
            case 7:
                return several();
            case 8:
                return process_ ? write() : make(Role::Statement, {target(), " = ", value(2), ";\n"});
            case 9:
                return leaving();
            case 10:
                return random_.chance(4) ? strange()
                                         : make(Role::Statement, {target(), " = ", value(2), ";\n"});
            case 13:
            case 14:
            case 15:
                return make(Role::Statement, {"if (", condition(2), ") ", body()});
            case 16:
            case 17:
            case 18:
                return make(Role::Statement, {"if (", condition(2), ") ", body(), "else ", body()});
            case 19:
                return make(Role::Statement, {"if (", rareCondition(), ") { ", strange(), "}\n"});
            default:
                return loop();
        }
    }

    Node rareCondition() {
        if (independent_) return make(Role::Expression, {value(1), " > 100"});
        if (random_.chance(20)) return make(Role::Expression, {value(1), " > ", random_.pick(kRare)});
        return make(Role::Expression, {"frac(7.3 * ", value(1), ") > 0.95"});
    }

    /// What is not lowered. Not of texts in globals: as numbers they would count by their addresses.
    Node strange() {
        switch (random_.below(independent_ ? 2 : 6)) {
            case 0:
                return make(Role::Statement, {"info(\"seen \", ", value(1), ");\n"});
            case 1:
                return make(Role::Statement,
                            {"table[", std::to_string(1 + random_.below(16)), "] = ", value(1), ";\n"});
            case 2:
                return make(Role::Statement, {"x = \"text\"; x += ", value(1), ";\n"});
            case 3:
                return make(Role::Statement, {"g", std::to_string(random_.below(3)), " = ",
                                              random_.chance(15)   ? std::string("nil")
                                              : random_.chance(20) ? vector()
                                                                   : literal(),
                                              ";\n"});
            case 4:
                return make(Role::Statement, {"warn(", value(1), "); seen++;\n"});
            default:
                return make(Role::Statement, {"x = random(1, 6); n0 = x;\n"});
        }
    }

    Node several() {
        if (functions_.empty()) return make(Role::Statement, {target(), " = ", value(2), ";\n"});
        const std::size_t which = random_.below(functions_.size());
        const int results = functions_[which].results;
        if (results == 1) return make(Role::Statement, {target(), " = ", call(which, 2), ";\n"});
        Node node = make(Role::Statement, {"("});
        for (int i = 0; i < results + (random_.chance(10) ? 1 : 0); ++i) {
            if (i > 0) node.add(Node(", "));
            node.add(process_ && random_.chance(20) ? make(Role::Group, {"sa.", random_.pick(kWritten)})
                                                    : Node(target()));
        }
        node.add(Node(") = "));
        node.add(call(which, 2));
        node.add(Node(";\n"));
        return node;
    }

    Node leaving() {
        const std::size_t form = random_.below(4);
        Node test = condition(2);
        if (form == 0 && !counters_.empty())
            return make(Role::Statement, {"if (", std::move(test), ") break;\n"});
        if (form == 1 && !counters_.empty() && !switches_)
            return make(Role::Statement, {"if (", std::move(test), ") continue;\n"});
        if (form == 2 && results_ > 0)
            return make(Role::Statement, {"if (", std::move(test), ") ", returning()});
        if (form == 3 && process_) return make(Role::Statement, {"if (", std::move(test), ") return;\n"});
        return make(Role::Statement, {"if (", std::move(test), ") ", target(), " = ", value(2), ";\n"});
    }

    Node switchOver() {
        constexpr std::string_view kCases[] = {"0", "1", "2", "0.5", "-1", "g0"};
        Node node =
            make(Role::Statement,
                 {"switch (", random_.chance(60) ? Node("floor(" + number() + ")") : value(2), ") {\n"});
        const std::size_t last = 1 + random_.below(3);
        const std::size_t otherwise = random_.below(8);
        for (std::size_t i = 0; i <= last; ++i) {
            if (i == otherwise) node.add(make(Role::Statement, {"default: ", body()}));
            node.add(make(Role::Statement, {"case ", random_.pick(kCases), ":\n", body(),
                                            random_.chance(60) ? "break;\n" : ""}));
        }
        node.add(Node("}\n"));
        return node;
    }

    Node selectOver() {
        Node node = make(Role::Statement, {"select\n"});
        for (std::size_t i = 1 + random_.below(3); i > 0; --i)
            node.add(make(Role::Statement, {"when ", random_.chance(95) ? condition(2) : value(1),
                                            " then do\n", body(), "end\n"}));
        if (random_.chance(60)) node.add(make(Role::Statement, {"otherwise do\n", body(), "end\n"}));
        node.add(Node("end\n"));
        return node;
    }

    /// Counters are written by nothing else, so loops end.
    Node loop() {
        const std::string counter = "k" + std::to_string(depth_);
        const std::string last =
            std::to_string(random_.chance(70) ? 1 + random_.below(depth_ > 1 ? 2 : 4) : 9 + random_.below(6));
        counters_.push_back(counter);
        Node node(Role::Statement);
        switch (random_.below(4)) {
            case 0:
                node = make(Role::Statement, {counter, " = 0; while (", counter, " < ", last, ") {\n",
                                              counter, "++;\n", body(), "}\n"});
                break;
            case 1:
                node = make(Role::Statement, {"for (", counter, " = ", last, "; ", counter, " > 0; ", counter,
                                              "--) ", body()});
                break;
            case 2:
                node = make(Role::Statement, {"for ", counter, " = 1 to ", last,
                                              random_.chance(80) ? "" : " by 0.5", " do ", body()});
                break;
            default:
                node =
                    make(Role::Statement, {counter, " = 0; while (", counter, " < ", last, ") {\n", counter,
                                           " = ", counter, " + ", random_.chance(50) ? "1" : "0.5", ";\nif (",
                                           condition(1), ") break;\n", body(), "}\n"});
                break;
        }
        counters_.pop_back();
        return node;
    }

    /// Between samples: values, kinds and arrays change.
    Node changes() {
        Node block(Role::Block);
        numbers_ = vectors_ = 0;  // there are no locals
        for (std::size_t left = 1 + random_.below(3); left > 0; --left) {
            switch (random_.below(7)) {
                case 0:
                    block.add(make(Role::Statement,
                                   {"g", std::to_string(random_.below(3)), " = ", literal(), ";\n"}));
                    break;
                case 1:
                    block.add(make(Role::Statement, {"table[", std::to_string(1 + random_.below(16)),
                                                     "] = ", literal(), ";\n"}));
                    break;
                case 2:
                    block.add(make(Role::Statement, {"gv0 = <", literal(), ", 1, 2>;\n"}));
                    break;
                case 3:
                    block.add(make(Role::Statement, {"g1 = ",
                                                     seldom()   ? "<1, 2, 3>"
                                                     : seldom() ? "nil"
                                                                : literal(),
                                                     ";\n"}));
                    break;
                case 4:
                    block.add(make(Role::Statement, {"whole[9] = 27;\n"}));
                    break;
                case 5:
                    block.add(
                        make(Role::Statement, {"table[3] = ", random_.chance(5) ? "<1, 2, 3>" : "7", ";\n"}));
                    break;
                default:
                    if (!functions_.empty())
                        block.add(make(Role::Statement,
                                       {functions_.back().results == 1 ? "g2 = " : "(g2, g1, g0) = ",
                                        call(functions_.size() - 1, 1), ";\n"}));
                    break;
            }
        }
        return block;
    }

    /// What is wrong, in few places.
    bool seldom() { return random_.below(400) == 0; }
    std::string local() { return "n" + std::to_string(random_.below(numbers_ > 0 ? numbers_ : 4)); }
    std::string vectorName() {
        return (vectors_ > 0 ? "v" : "gv") + std::to_string(random_.below(vectors_ > 0 ? vectors_ : 2));
    }

    static constexpr std::string_view kSteps[] = {"++", "--"};
    static constexpr std::string_view kVectorsOfTwo[] = {"center",      "extent",  "cross3d",
                                                         "translate3d", "scale3d", "max"};
    static constexpr std::string_view kVectorOperators[] = {"|", "^", "%", "<<", ">>"};
    static constexpr std::string_view kTwo[] = {"min", "max", "pow", "mod", "min", "max"};
    static constexpr std::string_view kRare[] = {"1.5", "100", "0.9", "10"};

    Random random_;
    std::vector<Function> functions_;
    std::vector<std::string> counters_;
    std::size_t numbers_ = 4;  ///< locals n0, n1 ... that have a value
    std::size_t vectors_ = 2;
    int parameters_ = 0;
    int results_ = 0;
    int depth_ = 0;
    bool calls_ = false;     ///< inside of expressions, where there are no selectors and no methods then
    bool changes_ = false;   ///< elements of arrays
    bool own_ = false;       ///< there is a local array
    bool switches_ = false;  ///< in place of `continue`, which behind a switch may start over for ever
    bool process_ = false;
    bool vectorParameter_ = false;
    bool nested_ = false;
    bool independent_ = false;  ///< nothing goes from one sample to the next
};

}  // namespace

Node generateShader(std::uint64_t seed, bool independent) {
    return Shaders(seed, independent).script();
}

}  // namespace kestrel::equal
