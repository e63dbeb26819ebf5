#include "tests/equal/programs.h"

#include "tests/equal/grammar.h"

#include <utility>

namespace kestrel::equal {

namespace {

struct Function {
    std::string name;
    std::size_t parameters;
    std::size_t results;
    bool vector;  ///< one more parameter, p
};

/// What grammars cannot say: functions with their parameters and results, and how deep blocks are.
class Programs : public Maker {
public:
    Programs(const Grammar& grammar, std::uint64_t seed) : Maker(grammar, seed) {
        setNest(0);
        byHand_ = {
            {"functions", [this](int) { return functions(); }},
            {"statements", [this](int most) { return statements(static_cast<std::size_t>(most)); }},
            {"body", [this](int) { return body(); }},
            {"loop", [this](int) { return loop(); }},
            {"counter", [this](int) { return Node(counter()); }},
            {"around", [this](int) { return Node(random_.pick(counters_)); }},
            {"call", [this](int depth) { return call(0, 3, depth); }},
            {"empty", [this](int depth) { return call(0, 0, depth); }},
            {"single", [this](int depth) { return call(1, 1, depth); }},
            {"pair", [this](int depth) { return call(2, 2, depth); }},
            {"triple", [this](int depth) { return call(3, 3, depth); }},
        };
    }

    /// Sets a flag in so many of a hundred programs.
    void set(std::string_view flag, std::size_t percent) {
        if (random_.chance(percent)) flags_.emplace(flag);
    }

private:
    /// Where nothing is spent they only call those before them, so calls end.
    Node functions() {
        const bool all = flags_.contains("fuel");
        std::vector<Function> made;
        for (std::size_t left = random_.below(4); left > 0; --left) {
            made.push_back({"f" + std::to_string(made.size()), random_.below(4), pickNumber("results"),
                            pickNumber("vectors") != 0});
            if (all) know(made.back());
        }
        Node block(Role::Block);
        for (const Function& each : made) {
            block.add(function(each));
            if (!all) know(each);
        }
        return block;
    }

    std::size_t pickNumber(std::string_view words) { return std::stoul(make(words, 0).text); }

    void know(const Function& function) {
        constexpr const char* kByResults[] = {"empties", "singles", "pairs", "triples"};
        functions_.push_back(function);
        flags_.insert({"functions", kByResults[function.results]});
    }

    Node function(const Function& made) {
        const auto before = flags_;
        setNest(1);
        std::string head = made.name;
        const auto parameter = [&](std::string name) {
            head += (head == made.name ? ": " : ", ") + name;
            flags_.insert(std::move(name));
        };
        for (std::size_t i = 0; i < made.parameters; ++i)
            parameter(std::string(1, static_cast<char>('a' + i)));
        if (made.parameters > 0) flags_.insert("parameters");
        if (made.vector) parameter("p");
        constexpr const char* kResults[] = {"none", "one", "two", "three"};
        flags_.insert({kResults[made.results], made.results > 0 ? "results" : "none"});
        Node node = equal::make(Role::Statement,
                                {make("procedure", 2), head, "\n{\n", make("functionbody", 2), "}\n"});
        flags_ = before;
        setNest(0);
        return node;
    }

    Node statements(std::size_t most) {
        Node block(Role::Block);
        for (std::size_t left = 1 + random_.below(most); left > 0; --left) block.add(make("statement", 2));
        return block;
    }

    /// Statements in braces, one level deeper.
    Node body() {
        setNest(nest_ + 1);
        Node node = equal::make(Role::Group, {"{\n", statements(3), "}\n"});
        setNest(nest_ - 1);
        return node;
    }

    void setNest(int nest) {
        nest_ = nest;
        const auto set = [this](const char* flag, bool on) {
            if (on)
                flags_.insert(flag);
            else
                flags_.erase(flag);
        };
        set("outermost", nest == 0);
        set("inner", nest > 1);
        set("shallow", nest < 3);
    }

    std::string counter() { return "k" + std::to_string(nest_); }

    Node loop() {
        const bool first = flags_.insert("loops").second;
        counters_.push_back(counter());
        Node node = make("loops", 2);
        counters_.pop_back();
        if (first) flags_.erase("loops");
        return node;
    }

    /// A call of a function with so many results; there is one.
    Node call(std::size_t least, std::size_t most, int depth) {
        std::vector<const Function*> fit;
        for (const Function& each : functions_)
            if (each.results >= least && each.results <= most) fit.push_back(&each);
        const Function& function = *random_.pick(fit);
        const bool nested = !flags_.contains("calls") && flags_.insert("nested").second;
        Node node = equal::make(Role::Expression, {function.name, "("});
        const std::size_t count = function.parameters + pickNumber("extra");
        for (std::size_t i = 0; i < count; ++i) {
            if (i > 0) node.add(Node(", "));
            node.add(make("argument", depth - 1));
        }
        if (function.vector) {
            if (count > 0) node.add(Node(", "));
            node.add(make("vec", depth - 1));
        }
        node.add(Node(")"));
        if (nested) flags_.erase("nested");
        return node;
    }

    std::vector<Function> functions_;
    std::vector<std::string> counters_;
    int nest_ = 0;
};

}  // namespace

Node generate(std::uint64_t seed) {
    static const Grammar grammar(kGeneralGrammar);
    Programs programs(grammar, seed);
    programs.set("fuel", 100);
    programs.set("strict", 25);
    return programs.make("script", 3);
}

Node generateShader(std::uint64_t seed, bool independent) {
    static const Grammar grammar(kShaderGrammar);
    Programs programs(grammar, seed);
    programs.set("switches", 40);
    programs.set("calls", 65);
    programs.set("changes", independent ? 0 : 45);
    programs.set("independent", independent ? 100 : 0);
    return programs.make("script", 3);
}

}  // namespace kestrel::equal
