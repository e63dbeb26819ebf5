// The value of the language, and who owns what.
//
// Every value that a script computes, passes or stores is one ValueCell: a tag and a payload. The same
// record is a slot of the evaluation stack, an element of an array and a member of a record.
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

#include <cmath>
#include <cstdint>
#include <cstring>
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

/// What a Vector holds.
struct VectorValue {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

/// A whole array on the stack, with the variable it was loaded from (for messages).
struct NamedArray {
    ArrayRecord* record;
    Variable* variable;
};

struct ValueCell {
    std::int32_t type = Nil;
    std::int32_t reserved[5] = {0, 0, 0, 0, 0};  ///< for the cell's owner; the stack does not use them
    union alignas(8) Payload {
        double number;
        VectorValue vec;
        const char* text;    ///< NUL-terminated
        void* object;        ///< FileObj, NewArray (ArrayRecord), UserRecord (RecordInstance), host objects
        ArrayRecord* array;  ///< NewArray; for ArrayRef the first half of namedArray
        NamedArray namedArray;   ///< ArrayRef
        RecordInstance* record;  ///< UserRecord
        const CodeNode* node;    ///< VarRef, MemberRef, RecordMemberRef, Array (element), IpcSlotRef
        Variable* variable;      ///< VarArgRef
        unsigned char raw[32];
        constexpr Payload() : raw{} {}
    } payload;

    static ValueCell ofNumber(double v) noexcept { return scalar(Number, v); }
    static ValueCell ofInteger(double v) noexcept { return scalar(Integer, v); }
    static ValueCell ofBool(bool v) noexcept { return scalar(Integer, v ? 1.0 : 0.0); }
    /// The number slot of Nil is -1.0: `nil && 1` is true, `-nil` is 1.
    static ValueCell ofNil() noexcept { return scalar(Nil, -1.0); }
    static ValueCell ofCount(int n) noexcept { return scalar(ReturnCount, n); }
    static ValueCell ofMark(std::int32_t tag) noexcept { return scalar(tag, 0.0); }
    static ValueCell ofVector(const VectorValue& v) noexcept {
        ValueCell c;
        c.type = Vector;
        c.payload.vec = v;
        return c;
    }
    /// Borrowed text: the caller guarantees that it outlives the statement.
    static ValueCell ofText(const char* text) noexcept {
        ValueCell c;
        c.type = String;
        c.payload.text = text;
        return c;
    }
    /// Owned text (from Pool): the cell releases it.
    static ValueCell ofTemp(const char* text) noexcept {
        ValueCell c;
        c.type = TempString;
        c.payload.text = text;
        return c;
    }
    static ValueCell ofObject(std::int32_t tag, void* object) noexcept {
        ValueCell c;
        c.type = tag;
        c.payload.object = object;
        return c;
    }
    static ValueCell ofArray(ArrayRecord* record, Variable* variable) noexcept {
        ValueCell c;
        c.type = ArrayRef;
        c.payload.namedArray = {record, variable};
        return c;
    }
    static ValueCell ofNode(std::int32_t tag, const CodeNode* node) noexcept {
        ValueCell c;
        c.type = tag;
        c.payload.node = node;
        return c;
    }

    [[nodiscard]] bool isNumeric() const noexcept { return type == Number || type == Integer; }
    [[nodiscard]] bool isText() const noexcept { return type == String || type == TempString; }
    /// The first eight payload bytes read as a double, whatever the tag: what truth, `switch` and the inline
    /// built-ins look at. References count as 0.
    [[nodiscard]] double firstDouble() const noexcept {
        if (type == VarRef) return 0.0;
        double d;
        std::memcpy(&d, payload.raw, sizeof d);
        return d;
    }
    /// True when those eight bytes are not +0 or -0 (compared as bits, so that no floating-point mode changes
    /// it).
    [[nodiscard]] bool payloadBitsSet() const noexcept {
        if (type == VarRef) return false;
        std::uint64_t bits;
        std::memcpy(&bits, payload.raw, sizeof bits);
        return (bits << 1) != 0;
    }

private:
    static ValueCell scalar(std::int32_t tag, double v) noexcept {
        ValueCell c;
        c.type = tag;
        c.payload.number = v;
        return c;
    }
};
static_assert(sizeof(ValueCell) == 56 && alignof(ValueCell) == 8);

/// Truth: false for Nil and for a zero first double; the type is not looked at, so <0,1,1> is false and "" is
/// true.
[[nodiscard]] inline bool isTrue(const ValueCell& c) noexcept {
    return c.type != Nil && c.payloadBitsSet();
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
