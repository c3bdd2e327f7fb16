// Opening files, with checks of what is at the path. Every function that returns a Descriptor
// returns an empty one on failure. Only openForReading(), openRegularFile() and
// createNamelessFile() then leave the reason in errno.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/descriptor.h"

namespace jobshaper {

// Opens an existing file for reading. Fails for a directory.
Descriptor openForReading(const std::string& path);

// Opens an existing regular file that has content, for reading. Fails for anything else, without
// opening it: that would wake the writer of a FIFO, and a device can do anything. So does a file of
// the system's own, such as those in /proc, which have a size of 0, and some of them no end. On
// failure errno is 0 if there is something else, or an empty file.
Descriptor openRegularFile(const std::string& path);

// A file with these bytes that is in memory only, to be read from its beginning. Only Linux has
// such files.
Descriptor fileInMemory(std::string_view bytes);

// The other functions open files in a directory where others may write too.

// Creates a file for reading and writing with mode 0600. It is always a new file, which nobody else
// can have open: removes what has this name, unless it is a directory.
Descriptor createFile(const std::string& path);

// Open an existing file that createFile() has created: for reading, or also for writing, without
// emptying it. They accept only a regular file that belongs to the effective user and has this name
// alone, and do not follow a symbolic link. They leave anything else unchanged.
Descriptor openOwnFile(const std::string& path);
Descriptor openForUpdate(const std::string& path);

// Creates the file, or opens an existing one under the same conditions, for appending. `name` is
// relative to `directory` and may contain slashes; no part of it may be a symbolic link or "..".
// The mode becomes 0666, except for an existing file that others cannot read.
Descriptor openForAppending(const std::string& directory, std::string_view name);

// Creates a file in this directory and removes its name, so that closing the descriptor frees it.
Descriptor createNamelessFile(const std::string& directory);

// Allocates disk space for `size` bytes of a file at this offset without changing the file's size.
// Does nothing if less than 16 times as much is free, or if the file system does not support it.
void allocateSpace(int descriptor, off_t position, off_t size);

// Frees the disk space allocated past the end of a file.
void releaseSpace(int descriptor);

// Returns the bytes of a regular file; "" if it cannot be read to its end or is larger than
// `limit`.
std::string readWholeFile(const std::string& path, std::size_t limit);

// The same for a file that only trusted users can have written: the file, and each directory that
// `name` leads through below `directory`, belongs to root or the effective user and is writable by
// nobody else. No part of `name` may be a symbolic link or "..".
std::string readTrustedFile(const std::string& directory, std::string_view name, std::size_t limit);

}  // namespace jobshaper
