// Lowering: switch, select, and the selector `n ? a, b, c`.
#include "engine/fast/lowering.h"

#include <algorithm>

namespace kestrel::fast {

namespace {

struct Case {
    const CodeNode* label;  ///< what stands before the case's value; null: the default
    const CodeNode* test;
    const CodeNode* body;
    const CodeNode* end;  ///< its OP_ENDCASE
};

/// The end of a default, past switches and selects inside it.
const CodeNode* endOfDefault(const CodeNode* node) noexcept {
    for (int depth = 0; node != nullptr; node = node->next) {
        if (node->op == OP_SWITCH || node->op == OP_SELECT) ++depth;
        if (node->op == OP_ENDSWITCH && --depth < 0) return nullptr;
        if (node->op == OP_ENDCASE && depth == 0) return node;
    }
    return nullptr;
}

/// The end of what stands behind an `otherwise`, past selects inside it.
const CodeNode* endOfArm(const CodeNode* node) noexcept {
    for (int depth = 0; node != nullptr; node = node->next) {
        if (node->op == OP_SWITCH || node->op == OP_SELECT) ++depth;
        if (node->op == OP_ENDSWITCH && --depth < 0) return nullptr;
        if (node->op == OP_ENDWHEN && depth == 0) return node;
    }
    return nullptr;
}

/// The cases in order. @return none where they do not have the usual form
std::vector<Case> casesOf(const CodeNode& opening) {
    std::vector<Case> cases;
    const CodeNode* node = opening.next;
    while (node != opening.operand.target) {
        if (opIs(node, OP_CASELABEL)) {
            const CodeNode* test = node->next;
            while (test != nullptr && test->op != OP_CASE && test->op != OP_SWITCH) test = test->next;
            if (!opIs(test, OP_CASE) || !opIs(test->link, OP_ENDCASE)) return {};
            cases.push_back({node, test, test->next, test->link});
        } else if (opIs(node, OP_DEFAULT)) {
            const CodeNode* end = endOfDefault(node->next);
            if (end == nullptr) return {};
            cases.push_back({nullptr, nullptr, node->next, end});
        } else {
            return {};
        }
        node = cases.back().end->next;
    }
    return cases;
}

}  // namespace

void Lowering::leaveIf(Reg condition, std::size_t block) {
    if (const auto known = builder_.knownTruth(condition)) {
        if (*known) leaveTo(block);
        return;
    }
    const State here = copyOfState();
    builder_.control(Op::If, condition);
    {
        const Builder::Scope scope(builder_);
        leaveTo(block);
    }
    builder_.control(Op::EndIf);
    state_ = here;
    builder_.assume(condition, false);
}

/// No body runs before all tests that come before it, so the tests stand first; a body goes on with the next
/// one where it does not end with a break.
const CodeNode* Lowering::switchOver(const Node& node) {
    const std::vector<Case> cases = casesOf(node);
    if (cases.empty() || !opIs(node.operand.target, OP_ENDSWITCH)) refuse("a switch of an unusual form");
    if (activations_.back().controls.size() >= kControlLimit)
        refuse("calls and loops that are nested too deep");
    const Reg value = firstNumber(popValue());
    const std::size_t base = activations_.back().base;
    const std::size_t breaks = openBlock();
    std::vector<std::size_t> bodies(cases.size());
    for (std::size_t i = cases.size(); i > 0; --i) bodies[i - 1] = openBlock();
    std::size_t otherwise = breaks;
    for (std::size_t i = 0; i < cases.size() && state_.reached; ++i) {
        if (cases[i].label == nullptr) {  // what stands behind it is not tested
            otherwise = bodies[i];
            break;
        }
        walk(cases[i].label->next, cases[i].test);
        const Reg equal = builder_.make(Op::Equal, firstNumber(popValue()), value);
        state_.stack.resize(base);
        leaveIf(equal, bodies[i]);
    }
    state_.stack.resize(std::min(base, state_.stack.size()));
    if (state_.reached) leaveTo(otherwise);
    activations_.back().controls.push_back({breaks, kNowhere});
    for (std::size_t i = 0; i < cases.size(); ++i) {
        closeBlock(bodies[i]);
        branch(cases[i].body, cases[i].end);
        if (state_.reached && state_.stack.size() != base) refuse("a case that leaves a value");
    }
    activations_.back().controls.pop_back();
    closeBlock(breaks);
    return node.operand.target->next;
}

/// The tests run one after the other, each behind those that have failed; behind a branch nothing but the
/// select's end comes.
const CodeNode* Lowering::selectOver(const Node& node) {
    const Node* const close = node.operand.target;
    if (!opIs(close, OP_ENDSWITCH)) refuse("a select of an unusual form");
    if (activations_.back().controls.size() >= kControlLimit)
        refuse("calls and loops that are nested too deep");
    const std::size_t breaks = openBlock();
    activations_.back().controls.push_back({breaks, kNowhere});
    const auto body = [&](const Node* begin, const Node* end) {
        branch(begin, end);
        if (state_.reached) leaveTo(breaks);
    };
    for (const Node* at = node.next; at != close && state_.reached;) {
        if (opIs(at, OP_OTHERWISE)) {
            const Node* end = endOfArm(at->next);
            if (end == nullptr) refuse("a select of an unusual form");
            body(at->next, end);
            break;
        }
        const Node* test = at;
        while (test != close && test->op != OP_WHEN) test = test->next;
        if (test == close || !opIs(test->link, OP_ENDWHEN)) refuse("a select of an unusual form");
        walk(at, test);
        at = test->link->next;
        if (!state_.reached) break;
        const Reg condition = builder_.isSet(firstNumber(popValue()));  // of nil as well
        if (const auto known = builder_.knownTruth(condition)) {
            if (*known) body(test->next, test->link);
            continue;
        }
        const State before = copyOfState();
        builder_.control(Op::If, condition);
        {
            const Builder::Scope scope(builder_);
            builder_.assume(condition, true);
            body(test->next, test->link);
        }
        builder_.control(Op::EndIf);
        state_ = before;
        builder_.assume(condition, false);
    }
    activations_.back().controls.pop_back();
    state_.stack.resize(std::min(activations_.back().base, state_.stack.size()));
    closeBlock(breaks);
    return close->next;
}

/// `n ? a, b, c`, also of a list in marks: one of several values of a kind.
void Lowering::selector() {
    std::vector<Cell> values;
    for (Cell cell = pop(); cell.type != SelectMark; cell = pop()) values.push_back(cell);
    std::ranges::reverse(values);
    if (!values.empty() && values.front().type == ListMark) {
        const auto close = std::find_if(values.begin() + 1, values.end(),
                                        [](const Cell& cell) { return cell.type == ListMark; });
        values.erase(close, values.end());
        values.erase(values.begin());
    }
    const Cell selected = popValue();
    if (selected.type != Integer) refuse("a selector that is no Integer");
    if (values.empty()) refuse("a selector without values");
    const Reg which = builder_.toWhole(numberOf(selected));
    builder_.guard(builder_.make(Op::LessEqualWhole, builder_.whole(1), which), "a selector out of range");
    builder_.guard(
        builder_.make(Op::LessEqualWhole, which, builder_.whole(static_cast<std::int64_t>(values.size()))),
        "a selector out of range");
    push(chosen(which, values));
}

Cell Lowering::chosen(Reg which, const std::vector<Cell>& values) {
    Cell result = values.back();
    const auto choose = [&](std::size_t i, Reg value, Reg otherwise) {
        const Reg is = builder_.make(Op::EqualWhole, which, builder_.whole(static_cast<std::int64_t>(i) + 1));
        return builder_.make(Op::Choose, is, value, otherwise);
    };
    for (std::size_t i = values.size() - 1; i > 0; --i) {
        const Cell& value = values[i - 1];
        const bool number = value.type == Number || value.type == Integer;
        if (value.type != result.type || (!number && value.type != Vector))
            refuse("a selector among values of several kinds");
        if (number)
            result.number = choose(i - 1, numberOf(value), result.number);
        else
            for (std::size_t k = 0; k < 3; ++k) result.vec[k] = choose(i - 1, value.vec[k], result.vec[k]);
    }
    return result;
}

}  // namespace kestrel::fast
