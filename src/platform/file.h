// Seam: files by names in UTF-8. Called by velmo-peer's WAV reader and writer, and for the user's
// own small files. Any thread.
#pragma once

#include <cstdio>
#include <string_view>

/// As std::fopen, with `path` in UTF-8 on every system. Null on failure, also for a path that is
/// not UTF-8 where the system has no such names, and for a named pipe, which would keep the caller
/// waiting for whoever has its other end.
std::FILE* file_open(const char* path, const char* mode);

/// Gives the file at `path` these bytes and no others, or makes it, for the user's eyes alone where
/// the system has such rights. They are written to `path` with ".new" behind it, flushed to the
/// disk and renamed over the file: whatever ends the program meanwhile, the old or the new bytes
/// are there whole. Where `path` is a link, it stays, and the file that it leads to is replaced, or
/// made where it is missing. What lies at ".new" goes, whatever it is, but for a folder.
///
/// False, and the old file as it was, when anything of this fails, when the file is protected from
/// writing or is not a regular file, or when another program keeps saving it for a second, for
/// which this waits.
bool file_replace_whole(const char* path, std::string_view bytes);

/// Removes the file at `path` and what an interrupted replacement left beside it. Where `path` is a
/// link, it stays, and the file that it leads to goes. False when there is no regular file, or it
/// cannot be removed, on Windows also because another program keeps it open for a second, for which
/// this waits.
bool file_remove(const char* path);

/// Makes a folder, for the user alone where the system has such rights, in one that is there.
/// False when it cannot, also because it is there already.
bool folder_create(const char* path);
