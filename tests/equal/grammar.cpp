#include "tests/equal/grammar.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace kestrel::equal {

namespace {

Role roleOf(std::string_view kind) {
    if (kind == "expression") return Role::Expression;
    if (kind == "statement") return Role::Statement;
    if (kind == "all") return Role::Block;
    return kind == "words" ? Role::Text : Role::Group;
}

Grammar::Form readForm(const std::string& line, Role role) {
    const std::size_t mark = line.find(" :");
    if (mark == std::string::npos) throw std::logic_error("no form: " + line);
    Grammar::Form form;
    std::istringstream head(line.substr(0, mark));
    head >> form.weight;
    for (std::string word; head >> word;) {
        if (word == "leaf")
            form.leaf = true;
        else if (word.front() == '!' || word.front() == '+')
            (word.front() == '!' ? form.bars : form.sets).push_back(word.substr(1));
        else
            form.needs.push_back(word);
    }
    form.text = line.substr(std::min(mark + 3, line.size()));
    for (std::size_t at = 0; (at = form.text.find("\\n", at)) != std::string::npos;)
        form.text.replace(at, 2, "\n");
    const bool ends = form.text.ends_with(';') || form.text.ends_with('}') || form.text.starts_with('#');
    if (ends && (role == Role::Statement || role == Role::Block)) form.text += '\n';
    return form;
}

}  // namespace

Grammar::Grammar(std::string_view text) {
    std::istringstream lines{std::string(text)};
    Rule* rule = nullptr;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == '#') continue;
        std::istringstream words(line);
        if (line.front() != ' ') {
            std::string kind;
            std::string name;
            words >> kind >> name;
            rule = &rules_[name];
            rule->role = roleOf(kind);
            rule->all = rule->role == Role::Block;
            const std::size_t only = line.find(" =");
            if (rule->role != Role::Text && only != std::string::npos)
                rule->forms.push_back(readForm("1 :" + line.substr(only + 2), rule->role));
        } else if (rule->role != Role::Text) {
            rule->forms.push_back(readForm(line, rule->role));
        }
        if (rule->role == Role::Text)
            for (std::string word; words >> word;) rule->forms.emplace_back().text = word;
    }
}

const Grammar::Rule* Grammar::find(std::string_view name) const {
    const auto found = rules_.find(name);
    return found != rules_.end() ? &found->second : nullptr;
}

Node Maker::make(std::string_view name, int depth) {
    const Grammar::Rule* rule = grammar_.find(name);
    if (rule == nullptr) {
        const auto own = byHand_.find(name);
        if (own == byHand_.end()) throw std::logic_error("no rule " + std::string(name));
        return own->second(depth);
    }
    if (!rule->all) return expand(choose(*rule, depth), rule->role, depth);
    Node block(Role::Block);
    for (const Grammar::Form& form : rule->forms)
        if (admits(form) && random_.below(1000) < form.weight)
            block.add(expand(form, Role::Statement, depth));
    return block;
}

bool Maker::admits(const Grammar::Form& form) const {
    const auto isSet = [this](const std::string& flag) { return flags_.contains(flag); };
    return std::ranges::all_of(form.needs, isSet) && std::ranges::none_of(form.bars, isSet);
}

const Grammar::Form& Maker::choose(const Grammar::Rule& rule, int depth) {
    const bool leaves = depth <= 0 && std::ranges::any_of(rule.forms, &Grammar::Form::leaf);
    const auto weight = [&](const Grammar::Form& form) {
        return (form.leaf || !leaves) && admits(form) ? form.weight : 0;
    };
    std::size_t sum = 0;
    for (const Grammar::Form& form : rule.forms) sum += weight(form);
    if (sum == 0) throw std::logic_error("no form is admitted: " + rule.forms.front().text);
    std::size_t left = random_.below(sum);
    const auto* form = rule.forms.data();
    for (; left >= weight(*form); ++form) left -= weight(*form);
    return *form;
}

Node Maker::expand(const Grammar::Form& form, Role role, int depth) {
    if (role == Role::Text) return Node(form.text);
    std::vector<std::string> added;
    for (const std::string& flag : form.sets)
        if (flags_.insert(flag).second) added.push_back(flag);
    Node node(role);
    append(form.text, depth, node);
    for (const std::string& flag : added) flags_.erase(flag);
    const bool same = node.parts.size() == 1 && (role == Role::Group || node.parts[0].role == role);
    return same ? Node(std::move(node.parts[0])) : node;
}

void Maker::append(std::string_view text, int depth, Node& out) {
    constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz";
    while (true) {
        const std::size_t mark = text.find('$');
        if (mark != 0 && !text.empty()) out.add(Node(text.substr(0, mark)));
        if (mark == std::string_view::npos) return;
        text.remove_prefix(mark + 1);
        if (text.front() == '(') {
            std::vector<std::string_view> texts;
            std::string_view inside = text.substr(1, text.find("$)") - 1);
            text.remove_prefix(inside.size() + 3);
            for (std::size_t end = 0; (end = inside.find("$|")) != std::string_view::npos;) {
                texts.push_back(inside.substr(0, end));
                inside.remove_prefix(end + 2);
            }
            texts.push_back(inside);
            append(random_.pick(texts), depth, out);
        } else {
            const std::string_view name = text.substr(0, text.find_first_not_of(kLetters));
            text.remove_prefix(name.size());
            const char suffix = text.empty() ? '\0' : text.front();
            const bool digit = suffix >= '0' && suffix <= '9';
            if (digit || suffix == '=') text.remove_prefix(1);
            out.add(make(name, digit ? suffix - '0' : depth - (suffix == '=' ? 0 : 1)));
        }
    }
}

}  // namespace kestrel::equal
