/* What the module `kestrel-pt.so` offers beyond the interface that all modules share, in plain C: for tools
 * that must be able to end a runaway script, or that show which message they see and where in the files it
 * comes from. A host that has no use for that reads host/host_interface.h alone. */
#ifndef KESTREL_MODULE_EXTENSION_H
#define KESTREL_MODULE_EXTENSION_H

#include "host/host_interface.h"

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#include <atomic>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* It lies behind the module's descriptor. A host that does not know it never looks there; one that does reads
 * it only when the first server is called "Kestrel/PT", since other modules may have nothing behind theirs,
 * and when the magic is its own: that changes with every field that is added, so that nobody reads past the
 * end of an older module's record. */
#define KESTREL_EXTENSION_MAGIC 0x4b455339u

/* A word of 32 bits that signal handlers and other threads may set. */
#ifdef __cplusplus
typedef std::atomic<int32_t> KestrelFlag;
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L && !defined(__STDC_NO_ATOMICS__)
typedef _Atomic int32_t KestrelFlag;
#else
typedef volatile int32_t KestrelFlag;
#endif

typedef struct KestrelRunWatch {
    /* Set to 1, from a signal handler or another thread too, this ends the running script at its next loop or
     * call, and every later run and load. The host sets it back to 0. */
    KestrelFlag requested;
    KestrelFlag line; /* where a script was ended; 0 while none was */
} KestrelRunWatch;

/* A place in a source file: line and columns from 1, the end one past the last character; 0 = unknown. */
typedef struct KestrelPlace {
    const char* file; /* native path; valid while the message is shown */
    int32_t line, column, endColumn;
} KestrelPlace;

/* Samples that were begun without the interpreter and then left to it, for one reason. */
typedef struct KestrelExit {
    const char* reason;
    int32_t line; /* of the script, or of a file that it brings in; 0 = unknown */
    uint64_t count;
} KestrelExit;

/* How the samples of an instance's script have been shaded since it was loaded. */
typedef struct KestrelShading {
    const char* executor; /* what shades the next one: "definition", "threaded" or "native" */
    uint64_t shaded;      /* without the interpreter */
    uint64_t grouped;     /* of those: several at a time */
    uint64_t left;        /* begun so and left to it */
    uint64_t interpreted; /* by it from the beginning */
    const KestrelExit* exits;
    int32_t exitCount;
} KestrelShading;

typedef struct KestrelModule {
    ModuleDescriptor descriptor;
    uint32_t magic; /* KESTREL_EXTENSION_MAGIC */
    KestrelRunWatch* watch;
    /* 1 when the last run of script code in the instance (an HxInstance) ended with its abort flag set; for
     * null, the same of the instance that was destroyed last. May be null: then nobody can tell. */
    int32_t (*aborted)(void* instance);
    /* From inside "Info Messages": the place that the message is about (level 0), the line that brought in
     * that file (level 1), and so on. Returns 0 when there is none, and leaves `out`. May be null. */
    int32_t (*place)(int32_t level, KestrelPlace* out);
    /* From inside "Info Messages": the name of the message, such as "division-by-zero", which no version
     * changes; null when there is none. May be null. */
    const char* (*messageName)(void);
    /* The names of the items that the instance's script depends on, as it says, ending with a null; null when
     * it says nothing. They are the module's, until the script runs again or the instance is destroyed. Who
     * wants to be sure that usedItems() comes back looks first whether each object that is not named has only
     * bones that are. May be null. */
    const char* const* (*effectedBy)(void* instance);
    /* Where the instance's script first wrote a number into a sample that is not finite (NaN, infinite) since
     * this was asked last. Returns 0 when it has not, and leaves `out`. May be null. */
    int32_t (*badWrite)(void* instance, KestrelPlace* out);
    /* Gives the script that is loaded next a debugger link of that name, whatever its debug pragma says. It
     * then pauses at its first line. Null takes back what no script has got yet. May be null. */
    void (*setDebugLink)(const char* name);
    /* 1 while a debugger can reach the instance's script: by that, or by the script's debug pragma. Such a
     * script should run in one process, as copies have no link. May be null. */
    int32_t (*debugged)(void* instance);
    /* "NAME=VALUE": every script that is loaded from now on and has a global of that name finds this value in
     * it when its code outside functions runs, and again when that has ended. VALUE is a number, a Vector
     * "<x,y,z>" or a text. Null takes back all of them. Returns 0 when it is no such text. May be null. */
    int32_t (*preset)(const char* assignment);
    /* Who wants more than the messages say: `take` gets advice about the message before it, such as what both
     * sides of an operator were that failed. `rule` names the kind of advice, `text` is one line; both are
     * valid during the call, in which place() tells what it is about. It counts for scripts that are loaded
     * later. Null takes none, as at first, and scripts that are loaded then look for nothing. May be null. */
    void (*setAdvice)(void (*take)(void* user, const char* rule, const char* text), void* user);
    /* Returns 0 when the instance has no script, and leaves `out`. What `out` points to is the module's,
     * until this is asked again. May be null. */
    int32_t (*shading)(void* instance, KestrelShading* out);
    /* Does what one evaluate() for each of `count` samples would, in their order, and computes several at a
     * time where nothing can tell the difference; from some dozens on that is faster. The first sample is at
     * `first`, each of the others `stride` bytes behind the one before: a multiple of 8, at least
     * sizeof(ShadingSample). During the call nobody else touches them. Returns how many samples have been
     * shaded: less than `count` when a run was aborted or the instance is not to shade for another reason,
     * and then evaluate() would leave the others as they are, too. May be null. */
    size_t (*evaluateMany)(void* instance, ShadingSample* first, size_t stride, size_t count);
} KestrelModule;

#ifdef __cplusplus
}
#endif

#endif
