// The file seam on Linux, where a path's bytes are taken as they are.
#include "platform/file.h"

std::FILE* file_open(const char* path, const char* mode) {
    return std::fopen(path, mode);
}
