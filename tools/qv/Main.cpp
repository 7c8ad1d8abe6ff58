#include "qvlibs/library/Version.h"
#include "qvlibs/qvlibs.h"

#include <cstdio>

int main() { std::printf("qv %s\n", qv::libraryVersion()); }
