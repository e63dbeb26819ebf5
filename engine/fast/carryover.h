// What variables of functions keep from one activation to the next.
//
// Nothing resets a local when its function begins, so a way through the function that reads it first finds
// what the last activation left. Most locals are assigned before they are read, whatever the way: what those
// hold between activations nobody can tell, and whoever shades without the stack need not keep it up to date.
#pragma once

#include "engine/program/program.h"

#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace kestrel {
class EngineContext;
}

namespace kestrel::fast {

class Carryover {
public:
    /// @param program  linked
    explicit Carryover(const Program& program);

    /// True where some way may read the local or parameter before it is assigned. Globals always count.
    [[nodiscard]] bool counts(const Variable& variable);
    /// True where every call of the function brings a value for each of its parameters. Others bind marks
    /// and what lies below, and a parameter may then keep the kind of its last use.
    [[nodiscard]] bool bindsAll(const FunctionRecord& function);
    /// Number of values that the function returns whenever it ends; -1 where that depends, or is not known.
    [[nodiscard]] int results(const FunctionRecord& function);
    /// True when a built-in of the program looks at all variables.
    [[nodiscard]] bool observed() const noexcept { return observed_; }

private:
    /// What of a statement has been passed, from its beginning.
    struct Statement {
        bool plain = true;                   ///< everything but what `calls` leave: one plain value each
        std::vector<const CodeNode*> calls;  ///< that nobody has asked about yet

        void pass(const CodeNode& node);
    };
    /// Everything in it leaves one value each.
    [[nodiscard]] bool isPlain(Statement& statement);
    [[nodiscard]] bool yieldsOne(const CodeNode& call);
    void lookAtCalls();

    const Program& program_;
    bool observed_ = false;
    bool callsKnown_ = false;
    std::unordered_set<const FunctionRecord*> partlyBound_;
    std::unordered_map<const FunctionRecord*, int> results_;
    std::unordered_map<const FunctionRecord*, std::unordered_set<const Variable*>> readFirst_;
};

}  // namespace kestrel::fast
