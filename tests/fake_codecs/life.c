/* Writes what happens to it into the file named by FAKE_LIFE_LOG, and asks for its own reload. */
#include "qvlibs/plugins/plugin_api.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

static void note(const char* event) {
    char folder[4096];
    const char* path = getenv("FAKE_LIFE_LOG");
    FILE* log = path ? fopen(path, "a") : NULL;
    if (!log) return;
    fprintf(log, "%s in %s\n", event, getcwd(folder, sizeof folder) ? folder : "?");
    fclose(log);
}

__attribute__((constructor)) static void loaded(void) { note("load"); }
__attribute__((destructor)) static void unloaded(void) { note("unload"); }

static unsigned calls; /* since the module was loaded */

QV_PLUGIN_EXPORT uint32_t Investigate(const char* path, int* attributes, uint32_t* type) {
    (void)path;
    *attributes = 12;
    *type = QV_TYPE_RELOAD;
    ++calls;
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT uint32_t GetTotalFrames(QVSTREAM stream) {
    (void)stream;
    return calls;
}

QV_PLUGIN_EXPORT void Initialize(void) { note("Initialize"); }
QV_PLUGIN_EXPORT void Terminate(void) { note("Terminate"); }
