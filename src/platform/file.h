// Seam: files by names in UTF-8. Called by velmo-peer's WAV reader and writer.
#pragma once

#include <cstdio>

/// As std::fopen, with `path` in UTF-8 on every system. Null on failure, also for a path that is
/// not UTF-8 where the system has no such names, and for a named pipe, which would keep the caller
/// waiting for whoever has its other end. Any thread.
std::FILE* file_open(const char* path, const char* mode);
