/* The smallest host: loads the module and a script, shades one point, prints what came of it.
 *     host MODULE SCRIPT X Y Z
 */
#include "host/host_interface.h"

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* ---- services: messages and the mere presence of the others ---- */

static int errors = 0;

static void showInfo(const char* line1, const char* line2) {
    printf("%s\n", line2 != NULL ? line2 : line1);
}
static void showError(const char* line1, const char* line2) {
    ++errors;
    fprintf(stderr, "%s: %s\n", line1, line2 != NULL ? line2 : "");
}

static InfoMessages messages = {showInfo, showError, showInfo};
static FileRequestService noDialog = {NULL}; /* counts as cancelled */
static struct { void (*none[16])(void); } noScene;

static void* lookUp(const char* name, int32_t use) {
    (void)use; /* everything here lives as long as the program */
    if (strcmp(name, HX_SERVICE_MESSAGES) == 0) return &messages;
    if (strcmp(name, HX_SERVICE_FILE_REQUEST) == 0) return &noDialog;
    if (strncmp(name, "HX ", 3) == 0) return &noScene;
    return NULL; /* directories and system information are optional */
}

/* ---- a state of one line, which attaches a script ---- */

static int32_t readOnce(void* handle, char* buffer, int32_t size) {
    const char** script = handle;
    if (*script == NULL) return -1;
    const int length = snprintf(buffer, (size_t)size, "Script %s", *script);
    *script = NULL;
    return length < size ? length : size - 1;
}

static int fail(const char* what) {
    fprintf(stderr, "host: %s\n", what);
    return 2;
}

int main(int argc, char** argv) {
    if (argc != 6) return fail("usage: host MODULE SCRIPT X Y Z");
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) return fail(dlerror());
    const ModuleDescriptor* module = dlsym(library, HXM_DESCRIPTOR_SYMBOL);
    if (module == NULL || module->sync != HXM_SYNC_WORD || module->version != HXM_MODULE_VERSION ||
        module->machine != HXM_MACHINE_TYPE || module->startup() != HXM_STARTUP_OK)
        return fail("this is no module for this host");

    const ServerRecord* server = module->servers;
    while (server->className != NULL && strcmp(server->className, "ShaderHandler") != 0) ++server;
    ShaderHandlerRecord shader;
    if (server->className == NULL || server->activate(HXM_INTERFACE_VERSION, lookUp, &shader, NULL) != HXM_OK)
        return fail("the module has no shader for this host");

    const char* error = NULL;
    const HxInstance instance = shader.create(&error);
    if (instance == NULL) return fail("no memory");
    const char* script = argv[2];
    const LoadState state = {HX_STATE_TEXT, &script, readOnce};
    shader.load(instance, &state);
    printf("%s\n", shader.describe(instance));

    shader.init(instance);
    shader.newTime(instance, 0, 0.0);
    const uint32_t flags = shader.flags(instance);
    ShadingSample sample = {.color = {0.8, 0.8, 0.8}, .diffuse = 1.0, .eta = 1.0}; /* a plain grey surface */
    for (int i = 0; i < 3; ++i) sample.oPos[i] = sample.wPos[i] = atof(argv[3 + i]);
    shader.evaluate(instance, &sample);
    if (flags == 0 || (flags & HXSF_COLOR) != 0)
        printf("color %g %g %g\n", sample.color[0], sample.color[1], sample.color[2]);
    if (flags == 0 || (flags & HXSF_SPECULAR) != 0) printf("specular %g\n", sample.specular);
    shader.cleanup(instance);

    shader.destroy(instance);
    module->shutdown();
    dlclose(library);
    return errors == 0 ? 0 : 1;
}
