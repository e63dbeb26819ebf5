/* The interface between the host application and the module `kestrel-pt.so`: the one header that a host
 * author reads, in plain C. A host of ninety lines stands in examples/host; what this module offers beyond,
 * in host/module_extension.h.
 *
 * What a host does, in this order:
 *
 *   1. Load the library. Its only symbol, HXM_DESCRIPTOR_SYMBOL, is a ModuleDescriptor. Check sync, version
 *      and machine; call startup().
 *   2. In `servers` find the class "ShaderHandler" and activate it: this fills a ShaderHandlerRecord, and the
 *      module looks up the host's services (see HostGlobal).
 *   3. For each surface create() an instance, and load() its script from a state that names the file.
 *   4. To render: init(), for each frame newTime() and flags(), for each sample evaluate(), then cleanup().
 *   5. When the user wants to change an instance: activate the class "ShaderInterface" with it.
 *   6. destroy() every instance, call shutdown(), and only then unload the library.
 *
 * What holds everywhere:
 *
 *   Threads     Everything is called from one thread, and the module calls back from that thread only.
 *   Re-entry    An instance is busy while one of its calls below is in progress, and so are all that share
 *               its script. From inside illuminate or rayTrace of a sample, evaluate() shades other samples
 *               by instances that are not busy, each with a sample record of its own; from inside openPanel
 *               those may be called as well. From inside other operations call only what KestrelModule
 *               (host/module_extension.h) offers for it; whatever is called all the same does no harm. On a
 *               busy instance describe() answers, save() writes which script it has and nothing more,
 * destroy() waits for the call in progress to end (its handle is not to be used any more), copies can be made
 * of it, and all other calls do nothing and return 0 or null. Texts       Are NUL-terminated. Who passes a
 * text or a record keeps owning it, and the other side reads it during the call only; what is kept for longer
 * says so. Failures    Are shown through the service "Info Messages". Callbacks that could return an error
 * text return null all the same. No C++ exception leaves the module, and none may pass through it. Handles
 * With a null instance, state or sample a call does nothing. Paths       The module writes "\" between
 * directories and reads "/" as well. Where no file has the very spelling, letter case does not matter.
 * Relative paths begin at the current directory. Layout      Numbers have the same offsets on every platform;
 * pointers have the platform's width. Trust       A script may do what its user may, such as writing files
 * and running programs.
 */
#ifndef KESTREL_HOST_INTERFACE_H
#define KESTREL_HOST_INTERFACE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- module descriptor ---- */

#define HXM_SYNC_WORD 0x04121994u /* ModuleDescriptor.sync */
#define HXM_MODULE_VERSION 2u     /* ModuleDescriptor.version */
#define HXM_MACHINE_TYPE 0x300u   /* ModuleDescriptor.machine */
#define HXM_INTERFACE_VERSION 3   /* the version an activation accepts */
#define HXM_STARTUP_OK 4          /* what startup returns */

/* The host's lookup function. It returns the service registered under `name` (see HX_SERVICE_*), or null.
 *
 * The first activation that succeeds in the process looks everything up, and no later one does. HX_USE_KEEP
 * asks for a service, HX_USE_ONCE for one that the host need not count as in use. Either way the module uses
 * what it got until the library is unloaded, so services live that long.
 *
 * Whenever the last instance has been destroyed, the lookup function of the latest activation is called with
 * HX_USE_RELEASE for all services but directories and system information; its result is ignored. That is for
 * the host's books only: instances created afterwards use the same pointers, without another lookup. */
enum HxServiceUse { HX_USE_ONCE = 0, HX_USE_KEEP = 1, HX_USE_RELEASE = 2 };
typedef void* (*HostGlobal)(const char* name, int32_t use);

/* What an activation returns. */
enum HxActivation {
    HXM_OK = 0,
    HXM_BAD_VERSION = 1,    /* `version` is not HXM_INTERFACE_VERSION; nothing has been touched */
    HXM_MISSING_SERVICE = 2 /* a required service is missing; the next activation looks everything up again */
};

/* Activates a server. `serverData` is not used.
 *
 * Class "ShaderHandler": `local` is a ShaderHandlerRecord of the host, which is filled; its functions stay
 * valid until the library is unloaded. Once is enough: each further success only gives the instances created
 * after it a higher number, which scripts see in their INSTANCE. What is missing is shown before the
 * activation fails, by "Bad global!" for the file dialog and "Bad animation global detected!" for a service
 * of the scene; without "Info Messages" nothing is.
 *
 * Class "ShaderInterface", when the user edits an instance: `local` is the HxInstance. Without a script the
 * user is asked for one through "File Request", and it is loaded as by load(); whether or not that comes
 * about, the result is HXM_OK. With a script, the script's `options` runs; when it has none the user is told
 * so, through "Info Messages" as a lookup finds it then: HXM_MISSING_SERVICE when it finds nothing. */
typedef int32_t (*ActivateFunction)(int32_t version, HostGlobal global, void* local, void* serverData);

typedef struct ServerRecord {
    const char* className;  /* "ShaderHandler" or "ShaderInterface" */
    const char* serverName; /* "Kestrel/PT" for both */
    ActivateFunction activate;
} ServerRecord;

typedef struct ModuleDescriptor {
    uint32_t sync; /* HXM_SYNC_WORD: this is a module */
    uint32_t version;
    uint32_t machine;
    int32_t (*startup)(void);    /* call it once after loading; does nothing and returns HXM_STARTUP_OK */
    void (*shutdown)(void);      /* call it once before unloading; does nothing: destroy instances yourself */
    const ServerRecord* servers; /* ends with a record of three nulls */
} ModuleDescriptor;

#define HXM_DESCRIPTOR_SYMBOL "_mod_descrip"

/* ---- scene items ---- */

typedef uint32_t HostItemID; /* 0 = none */
enum HxItemType { HX_MESH = 0, HX_LIGHT = 1, HX_CAMERA = 2, HX_BONE = 3, HX_SCENE = 4 };

/* ---- shading ---- */

/* The two operations of a sample, by which a script asks about light. They are called from inside evaluate()
 * only, as often as the script likes and with any numbers. Points and directions are in world space. */

/* Light `light` as it arrives at `point`: `vector` (in: what the script passed; out: unit direction in which
 * the light travels) and `color` (in: zeros; out: RGB intensity, shadows included). The result is unused. */
typedef int32_t (*IlluminateOperation)(HostItemID light, const double point[3], double vector[3],
                                       double color[3]);

/* Traces a ray; `direction` is a unit vector, or zeros when the script passed zeros. `color` (in: zeros) is
 * what the ray sees; a surface of the module that it meets is shaded by evaluate() unless its instance is
 * busy (see Re-entry), and then without. Returns the distance to what it hits, negative when it hits nothing.
 */
typedef double (*RayTraceOperation)(const double point[3], const double direction[3], double color[3]);

/* One shading sample, a record of the host. It fills all of it, with the surface's own values from wNorm to
 * roughness; the script reads them and writes what it changes straight into the record, without a limit to
 * any range. Nothing else in it is written, and nothing refers to it after evaluate() has returned. */
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
    double wXfrm[9];     /* world to object rotation; scripts read oXfrm under this name too */
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
    IlluminateOperation illuminate; /* null: the script's illuminate() fails with a message */
    RayTraceOperation rayTrace;     /* null: the script's raytrace() does */
} ShadingSample;

/* Bits of the mask that `flags` returns: the values that the script may change. 0 stands for all. RAYTRACE
 * says that the script traces rays. */
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

/* ---- state I/O ---- */

enum HxStateMode { HX_STATE_BINARY = 0, HX_STATE_TEXT = 1 };

/* A state is what the host stores for an instance in its scene: lines in a text scene, bytes in a binary one.
 * It names the script; a host that wants to attach a script just makes up such a state.
 *
 *   text     a line "Script PATH": one blank, and all after it is the path
 *   binary   a 32-bit number in the machine's byte order, the length of the path with its terminator; then
 *            the path with its terminator
 *
 * The module writes the full path in upper case, and reads relative and native ones as well. Of a binary
 * state at most 8192 bytes count. Any mode but HX_STATE_TEXT is binary. `handle` is the host's; the module
 * passes it back. A state is used during load() or save() only.
 *
 * What follows is the script's own: its `save` writes lines or bytes of any kind, and its `load` reads as
 * much of them as it likes. A host marks the end of a state by itself, since nothing in the state tells it.
 */

typedef struct LoadState {
    int32_t mode;
    void* handle;
    /* Text: stores one line without its newline, at most size - 1 characters and a terminator, and returns
     * its length. 0 is an empty line, of which those before the script's name are skipped; the end is
     * negative, and 0 for ever never ends. The line with the script's name is read with a size of 255, and
     * scripts read with one of 512. Of a longer line the rest should come with the next read, so that nothing
     * is lost (a long path is put together again); a host may drop it too.
     * Binary: stores up to `size` bytes, without a terminator, and returns how many; 0 at the end, and then
     * again each time. Fewer than are wanted are no end: the module asks for the rest. */
    int32_t (*read)(void* handle, char* buffer, int32_t size);
} LoadState;

typedef struct SaveState {
    int32_t mode;
    void* handle;
    /* Text: one line of `size` characters, to which the host adds the newline; 0 is an empty line. A script
     * that writes bytes into a text all the same may put anything in it, even newlines. Binary: `size`
     * bytes. What cannot be written, say for want of room, the host tells its user itself. */
    void (*write)(void* handle, const char* buffer, int32_t size);
} SaveState;

/* ---- what the ShaderHandler activation fills ---- */

/* One use of the shader on one surface: made by create(), valid until destroy(). */
typedef void* HxInstance;

/* What the host calls, from create() to destroy() in any order. Where a script's function is named, it runs
 * when the script defines it; its failures are shown, and the host goes on as if it had returned. */
typedef struct ShaderHandlerRecord {
    /* A new instance without a script. `error` is never written. Null when memory is out. */
    HxInstance (*create)(const char** error);

    /* Ends an instance. Where no copy shares its script any more, the script's `destroy` runs and the script
     * is unloaded. After the last instance of all, services are released (see HostGlobal). */
    void (*destroy)(HxInstance);

    /* From now on both instances run the source's script with one state, including its variables; loading
     * another into one of them changes both. What the destination had goes, without its `destroy`. */
    const char* (*copy)(HxInstance source, HxInstance destination);

    /* Compiles the script that the state names and runs its code outside functions, then its `create` and
     * `load`. It replaces an earlier script, whose `destroy` does not run.
     * A state of another form loads nothing, without a message; a file that does not compile is told of in
     * messages. Either way the instance keeps what it had. Whether it has a script now can be told from
     * describe() and save(). */
    const char* (*load)(HxInstance, const LoadState*);

    /* Writes the state from which load() gets the same script, then runs the script's `save`, which adds to
     * it. Without a script nothing is written, not even an empty line. */
    const char* (*save)(HxInstance, const SaveState*);

    /* Before rendering: the script's `init`. */
    const char* (*init)(HxInstance);

    /* After rendering: the script's `cleanup`. */
    void (*cleanup)(HxInstance);

    /* Before the first sample of a frame: the script's `newtime`, with both numbers. */
    const char* (*newTime)(HxInstance, int32_t frame, double time /* seconds */);

    /* For each sample: the script's `process`. Without a script, or after a run that was aborted (a fatal
     * error, too many errors, KestrelRunWatch), the sample stays as it is. Samples are shaded again once
     * another callback has run a function of the script without that. */
    void (*evaluate)(HxInstance, ShadingSample*);

    /* Which values the script may change, by its `flags`: bits of HxShaderFlag. 0 without such a function, or
     * when it failed or returned nothing. */
    uint32_t (*flags)(HxInstance);

    /* A line for the user, at most 79 characters: "Kestrel/PT" without a script, then "Kestrel/PT - FILE" or
     * what the script chose. It lies in a buffer of the module until the next describe() of any instance. */
    const char* (*describe)(HxInstance);

    /* The items that affect the surface, ending with 0: the mesh objects, bones and lights that the script
     * names by its effectedby(), and for the name "Camera" the first camera. Null when it names nothing. The
     * array is the module's, until the next usedItems() of the instance or of one that shares its script.
     * An object that is not named is asked for its bones, and a bone that is not named is asked for its name
     * again and again: then this call does not return, until KestrelRunWatch says so, with null. See
     * KestrelModule.effectedBy. */
    const HostItemID* (*usedItems)(HxInstance);
} ShaderHandlerRecord;

/* ---- host services ---- */

/* Names for HostGlobal, with the record that the lookup returns. All but those marked optional must be there.
 * Those from items to images tell scripts of the scene. They are asked from inside any call that runs a
 * script, as often as the script likes, and answer for the scene as it is then. A null operation makes what
 * needs it Nil in scripts, without a message: a host that knows no scene may return records of nulls. The
 * panels are looked up whenever a script begins one. */
#define HX_SERVICE_MESSAGES "Info Messages"         /* InfoMessages */
#define HX_SERVICE_FILE_REQUEST "File Request"      /* FileRequestService; optional on a render node */
#define HX_SERVICE_DIRECTORY_INFO "Directory Info"  /* DirectoryInfoService; optional */
#define HX_SERVICE_SYSTEM_INFO "System Information" /* HX_SYSTEM_*; optional: null is HX_SYSTEM_LAYOUT */
#define HX_SERVICE_ITEM_INFO "HX Item Info"         /* ItemInfo */
#define HX_SERVICE_OBJECT_INFO "HX Object Info"     /* ObjectInfo */
#define HX_SERVICE_BONE_INFO "HX Bone Info"         /* BoneInfo */
#define HX_SERVICE_LIGHT_INFO "HX Light Info"       /* LightInfo */
#define HX_SERVICE_CAMERA_INFO "HX Camera Info"     /* CameraInfo */
#define HX_SERVICE_SCENE_INFO "HX Scene Info"       /* SceneInfo */
#define HX_SERVICE_IMAGE_LIST "HX Image List"       /* ImageList */
#define HX_SERVICE_PANELS "HXPanelServices"         /* PanelServices; optional */

/* Which program the host is. This service is no record: the pointer that the lookup returns is itself the
 * word, of which the top four bits count. Scripts ask for it with runningUnder(). */
#define HX_SYSTEM_LAYOUT 0x00000000u
#define HX_SYSTEM_MODELER 0x10000000u
#define HX_SYSTEM_RENDER_NODE 0x20000000u /* has no file dialog */

/* Message boxes of two lines. The second may be null; otherwise the first is mostly the script's path. Called
 * from inside any callback or activation that compiles or runs a script. A null function drops the messages
 * of its kind. */
typedef struct InfoMessages {
    void (*info)(const char* line1, const char* line2);
    void (*error)(const char* line1, const char* line2);
    void (*warning)(const char* line1, const char* line2);
} InfoMessages;

/* The file dialog. Called by "ShaderInterface" for a script; and while a script is compiled, for a file that
 * it needs and that is nowhere on the library path: then only a file of the very name `fileName` will do.
 *
 * The buffers are the module's; a host may write `size` characters into each, the terminator included. In
 * `fileName` stands a name, or patterns such as "*.ks;*.kxl"; in `path` where to start, maybe nothing, maybe
 * up to 4095 characters, and on return the chosen directory; `fullName` receives the full path of the choice.
 * A result below 1 means cancelled, as does a null function.
 */
typedef struct FileRequestService {
    int32_t (*fileRequest)(const char* title, char* fileName, char* path, char* fullName, int32_t size);
} FileRequestService;

/* Returns the host's directory of a kind such as "Install", "Images", "Scenes" or "Temp", or null when there
 * is none. Called by a script's getdir(), which may ask for any text. The result is copied at once. */
typedef struct DirectoryInfoService {
    const char* (*dirInfo)(const char* kind);
} DirectoryInfoService;

/* The operations about the scene have these in common. Items are named by their numbers, which are never 0
 * for a real item; the module asks about numbers only that it got from the host, in a sample or from one of
 * these operations, and never about 0. A script may keep one for longer than the item exists. An operation
 * that has no answer gives 0, a null text or zeros. Texts are copied at once. Times are seconds, angles
 * radians, distances those of the scene, colours red, green and blue with 1 for full. What an operation
 * stores in is the module's and holds zeros before. */

/* Parameter codes of ItemInfo.param and limits, and of BoneInfo.restParam. */
enum HxItemParam {
    HXIP_POSITION = 1, /* in the space of the parent */
    HXIP_RIGHT,        /* unit directions */
    HXIP_UP,
    HXIP_FORWARD,
    HXIP_ROTATION, /* heading, pitch and bank */
    HXIP_SCALING,
    HXIP_PIVOT,
    HXIP_W_POSITION, /* in the world, as what follows */
    HXIP_W_RIGHT,
    HXIP_W_UP,
    HXIP_W_FORWARD
};

/* What there is in the scene, and where. */
typedef struct ItemInfo {
    /* The first item of a type, an HxItemType but HX_SCENE; a bone's `parent` is its object, for others it is
     * 0. 0 = there is none. */
    HostItemID (*first)(int32_t type, HostItemID parent);
    /* The next item of the same type, and for a bone of the same object. 0 = that was the last. */
    HostItemID (*next)(HostItemID);
    /* The first item that hangs on this one, and the one behind `previousChild`, which firstChild or
     * nextChild gave for this item before. 0 = there is none. */
    HostItemID (*firstChild)(HostItemID);
    HostItemID (*nextChild)(HostItemID item, HostItemID previousChild);
    /* The item on which this one hangs, at which it looks, and to which it reaches. 0 = none. */
    HostItemID (*parent)(HostItemID);
    HostItemID (*target)(HostItemID);
    HostItemID (*goal)(HostItemID);
    /* An HxItemType. Scripts treat what is none as a mesh object. */
    int32_t (*type)(HostItemID);
    /* The name that the user gave it. Scripts find items by it, letter for letter. */
    const char* (*name)(HostItemID);
    /* A vector of the item at a time; `param` is an HxItemParam. */
    void (*param)(HostItemID, int32_t param, double time, double out[3]);
    /* Its bounds. Returns a mask of the components without bounds, bit 0 for the first to bit 2 for the
     * third; what is stored for those is not looked at. */
    uint32_t (*limits)(HostItemID, int32_t param, double min[3], double max[3]);
} ItemInfo;

/* Mesh objects. */
typedef struct ObjectInfo {
    const char* (*filename)(HostItemID); /* null for an object without a file */
    int32_t (*numPoints)(HostItemID);
    int32_t (*numPolygons)(HostItemID);
    /* Bits 0 to 2, which scripts read as shadows[1] to shadows[3]: what the host offers for shadows, such as
     * on itself, on others, and from others. */
    uint32_t (*shadowOptions)(HostItemID);
    /* 0 = wholly there, 1 = dissolved. Asked about every kind of item. */
    double (*dissolve)(HostItemID, double time);
} ObjectInfo;

/* Bones. */
typedef struct BoneInfo {
    uint32_t (*flags)(HostItemID); /* bits 0 and 1: which scripts read as flags[1] and flags[2] */
    /* A vector as the bone was at rest; `param` is an HxItemParam. */
    void (*restParam)(HostItemID, int32_t param, double out[3]);
    double (*restLength)(HostItemID);
    /* The radii within which it has its full effect, and beyond which none. */
    void (*limits)(HostItemID, double* inner, double* outer);
} BoneInfo;

/* Lights. */
typedef struct LightInfo {
    void (*ambient)(double time, double out[3]); /* the colour that is everywhere, times its intensity */
    int32_t (*type)(HostItemID);                 /* the host's own numbers, as for shadowType */
    void (*color)(HostItemID, double time, double out[3]); /* times its intensity */
    int32_t (*shadowType)(HostItemID);
    /* The angle from the axis of a spotlight's cone to its edge, and how much of that is the soft edge. */
    void (*coneAngles)(HostItemID, double* radius, double* edge);
} LightInfo;

/* Cameras. */
typedef struct CameraInfo {
    double (*zoomFactor)(HostItemID, double time); /* 1 over the tangent of half the vertical angle of view */
    double (*focalLength)(HostItemID, double time);   /* millimetres */
    double (*focalDistance)(HostItemID, double time); /* where it is sharp; scripts read it as fStop() too */
    double (*fStop)(HostItemID, double time);         /* never called */
    double (*blurLength)(HostItemID, double time);    /* how long the shutter is open, in frames */
    void (*fovAngles)(HostItemID, double time, double* horizontal,
                      double* vertical); /* whole angles of view */
} CameraInfo;

/* The scene: a record of values, which the host keeps up to date. */
typedef struct SceneInfo {
    const char* name;               /* may be null, as the file's */
    const char* filename;           /* null for a scene that was never saved */
    int32_t numPoints, numPolygons; /* of all objects */
    int32_t renderType;             /* the host's own numbers */
    uint32_t renderOptions;         /* bits 0 to 7, which scripts read as renderopts[1] to renderopts[8] */
    int32_t frameStart, frameEnd, frameStep;
    double framesPerSecond;
    int32_t frameWidth, frameHeight; /* pixels */
    double pixelAspect;              /* width of a pixel over its height */
    int32_t minSamplesPerPixel, maxSamplesPerPixel;
    int32_t limitedRegion[4]; /* left, top, right and bottom in pixels */
} SceneInfo;

typedef void* HxImageID;

/* The images of the scene. Looked up, but in this version no script can ask for them. */
typedef struct ImageList {
    HxImageID (*first)(void);
    HxImageID (*next)(HxImageID);
    const char* (*name)(HxImageID);
    const char* (*filename)(HxImageID);
} ImageList;

/* ---- panels ---- */

/* Panels with controls, by which a script asks its user: mostly from its `options`. The service is looked up
 * with HX_USE_KEEP by the latest lookup function each time a script begins a panel, and released with
 * HX_USE_RELEASE when it ends it; the record is used in between only. There is one panel at a time, which
 * belongs to the script that began it: to others it is as if there were none, until one of them begins its
 * own and ends it.
 *
 * Everything is measured in pixels, from the top left corner of the screen for panels and of the panel for
 * controls. An operation may be null; then the module does without: without `createPanel` or `openPanel`
 * scripts are told that there are no panels, a control that cannot be added is Nil to them, an attribute that
 * cannot be read is 0. */

typedef void* HxPanel;   /* made by createPanel, valid until destroyPanel */
typedef void* HxControl; /* made by addControl, valid until its panel is destroyed */

enum HxPanelAttribute { HXPA_X = 1, HXPA_Y, HXPA_WIDTH, HXPA_HEIGHT };

/* X and Y are those of the whole control. Its label stands at the left of it, LABEL_WIDTH wide with the space
 * to the field; new controls stand one below the other. */
enum HxControlAttribute { HXCA_X = 1, HXCA_Y, HXCA_WIDTH, HXCA_HEIGHT, HXCA_LABEL_WIDTH };

enum HxPanelFlag {
    HXPF_MODAL = 1 << 0,
    HXPF_CANCEL = 1 << 1
}; /* openPanel: it waits; it has a cancel button */

/* The classes of controls, and which member of HxControlValue and which fields of HxControlDescriptor each
 * uses (besides `width`). */
#define HX_CONTROL_EDIT "EditControl"              /* text */
#define HX_CONTROL_FILE "FileControl"              /* text: a path */
#define HX_CONTROL_NUM "NumControl"                /* integer */
#define HX_CONTROL_BOOL "BoolControl"              /* integer, 0 or 1 */
#define HX_CONTROL_FLOAT "FloatControl"            /* number */
#define HX_CONTROL_FVEC "FVecControl"              /* vector */
#define HX_CONTROL_VEC "VecControl"                /* vector; integerComponents */
#define HX_CONTROL_MINI_RGB "MiniRGBControl"       /* vector, 0 to 255; integerComponents */
#define HX_CONTROL_MINI_HSV "MiniHSVControl"       /* vector */
#define HX_CONTROL_CHOICE "ChoiceControl"          /* integer; choices, flag */
#define HX_CONTROL_POPUP "PopupControl"            /* integer; choices */
#define HX_CONTROL_SLIDER "SliderControl"          /* integer; minimum, maximum */
#define HX_CONTROL_MINI_SLIDER "MiniSliderControl" /* integer; minimum, maximum */
#define HX_CONTROL_LIST "HXListControl"            /* item; itemType */
#define HX_CONTROL_INFO "InfoControl"              /* text; a separator, over which the module draws a line */
#define HX_CONTROL_TEXT "TextControl"              /* none; choices are its lines */

/* HxControlDescriptor.itemType of HX_CONTROL_LIST: an HxItemType, or one of these. */
enum HxListType { HX_LIST_ALL = -1, HX_LIST_IMAGES = 5 };

/* What a new control is made of. The record, with all that it points to, is read during addControl only. */
typedef struct HxControlDescriptor {
    int32_t width;              /* of the field: characters for texts, pixels for sliders; 0: as usual */
    int32_t integerComponents;  /* 1: the components of the vector are whole numbers */
    int32_t minimum, maximum;   /* of a slider, as the script gave them, maybe the wrong way round */
    const char* const* choices; /* texts, ending with a null; null where the class has none */
    int32_t flag;               /* what the script asked of a choice: 0 or 1, say for its direction */
    int32_t itemType;           /* which items a list offers; HX_LIST_ALL for other classes */
} HxControlDescriptor;

enum HxControlValueType {
    HXCV_NONE = 0, /* the control has no value */
    HXCV_INTEGER,
    HXCV_NUMBER,
    HXCV_VECTOR,
    HXCV_TEXT,
    HXCV_ITEM
};

/* The value of a control; `type` names the one member that counts. The index of a choice is what the script
 * takes it for, mostly from 1 on, and may be beyond the choices. An item is 0 when none is selected; in a
 * list of images it is the number of the image from 1, in the order of ImageList. */
typedef struct HxControlValue {
    int32_t type; /* HxControlValueType */
    int32_t integer;
    double vector[3]; /* HXCV_NUMBER: the first */
    const char* text; /* null is an empty text */
    HostItemID item;
} HxControlValue;

/* Runs whenever the host draws the panel; then drawLine may be called. `user` is what setPanelDraw got. */
typedef void (*HxPanelDraw)(HxPanel panel, void* user);

typedef struct PanelServices {
    /* A new, empty panel, not yet shown. Null: there is none to be had. */
    HxPanel (*createPanel)(const char* title);

    /* Ends a panel with all its controls. It is never called from inside the panel's openPanel: a script that
     * is unloaded while its panel waits lets go of it when the wait is over. What it had to draw has been
     * taken away before. */
    void (*destroyPanel)(HxPanel panel);

    /* Shows the panel and waits for the user. `flags` are HXPF_MODAL | HXPF_CANCEL. Returns 1 for OK and 0
     * when cancelled; scripts get what it is. May be called again. While it waits the host may call the
     * module: samples are left as they are until the script has ended its panel. */
    int32_t (*openPanel)(HxPanel panel, int32_t flags);

    /* `attribute` is an HxPanelAttribute. */
    int32_t (*getPanel)(HxPanel panel, int32_t attribute);
    void (*setPanel)(HxPanel panel, int32_t attribute, int32_t value);

    /* What to run when the panel is drawn; replaces what was set before. `user` is the module's. A null
     * `draw` is allowed: then nothing is run any more. */
    void (*setPanelDraw)(HxPanel panel, HxPanelDraw draw, void* user);

    void (*screenSize)(int32_t* width, int32_t* height);

    /* A new control of one of the classes above, below those that are there. Null: this one cannot be added.
     */
    HxControl (*addControl)(HxPanel panel, const char* className, const HxControlDescriptor* descriptor,
                            const char* label);

    /* `attribute` is an HxControlAttribute; HXCA_LABEL_WIDTH is only read. */
    int32_t (*getControl)(HxControl control, int32_t attribute);
    void (*setControl)(HxControl control, int32_t attribute, int32_t value);

    /* Draws the control again; called for separators that have been placed. */
    void (*redrawControl)(HxControl control);

    /* The value has the type of the control's class, and is copied during the call. */
    void (*setValue)(HxControl control, const HxControlValue* value);

    /* `value` comes as HXCV_NONE. A text stays valid until the next call of an operation. */
    void (*getValue)(HxControl control, HxControlValue* value);

    /* Draws a horizontal line, with its left end at (x, y) in the panel. */
    void (*drawLine)(HxPanel panel, int32_t x, int32_t y, int32_t width);
} PanelServices;

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
