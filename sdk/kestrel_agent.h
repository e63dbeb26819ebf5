/*
 * Native code for Kestrel scripts: Object Agents and libraries of functions. Plain C11 or C++.
 *
 * An Object Agent is a class. It is a shared library that exports the entry points below; a script brings it
 * in with
 *
 *     use "counter.so" as class Counter;
 *
 * and then makes objects, calls their methods, and reads and assigns their data members:
 *
 *     c = Counter(10);  c.add(2);  c.step = 5;  info(c.value);
 *
 * A library of functions exports functions of the type KestrelFunction, and nothing else is asked of it:
 *
 *     library "numbers.so";        its functions are called like those of the language: mean(1, 2, 3)
 *
 * docs/agents.md is the guide, examples/agents/ has one of each.
 *
 * WHAT KESTREL GUARDS AGAINST. Null results, unknown type codes, a record array without its end (where
 * KESTREL_MOST_RESULTS or the size of a block from `allocate` shows it), exports that are data, a C++
 * exception that leaves a function, freeing a block twice, an object that several variables hold: none of
 * these harms the host. What nobody can guard against is native code that uses memory which is not its own: a
 * wild pointer, a text without its end, a write past a block. The library runs in the host's process with all
 * that its user may do.
 *
 * WHAT A LIBRARY MUST NOT DO. Keep a pointer into the arguments, the call or a record after the function has
 * returned; call the services from another thread, or after the last of its objects in the script has been
 * destroyed; change the locale, the current directory or signal handlers; leave a function with longjmp. It
 * cannot call the script: the services are all there is.
 *
 * Everything happens on the thread of the host that runs the script. Several scripts, and several classes of
 * one script, may use one library at the same time, from several threads: what they share is what is static
 * in the library.
 */
#ifndef KESTREL_AGENT_H
#define KESTREL_AGENT_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

/* The version of this interface, for the entry point "version". Kestrel takes a major number of 0 or 1 with a
 * minor number of 0 to 3. */
#define KESTREL_AGENT_MAJOR 1
#define KESTREL_AGENT_MINOR 3

/* Stands before each function that the library exports. */
#ifdef __cplusplus
#define KESTREL_AGENT extern "C" __attribute__((visibility("default")))
#define KESTREL_AGENT_ASSERT static_assert
#define KESTREL_AGENT_CAST(type, value) static_cast<type>(value)
#else
#define KESTREL_AGENT __attribute__((visibility("default")))
#define KESTREL_AGENT_ASSERT _Static_assert
#define KESTREL_AGENT_CAST(type, value) ((type)(value))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Records: values on their way between a script and a library ---- */

enum {
    KESTREL_END = 0,     /* behind the last record of an array */
    KESTREL_INTEGER = 1, /* value.number; `n += 0.5` leaves a script's integer one, with a fraction */
    KESTREL_NUMBER = 2,  /* value.number */
    KESTREL_STRING = 3,  /* value.text */
    KESTREL_VECTOR = 4,  /* value.vector */
    KESTREL_FILE = 5,    /* value.file */
    KESTREL_ARRAY = 6,   /* value.elements, and count; only in arguments and assigned values */
    KESTREL_NIL = 99     /* no value */
};

/* Records in a result at most, without the end. */
#define KESTREL_MOST_RESULTS 64

typedef struct KestrelRecord KestrelRecord;

/* An open file of the script. In arguments all three are there, and `name` and `mode` (at most 265 bytes
 * each) are copies. In a result, `file` gives back one of the arguments of the same call; where it is null,
 * Kestrel opens `name` with `mode` (null: "r") as File() does, which gives Nil when it does not open. */
typedef struct KestrelFile {
    void* file; /* stands for the script's file object; nothing can be done with it but to give it back */
    const char* name;
    const char* mode;
} KestrelFile;

/* One value. Arguments, the elements of arrays, results, members: all are arrays of these, or one. */
struct KestrelRecord {
    int32_t type;  /* KESTREL_INTEGER ... */
    int32_t count; /* of an array: its elements */
    union {
        double number;
        double vector[3];
        const char* text; /* ends with a zero byte; in a result, null is the empty text */
        KestrelRecord* elements;
        KestrelFile file;
    } value;
};

/* Offsets of numbers are the same on every machine; pointers have the machine's width. */
KESTREL_AGENT_ASSERT(sizeof(KestrelRecord) == 32, "a record has 32 bytes");
KESTREL_AGENT_ASSERT(offsetof(KestrelRecord, type) == 0, "the type code comes first");
KESTREL_AGENT_ASSERT(offsetof(KestrelRecord, count) == 4, "then the count");
KESTREL_AGENT_ASSERT(offsetof(KestrelRecord, value) == 8, "then the value");
KESTREL_AGENT_ASSERT(sizeof(KestrelFile) <= 24, "a file fits the value");

/* ---- Services: what a library may ask of Kestrel. The first argument is the table itself. ---- */

typedef struct KestrelServices KestrelServices;
struct KestrelServices {
    /* A copy of a text in a block of its own, and a block with unknown contents, aligned for anything. Both
     * belong to the script: they end with it, and count in its memory. Null when that is exhausted, which the
     * script has been told. */
    char* (*duplicate)(const KestrelServices* services, const char* text);
    void* (*allocate)(const KestrelServices* services, size_t size);
    /* Releases a block of one of the two. Null, and anything that is no such block any more, is left alone.
     */
    void (*release)(const KestrelServices* services, void* block);
    /* Says something at the script's current line; `error` counts as an error of the script, which goes on.
     */
    void (*info)(const KestrelServices* services, const char* text);
    void (*error)(const KestrelServices* services, const char* text);
    void (*reserved6)(const KestrelServices* services);    /* does nothing */
    int32_t (*reserved7)(const KestrelServices* services); /* returns 0 */
    void (*reserved8)(const KestrelServices* services);    /* does nothing */
};
KESTREL_AGENT_ASSERT(sizeof(KestrelServices) == 8 * sizeof(void (*)(void)),
                     "eight entries and nothing between them");

/* ---- Calls ---- */

/* For whom a function is called. Valid until it returns; `services` until the library's last object in the
 * script is destroyed. */
typedef struct KestrelCall {
    const char* class_name;          /* what the script calls the class; "" in functions of a library */
    void* instance;                  /* what "constructor" returned for the object */
    void* data;                      /* what "instdata" makes of it; without "instdata" the same */
    const KestrelServices* services; /* never null */
    void* base;             /* `data` of the same object in the class that this one builds on, or null */
    int32_t argument_count; /* the arguments, here as well: those of NAME(...) in "constructor" */
    const KestrelRecord* arguments; /* `argument_count` records and a KESTREL_END */
} KestrelCall;
KESTREL_AGENT_ASSERT(offsetof(KestrelCall, services) == 3 * sizeof(void*), "class, instance, data, services");

/*
 * A method of a class, or a function of a library, exported under the name by which scripts call it. A name
 * of an entry point is no method.
 *
 * `arguments` has `count` records, in order, and a KESTREL_END behind them. Numbers, texts, vectors, files,
 * arrays and Nil are passed; arguments of other kinds (objects, records) are left out, also of the count. Of
 * an array only elements that are numbers, texts or vectors are passed and counted, in order.
 *
 * Returns the results: records and a KESTREL_END behind them, or null for none. A script that uses the value
 * of a call without one ends there, so return kestrel_nil() where something went wrong. One is the value of
 * the call, several are what a function with several results returns. At most KESTREL_MOST_RESULTS; more are
 * an error, and the call is Nil. Records of unknown types, and arrays, are passed over.
 *
 * Who owns results: Kestrel copies all of it before anything else happens. Then it releases what came from
 * `allocate` and `duplicate`, the record array as well as texts in it: these must not be used again. Anything
 * else (static, or in the object) stays the library's. So a text that the object keeps in a block of
 * `duplicate` is returned as a second copy.
 */
typedef const KestrelRecord* (*KestrelFunction)(int32_t count, const KestrelRecord* arguments,
                                                const KestrelCall* call);

/* ---- Entry points of a class ---- */

/* "version", optional: for which version of this interface the library was built. */
typedef void (*KestrelVersion)(int32_t* major, int32_t* minor);

/* "constructor", required: makes an object and returns a pointer of the library's own choice that stands for
 * it. `instance` and `data` of the call are null. Null: it cannot be made; the script gets an error and Nil,
 * and "destructor" is not called. */
typedef void* (*KestrelConstructor)(const KestrelCall* call);

/* "destructor", required: called once for each object that was made. An object ends when no variable, element
 * or member holds it any more (those of a function let go when it ends), at the latest when the script is
 * unloaded. A constructor whose destructor uses the services keeps the pointer to them. */
typedef void (*KestrelDestructor)(void* instance);

/* "ownmethod" and "owndata", required: nonzero when the class has a method, or a data member, of that name.
 * Asked once for each name that a script uses; the answer must not change. */
typedef int32_t (*KestrelOwns)(const char* name);

/* "returndata", optional: the value of a member that "owndata" knows, one record, owned as results are.
 * `index` is that of object.member[index], -1 without one. Null: there is none, and the read has no value. */
typedef const KestrelRecord* (*KestrelReturnData)(const KestrelCall* call, const char* member, int32_t index);

/* "assigndata", optional: assigns a member that "owndata" knows. `operation` says how, KESTREL_ASSIGN ...;
 * for increments the value is the integer 1, and Kestrel reads the member through "returndata" before
 * (postfix) or after (prefix) for the value of the expression. Without "assigndata" every assignment is
 * answered with KESTREL_BAD_OPERATION. */
typedef int32_t (*KestrelAssignData)(const KestrelCall* call, const char* member, int32_t index,
                                     int32_t operation, const KestrelRecord* value);

/* What "assigndata" returns. */
enum {
    KESTREL_ASSIGNED = 0,
    KESTREL_BAD_TYPE = 1,     /* the member does not take a value of that type */
    KESTREL_UNKNOWN = 2,      /* there is no such member, or no such index */
    KESTREL_BAD_OPERATION = 3 /* the member does not take that operator, or cannot be assigned at all */
};

/* What an assignment does. */
enum {
    KESTREL_POST_INCREMENT = 10,
    KESTREL_POST_DECREMENT = 11,
    KESTREL_PRE_DECREMENT = 12,
    KESTREL_PRE_INCREMENT = 13,
    KESTREL_ASSIGN = 19,
    KESTREL_ADD = 20,
    KESTREL_SUBTRACT = 21,
    KESTREL_DIVIDE = 22,
    KESTREL_MULTIPLY = 23,
    KESTREL_XOR = 88,
    KESTREL_OR = 89,
    KESTREL_AND = 90
};

/* "instdata", optional: the data of an object, for `data` of its calls; lets an `instance` be a handle. */
typedef void* (*KestrelInstData)(void* instance);

/* "alias", optional: asked once about each name that "ownmethod" does not know, or that is not exported.
 * `name` is a copy in a buffer of KESTREL_ALIAS_SIZE bytes; it writes the name of the exported function to
 * call over it and returns nonzero, or returns 0. That function gets the name as the script wrote it as an
 * extra first argument. Names that do not fit are not asked about. */
#define KESTREL_ALIAS_SIZE 256
typedef int32_t (*KestrelAlias)(char* name);

/*
 * Classes that build on another: use "b.so" as class B build on A;
 *
 * An object of B is made of two parts. "constructor" of A runs first, then that of B, both with the arguments
 * of the call; "destructor" runs in the other order. A method or member that B does not have is asked of A,
 * and runs with A's name, instance and data in its call. B's own functions find A's data in `base`: two
 * classes whose authors share a header can use it. When one constructor returns null, the parts that were
 * made before are destroyed and there is no object.
 */

#ifdef __cplusplus
} /* extern "C" */
#endif

/* ---- Helpers; nothing that could not be written by hand ---- */

static inline KestrelRecord kestrel_record(int32_t type) {
    KestrelRecord record;
    memset(&record, 0, sizeof record);
    record.type = type;
    return record;
}
static inline KestrelRecord kestrel_nil(void) {
    return kestrel_record(KESTREL_NIL);
}
static inline KestrelRecord kestrel_integer(double value) {
    KestrelRecord record = kestrel_record(KESTREL_INTEGER);
    record.value.number = value;
    return record;
}
static inline KestrelRecord kestrel_number(double value) {
    KestrelRecord record = kestrel_record(KESTREL_NUMBER);
    record.value.number = value;
    return record;
}
/* The text is not copied: it must be there until Kestrel has copied the results, so not in a variable of the
 * function. See kestrel_text_result(). */
static inline KestrelRecord kestrel_text(const char* text) {
    KestrelRecord record = kestrel_record(KESTREL_STRING);
    record.value.text = text;
    return record;
}
static inline KestrelRecord kestrel_vector(double x, double y, double z) {
    KestrelRecord record = kestrel_record(KESTREL_VECTOR);
    record.value.vector[0] = x;
    record.value.vector[1] = y;
    record.value.vector[2] = z;
    return record;
}

/* Room for results: `count` records to fill, and the end behind them. Null when memory is exhausted. */
static inline KestrelRecord* kestrel_results(const KestrelServices* services, int32_t count) {
    const size_t size = (KESTREL_AGENT_CAST(size_t, count < 0 ? 0 : count) + 1) * sizeof(KestrelRecord);
    KestrelRecord* records = KESTREL_AGENT_CAST(KestrelRecord*, services->allocate(services, size));
    if (records) memset(records, 0, size);
    return records;
}
/* One result. */
static inline const KestrelRecord* kestrel_result(const KestrelServices* services, KestrelRecord value) {
    KestrelRecord* records = kestrel_results(services, 1);
    if (records) records[0] = value;
    return records;
}

/* One result that is a text, of which a copy is made now. */
static inline const KestrelRecord* kestrel_text_result(const KestrelServices* services, const char* text) {
    return kestrel_result(services, kestrel_text(services->duplicate(services, text)));
}

static inline int kestrel_is_number(const KestrelRecord* record) {
    return record->type == KESTREL_INTEGER || record->type == KESTREL_NUMBER;
}
/* The number of the argument at a position from 0, or another one where there is no number. */
static inline double kestrel_number_at(int32_t count, const KestrelRecord* arguments, int32_t position,
                                       double otherwise) {
    if (position < 0 || position >= count || !kestrel_is_number(&arguments[position])) return otherwise;
    return arguments[position].value.number;
}

/* Applies the operation of "assigndata" to a number; whole numbers of 32 bits for KESTREL_XOR, KESTREL_OR and
 * KESTREL_AND. Returns what "assigndata" returns. */
static inline int32_t kestrel_combine(double* target, int32_t operation, const KestrelRecord* value) {
    const double right = value->value.number;
    int32_t whole;
    if (!kestrel_is_number(value)) return KESTREL_BAD_TYPE;
    switch (operation) {
        case KESTREL_ASSIGN:
            *target = right;
            return KESTREL_ASSIGNED;
        case KESTREL_ADD:
        case KESTREL_PRE_INCREMENT:
        case KESTREL_POST_INCREMENT:
            *target += right;
            return KESTREL_ASSIGNED;
        case KESTREL_SUBTRACT:
        case KESTREL_PRE_DECREMENT:
        case KESTREL_POST_DECREMENT:
            *target -= right;
            return KESTREL_ASSIGNED;
        case KESTREL_MULTIPLY:
            *target *= right;
            return KESTREL_ASSIGNED;
        case KESTREL_DIVIDE:
            if (right == 0) return KESTREL_BAD_OPERATION;
            *target /= right;
            return KESTREL_ASSIGNED;
        case KESTREL_XOR:
        case KESTREL_OR:
        case KESTREL_AND:
            if (!(*target > -2147483649.0 && *target < 2147483648.0 && right > -2147483649.0 &&
                  right < 2147483648.0))
                return KESTREL_BAD_OPERATION;
            whole = KESTREL_AGENT_CAST(int32_t, *target);
            if (operation == KESTREL_XOR) *target = whole ^ KESTREL_AGENT_CAST(int32_t, right);
            if (operation == KESTREL_OR) *target = whole | KESTREL_AGENT_CAST(int32_t, right);
            if (operation == KESTREL_AND) *target = whole & KESTREL_AGENT_CAST(int32_t, right);
            return KESTREL_ASSIGNED;
        default:
            return KESTREL_BAD_OPERATION;
    }
}

#endif /* KESTREL_AGENT_H */
