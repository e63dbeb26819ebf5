#include "engine/context/builtin.h"
#include "frontend/compile_state.h"

#include <string>

namespace kestrel {

/// Allocates a record of the program. Without memory the input is skipped, so that the parse runs out and
/// ends.
template <class T, class... Args>
T* Compiler::tryMake(std::string_view function, const Args&... args) {
    try {
        return program().make<T>(args...);
    } catch (const std::bad_alloc&) {
        report(lastPlace(), MessageId::CompilerMemory, function);
        scanner_.skipInput();
        return nullptr;
    }
}

Variable* Compiler::newSymbol(std::string_view name) {
    Variable* symbol = tryMake<Variable>("symlook");
    if (symbol == nullptr) return nullptr;
    symbol->name = makeText(name);
    symbol->pos = scanner_.token().pos;
    return symbol;
}

Variable* Compiler::addLocal(std::string_view name) {
    Variable* symbol = newSymbol(name);
    if (symbol == nullptr) return nullptr;
    symbol->owner = currentFunction_;
    currentFunction_->locals.append(symbol);
    return symbol;
}

Variable* Compiler::addGlobal(std::string_view name) {
    Variable* symbol = newSymbol(name);
    if (symbol == nullptr) return nullptr;
    symbol->declared = !ctx_.options.strict || declaring_ ? 1 : 0;
    declaring_ = false;
    (libraryMode_ ? libraryGlobals_ : program().globals).append(symbol);
    return symbol;
}

Variable* Compiler::symlook(std::string_view name) {
    if (currentFunction_ != nullptr) {
        FunctionRecord& function = *currentFunction_;
        if (declaring_ && !assigning_) {
            // A repeated declaration is silently the same variable.
            declaring_ = false;
            if (Variable* known = parameterIndex_.find(function.params.head, name)) return known;
            if (Variable* known = localIndex_.find(function.locals.head, name)) return known;
            return addLocal(name);
        }
        if (phase_ == ParsePhase::ParameterList) {
            if (Variable* known = parameterIndex_.find(function.params.head, name)) return known;
            Variable* param = newSymbol(name);
            if (param == nullptr) return nullptr;
            param->type = OP_CALL;  // 24, until a value is bound
            param->owner = &function;
            function.params.append(param);
            return param;
        }
        if (Variable* known = localIndex_.find(function.locals.head, name)) return known;
        if (Variable* known = parameterIndex_.find(function.params.head, name)) return known;
    }
    if (Variable* known = program().findGlobal(name)) return known;
    if (libraryMode_) {
        if (Variable* known = libraryGlobalIndex_.find(libraryGlobals_.head, name)) return known;
    }
    // A built-in's name becomes a global that a call can name; strict mode makes no locals by mere use.
    if (currentFunction_ != nullptr && !ctx_.options.strict && ctx_.services.builtins->find(name) == nullptr)
        return addLocal(name);
    return addGlobal(name);
}

FunctionRecord* Compiler::addfunc(const char* name) {
    LinkedList<FunctionRecord>& list = libraryMode_ ? libraryFunctions_ : program().functions;
    FunctionRecord* function = tryMake<FunctionRecord>("addfunc");
    if (function == nullptr) return list.tail != nullptr ? list.tail : &spareFunction_;
    function->name = name;
    list.append(function);
    return function;
}

CodeNode Compiler::nodeOf(std::int32_t op, const SourcePos& where) noexcept {
    CodeNode node;
    node.op = static_cast<std::int16_t>(op);
    node.line = currentLine();
    node.pos = where;
    return node;
}

CodeNode* Compiler::newCode(const CodeNode& filled) {
    LinkedList<CodeNode>& list = libraryMode_ ? libraryCode_ : program().code;
    CodeNode* node = tryMake<CodeNode>("newCode", filled);
    if (node == nullptr) return list.tail != nullptr ? list.tail : &spareNode_;
    list.append(node);
    return node;
}

Variable* Compiler::predefine(std::string_view name, std::int32_t type, std::uint8_t flags) {
    Variable* symbol = symlook(name);
    if (symbol == nullptr) throw std::bad_alloc();
    symbol->type = type;
    symbol->flags = flags;
    symbol->declared = 1;
    return symbol;
}

void Compiler::definePredefinedNames() {
    constexpr std::uint8_t kConstant = kVarConst | kVarPredefined;
    struct NumericConstant {
        std::string_view name;
        std::int32_t type;
        double value;
    };
    static constexpr NumericConstant kConstants[] = {
#define KESTREL_NUMBER(name, value, description) {#name, Number, value},
#define KESTREL_INTEGER(name, value, description) {#name, Integer, value},
#include "frontend/predefined.def"
    };
    struct ObjectName {
        std::string_view name;
        std::int32_t type;
    };
    static constexpr ObjectName kObjects[] = {
#define KESTREL_OBJECT(name, tag, status, description) {#name, tag},
#include "frontend/predefined.def"
    };

    for (const NumericConstant& constant : kConstants)
        predefine(constant.name, constant.type, kConstant)->number = constant.value;
    const std::string instance = "pt" + std::to_string(ctx_.instanceNumber);
#define KESTREL_INSTANCE(name, description) \
    predefine(#name, String, kVarConst)->object = const_cast<char*>(ctx_.pool.keep(instance));
#include "frontend/predefined.def"
    for (const ObjectName& object : kObjects) predefine(object.name, object.type, kVarConst);
    declaring_ = false;
}

}  // namespace kestrel
