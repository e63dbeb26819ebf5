// The compiled program: symbols, functions, record declarations and the one list of instruction nodes.
#pragma once

#include "engine/program/name_index.h"
#include "engine/program/names.h"
#include "engine/program/opcodes.h"
#include "engine/report/message.h"
#include "engine/values/value.h"

#include <cstring>
#include <memory>
#include <memory_resource>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrel {

struct BuiltinEntry;
struct FunctionRecord;
struct RecordTemplate;
class NativeCallee;

enum VariableFlag : std::uint8_t {
    kVarConst = 1,  ///< "++"/"--" on it are refused at compile time
    kVarPredefined = 4,
    kVarInlineConst = 8,  ///< compiled as its value
};

/// A global, local, parameter or predefined name, and its value: a cell that is named and owned. Its slots
/// are seen side by side: assigning a text or a vector leaves the number as it was, and some operators change
/// the number alone, whatever the type. Before the first run the type is also 24, 43 or 57 as the compiler
/// marks names.
struct Variable : ValueCell {
    Variable() noexcept { type = Uninitialized; }

    const char* name = nullptr;  ///< owned by the program
    const char* alias = nullptr;
    std::int32_t index = -1;
    std::int32_t queue = 0;     ///< the queue's variable that it is bound to (ScriptQueues); 0: none
    std::int32_t declared = 1;  ///< 0: first met by use in strict mode
    std::uint8_t flags = 0;
    FunctionRecord* owner = nullptr;  ///< null for globals
    Variable* next = nullptr;
    SourcePos pos;

    [[nodiscard]] bool holdsText() const noexcept { return isText() && text != nullptr; }
    /// An array is a variable of type Array *with* a record: indexing marks names as arrays at compile time.
    [[nodiscard]] ArrayRecord* heldArray() const noexcept { return type == Array ? array : nullptr; }
    [[nodiscard]] RecordInstance* heldRecord() const noexcept {
        return type == UserRecord ? record : nullptr;
    }
    /// What messages print before "::": the owning function's name, "" for a global.
    [[nodiscard]] const char* ownerName() const noexcept;
};

struct CodeNode;

/// List of nodes that carry their own links, in creation order.
template <class T>
struct LinkedList {
    T* head = nullptr;
    T* tail = nullptr;
    void append(T* item) noexcept {
        item->next = nullptr;
        (tail != nullptr ? tail->next : head) = item;
        tail = item;
    }
    /// Moves all items of `other` to the end of this list.
    void splice(LinkedList& other) noexcept {
        if (other.head == nullptr) return;
        (tail != nullptr ? tail->next : head) = other.head;
        tail = other.tail;
        other = {};
    }
};

struct FunctionRecord {
    const char* name = nullptr;
    std::int32_t paramCount = 0;
    CodeNode* entry = nullptr;  ///< its OP_FUNC
    CodeNode* end = nullptr;    ///< link: the first OP_ENDFUNC after it
    CodeNode* last = nullptr;   ///< link: the node before `end`
    LinkedList<Variable> locals;
    LinkedList<Variable> params;
    bool ownsObjects = false;  ///< its variables may hold objects that end with the activation (KindTraits)
    FunctionRecord* next = nullptr;
    SourcePos pos;
};

inline const char* Variable::ownerName() const noexcept {
    return owner != nullptr ? owner->name : "";
}

enum NodeFlag : std::uint8_t {
    kNodeGlobalRef = 0x10,   ///< ::name
    kNodeUnresolved = 0x20,  ///< call not yet resolved
};

/// What a call goes to.
enum class Reach : std::uint8_t { Nothing, Function, Builtin, Record, Native };

/// One instruction. What is marked "link" is resolved once when the script is prepared, so that the
/// interpreter never searches a list. A line of script is some fifteen of these, and loading fills memory
/// with them, so fields that no instruction has both share their place.
struct CodeNode {
    std::int16_t op = -1;
    std::int16_t exec = 0;  ///< link: op, or the code of this instruction fused with the next (opcodes.h)
    std::int32_t line = 0;  ///< the line that messages print
    std::uint8_t flags = 0;
    std::uint8_t mode = 0;  ///< link: how the instructions that follow make this one behave (node_modes.h)
    Reach reach = Reach::Nothing;  ///< link: which of `to` an OP_CALL has
    NameId name = kNoName;         ///< link: the name of a data member or method, interned
    union Operand {
        Variable*
            variable;  ///< link: with "::" resolved; what the statement forms of OP_NEG and OP_NOT change
        const char* text;
        double number;
        CodeNode* target;
        void* object;
        constexpr Operand() : number(0.0) {}
    } operand;
    CodeNode* next = nullptr;
    CodeNode* successor =
        nullptr;               ///< link: the next instruction that does something (markers are passed over)
    CodeNode* link = nullptr;  ///< link: jump target or loop top; the target behind a host member's list; the
                               ///< node before an operator
    union To {
        FunctionRecord* function;      ///< OP_CALL to a script function; the function of OP_FUNC, OP_RETURN
        const BuiltinEntry* builtin;   ///< OP_CALL
        const RecordTemplate* record;  ///< OP_CALL that constructs a record
        NativeCallee* native;          ///< OP_CALL to code of a library
        CodeNode* body;                ///< OP_FORTEST's OP_FORBODY
        CodeNode* left;                ///< an operator of two operands: the node before `link`, or before
                                       ///< the OP_ASSIGNMARK there
        Variable* object;  ///< OP_VAR, OP_INDEX that name a member or a slot, a method's OP_CALL: the
                           ///< object's variable, the queue's name
        constexpr To() : function(nullptr) {}
    } to;           ///< link
    SourcePos pos;  ///< the true place
    union {
        std::int32_t count = 0;  ///< OP_RETURN: number of values
        std::int32_t argc;       ///< OP_CALL
        std::int32_t place;      ///< link: of what lies in the host's record, bytes from its beginning
    };
    std::int32_t queueVariable = 0;  ///< link: the variable of a queue that it names (ScriptQueues); 0: none
};
static_assert(sizeof(void*) != 8 || sizeof(CodeNode) == 80);

/// False for a node that is not there.
[[nodiscard]] inline bool opIs(const CodeNode* node, std::int32_t op) noexcept {
    return node != nullptr && node->op == op;
}

/// One field of a record declaration.
struct RecordField {
    Variable* name = nullptr;
    ValueCell initial;  ///< Nil, Number, Integer, Vector or String (text owned by the program)
    RecordField* next = nullptr;
};

/// Where a field stands in its declaration.
struct FieldPosition {
    NameId name = kNoName;
    std::int32_t position = 0;
};

/// A record declaration.
struct RecordTemplate {
    Variable* name = nullptr;
    std::uint32_t hash = 0;  ///< nameHash of the name; how calls find it
    LinkedList<RecordField> fields;
    std::int32_t fieldCount = 0;
    /// link: the fields by the numbers of their names, of several with one name the first in front
    std::span<const FieldPosition> fieldsByName;
    RecordTemplate* next = nullptr;

    /// @return the position of the field, -1 where there is none
    [[nodiscard]] std::int32_t positionOf(NameId name) const noexcept;
};

/// The name hash: the sum over all characters c (signed bytes) of 13*c + length, in 32 bits; "" hashes to 0.
[[nodiscard]] constexpr std::uint32_t nameHash(std::string_view name) noexcept {
    std::uint32_t sum = 0;
    for (char c : name) {
        sum += static_cast<std::uint32_t>(13 * static_cast<int>(static_cast<signed char>(c))) +
               static_cast<std::uint32_t>(name.size());
    }
    return sum;
}

/// Everything that a compile produces. Nodes, symbols, names and string constants live in its arena and go
/// with it.
class Program {
public:
    Program() = default;
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    LinkedList<Variable> globals;
    LinkedList<CodeNode> code;
    LinkedList<FunctionRecord> functions;
    LinkedList<RecordTemplate> records;
    SourceFiles files;
    bool linked = false;  ///< ready to run (linkProgram)
    NameTable names;  ///< link: those of the kinds of objects, then all that this program names after a dot
                      ///< or arrow

    template <class T, class... Args>
    [[nodiscard]] T* make(const Args&... args) {
        return ::new (arena_.allocate(sizeof(T), alignof(T))) T(args...);
    }
    [[nodiscard]] const char* makeText(std::string_view text) {
        char* p = static_cast<char*>(arena_.allocate(text.size() + 1, 1));
        std::memcpy(p, text.data(), text.size());
        p[text.size()] = '\0';
        return p;
    }
    template <class T>
    [[nodiscard]] std::span<T> makeSpan(std::size_t count) {
        T* items = static_cast<T*>(arena_.allocate(count * sizeof(T), alignof(T)));
        std::uninitialized_value_construct_n(items, count);
        return {items, count};
    }
    /// Numbers the names of all record fields, going on from the names of the kinds of objects. The names of
    /// members and methods that the code uses follow when it is linked.
    void nameFields(const NameTable& kindNames);
    /// @return the first of that exact name, or null. The lists they look in only grow.
    [[nodiscard]] FunctionRecord* findFunction(std::string_view name) const;
    [[nodiscard]] Variable* findGlobal(std::string_view name) const;
    [[nodiscard]] RecordTemplate* findRecord(std::string_view name) const;

private:
    std::pmr::monotonic_buffer_resource arena_{64 * 1024};
    mutable NameIndex<FunctionRecord> functionIndex_;
    mutable NameIndex<Variable> globalIndex_;
    mutable NameIndex<RecordTemplate> recordIndex_;
};

}  // namespace kestrel
