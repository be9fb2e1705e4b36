// The file seam on Linux, where a path's bytes are taken as they are.
#include "platform/file.h"

#include <sys/stat.h>

std::FILE* file_open(const char* path, const char* mode) {
    struct stat info {};
    if (stat(path, &info) == 0 && S_ISFIFO(info.st_mode)) {
        return nullptr;
    }
    return std::fopen(path, mode);
}

bool folder_create(const char* path) {
    return mkdir(path, S_IRWXU) == 0;
}
