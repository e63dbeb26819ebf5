// Lowering: calls of script functions, which are laid out where they are called.
#include "engine/fast/lowering.h"
#include "engine/program/node_modes.h"

namespace kestrel::fast {

void Lowering::call(const Node& node) {
    if (node.mode == kMethodCall) return callMethod(node);
    if (node.reach == Reach::Function) return callFunction(node);
    if (node.reach == Reach::Builtin) return callBuiltin(node);
    refuse("a call of a record or a library");
}

void Lowering::bind(Variable& parameter, const Cell& value) {
    Cell& held = slot(slotOf(parameter));
    const bool counts = knowledge_.slots.infos[slotOf(parameter)].visible;
    if (counts && held.type >= 0 && !isInlineKind(held.type) && held.type != Array && held.type != ShaderObj)
        refuse("a parameter that lets go of something");
    Cell bound = held;
    bound.number = value.isNumeric() ? numberOf(value) : builder_.real(0.0);
    if (value.type == Vector) bound.vec = value.vec;
    bound.type = value.type == ArrayRef ? std::int32_t{Array} : value.type;
    bound.kind = value.kind;
    bound.numeric = value.numeric;
    bound.object = value.object;
    if (!value.isNumeric() && value.type != Vector && value.type != Nil && value.type != ShaderObj &&
        value.type != ArrayRef)
        refuse("an argument that is neither a number, a vector, an array nor the sample");
    held = bound;
}

void Lowering::enter(const FunctionRecord& function, std::size_t arguments) {
    for (const Activation& active : activations_)
        if (active.function == &function) refuse("a function that calls itself");
    if (!carryover_.bindsAll(function))
        refuse("a function that is not always given a value for each parameter");
    if (function.end == nullptr) refuse("a function without an end");
    assumptions_.noObjects(function);
    std::vector<Cell> values;
    for (std::size_t i = 0; i < arguments; ++i) values.push_back(pop());
    std::size_t next = values.size();
    for (Variable* p = function.params.head; p != nullptr && next > 0; p = p->next) bind(*p, values[--next]);
    activations_.push_back({&function, state_.stack.size(), openBlock(), {}});
}

/// Runs the function that has been entered up to its end, with its results on the stack.
void Lowering::finishActivation() {
    const FunctionRecord& function = *activations_.back().function;
    walk(function.entry->next, function.end);
    if (state_.reached) state_.stack.resize(activations_.back().base);  // it ends without a return
    const std::size_t block = activations_.back().block;
    activations_.pop_back();
    closeBlock(block);
    if (!state_.reached) return;
    // Nobody reads what they hold before they are assigned again.
    const auto forget = [this](const LinkedList<Variable>& variables) {
        for (const Variable* v = variables.head; v != nullptr; v = v->next) {
            const auto found = knowledge_.slots.ofVariable.find(v);
            if (found != knowledge_.slots.ofVariable.end() && !knowledge_.slots.infos[found->second].visible)
                slot(found->second) = Cell{};
        }
    };
    forget(function.params);
    forget(function.locals);
}

void Lowering::callFunction(const Node& node) {
    const FunctionRecord& function = *node.to.function;
    if (node.argc != function.paramCount) refuse("a call with another number of arguments than parameters");
    if (activations_.back().controls.size() >= kControlLimit)
        refuse("calls and loops that are nested too deep");
    if (activations_.size() >= kDeepestCalls) refuse("calls that are nested too deep");
    const std::uint64_t path = path_;
    path_ =
        (path_ ^ reinterpret_cast<std::uintptr_t>(&node)) * 0x9E3779B97F4A7C15u;  // NOLINT: only told apart
    enter(function, static_cast<std::size_t>(node.argc));
    finishActivation();
    path_ = path;
}

}  // namespace kestrel::fast
