/* A tiny module of its own, in plain C: shows that the preview works with any module that keeps to the
 * interface.
 *
 * The name of the "script" chooses what it does, so no file is read:
 *   color    colour from the object position, luminous, flags COLOR | LUMINOUS
 *   lit      colour from what illuminate says about the light 0x201
 *   ray      colour from what a ray straight up sees, luminous when it hits nothing
 *   across   colour of what a ray sees that goes down from (5, 3, 5), luminous
 *   broken   numbers that are none
 * Any other name fails to load with a message.
 */
#include "host/host_interface.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

static HostGlobal hostGlobal;

typedef struct Shader {
    char name[32];
} Shader;

static HxInstance createShader(const char** error) {
    (void)error;
    return calloc(1, sizeof(Shader));
}
static void destroyShader(HxInstance instance) {
    free(instance);
}
static const char* copyShader(HxInstance source, HxInstance destination) {
    *(Shader*)destination = *(Shader*)source;
    return NULL;
}

static const char* loadShader(HxInstance instance, const LoadState* state) {
    static const char* const known[] = {"color", "lit", "ray", "across", "broken"};
    Shader* shader = instance;
    char line[255];
    if (state->read(state->handle, line, sizeof line) <= 0 || strncmp(line, "Script ", 7) != 0) return NULL;
    const char* last = strrchr(line, '\\');
    const char* name = last != NULL ? last + 1 : line + 7;
    for (size_t i = 0; i < sizeof known / sizeof known[0]; ++i) {
        if (strcmp(name, known[i]) == 0) strcpy(shader->name, name);
    }
    if (shader->name[0] == '\0') {
        InfoMessages* messages = hostGlobal(HX_SERVICE_MESSAGES, HX_USE_ONCE);
        messages->error("no such effect", NULL);
    }
    return NULL;
}
static const char* saveShader(HxInstance instance, const SaveState* state) {
    Shader* shader = instance;
    if (shader->name[0] != '\0') state->write(state->handle, shader->name, (int32_t)strlen(shader->name));
    return NULL;
}
static const char* initShader(HxInstance instance) {
    (void)instance;
    return NULL;
}
static void cleanupShader(HxInstance instance) {
    (void)instance;
}
static const char* newTimeShader(HxInstance instance, int32_t frame, double time) {
    (void)instance;
    (void)frame;
    (void)time;
    return NULL;
}

static void evaluateShader(HxInstance instance, ShadingSample* s) {
    const Shader* shader = instance;
    if (strcmp(shader->name, "color") == 0) {
        for (int i = 0; i < 3; ++i) s->color[i] = 0.5 + 0.5 * s->oPos[i];
        s->luminous = 1.0;
        s->diffuse = s->specular = 0.0;
    } else if (strcmp(shader->name, "lit") == 0) {
        double vector[3] = {0, 0, 0};
        s->illuminate(0x201, s->wPos, vector, s->color);
        s->luminous = 1.0;
        s->diffuse = s->specular = 0.0;
    } else if (strcmp(shader->name, "ray") == 0) {
        const double up[3] = {0, 1, 0};
        const double above[3] = {0, 3, 0};
        s->luminous = s->rayTrace(above, up, s->color) < 0 ? 1.0 : 0.0;
        s->diffuse = s->specular = 0.0;
    } else if (strcmp(shader->name, "across") == 0) {
        const double down[3] = {0, -1, 0};
        const double start[3] = {5, 3, 5};
        s->rayTrace(start, down, s->color);
        s->luminous = 1.0;
        s->diffuse = s->specular = 0.0;
    } else if (strcmp(shader->name, "broken") == 0) {
        s->color[0] = NAN;
        s->luminous = INFINITY;
        s->wNorm[1] = -NAN;
    }
}

static uint32_t flagsShader(HxInstance instance) {
    const Shader* shader = instance;
    const uint32_t mask = HXSF_COLOR | HXSF_LUMINOUS | HXSF_DIFFUSE | HXSF_SPECULAR;
    return strcmp(shader->name, "color") == 0 ? mask : 0;
}
static const char* describeShader(HxInstance instance) {
    const Shader* shader = instance;
    return shader->name[0] != '\0' ? shader->name : "Kestrel/PT";
}
static const HostItemID* itemsOfShader(HxInstance instance) {
    (void)instance;
    return NULL;
}

static int32_t activate(int32_t version, HostGlobal global, void* local, void* serverData) {
    ShaderHandlerRecord* record = local;
    (void)serverData;
    if (version != HXM_INTERFACE_VERSION) return HXM_BAD_VERSION;
    if (global(HX_SERVICE_MESSAGES, HX_USE_KEEP) == NULL) return HXM_MISSING_SERVICE;
    hostGlobal = global;
    *record = (ShaderHandlerRecord){createShader,   destroyShader, copyShader,     loadShader,
                                    saveShader,     initShader,    cleanupShader,  newTimeShader,
                                    evaluateShader, flagsShader,   describeShader, itemsOfShader};
    return HXM_OK;
}

static int32_t startup(void) {
    return HXM_STARTUP_OK;
}
static void shutdownModule(void) {}

static const ServerRecord servers[] = {{"ShaderHandler", "Fake", activate}, {NULL, NULL, NULL}};

__attribute__((visibility("default"))) extern const ModuleDescriptor _mod_descrip;
const ModuleDescriptor _mod_descrip = {HXM_SYNC_WORD, HXM_MODULE_VERSION, HXM_MACHINE_TYPE,
                                       startup,       shutdownModule,     servers};
