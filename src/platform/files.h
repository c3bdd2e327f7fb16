// Which files the filter opens, and how far it trusts what it finds under a path.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

#include "platform/descriptor.h"

namespace jobshaper {

// An existing file, to be read from its start. A directory counts as not openable.
Descriptor openForReading(const std::string& path);

// An existing file of any kind, opened without waiting: a pipe of that name must not hold the job
// up.
Descriptor openWithoutWaiting(const std::string& path);
bool isRegularFile(const Descriptor& file);

// The same for a regular file alone. None when it is anything else.
Descriptor openRegularFile(const std::string& path);

// Files of ours, in a directory where others may write too: a regular file that belongs to this
// user and has no other name, never one that a symbolic link stands for. None when the path
// leads to anything else; what is there is then left as it is.

// A new or emptied file that only its owner can read.
Descriptor createFile(const std::string& path);

// The same, and a new file in the place of one with content where the directory allows it: some
// file systems write a file that is emptied and filled again to the disk at once.
Descriptor replaceFile(const std::string& path);

// A new file or one to be continued, for everyone to read and write.
Descriptor openForAppending(const std::string& path);

// An existing file, to be read back.
Descriptor openOwnFile(const std::string& path);

// The same, to be changed too.
Descriptor openForUpdate(const std::string& path);

// A new file without a name in this directory, gone with its descriptor.
Descriptor createNamelessFile(const std::string& directory);

// Asks for room on disk for `size` bytes of a file from this position on, whatever the file's own
// size. Nothing happens where room is scarce (less than 16 times as much is free), or where the
// file system cannot promise it.
void reserveRoom(int descriptor, off_t position, off_t size);

// Gives back the room after the end of a file.
void releaseRoom(int descriptor);

// The whole file as bytes, at most `limit` of them; "" when it cannot be read or is not a
// regular file.
std::string readWholeFile(const std::string& path, std::size_t limit);

}  // namespace jobshaper
