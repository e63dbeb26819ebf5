// A class for the tests, well behaved and not. Built several times:
//   FAKE_MAJOR, FAKE_MINOR   exports "version"
//   FAKE_WITHOUT             1 to 4: leaves out that required entry point
//   FAKE_PLAIN               leaves out the optional entry points, so that it can be a base and nothing else
#include "sdk/kestrel_agent.h"

#include <stdio.h>
#include <stdlib.h>

#ifndef FAKE_WITHOUT
#define FAKE_WITHOUT 0
#endif

typedef struct Fake {
    double value;
    double list[3];
    char text[64];
    const KestrelServices* services;
    const char* kept; /* against the rules: a pointer into the arguments */
} Fake;

/* Counted for the test, which opens the same library. */
KESTREL_AGENT int fake_made;
KESTREL_AGENT int fake_ended;
KESTREL_AGENT int fake_asked; /* ownmethod and owndata */
int fake_made, fake_ended, fake_asked;

/* Exported, but no function. */
KESTREL_AGENT int table[4];
int table[4];

#ifdef FAKE_MAJOR
KESTREL_AGENT void version(int32_t* major, int32_t* minor);
void version(int32_t* major, int32_t* minor) {
    *major = FAKE_MAJOR;
    *minor = FAKE_MINOR;
}
#endif

#if FAKE_WITHOUT != 1
KESTREL_AGENT void* constructor(const KestrelCall* call);
void* constructor(const KestrelCall* call) {
    const double value = kestrel_number_at(call->argument_count, call->arguments, 0, 0);
    Fake* fake;
    if (value < 0) {
        call->services->error(call->services, "no negative ones");
        return NULL;
    }
    fake = (Fake*)calloc(1, sizeof *fake);
    fake->value = value;
    fake->services = call->services;
    ++fake_made;
    return fake;
}
#endif

#if FAKE_WITHOUT != 2
KESTREL_AGENT void destructor(void* instance);
void destructor(void* instance) {
    Fake* fake = (Fake*)instance;
    if (fake->value == 99) fake->services->info(fake->services, "99 ends");
    free(fake);
    ++fake_ended;
}
#endif

static int is_one_of(const char* name, const char* const* names) {
    for (++fake_asked; *names != NULL; ++names)
        if (strcmp(name, *names) == 0) return 1;
    return 0;
}

#if FAKE_WITHOUT != 3
KESTREL_AGENT int32_t ownmethod(const char* name);
int32_t ownmethod(const char* name) {
#ifdef FAKE_PLAIN
    static const char* const names[] = {"who", "below", NULL};
#else
    static const char* const names[] = {
        "echo",   "describe", "who",        "nothing", "strange", "endless", "unended", "keep",  "kept",
        "misuse", "say",      "open",       "lent",    "forged",  "listed",  "table",   "count", "below",
        "greedy", "lost",     "destructor", "puts",    "inside",  "files",   NULL};
    if (strcmp(name, "below") == 0) return 0;
#endif
    return is_one_of(name, names);
}
#endif

#if FAKE_WITHOUT != 4
KESTREL_AGENT int32_t owndata(const char* name);
int32_t owndata(const char* name) {
#ifdef FAKE_PLAIN
    static const char* const names[] = {"deep", NULL};
#else
    static const char* const names[] = {"value", "text", "list", "silent", "odd", "locked", "file", NULL};
#endif
    return is_one_of(name, names);
}
#endif

/* ---- members ---- */

static KestrelRecord* one(const KestrelCall* call, KestrelRecord value) {
    KestrelRecord* results = kestrel_results(call->services, 1);
    results[0] = value;
    return results;
}

#ifdef FAKE_PLAIN
KESTREL_AGENT const KestrelRecord* returndata(const KestrelCall* call, const char* member, int32_t index);
const KestrelRecord* returndata(const KestrelCall* call, const char* member, int32_t index) {
    const Fake* fake = (const Fake*)call->data;
    (void)member;
    (void)index;
    return one(call, kestrel_number(1000 + fake->value));
}
#else
KESTREL_AGENT const KestrelRecord* returndata(const KestrelCall* call, const char* member, int32_t index);
const KestrelRecord* returndata(const KestrelCall* call, const char* member, int32_t index) {
    const Fake* fake = (const Fake*)call->data;
    if (strcmp(member, "value") == 0) return one(call, kestrel_number(fake->value));
    if (strcmp(member, "text") == 0) return one(call, kestrel_text(fake->text));
    if (strcmp(member, "list") == 0) {
        if (index < 1 || index > 3) return one(call, kestrel_integer(index));
        return one(call, kestrel_integer(fake->list[index - 1]));
    }
    if (strcmp(member, "odd") == 0) return one(call, kestrel_record(77));
    if (strcmp(member, "file") == 0) {
        KestrelRecord file = kestrel_record(KESTREL_FILE);
        file.value.file.name = "/no/such/file";
        return one(call, file);
    }
    return NULL;
}

KESTREL_AGENT int32_t assigndata(const KestrelCall* call, const char* member, int32_t index,
                                 int32_t operation, const KestrelRecord* value);
int32_t assigndata(const KestrelCall* call, const char* member, int32_t index, int32_t operation,
                   const KestrelRecord* value) {
    Fake* fake = (Fake*)call->data;
    if (strcmp(member, "value") == 0) return kestrel_combine(&fake->value, operation, value);
    if (strcmp(member, "list") == 0) {
        if (index < 1 || index > 3) return KESTREL_UNKNOWN;
        return kestrel_combine(&fake->list[index - 1], operation, value);
    }
    if (strcmp(member, "text") == 0) {
        if (value->type == KESTREL_ARRAY) {
            snprintf(fake->text, sizeof fake->text, "%d elements", (int)value->count);
            return KESTREL_ASSIGNED;
        }
        if (value->type != KESTREL_STRING) return KESTREL_BAD_TYPE;
        if (operation != KESTREL_ASSIGN) return KESTREL_BAD_OPERATION;
        snprintf(fake->text, sizeof fake->text, "%s", value->value.text);
        return KESTREL_ASSIGNED;
    }
    if (strcmp(member, "locked") == 0) return KESTREL_BAD_OPERATION;
    return 1000;
}

KESTREL_AGENT int32_t alias(char* name);
int32_t alias(char* name) {
    if (strncmp(name, "al_", 3) == 0) return strcpy(name, "echo") != NULL;
    if (strcmp(name, "lost") == 0) return strcpy(name, "nowhere") != NULL;
    if (strcmp(name, "sly") == 0) return strcpy(name, "destructor") != NULL;
    return 0;
}

KESTREL_AGENT void* instdata(void* instance);
void* instdata(void* instance) {
    return instance;
}
#endif

/* ---- methods; also taken as functions of a library ---- */

#define METHOD(name)                                                                       \
    KESTREL_AGENT const KestrelRecord* name(int32_t count, const KestrelRecord* arguments, \
                                            const KestrelCall* call);                      \
    const KestrelRecord* name(int32_t count, const KestrelRecord* arguments, const KestrelCall* call)
#define UNUSED ((void)count, (void)arguments, (void)call)

static int write_value(char* to, size_t room, const KestrelRecord* value) {
    switch (value->type) {
        case KESTREL_INTEGER:
            return snprintf(to, room, "i%g", value->value.number);
        case KESTREL_NUMBER:
            return snprintf(to, room, "n%g", value->value.number);
        case KESTREL_STRING:
            return snprintf(to, room, "s'%s'", value->value.text);
        case KESTREL_VECTOR:
            return snprintf(to, room, "v%g,%g,%g", value->value.vector[0], value->value.vector[1],
                            value->value.vector[2]);
        case KESTREL_FILE:
            return snprintf(to, room, "f'%s'%s", strrchr(value->value.file.name, '\\') + 1,
                            value->value.file.mode);
        case KESTREL_NIL:
            return snprintf(to, room, "nil");
        default:
            return snprintf(to, room, "?%d", (int)value->type);
    }
}

METHOD(echo) {
    UNUSED;
    return arguments;
}

METHOD(describe) {
    char text[512] = "";
    size_t at = 0;
    int32_t i, k;
    for (i = 0; i < count; ++i) {
        at += (size_t)snprintf(text + at, sizeof text - at, "%s", i > 0 ? " " : "");
        if (arguments[i].type == KESTREL_ARRAY) {
            at += (size_t)snprintf(text + at, sizeof text - at, "a%d[", (int)arguments[i].count);
            for (k = 0; k < arguments[i].count; ++k)
                at += (size_t)write_value(text + at, sizeof text - at, &arguments[i].value.elements[k]);
            at += (size_t)snprintf(text + at, sizeof text - at, "]");
        } else {
            at += (size_t)write_value(text + at, sizeof text - at, &arguments[i]);
        }
    }
    if (arguments[count].type != KESTREL_END) return one(call, kestrel_text("no end"));
    return one(call, kestrel_text(call->services->duplicate(call->services, text)));
}

METHOD(count) {
    UNUSED;
    return one(call, kestrel_integer(count));
}

/* The class, and the values of the object's part and of the part below. */
METHOD(who) {
    KestrelRecord* results = kestrel_results(call->services, 3);
    UNUSED;
    results[0] = kestrel_text(call->services->duplicate(call->services, call->class_name));
    results[1] = call->data != NULL ? kestrel_number(((Fake*)call->data)->value) : kestrel_nil();
    results[2] = call->base != NULL ? kestrel_number(((Fake*)call->base)->value) : kestrel_nil();
    return results;
}

METHOD(below) {
    UNUSED;
    return one(call, kestrel_text(call->class_name));
}

METHOD(nothing) {
    UNUSED;
    return NULL;
}

METHOD(strange) {
    KestrelRecord* results = kestrel_results(call->services, 4);
    UNUSED;
    results[0] = kestrel_record(1234);
    results[1] = kestrel_record(-1);
    results[2] = kestrel_record(KESTREL_ARRAY);
    results[2].count = 1 << 30;
    results[3] = kestrel_text(NULL);
    return results;
}

METHOD(endless) {
    static KestrelRecord records[KESTREL_MOST_RESULTS + 1];
    int i;
    UNUSED;
    for (i = 0; i <= KESTREL_MOST_RESULTS; ++i) records[i] = kestrel_integer(i);
    return records;
}

METHOD(unended) {
    KestrelRecord* results =
        (KestrelRecord*)call->services->allocate(call->services, 2 * sizeof(KestrelRecord));
    char* text = (char*)call->services->allocate(call->services, 3);
    UNUSED;
    memcpy(text, "abc", 3);
    results[0] = kestrel_text(text);
    results[1] = kestrel_integer(2);
    return results;
}

/* One block holds the text, at its start, and the records behind it. */
METHOD(inside) {
    struct Block {
        char text[400000];
        KestrelRecord records[4];
    }* block = (struct Block*)call->services->allocate(call->services, sizeof(struct Block));
    UNUSED;
    memset(block, 0, sizeof *block);
    memcpy(block->text, "within", 7);
    block->records[0] = kestrel_text(block->text);
    block->records[1] = kestrel_text(block->text);
    block->records[2] = kestrel_integer(3);
    return block->records;
}

/* Whether what came with the file of the result before has been released, which is another one now. */
METHOD(files) {
    KestrelRecord file = kestrel_record(KESTREL_FILE);
    UNUSED;
    file.value.file.name = (const char*)call->services->allocate(call->services, 1 << 20);
    memcpy((char*)file.value.file.name, "none", 5);
    return kestrel_result(call->services, file);
}

METHOD(keep) {
    UNUSED;
    ((Fake*)call->data)->kept = arguments[0].value.text;
    return NULL;
}

METHOD(kept) {
    UNUSED;
    return one(call, kestrel_text(((Fake*)call->data)->kept));
}

METHOD(misuse) {
    const KestrelServices* services = call->services;
    void* block = services->allocate(services, 10);
    UNUSED;
    services->release(services, block);
    services->release(services, block);
    services->release(services, NULL);
    services->release(services, &block);
    services->reserved6(services);
    services->reserved8(services);
    services->info(services, NULL);
    return one(call, kestrel_integer(
                         services->duplicate(services, NULL) == NULL ? services->reserved7(services) : -1));
}

METHOD(greedy) {
    UNUSED;
    return one(call, kestrel_integer(call->services->allocate(call->services, (size_t)-1) == NULL));
}

METHOD(say) {
    UNUSED;
    call->services->info(call->services, arguments[0].value.text);
    call->services->error(call->services, arguments[0].value.text);
    return NULL;
}

METHOD(open) {
    KestrelRecord file = kestrel_record(KESTREL_FILE);
    UNUSED;
    file.value.file.name = arguments[0].value.text;
    return one(call, file);
}

METHOD(lent) {
    UNUSED;
    return one(call, arguments[0]);
}

METHOD(forged) {
    KestrelRecord file = kestrel_record(KESTREL_FILE);
    UNUSED;
    file.value.file.file = &file;
    return one(call, file);
}
