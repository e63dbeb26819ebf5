// The value of the language, and who owns what.
//
// Every value that a script computes, passes or stores is one ValueCell: a tag and a payload. The same
// record is a slot of the evaluation stack, an element of an array, a member of a record, and what a variable
// is beside its name.
//
// Payload by tag:
//   inline    Number, Integer, Nil, ReturnCount   one double (Integer is a tag on a double)
//             Vector                              three doubles
//   borrowed  String                              text owned by a variable, an element or the program
//   owned     TempString                          pool text that this cell, and no other, releases
//   shared    FileObj, UserRecord, ArrayRef, host objects ...   pointer to a record with an owner elsewhere
//   internal  references and marks                only ever on the evaluation stack; scripts never see them
//
// A stack slot that holds a TempString releases it when it is dropped (EvalStack::dropTo). A variable, an
// array element or a record member that holds text owns a retained pool copy of it, whatever its tag says;
// when that text is replaced it goes to the pool's deferred table, because a cell on the stack may still
// borrow it.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace kestrel {

struct CodeNode;
struct Variable;
struct ArrayRecord;
struct RecordInstance;

/// Type tags. The numbers are fixed: constants use their instruction's code as tag, and scripts'
/// state on disk and in shared memory carries them.
enum Tag : std::int32_t {
    Uninitialized = 0,  ///< only ever a variable's or a fresh element's type
    VarArgRef = 1,      ///< argument that carries a whole variable
    Number = 18,
    MemberRef = 38,  ///< reference to object.member; payload: the node that names the member
    Vector = 41,
    ArrayRef = 42,     ///< a whole array; payload: its record and the variable that named it
    ListMark = 49,     ///< brackets an inline list @ a, b @
    String = 56,       ///< borrowed text
    Array = 57,        ///< variable type; on the stack: reference to an element, index list below it
    TempString = 60,   ///< text owned by the cell
    ReturnCount = 62,  ///< number of values that lie below it
    Nil = 66,
    FileObj = 67,
    SepMark = 70,  ///< between the indexes of a[i, j]
    Integer = 71,
    DimMark = 84,  ///< opens an index list
    IndexedMemberRef = 94,
    ObjectAgent = 95,
    NewArray = 96,   ///< fresh array made by array(), adopted by assignment
    BlockMark = 97,  ///< brackets the members of (a, b) = ...
    UserRecord = 98,
    RecordMemberRef = 99,
    IpcSlotRef = 102,
    SelectMark = 103,
    HxioObj = 200,
    HxObject = 201,
    BoneObj = 202,
    LightObj = 203,
    CameraObj = 204,
    SceneObj = 205,
    ImageListObj = 206,
    ShaderObj = 400,
    /// A reference to a plain variable (assignment or increment target). It has a tag of its own, unlike the
    /// other tags not visible to anyone, so that no consumer can mistake it for the number that shares its
    /// slot.
    VarRef = 1018,
};

/// Kinds whose payload points to a record that is shared: files, records, agents, host objects.
[[nodiscard]] constexpr bool isObjectKind(std::int32_t type) noexcept {
    return type == FileObj || type == UserRecord || type == ObjectAgent || type == ShaderObj ||
           (type >= HxioObj && type <= ImageListObj);
}
/// Kinds of value that scripts see in elements, record members and plain variables: everything but whole
/// arrays.
[[nodiscard]] constexpr bool isStorable(std::int32_t type) noexcept {
    return type == Number || type == Integer || type == Vector || type == String || type == TempString ||
           type == Nil || isObjectKind(type);
}

/// Kinds whose whole value lies in the cell or variable, so that another may simply overwrite it; also the
/// kind of a variable that has none yet.
[[nodiscard]] constexpr bool isInlineKind(std::int32_t type) noexcept {
    return type == Number || type == Integer || type == Vector || type == Nil || type == Uninitialized;
}
/// Kinds that are a value by themselves, which no later use of another can change: numbers, vectors, texts,
/// Nil.
[[nodiscard]] constexpr bool isPlainKind(std::int32_t type) noexcept {
    return isStorable(type) && !isObjectKind(type);
}

/// Kinds whose payload is an address.
[[nodiscard]] constexpr bool isAddressKind(std::int32_t type) noexcept {
    switch (type) {
        case String:
        case TempString:
        case Array:
        case ArrayRef:
        case NewArray:
        case VarArgRef:
        case VarRef:
        case MemberRef:
        case IndexedMemberRef:
        case RecordMemberRef:
        case IpcSlotRef:
            return true;
        default:
            return isObjectKind(type);
    }
}

/// What Nil counts as where numbers are not told from other values: `nil && 1` is true, `-nil` is 1. A few
/// built-ins keep the kind of what they are given and yield a Nil with another number.
inline constexpr double kNilNumber = -1.0;

/// +0 or -0, compared as bits.
[[nodiscard]] constexpr bool isZero(double value) noexcept {
    return (std::bit_cast<std::uint64_t>(value) << 1) == 0;
}

/// What a Vector holds.
struct VectorValue {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

/// A value: its kind, and a slot for each sort of payload. The kind says which slot counts; the others keep
/// what they held, which nothing looks at but for variables (program.h).
struct ValueCell {
    std::int32_t type = Nil;
    double number = 0.0;  ///< numbers, and everything that has no payload of its own
    VectorValue vec;
    union {
        void* object = nullptr;  ///< FileObj, host objects
        const char* text;        ///< NUL-terminated
        ArrayRecord* array;      ///< ArrayRef, NewArray; in a variable Array
        RecordInstance* record;  ///< UserRecord
        const CodeNode* node;    ///< VarRef, Array (element), IpcSlotRef, and the references to members
        Variable* variable;      ///< VarArgRef
    };
    Variable* named = nullptr;  ///< ArrayRef: the variable that it was loaded from, for messages

    static ValueCell ofNumber(double v) noexcept { return scalar(Number, v); }
    static ValueCell ofInteger(double v) noexcept { return scalar(Integer, v); }
    static ValueCell ofBool(bool v) noexcept { return scalar(Integer, v ? 1.0 : 0.0); }
    static ValueCell ofNil() noexcept { return scalar(Nil, kNilNumber); }
    static ValueCell ofCount(int n) noexcept { return scalar(ReturnCount, n); }
    static ValueCell ofMark(std::int32_t tag) noexcept { return scalar(tag, 0.0); }
    static ValueCell ofVector(const VectorValue& v) noexcept {
        ValueCell c;
        c.type = Vector;
        c.vec = v;
        return c;
    }
    /// Borrowed text: the caller guarantees that it outlives the statement.
    static ValueCell ofText(const char* text) noexcept {
        ValueCell c;
        c.type = String;
        c.text = text;
        return c;
    }
    /// Owned text (from Pool): the cell releases it.
    static ValueCell ofTemp(const char* text) noexcept {
        ValueCell c;
        c.type = TempString;
        c.text = text;
        return c;
    }
    static ValueCell ofObject(std::int32_t tag, void* object) noexcept {
        ValueCell c;
        c.type = tag;
        c.object = object;
        return c;
    }
    static ValueCell ofArray(ArrayRecord* record, Variable* variable) noexcept {
        ValueCell c;
        c.type = ArrayRef;
        c.array = record;
        c.named = variable;
        return c;
    }
    static ValueCell ofNode(std::int32_t tag, const CodeNode* node) noexcept {
        ValueCell c;
        c.type = tag;
        c.node = node;
        return c;
    }

    /// Writes no more than a tag and a number needs.
    void setScalar(std::int32_t tag, double v) noexcept {
        type = tag;
        number = v;
    }
    void setVector(const VectorValue& v) noexcept {
        type = Vector;
        vec = v;
    }

    [[nodiscard]] bool isNumeric() const noexcept { return type == Number || type == Integer; }
    [[nodiscard]] bool isText() const noexcept { return type == String || type == TempString; }
    /// The first double of what counts, whatever the tag: the number, the x of a vector, the address of a
    /// text or object. What truth, `switch` and the inline built-ins look at. That of plainValue().
    [[nodiscard]] double firstDouble() const noexcept {
        if (isNumeric()) [[likely]]
            return number;
        if (type == Vector) return vec.x;
        if (type == VarRef) return 0.0;
        return isAddressKind(type) ? std::bit_cast<double>(object) : number;
    }
    /// True when that is not +0 or -0 (compared as bits, so that no floating-point mode changes it).
    [[nodiscard]] bool firstDoubleSet() const noexcept { return !isZero(firstDouble()); }

private:
    static ValueCell scalar(std::int32_t tag, double v) noexcept {
        ValueCell c;
        c.type = tag;
        c.number = v;
        return c;
    }
};
static_assert(sizeof(ValueCell) == 56 && alignof(ValueCell) == 8);

/// What a cell is where a value is expected: a reference to a variable counts as the Number 0.
[[nodiscard]] inline ValueCell plainValue(const ValueCell& cell) noexcept {
    return cell.type == VarRef ? ValueCell::ofNumber(0.0) : cell;
}

/// Truth: false for Nil and for a zero first double; the type is not looked at, so <0,1,1> is false and "" is
/// true.
[[nodiscard]] inline bool isTrue(const ValueCell& c) noexcept {
    if (c.isNumeric()) [[likely]]
        return !isZero(c.number);
    return c.type != Nil && c.firstDoubleSet();
}

/// True for values of one kind that are alike to the last bit; texts and objects: that are the same one.
[[nodiscard]] inline bool sameValue(const ValueCell& a, const ValueCell& b) noexcept {
    if (a.type != b.type) return false;
    const auto same = [](double l, double r) {
        return std::bit_cast<std::uint64_t>(l) == std::bit_cast<std::uint64_t>(r);
    };
    if (a.type == Vector) return same(a.vec.x, b.vec.x) && same(a.vec.y, b.vec.y) && same(a.vec.z, b.vec.z);
    return isAddressKind(a.type) ? a.object == b.object : same(a.number, b.number);
}

/// Truncates toward zero; NaN gives 0, values beyond 64 bits saturate.
[[nodiscard]] inline std::int64_t truncate(double v) noexcept {
    constexpr double kLimit = 9223372036854775808.0;
    if (std::isnan(v)) return 0;
    if (v >= kLimit) return std::numeric_limits<std::int64_t>::max();
    if (v <= -kLimit) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(v);
}

/// Truncates toward zero to 32 bits (the low 32 bits where the value is larger): bit operators, shifts, `%`,
/// `fac`.
[[nodiscard]] inline std::int32_t truncate32(double v) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(truncate(v))));
}

}  // namespace kestrel
