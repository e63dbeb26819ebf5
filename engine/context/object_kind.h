// The protocol for kinds of objects: all that the engine and the built-ins ask of a kind of value that they
// do not know.
//
// A kind is a class derived from ObjectKind, entered in the KindTable under the tags of its values. It states
// in one place what scripts can name on its objects (rows of data members and methods, with the wording of
// wrong uses) and overrides how they are shown as text, compared, held, assigned and stored; the defaults are
// those of a plain handle that is shared by pointer. Nobody else looks at a tag to find out about an object.
#pragma once

#include "engine/context/builtin.h"
#include "engine/program/names.h"
#include "engine/program/program.h"
#include "engine/values/value.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kestrel {

class EngineContext;
class MethodCall;
struct RecordMember;

/// One access to a data member: `object.member`, `object.member[index]` or `record->member`.
struct MemberAccess {
    Variable* object;    ///< the variable named before the '.'
    const char* member;  ///< as the script wrote it
    NameId name;         ///< the same interned
    std::int64_t index;  ///< -1 without an index
    /// Owner of the object variable, as messages name it: the function's name, "" for a global.
    [[nodiscard]] const char* owner() const noexcept { return object->ownerName(); }
};

/// What a read of a data member yields; for the reference.
enum class MemberType { Nothing, Integer, Number, Text, Vector, Object };

struct MemberRow;
/// Gives the member's value in `out`, with a text that is the caller's (TempString) or outlives the
/// statement. The index, where the member has elements, has been checked.
/// @return false where it has none
using MemberReader = bool (*)(EngineContext& ctx, const MemberAccess& access, const MemberRow& row,
                              ValueCell& out);
/// Applies an assignment operator (OP_ASSIGN, OP_ADDASSIGN ...; OP_PREINC ... with value Integer 1).
/// @return true where the operator leaves a value in `out`: the old or new one of an increment
using MemberWriter = bool (*)(EngineContext& ctx, const MemberAccess& access, const MemberRow& row,
                              const ValueCell& value, int op, ValueCell& out);

/// Members that lie in a record which a call of the host brings along: what executors may read and write
/// without the functions of the row, at MemberRow::detail from its beginning (elements of a member one behind
/// the other).
enum class MemberLayout : std::uint8_t {
    None,   ///< there is more to it
    Real,   ///< doubles
    Whole,  ///< a whole number of 32 bits
};

/// A data member.
struct MemberRow {
    std::string_view name;
    MemberType type;
    int elements;  ///< more than 1: one at a time, by an index from 1; otherwise an index is ignored
    MemberReader read;
    MemberWriter write;  ///< null: read-only
    std::size_t detail;  ///< the kind's own, such as a place in a record
    std::string_view description;
    MemberLayout layout = MemberLayout::None;

    /// Where an element of a member with a layout lies in the record.
    /// @param which  from 1; a member of one number has just that
    [[nodiscard]] constexpr std::int64_t placeOf(std::int64_t which) const noexcept {
        const auto first = static_cast<std::int64_t>(detail);
        return elements > 1 ? first + (which - 1) * static_cast<std::int64_t>(sizeof(double)) : first;
    }
};

/// Which numbers of arguments a method takes.
class ArgumentCounts {
public:
    static constexpr int kAny = 31;                                        ///< as the largest count: no limit
    constexpr ArgumentCounts(int count) : ArgumentCounts(count, count) {}  // NOLINT: implicit on purpose
    constexpr ArgumentCounts(int least, int most) {
        for (int n = least; n <= most; ++n) bits_ |= 1U << n;
    }
    [[nodiscard]] constexpr ArgumentCounts operator|(ArgumentCounts other) const {
        other.bits_ |= bits_;
        return other;
    }
    [[nodiscard]] constexpr bool accepts(int argc) const noexcept {
        return (bits_ >> (argc < kAny ? argc : kAny) & 1U) != 0;
    }

private:
    std::uint32_t bits_ = 0;
};

/// A method.
struct MethodRow {
    std::string_view name;
    void (*run)(MethodCall& call);  ///< ends with exactly one result, as a built-in
    ArgumentCounts counts;
    std::uint32_t detail;  ///< the kind's own, for its runMethod()
    std::string_view signature;
    std::string_view description;
};

/// The message for a wrong use; left out where nobody can bring it about.
template <class... Kinds>
class Wording {
public:
    constexpr Wording() = default;
    consteval Wording(MessageId id) : message_(MessageTaking<Kinds...>(id)) {}  // NOLINT: implicit on purpose

    [[nodiscard]] constexpr bool given() const noexcept { return message_.has_value(); }
    [[nodiscard]] constexpr MessageTaking<Kinds...> message() const { return message_.value(); }

private:
    std::optional<MessageTaking<Kinds...>> message_;
};

/// How wrong uses are reported. A debug build checks that each use which the rows make possible has its
/// message.
struct KindWording {
    Wording<TextArg, TextArg, TextArg> unknownMethod = {};      ///< owner, variable, method
    Wording<TextArg, TextArg> argumentCount = {};               ///< variable, method
    Wording<TextArg, TextArg, TextArg> unknownMemberRead = {};  ///< owner, variable, member
    Wording<TextArg, TextArg, TextArg> unknownMemberWrite = {};
    /// Member. Where this is set, a name is first looked for anywhere in the list of names ("x|y|name"), so a
    /// piece of it counts as known, fails the exact comparison afterwards with this message, and reads as
    /// Nil. Meant.
    Wording<TextArg> pieceOfName = {};
    Wording<TextArg> readOnly = {};                ///< member
    Wording<TextArg, NumberArg> memberIndex = {};  ///< member, index
};

/// What scripts can name on an object. A kind has one, or several when that depends on the object.
class ObjectInterface {
public:
    /// @param label  of the objects in the reference, such as "File"
    ObjectInterface(std::string_view label, std::span<const MemberRow> members,
                    std::span<const MethodRow> methods, const KindWording& wording);

    [[nodiscard]] std::string_view label() const noexcept { return label_; }
    [[nodiscard]] std::span<const MemberRow> members() const noexcept { return members_; }
    [[nodiscard]] std::span<const MethodRow> methods() const noexcept { return methods_; }
    [[nodiscard]] const KindWording& wording() const noexcept { return wording_; }

    void enter(NameTable& names);
    [[nodiscard]] const MemberRow* member(NameId name) const noexcept { return memberIndex_.find(name); }
    [[nodiscard]] const MethodRow* method(NameId name) const noexcept { return methodIndex_.find(name); }
    /// See KindWording::pieceOfName.
    [[nodiscard]] bool isPieceOfName(std::string_view name) const noexcept;

private:
    std::string_view label_;
    std::span<const MemberRow> members_;
    std::span<const MethodRow> methods_;
    KindWording wording_;
    std::string knownNames_;  ///< empty without that rule
    RowIndex<MemberRow> memberIndex_;
    RowIndex<MethodRow> methodIndex_;
};

/// Where the text of an object is wanted: the same object reads differently in different places.
enum class TextUse {
    Value,    ///< what "+" and string() make of it
    Name,     ///< its bare name: in written files, commands, stored values, elements in messages
    Message,  ///< as an argument of info(), warn(), error()
    Dump,     ///< in the snapshot of dump()
};

/// A text in pieces, so that showing an object allocates nothing.
struct ObjectText {
    std::string_view before;
    std::string_view body;
    std::string_view after;
};

/// How the persistent store keeps an object.
struct StoredAs {
    std::string_view type = {};  ///< three letters; empty: it cannot be stored
    bool scriptOnly = false;     ///< globalstore() keeps it for the script all the same
    bool refusedGlobal = false;  ///< globalstore() refuses it
};

/// What kinds differ in without any code.
struct KindTraits {
    /// Holders are counted: hold(), drop() and sweep() matter.
    bool counted = false;
    /// A function's locals let go at its end; those of other kinds keep what they hold to the next call.
    bool endsWithCall = false;
    /// So they do however the activation ends, and in functions that the host calls; parameters let go when
    /// no activation of the function is left. Such a kind marks the functions that it concerns in named().
    bool endsWithActivation = false;
    /// append() may add it to an array.
    bool appendable = false;
};

/// One kind of object. Lives as long as the table that it is entered in; an implementation may keep state of
/// its own.
class ObjectKind {
public:
    explicit ObjectKind(ObjectInterface interface, KindTraits traits = {});
    virtual ~ObjectKind() = default;
    ObjectKind(const ObjectKind&) = delete;
    ObjectKind& operator=(const ObjectKind&) = delete;

    [[nodiscard]] const KindTraits& traits() const noexcept { return traits_; }
    /// All that its objects can have; more than one where interfaceOf() is overridden.
    [[nodiscard]] virtual std::span<ObjectInterface> interfaces() noexcept { return {&interface_, 1}; }

    // ---- what scripts name (not virtual: rows and wording say all that differs, the hooks below the rest)
    // They report what is wrong, and say whether `out` has been given a value, as MemberReader and
    // MemberWriter do.
    bool readMember(EngineContext& ctx, const MemberAccess& access, ValueCell& out);
    bool writeMember(EngineContext& ctx, const MemberAccess& access, const ValueCell& value, int op,
                     ValueCell& out);
    /// Runs `object.method(args)`. The top `argc` cells are the arguments; the call replaces them by its
    /// result.
    void callMethod(EngineContext& ctx, Variable& object, const CodeNode& call);

    /// `object->member`: the members of what a script declared itself.
    virtual bool readField(EngineContext& ctx, const MemberAccess& access, ValueCell& out);
    virtual bool writeField(EngineContext& ctx, const MemberAccess& access, const ValueCell& value, int op,
                            ValueCell& out);

    // ---- values
    /// @return false where the object has no text
    [[nodiscard]] virtual bool text(TextUse use, const void* object, ObjectText& out) const;
    /// `left op right` with an object of this kind on the left (OP_LT ... OP_NE).
    [[nodiscard]] virtual bool compare(int op, const ValueCell& left, const ValueCell& right) const;
    /// The name that messages give to values which only the host hands out, and which elements of arrays
    /// cannot hold; empty for others.
    [[nodiscard]] virtual std::string_view internalName(std::int32_t tag) const;
    /// True where lists cannot give the object to an element; then `label` and `name` are what the message
    /// calls it.
    /// @param target  the array's variable
    [[nodiscard]] virtual bool refusedInLists(const void* object, const Variable& target,
                                              std::string_view& label, std::string_view& name) const;
    /// The values that the object consists of, which a list that is assigned to it fills in order; nothing
    /// for an object that is one value.
    [[nodiscard]] virtual std::optional<std::span<RecordMember>> parts(void* object) const;
    [[nodiscard]] virtual StoredAs storedAs() const;

    // ---- holders: variables, elements and members
    /// What a variable gets when it is assigned this object; the variable holds it already.
    [[nodiscard]] virtual void* assigned(EngineContext& ctx, void* object);
    /// A variable or parameter has been given the object.
    virtual void named(void* object, const Variable& variable);
    virtual void hold(EngineContext& ctx, void* object);
    virtual void drop(EngineContext& ctx, void* object);
    /// Releases the objects that nobody holds and no cell on the stack refers to. Run when there are many:
    /// EngineContext::looseObjects counts them.
    virtual void sweep(EngineContext& ctx);

protected:
    // ---- hooks of the dispatch
    [[nodiscard]] virtual const ObjectInterface& interfaceOf(const Variable& object) const;
    /// Before anything else: nothing goes on with the access, a result ends it and says whether `out` has a
    /// value.
    [[nodiscard]] virtual std::optional<bool> beginRead(EngineContext& ctx, const MemberAccess& access,
                                                        ValueCell& out);
    [[nodiscard]] virtual std::optional<bool> beginWrite(EngineContext& ctx, const MemberAccess& access,
                                                         const ValueCell& value, int op, ValueCell& out);
    /// Runs a method that exists: makes the call, of a class of the kind's own where its handlers want one,
    /// and hands it to finish(); or ends it first. The arguments are there.
    virtual void runMethod(EngineContext& ctx, const CodeNode& call, Variable& object, const MethodRow& row);
    /// Counts the arguments and runs the row's handler.
    void finish(MethodCall& call) const;
    virtual void unknownMethod(EngineContext& ctx, const Variable& object, const CodeNode& call);

private:
    static bool unknownMember(EngineContext& ctx, const ObjectInterface& interface,
                              const MemberAccess& access, bool reading);

    ObjectInterface interface_;
    KindTraits traits_;
};

/// A method call in progress: like that of a built-in, it ends with exactly one result.
class MethodCall : public BuiltinCall {
public:
    MethodCall(EngineContext& context, const CodeNode& call, Variable& variable, const MethodRow& methodRow)
        : BuiltinCall(context, call, methodRow.name), object(variable), row(methodRow) {}

    Variable& object;  ///< named before the dot
    const MethodRow& row;

    /// Reports an error that names the variable and the method; the call yields Nil.
    void failNamed(MessageTaking<TextArg, TextArg> message) { fail(message, object.name, name); }
};

}  // namespace kestrel
