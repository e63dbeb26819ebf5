// Lowering: where control goes.
#include "engine/fast/lowering.h"
#include "engine/program/node_modes.h"
#include "engine/program/stack_effect.h"

namespace kestrel::fast {

namespace {

/// Instructions that are looked at, with all repetitions; more is not lowered.
constexpr int kMostSteps = 400'000;

/// Cells of states that are put aside; where a function has thousands of variables and of branches that is
/// what takes long.
constexpr std::size_t kMostCopied = 20'000'000;

/// Branches that begin in a range end in it. In `c ? (d ? e : f) : g` they do not: by the language's own rule
/// the outer test leads into the inner one.
bool isNested(const CodeNode* begin, const CodeNode* end) {
    int depth = 0;
    for (const CodeNode* node = begin; node != end; node = node->next) {
        if (node == nullptr) return false;
        if (node->op == OP_IF) ++depth;
        if (node->op == OP_ENDIF && --depth < 0) return false;
    }
    return depth == 0;
}

}  // namespace

void Lowering::refuse(std::string reason) const {
    throw Unlowerable{std::move(reason), line_};
}

/// What is known here, put aside for another way.
State Lowering::copyOfState() {
    copied_ += state_.slots.size() + state_.stack.size();
    if (copied_ > kMostCopied) refuse("too many variables and branches");
    return state_;
}

void Lowering::walk(const Node* node, const Node* end) {
    while (node != end && state_.reached) {
        if (node == nullptr) refuse("code without an end");
        if (++steps_ > kMostSteps) refuse("too much code");
        line_ = node->line;
        builder_.setLine(line_);
        node = step(*node);
    }
}

/// @return the next instruction
const CodeNode* Lowering::step(const Node& node) {
    switch (node.op) {
        case OP_VAR:
            variable(node);
            break;
        case OP_INDEX:
            indexed(node);
            break;
        case OP_NUMBER:
            push(Cell::ofNumber(builder_.real(node.operand.number)));
            break;
        case OP_INTEGER:
            push(Cell::ofInteger(builder_.real(node.operand.number)));
            break;
        case OP_NIL:
            push(Cell::ofKind(Nil));
            break;
        case OP_STRING:
            refuse("a text");
        case OP_VECTOR: {
            const Cell z = popValue();
            const Cell y = popValue();
            const Cell x = popValue();
            push(Cell::ofVector({firstNumber(x), firstNumber(y), firstNumber(z)}));
            break;
        }
        case OP_ADD:
        case OP_SUB:
        case OP_MUL:
        case OP_DIV:
        case OP_MOD:
        case OP_XOR:
        case OP_BITOR:
        case OP_BITAND:
        case OP_SHL:
        case OP_SHR: {
            const Cell right = popValue();
            const Cell left = popValue();
            push(combine(node.op, left, right));
            break;
        }
        case OP_LT:
        case OP_GT:
        case OP_LE:
        case OP_GE:
        case OP_EQ:
        case OP_NE: {
            const Cell right = popValue();
            const Cell left = popValue();
            push(bit(compare(node.op, left, right)));
            break;
        }
        case OP_NEG:
        case OP_NOT:
            // Where a caller's cells lie below, `-x;` leaves the variable as it is.
            if (node.mode == kStatementForm && (node.op == OP_NOT || state_.stack.size() == 1)) {
                changeInPlace(node);
                break;
            }
            push(node.op == OP_NEG ? negated(popValue()) : inverted(popValue()));
            break;
        case OP_AND:
        case OP_OR: {
            const Reg right = builder_.isSet(firstNumber(popValue()));
            const Reg left = builder_.isSet(firstNumber(popValue()));
            push(bit(builder_.make(node.op == OP_AND ? Op::Both : Op::Either, left, right)));
            break;
        }
#define KESTREL_INCREMENT(code, name, position, plain, effect) case name:
#include "engine/program/opcodes.def"
            increment(node);
            break;
#define KESTREL_COMPOUND(code, name, plain, effect) case name:
#include "engine/program/opcodes.def"
            compound(node);
            break;
        case OP_ASSIGN:
            assign(node);
            break;
        case OP_DIM:
        case OP_SEP:
        case OP_LIST:
        case OP_SELMARK:
            push(Cell::ofKind(node.op));
            break;
        case OP_BLOCK:
            if (node.mode == kAssignmentBlock) push(Cell::ofKind(BlockMark));
            break;
        case OP_CALL:
            call(node);
            break;
        case OP_RETURN:
            returnValues(node);
            break;
        case OP_ENDSTMT:
            state_.stack.resize(activations_.back().base);
            break;
        case OP_IF:
            return conditional(node);
        case OP_DECL:
            return node.link != nullptr ? node.link->next : node.next;
        case OP_LOOPTOP:
        case OP_FORTOP:
            return loop(node);
        case OP_SWITCH:
            return switchOver(node);
        case OP_SELECT:
            return selectOver(node);
        case OP_SELECTOR:
            selector();
            break;
        case OP_BREAK:
            breakOut();
            break;
        case OP_CONTINUE:
            goRound();
            break;
        default:
            if (!isMarker(node)) refuse("the instruction " + std::string(opcodeInfo(node.op)->name));
    }
    return node.next;
}

// ---- branches

const CodeNode* Lowering::conditional(const Node& node) {
    const Node* endIf = node.operand.target;
    if (endIf == nullptr)
        for (endIf = node.next; endIf != nullptr && endIf->op != OP_ENDIF;) endIf = endIf->next;
    if (!opIs(endIf, OP_ENDIF) || !isNested(node.next, endIf)) refuse("a conditional in a conditional");
    const Node* otherwise = opIs(endIf->next, OP_ELSE) ? endIf->next : nullptr;
    const Node* end = otherwise != nullptr ? endIf->link : endIf;
    if (end == nullptr) refuse("an else without an end");
    const Reg condition = truth(popValue());
    if (const auto known = builder_.knownTruth(condition)) {
        if (*known)
            walk(node.next, endIf);
        else if (otherwise != nullptr)
            walk(otherwise->next, end);
        return end->next;
    }
    std::vector<Way> ways;
    const State before = copyOfState();
    const auto side = [&](bool holds, const Node* begin, const Node* stop) {
        const Builder::Scope scope(builder_);
        builder_.assume(condition, holds);
        if (begin != nullptr) branch(begin, stop);
        if (state_.reached) ways.push_back({std::move(state_), builder_.movesHere()});
    };
    builder_.control(Op::If, condition);
    side(true, node.next, endIf);
    builder_.control(Op::Else);
    state_ = before;
    side(false, otherwise != nullptr ? otherwise->next : nullptr, end);
    builder_.control(Op::EndIf);
    if (ways.empty())
        state_.reached = false;
    else
        state_ = meet(builder_, ways, entries_);
    return end->next;
}

/// A branch that cannot be lowered is one that leaves.
void Lowering::branch(const Node* begin, const Node* end) {
    const Checkpoint start = checkpoint();
    try {
        walk(begin, end);
    } catch (const Unlowerable& reason) {
        const Refusal refusal{reason.reason, reason.line != 0 ? reason.line : line_};
        goBack(start);
        refusals_.push_back(refusal);
        builder_.leave({refusal.reason, refusal.line});
        state_.reached = false;
    }
}

Lowering::Checkpoint Lowering::checkpoint() {
    Checkpoint point{
        builder_.mark(),  copyOfState(), {}, activations_.size(), activations_.back().controls.size(),
        refusals_.size(), path_};
    for (const OpenBlock& block : blocks_) point.ways.push_back(block.ways.size());
    return point;
}

void Lowering::goBack(const Checkpoint& point) {
    builder_.rollBack(point.code);
    state_ = point.state;
    blocks_.erase(blocks_.begin() + static_cast<std::ptrdiff_t>(point.ways.size()), blocks_.end());
    for (std::size_t i = 0; i < blocks_.size(); ++i) {
        auto& ways = blocks_[i].ways;
        ways.erase(ways.begin() + static_cast<std::ptrdiff_t>(point.ways[i]), ways.end());
    }
    activations_.erase(activations_.begin() + static_cast<std::ptrdiff_t>(point.activations),
                       activations_.end());
    activations_.back().controls.resize(point.controls);
    refusals_.resize(point.refusals);
    path_ = point.path;
}

// ---- blocks

std::size_t Lowering::openBlock() {
    const Builder::Mark mark = builder_.mark();
    Immediate imm;
    imm.whole = builder_.newBlock();
    builder_.control(Op::Block, kNoReg, imm);
    blocks_.push_back({static_cast<int>(imm.whole), mark, builder_.depth(), {}});
    return blocks_.size() - 1;
}

/// Ends the innermost block: all its ways meet.
void Lowering::closeBlock(std::size_t block) {
    OpenBlock open = std::move(blocks_[block]);
    if (state_.reached) {
        const std::size_t moves = builder_.movesHere();
        open.ways.push_back({std::move(state_), moves, builder_.length()});
    }
    // With one way that nothing stands behind, all that was computed in the block lies on it.
    const bool straight = open.ways.size() == 1 && builder_.onlyEndsSince(open.ways.front().end);
    blocks_.pop_back();
    Immediate imm;
    imm.whole = open.id;
    builder_.control(Op::EndBlock, kNoReg, imm);
    if (open.ways.empty()) {
        state_.reached = false;
        return;
    }
    if (!straight) builder_.forgetSince(open.start);
    state_ = meet(builder_, open.ways, entries_);
}

void Lowering::leaveTo(std::size_t block) {
    OpenBlock& open = blocks_[block];
    Immediate imm;
    imm.whole = open.id;
    const std::size_t moves = builder_.movesHere();
    builder_.control(Op::Exit, kNoReg, imm);
    open.ways.push_back({copyOfState(), moves, builder_.depth() == open.depth ? builder_.length() : 0});
    state_.reached = false;
}

void Lowering::breakOut() {
    const Activation& active = activations_.back();
    if (active.controls.empty()) refuse("a break outside of a loop");
    state_.stack.resize(active.base);
    leaveTo(active.controls.back().breaks);
}

void Lowering::goRound() {
    const Activation& active = activations_.back();
    // In a switch it would start over behind the opening.
    if (active.controls.empty() || active.controls.back().continues == kNowhere)
        refuse("a continue that is not in a loop");
    state_.stack.resize(active.base);
    leaveTo(active.controls.back().continues);
}

/// The values move down to where the function's cells begin.
void Lowering::returnValues(const Node& node) {
    const Activation& active = activations_.back();
    const auto count = static_cast<std::size_t>(node.count);
    if (state_.stack.size() < active.base + count) refuse("a return without its values");
    const std::size_t first = state_.stack.size() - count;
    for (std::size_t i = first; i < state_.stack.size(); ++i)
        if (const Cell& cell = state_.stack[i]; !cell.isNumeric() && cell.type != Vector && cell.type != Nil)
            refuse("a return of something else than numbers and vectors");
    state_.stack.erase(state_.stack.begin() + static_cast<std::ptrdiff_t>(active.base),
                       state_.stack.begin() + static_cast<std::ptrdiff_t>(first));
    if (count > 1) {
        Cell several = Cell::ofKind(ReturnCount);
        several.number = builder_.real(static_cast<double>(count));
        push(several);
    }
    leaveTo(active.block);
}

}  // namespace kestrel::fast
