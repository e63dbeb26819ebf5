#include "tests/equal/shrink.h"

#include <algorithm>
#include <utility>

namespace kestrel::equal {

namespace {

constexpr int kMostTries = 4000;

class Shrinker {
public:
    Shrinker(Case& found, const std::function<bool(const Case&)>& fails) : case_(found), fails_(fails) {}

    void run() {
        do {
            smaller_ = false;
            leaveOut(case_.plan.steps, [](const Plan::Step&) { return true; });
            visit(case_.program);
        } while (smaller_ && tries_ < kMostTries);
    }

private:
    bool stillFails() {
        if (tries_ >= kMostTries) return false;
        ++tries_;
        if (!fails_(case_)) return false;
        smaller_ = true;
        return true;
    }

    /// Takes runs of elements out of a list, long ones first.
    template <class Element, class May>
    void leaveOut(std::vector<Element>& list, May may) {
        for (std::size_t length = std::max<std::size_t>(list.size(), 1); length > 0; length /= 2) {
            for (std::size_t at = 0; at < list.size();) {
                std::vector<Element> kept = list;
                const auto first = kept.begin() + static_cast<std::ptrdiff_t>(at);
                const std::size_t end = std::min(at + length, list.size());
                const auto last = kept.begin() + static_cast<std::ptrdiff_t>(end);
                kept.erase(std::remove_if(first, last, may), last);
                if (kept.size() == list.size()) {
                    at = end;
                    continue;
                }
                std::swap(list, kept);
                if (stillFails()) continue;
                std::swap(list, kept);
                at = end;
            }
        }
    }

    /// @return true when it took the place
    bool replace(Node& node, Node other) {
        std::swap(node, other);
        if (stillFails()) return true;
        std::swap(node, other);
        return false;
    }

    /// Nodes of a role inside another, the outermost of each branch.
    static void collect(const Node& node, Role role, std::vector<Node>& out) {
        for (const Node& part : node.parts) {
            if (part.role == role)
                out.push_back(part);
            else
                collect(part, role, out);
        }
    }

    void visit(Node& node) {
        if (node.role == Role::Statement) takeFromInside(node, Role::Block);
        if (node.role == Role::Expression && node.parts.size() > 1) {
            for (const char* simple : {"1", "n0", "1.5"})
                if (replace(node, make(Role::Expression, {simple}))) return;
            takeFromInside(node, Role::Expression);
        }
        if (std::ranges::any_of(node.parts, isStatement)) leaveOut(node.parts, isStatement);
        for (Node& part : node.parts) visit(part);
    }

    void takeFromInside(Node& node, Role role) {
        std::vector<Node> inside;
        collect(node, role, inside);
        for (Node& other : inside)
            if (replace(node, std::move(other))) return;
    }

    static bool isStatement(const Node& node) {
        return node.role == Role::Statement || node.role == Role::Block;
    }

    Case& case_;
    const std::function<bool(const Case&)>& fails_;
    bool smaller_ = false;
    int tries_ = 0;
};

}  // namespace

void shrink(Case& found, const std::function<bool(const Case&)>& fails) {
    Shrinker(found, fails).run();
}

}  // namespace kestrel::equal
