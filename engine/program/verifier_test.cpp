#include "engine/program/verifier.h"

#include "engine/program/node_modes.h"
#include "engine/run/entry.h"
#include "engine/run/prepare.h"
#include "engine/test_support.h"

#include <algorithm>

namespace kestrel::test {

class StackVerifier : public EngineTest {
protected:
    struct Step {
        int op;
        int link = -1;  ///< the node that it jumps behind
        std::uint8_t mode = 0;
    };
    /// Makes the program of these instructions.
    void code(std::initializer_list<Step> steps) {
        nodes_.clear();
        ctx.program->code = {};
        ctx.program->linked = true;  // by hand
        for (const Step& step : steps) nodes_.push_back(&emit(step.op));
        std::size_t at = 0;
        for (const Step& step : steps) {
            CodeNode& node = *nodes_[at++];
            node.operand.number = 0.0;
            node.mode = step.mode;
            node.exec = node.op;
            node.successor = node.next;
            if (step.link < 0) continue;
            node.link = nodes_[static_cast<std::size_t>(step.link)];
            if (opcodeInfo(step.op)->operand == OperandKind::Target) node.operand.target = node.link;
        }
    }
    /// The node at which the verifier finds a fault; -1 when there is none.
    int faultAt(const OpcodeInfo* (*rowOf)(std::int32_t) = opcodeInfo) {
        const std::optional<StackFault> fault = findStackFault(*ctx.program, rowOf);
        if (!fault) return -1;
        return static_cast<int>(std::find(nodes_.begin(), nodes_.end(), fault->node) - nodes_.begin());
    }
    int faultOf(std::initializer_list<Step> steps) {
        code(steps);
        return faultAt();
    }

    std::vector<CodeNode*> nodes_;
};

TEST_F(StackVerifier, FindsCodeThatTakesMoreThanIsThere) {
    EXPECT_EQ(faultOf({{OP_INTEGER}, {OP_ADD}, {OP_ENDSTMT}}), 1);
    EXPECT_EQ(describe(*ctx.program, *findStackFault(*ctx.program)),
              "OP_ADD at node 1, line 1 (a b -> a + b): takes 2 cells and leaves 1, but finds 1 cell");
    EXPECT_EQ(faultOf({{OP_INTEGER}, {OP_ENDSTMT}, {OP_INTEGER}, {OP_ASSIGN}}), 3)
        << "a statement does not find what the one before it left";
    EXPECT_EQ(faultOf({{OP_INTEGER}, {OP_FUNC}, {OP_INTEGER}, {OP_MUL}, {OP_ENDFUNC}}), 3)
        << "nor a function what stands in front of it";
    EXPECT_EQ(faultOf({{OP_FUNC}, {OP_ENDFUNC}, {OP_IF}}), 2);
    EXPECT_EQ(faultOf({{OP_VAR}, {OP_BLOCK}, {OP_ADD}}), 2);
    EXPECT_EQ(faultOf({{OP_VAR}, {OP_BLOCK, -1, kAssignmentBlock}, {OP_ADD}}), -1);
}

TEST_F(StackVerifier, FollowsEveryJump) {
    // c ? 1 : 2, and the same with an arm without a value
    EXPECT_EQ(faultOf({{OP_NIL},
                       {OP_IF, 4},
                       {OP_INTEGER},
                       {OP_ENDIF, 6},
                       {OP_ELSE},
                       {OP_INTEGER},
                       {OP_ENDELSE},
                       {OP_NOT}}),
              -1);
    EXPECT_EQ(faultOf({{OP_NIL}, {OP_IF, 3}, {OP_ENDIF, 5}, {OP_ELSE}, {OP_NEG}, {OP_ENDELSE}}), 4);
    // Only the branch comes to the last instruction, only `break` to the end of the select.
    EXPECT_EQ(faultOf({{OP_NIL}, {OP_WHEN, 3}, {OP_RETURN}, {OP_ENDWHEN}, {OP_NOT}}), 4);
    EXPECT_EQ(faultOf({{OP_SELECT, 3}, {OP_BREAK}, {OP_ENDFUNC}, {OP_ENDSWITCH}, {OP_NOT}}), 4);
    // A loop that leaves a cell each time round comes to an end; there are enough from the second time on.
    EXPECT_EQ(faultOf({{OP_LOOPTOP}, {OP_INTEGER}, {OP_INTEGER}, {OP_WHEN, 0}, {OP_ADD}}), -1);
}

TEST_F(StackVerifier, DoesNotGuessBehindAnEffectThatVaries) {
    EXPECT_EQ(faultOf({{OP_CALL}, {OP_ADD}, {OP_VECTOR}, {OP_IF}}), -1);
    EXPECT_EQ(faultOf({{OP_CALL}, {OP_ENDSTMT}, {OP_NOT}}), 2);
    // `(a += 1) + 2` is code: the script finds the stack empty when it runs.
    EXPECT_EQ(faultOf({{OP_VAR, -1, kReference},
                       {OP_ASSIGNMARK},
                       {OP_INTEGER},
                       {OP_ADDASSIGN},
                       {OP_INTEGER},
                       {OP_ADD}}),
              -1);
    EXPECT_EQ(faultOf({{OP_VAR, -1, kMemberRead}, {OP_MEMBER}, {OP_SUB}}), -1);
}

TEST_F(StackVerifier, FindsAWrongRow) {
    EXPECT_EQ(faultOf({{OP_INTEGER}, {OP_INTEGER}, {OP_ADD}, {OP_NOT}, {OP_ENDSTMT}}), -1);
    const auto pushesNothing = [](std::int32_t code) {
        static OpcodeInfo row;
        row = *opcodeInfo(code);
        if (code == OP_INTEGER) row.pushes = 0;
        return static_cast<const OpcodeInfo*>(&row);
    };
    EXPECT_EQ(faultAt(pushesNothing), 2);
}

TEST_F(StackVerifier, AbortsARunWhoseInstructionDoesSomethingElse) {
    if (!kStackChecks) GTEST_SKIP() << "checked in debug builds only";
    code({{OP_INTEGER}, {OP_ENDSTMT}});
    EXPECT_FALSE(run(ctx, nodes_[0], nullptr));
    nodes_[0]->exec = OP_LOOPTOP;
    EXPECT_DEATH(run(ctx, nodes_[0], nullptr),
                 "OP_INTEGER at node 0.*leaves 1, but finds 0 cells and has left 0");
    nodes_[0]->exec = OP_NIL;  // one cell, but of another kind
    EXPECT_DEATH(run(ctx, nodes_[0], nullptr), "OP_INTEGER at node 0.*a cell of another kind");
}

TEST_F(StackVerifier, LinksCodeOnce) {
    code({{OP_INTEGER}, {OP_ENDSTMT}});
    ctx.program->linked = false;
    linkProgram(ctx);
    const auto linked = nodes_[0]->exec++;
    linkProgram(ctx);
    EXPECT_EQ(nodes_[0]->exec, linked + 1) << "what a run has changed since stays";
}

}  // namespace kestrel::test
