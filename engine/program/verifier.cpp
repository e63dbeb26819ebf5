#include "engine/program/verifier.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <unordered_map>
#include <vector>

namespace kestrel {

namespace {

/// The depth behind an instruction whose effect varies: at every node, more than any instruction needs.
constexpr int kUnknown = std::numeric_limits<int>::max();
/// A node whose depth has grown this often is in a loop that makes it grow.
constexpr int kGrowthLimit = 8;

class Verifier {
public:
    Verifier(const Program& program, const OpcodeInfo* (*rowOf)(std::int32_t))
        : head_(program.code.head), rowOf_(rowOf) {}

    /// @return the first fault, in the order of the code
    std::optional<StackFault> run() {
        begin();
        while (!waiting_.empty()) {
            const CodeNode* node = waiting_.back();
            waiting_.pop_back();
            visit(*node);
        }
        for (const CodeNode* node = head_; node != nullptr; node = node->next) {
            const OpcodeInfo* row = rowOf_(node->op);
            const auto place = places_.find(node);
            if (row == nullptr || place == places_.end()) continue;
            const StackEffect effect = effectOf(*node, *row);
            if (place->second.depth < effect.pops) return StackFault{node, effect, place->second.depth};
        }
        return std::nullopt;
    }

private:
    /// A node that a path comes to: the greatest depth of all of them, and how often it was raised.
    struct Place {
        int depth = -1;
        int growths = 0;
    };

    /// Functions, and the code outside of them, begin with no cell of their own.
    void begin() {
        reach(head_, 0);
        for (const CodeNode* node = head_; node != nullptr; node = node->next) {
            const OpcodeInfo* row = rowOf_(node->op);
            if (row != nullptr && (row->flow == OpFlow::Enter || row->flow == OpFlow::Exit))
                reach(node->next, 0);
        }
    }

    /// A path comes to the node with this many cells.
    void reach(const CodeNode* node, int depth) {
        if (node == nullptr) return;
        Place& place = places_[node];
        if (depth <= place.depth) return;
        place.depth = ++place.growths > kGrowthLimit ? kUnknown : depth;
        waiting_.push_back(node);
    }
    /// The same for a jump, which names the node before the one that it goes to.
    void jump(const CodeNode* target, int depth) {
        if (target != nullptr) reach(target->next, depth);
    }

    void visit(const CodeNode& node) {
        const int depth = places_.at(&node).depth;
        if (const OpcodeInfo* row = rowOf_(node.op))
            follow(node, *row, depthBehind(depth, effectOf(node, *row)));
        else
            reach(node.next, depth);
    }

    [[nodiscard]] static int depthBehind(int depth, StackEffect effect) noexcept {
        if (effect.pushes == kEmpties) return 0;
        if (depth == kUnknown || !effect.isFixed()) return kUnknown;
        return std::max(depth - effect.pops, 0) + effect.pushes;
    }

    void follow(const CodeNode& node, const OpcodeInfo& row, int depth) {
        switch (row.flow) {
            case OpFlow::Next:
            case OpFlow::Marker:
            case OpFlow::ModalMarker:
                return reach(node.next, depth);
            case OpFlow::Jump:
                return jump(node.link != nullptr ? node.link : &node, depth);
            case OpFlow::Branch:
                reach(node.next, depth);
                jump(node.link, depth);
                jump(node.operand.target, depth);
                return jump(node.to.body, depth);
            case OpFlow::Open:
                reach(node.next, depth);
                return jump(node.operand.target, 0);
            // Where these go, the opening of the control entry goes too, and statements begin there, which
            // find nothing that they need on the stack.
            case OpFlow::Dynamic:
            case OpFlow::LoopEnd:
            case OpFlow::Enter:
            case OpFlow::Exit:
                return;
        }
    }

    const CodeNode* head_;
    const OpcodeInfo* (*rowOf_)(std::int32_t);
    std::unordered_map<const CodeNode*, Place> places_;
    std::vector<const CodeNode*> waiting_;  // reached with a greater depth than before
};

std::string cells(int count) {
    return std::to_string(count) + (count == 1 ? " cell" : " cells");
}

std::string expectation(StackEffect effect) {
    std::string text = "takes " + cells(effect.pops);
    if (effect.pushes == kEmpties) return text + " or more and leaves none of the function's";
    if (!effect.isFixed()) return text + " or more";
    return text + " and leaves " + std::to_string(effect.pushes);
}

}  // namespace

std::optional<StackFault> findStackFault(const Program& program, const OpcodeInfo* (*rowOf)(std::int32_t)) {
    return Verifier(program, rowOf).run();
}

std::string describe(const Program& program, const StackFault& fault) {
    const CodeNode& node = *fault.node;
    int index = 0;
    for (const CodeNode* each = program.code.head; each != nullptr && each != &node; each = each->next)
        ++index;
    const OpcodeInfo* row = opcodeInfo(node.op);
    std::string text = row != nullptr ? std::string(row->name) : "code " + std::to_string(node.op);
    text += " at node " + std::to_string(index) + ", line " + std::to_string(node.line);
    if (row != nullptr) text += " (" + std::string(row->effect) + ")";
    text += ": " + expectation(fault.expected) + ", but finds " + cells(fault.before);
    if (fault.after) text += " and has left " + std::to_string(*fault.after);
    if (fault.otherKind) text += ", a cell of another kind on top";
    return text;
}

void failStackCheck(const Program& program, const StackFault& fault) {
    std::fprintf(stderr, "stack check failed: %s\n", describe(program, fault).c_str());
    std::abort();
}

}  // namespace kestrel
