// Opening files, with checks of what is at the path. Every function that returns a Descriptor
// returns an empty one on failure; errno is not meaningful afterwards.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

#include "platform/descriptor.h"

namespace jobshaper {

// Opens an existing file for reading. Fails for a directory.
Descriptor openForReading(const std::string& path);

// Opens an existing file of any kind for reading, without blocking: a FIFO of that name must not
// hang the job.
Descriptor openWithoutWaiting(const std::string& path);
bool isRegularFile(const Descriptor& file);
// The system's own files, such as those in /proc, have a size of 0, and some of them no end.
bool hasContent(const Descriptor& file);

// The same, but fails for anything other than a regular file.
Descriptor openRegularFile(const std::string& path);

// The next five functions open the filter's own files, in a directory where others may write too.
// They accept only a regular file that belongs to the effective user and has a single link, and do
// not follow a symbolic link. They fail for anything else and leave it unchanged.

// Creates the file, or empties an existing one, for reading and writing with mode 0600.
Descriptor createFile(const std::string& path);

// The same, but replaces a file that has content by a new one if the directory permits. Some file
// systems write a file to disk at once after it was truncated and filled again.
Descriptor replaceFile(const std::string& path);

// Creates the file, or appends to an existing one, with mode 0666.
Descriptor openForAppending(const std::string& path);

// Opens an existing file for reading.
Descriptor openOwnFile(const std::string& path);

// Opens an existing file for reading and writing, without emptying it.
Descriptor openForUpdate(const std::string& path);

// Creates a file in this directory and removes its name, so that closing the descriptor frees it.
Descriptor createNamelessFile(const std::string& directory);

// Allocates disk space for `size` bytes of a file at this offset without changing the file's size.
// Does nothing if less than 16 times as much is free, or if the file system does not support it.
void reserveRoom(int descriptor, off_t position, off_t size);

// Frees the disk space allocated past the end of a file.
void releaseRoom(int descriptor);

// Returns the file's bytes, at most the first `limit`; "" when it cannot be read or is not a
// regular file.
std::string readWholeFile(const std::string& path, std::size_t limit);

}  // namespace jobshaper
