/* The interface between the host application and the module: the one header that a host author reads.
 *
 * Pure C layout. Integer and double fields keep the documented offsets on every platform; pointers have the
 * platform's width. All calls come from one thread. Texts are NUL-terminated; unless a comment says otherwise
 * the side that passes a pointer keeps owning it.
 */
#ifndef KESTREL_HOST_INTERFACE_H
#define KESTREL_HOST_INTERFACE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- module descriptor
 * -------------------------------------------------------------------------------------- */

#define HXM_SYNC_WORD 0x04121994u /* ModuleDescriptor.sync */
#define HXM_MODULE_VERSION 2u     /* ModuleDescriptor.version */
#define HXM_MACHINE_TYPE 0x300u   /* ModuleDescriptor.machine */
#define HXM_INTERFACE_VERSION 3   /* the version an activation accepts */
#define HXM_STARTUP_OK 4          /* what startup returns */

enum HxActivation { HXM_OK = 0, HXM_BAD_VERSION = 1, HXM_MISSING_SERVICE = 2 };

/* Third-party lookup function: returns the service registered under `name`, or null. */
enum HxServiceUse { HX_USE_ONCE = 0, HX_USE_KEEP = 1, HX_USE_RELEASE = 2 };
typedef void* (*HostGlobal)(const char* name, int32_t use);

/* activate(version, global, local, server data): `local` is a ShaderHandlerRecord to fill for class
 * "ShaderHandler" and a shader instance for class "ShaderInterface". Returns an HxActivation. */
typedef int32_t (*ActivateFunction)(int32_t version, HostGlobal global, void* local, void* serverData);

typedef struct ServerRecord {
    const char* className;
    const char* serverName;
    ActivateFunction activate;
} ServerRecord;

typedef struct ModuleDescriptor {
    uint32_t sync;
    uint32_t version;
    uint32_t machine;
    int32_t (*startup)(void);
    void (*shutdown)(void);
    const ServerRecord* servers; /* ends with a record of three nulls */
} ModuleDescriptor;

#define HXM_DESCRIPTOR_SYMBOL "_mod_descrip"

/* What our module places behind the six words of its descriptor, for tools that must be able to end a runaway
 * script and to show where in the files a message comes from. A host that does not know it never looks there.
 */
#define KESTREL_EXTENSION_MAGIC 0x4b455331u

typedef struct KestrelRunWatch {
    volatile int32_t requested; /* set to 1 to end the running script at its next loop or call */
    volatile int32_t line;      /* where it was ended; 0 while nothing was */
} KestrelRunWatch;

/* A place in a source file: native path, line and columns from 1, the end one past the last character; 0 =
 * unknown. */
typedef struct KestrelPlace {
    const char* file; /* valid while the message is shown */
    int32_t line, column, endColumn;
} KestrelPlace;

typedef struct KestrelModule {
    ModuleDescriptor descriptor;
    uint32_t magic; /* KESTREL_EXTENSION_MAGIC */
    KestrelRunWatch* watch;
    /* 1 when the last run of script code in the instance (a void*, see HxInstance) ended with its abort flag
     * set; for null, the same of the instance that was destroyed last. May be null: then nobody can tell. */
    int32_t (*aborted)(void* instance);
    /* While a message is shown: the place it is about (level 0), the line that brought in that file (level
     * 1), and so on. Returns 0 when there is none. May be null. */
    int32_t (*place)(int32_t level, KestrelPlace* out);
} KestrelModule;

/* ---- scene items
 * ---------------------------------------------------------------------------------------------- */

typedef uint32_t HostItemID; /* 0 = none */
enum HxItemType { HX_MESH = 0, HX_LIGHT = 1, HX_CAMERA = 2, HX_BONE = 3, HX_SCENE = 4 };

/* ---- shading
 * -------------------------------------------------------------------------------------------------- */

/* Light `light` as it arrives at `point`: `vector` (in: what the script passed; out: unit direction in which
 * the light travels) and `color` (out: RGB intensity, shadows included). The result is not used. */
typedef int32_t (*IlluminateOperation)(HostItemID light, const double point[3], double vector[3],
                                       double color[3]);
/* Traces a ray; `direction` is a unit vector. Returns the distance to what it hits, negative when it hits
 * nothing. */
typedef double (*RayTraceOperation)(const double point[3], const double direction[3], double color[3]);

/* One shading sample. The host fills it, the module's `evaluate` changes the values from wNorm to roughness.
 */
typedef struct ShadingSample {
    int32_t sx, sy;      /* pixel */
    double oPos[3];      /* position, object space */
    double wPos[3];      /* position, world space */
    double gNorm[3];     /* geometric normal, world space */
    double spotSize;     /* diameter of the sample on the surface */
    double raySource[3]; /* origin of the ray that found the sample */
    double rayLength;    /* its length */
    double cosine;       /* cosine between the normal and the view direction */
    double oXfrm[9];     /* object to world rotation, row by row */
    double wXfrm[9];     /* world to object rotation */
    HostItemID objID;    /* the mesh object */
    int32_t polNum;      /* polygon number */
    double wNorm[3];     /* shading normal, world space */
    double color[3];     /* RGB, 0..1 */
    double luminous;     /* 0..1 */
    double diffuse;
    double specular;
    double mirror;
    double transparency;
    double eta; /* refraction index */
    double roughness;
    IlluminateOperation illuminate;
    RayTraceOperation rayTrace;
} ShadingSample;

/* Bits of the mask that `flags` returns: the values that the script may change. 0 stands for all. */
enum HxShaderFlag {
    HXSF_NORMAL = 1 << 0,
    HXSF_COLOR = 1 << 1,
    HXSF_LUMINOUS = 1 << 2,
    HXSF_DIFFUSE = 1 << 3,
    HXSF_SPECULAR = 1 << 4,
    HXSF_MIRROR = 1 << 5,
    HXSF_TRANSPARENT = 1 << 6,
    HXSF_ETA = 1 << 7,
    HXSF_ROUGHNESS = 1 << 8,
    HXSF_RAYTRACE = 1 << 10
};

/* ---- state I/O
 * ------------------------------------------------------------------------------------------------ */

enum HxStateMode { HX_STATE_BINARY = 0, HX_STATE_TEXT = 1 };

/* Text mode: `read` stores one line without its newline, NUL-terminated, at most size - 1 characters, and
 * returns its length; 0 for an empty line, negative at the end. Binary mode: returns the number of bytes
 * read, 0 at the end. */
typedef struct LoadState {
    int32_t mode;
    void* handle;
    int32_t (*read)(void* handle, char* buffer, int32_t size);
} LoadState;

/* Text mode: each `write` is one line (the host adds the newline). */
typedef struct SaveState {
    int32_t mode;
    void* handle;
    void (*write)(void* handle, const char* buffer, int32_t size);
} SaveState;

/* ---- what the ShaderHandler activation fills
 * ------------------------------------------------------------------ */

typedef void* HxInstance;

typedef struct ShaderHandlerRecord {
    HxInstance (*create)(const char** error);
    void (*destroy)(HxInstance);
    const char* (*copy)(HxInstance source, HxInstance destination);
    const char* (*load)(HxInstance, const LoadState*);
    const char* (*save)(HxInstance, const SaveState*);
    const char* (*init)(HxInstance);
    void (*cleanup)(HxInstance);
    const char* (*newTime)(HxInstance, int32_t frame, double time);
    void (*evaluate)(HxInstance, ShadingSample*);
    uint32_t (*flags)(HxInstance);
    const char* (*describe)(HxInstance);        /* a static buffer of the module */
    const HostItemID* (*usedItems)(HxInstance); /* ends with 0; null when there are none */
} ShaderHandlerRecord;

/* ---- host services
 * --------------------------------------------------------------------------------------------- */

#define HX_SERVICE_MESSAGES "Info Messages" /* InfoMessages */
#define HX_SERVICE_FILE_REQUEST \
    "File Request" /* FileRequest (a function pointer stored in FileRequestService) */
#define HX_SERVICE_DIRECTORY_INFO "Directory Info"  /* DirectoryInfoService */
#define HX_SERVICE_SYSTEM_INFO "System Information" /* a 32-bit word, not a record: see HX_SYSTEM_* */
#define HX_SERVICE_ITEM_INFO "HX Item Info"         /* ItemInfo */
#define HX_SERVICE_OBJECT_INFO "HX Object Info"     /* ObjectInfo */
#define HX_SERVICE_BONE_INFO "HX Bone Info"         /* BoneInfo */
#define HX_SERVICE_LIGHT_INFO "HX Light Info"       /* LightInfo */
#define HX_SERVICE_CAMERA_INFO "HX Camera Info"     /* CameraInfo */
#define HX_SERVICE_SCENE_INFO "HX Scene Info"       /* SceneInfo */
#define HX_SERVICE_IMAGE_LIST "HX Image List"       /* ImageList */
#define HX_SERVICE_PANELS "HXPanelServices"

/* Top four bits of the system-information word. */
#define HX_SYSTEM_LAYOUT 0x00000000u
#define HX_SYSTEM_MODELER 0x10000000u
#define HX_SYSTEM_RENDER_NODE 0x20000000u /* has no file requester */

/* Message boxes of two lines; the second may be null. */
typedef struct InfoMessages {
    void (*info)(const char* line1, const char* line2);
    void (*error)(const char* line1, const char* line2);
    void (*warning)(const char* line1, const char* line2);
} InfoMessages;

/* File dialog. `fileName` (in: name or pattern) and `path` (in: start directory, out: chosen directory) are
 * in/out buffers, `fullName` receives the full path of the choice; each holds `size` characters. A result
 * below 1 means cancelled. */
typedef struct FileRequestService {
    int32_t (*fileRequest)(const char* title, char* fileName, char* path, char* fullName, int32_t size);
} FileRequestService;

/* @return the directory of that kind, null when there is none */
typedef struct DirectoryInfoService {
    const char* (*dirInfo)(const char* kind);
} DirectoryInfoService;

/* Parameter codes of ItemInfo.param and limits. */
enum HxItemParam {
    HXIP_POSITION = 1,
    HXIP_RIGHT,
    HXIP_UP,
    HXIP_FORWARD,
    HXIP_ROTATION,
    HXIP_SCALING,
    HXIP_PIVOT,
    HXIP_W_POSITION,
    HXIP_W_RIGHT,
    HXIP_W_UP,
    HXIP_W_FORWARD
};

typedef struct ItemInfo {
    HostItemID (*first)(int32_t type, HostItemID parent);
    HostItemID (*next)(HostItemID);
    HostItemID (*firstChild)(HostItemID);
    HostItemID (*nextChild)(HostItemID item, HostItemID previousChild);
    HostItemID (*parent)(HostItemID);
    HostItemID (*target)(HostItemID);
    HostItemID (*goal)(HostItemID);
    int32_t (*type)(HostItemID);
    const char* (*name)(HostItemID);
    void (*param)(HostItemID, int32_t param, double time, double out[3]);
    uint32_t (*limits)(HostItemID, int32_t param, double min[3],
                       double max[3]); /* mask of unlimited components */
} ItemInfo;

typedef struct ObjectInfo {
    const char* (*filename)(HostItemID);
    int32_t (*numPoints)(HostItemID);
    int32_t (*numPolygons)(HostItemID);
    uint32_t (*shadowOptions)(HostItemID);
    double (*dissolve)(HostItemID, double time);
} ObjectInfo;

typedef struct BoneInfo {
    uint32_t (*flags)(HostItemID);
    void (*restParam)(HostItemID, int32_t param, double out[3]);
    double (*restLength)(HostItemID);
    void (*limits)(HostItemID, double* inner, double* outer);
} BoneInfo;

typedef struct LightInfo {
    void (*ambient)(double time, double out[3]);
    int32_t (*type)(HostItemID);
    void (*color)(HostItemID, double time, double out[3]);
    int32_t (*shadowType)(HostItemID);
    void (*coneAngles)(HostItemID, double* radius, double* edge);
} LightInfo;

typedef struct CameraInfo {
    double (*zoomFactor)(HostItemID, double time);
    double (*focalLength)(HostItemID, double time);
    double (*focalDistance)(HostItemID, double time);
    double (*fStop)(HostItemID, double time);
    double (*blurLength)(HostItemID, double time);
    void (*fovAngles)(HostItemID, double time, double* horizontal, double* vertical);
} CameraInfo;

typedef struct SceneInfo {
    const char* name;
    const char* filename;
    int32_t numPoints, numPolygons;
    int32_t renderType;
    uint32_t renderOptions;
    int32_t frameStart, frameEnd, frameStep;
    double framesPerSecond;
    int32_t frameWidth, frameHeight;
    double pixelAspect;
    int32_t minSamplesPerPixel, maxSamplesPerPixel;
    int32_t limitedRegion[4];
} SceneInfo;

typedef void* HxImageID;

typedef struct ImageList {
    HxImageID (*first)(void);
    HxImageID (*next)(HxImageID);
    const char* (*name)(HxImageID);
    const char* (*filename)(HxImageID);
} ImageList;

#ifdef __cplusplus
}

static_assert(offsetof(ShadingSample, oPos) == 8);
static_assert(offsetof(ShadingSample, wPos) == 32);
static_assert(offsetof(ShadingSample, gNorm) == 56);
static_assert(offsetof(ShadingSample, spotSize) == 80);
static_assert(offsetof(ShadingSample, raySource) == 88);
static_assert(offsetof(ShadingSample, rayLength) == 112);
static_assert(offsetof(ShadingSample, cosine) == 120);
static_assert(offsetof(ShadingSample, oXfrm) == 128);
static_assert(offsetof(ShadingSample, wXfrm) == 200);
static_assert(offsetof(ShadingSample, objID) == 272);
static_assert(offsetof(ShadingSample, polNum) == 276);
static_assert(offsetof(ShadingSample, wNorm) == 280);
static_assert(offsetof(ShadingSample, color) == 304);
static_assert(offsetof(ShadingSample, luminous) == 328);
static_assert(offsetof(ShadingSample, diffuse) == 336);
static_assert(offsetof(ShadingSample, specular) == 344);
static_assert(offsetof(ShadingSample, mirror) == 352);
static_assert(offsetof(ShadingSample, transparency) == 360);
static_assert(offsetof(ShadingSample, eta) == 368);
static_assert(offsetof(ShadingSample, roughness) == 376);
static_assert(offsetof(ShadingSample, illuminate) == 384);
static_assert(offsetof(ModuleDescriptor, sync) == 0 && offsetof(ModuleDescriptor, version) == 4 &&
              offsetof(ModuleDescriptor, machine) == 8);
#endif

#endif
