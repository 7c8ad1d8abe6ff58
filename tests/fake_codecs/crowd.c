/* Says whether somebody else was inside one of its calls at the same time, in this module or in another copy
 * of it. Two copies share no memory; a lock on a file is what both see. */
#include "qvlibs/plugins/plugin_api.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <unistd.h>

static int meets(void) {
    char path[4096];
    snprintf(path, sizeof path, "%s/crowd.lock", getenv("QVLIBS_HOME"));
    const int file = open(path, O_CREAT | O_RDWR, 0600);
    const int alone = file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0;
    for (volatile int i = 0; i < 20000; ++i) {
    }
    close(file);
    return !alone;
}

QV_PLUGIN_EXPORT uint32_t IsSupported(const char* path, int* supported) {
    (void)path;
    *supported = meets();
    return QV_PLUGIN_OK;
}

QV_PLUGIN_EXPORT uint32_t Investigate(const char* path, int* attributes, uint32_t* type) {
    (void)path;
    *attributes = meets();
    *type = 0;
    return QV_PLUGIN_OK;
}
