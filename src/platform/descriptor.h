// File descriptors: ownership, and the one loop each for reading and writing that knows
// about interrupted, partial and non-blocking calls.
#pragma once

#include <sys/types.h>
#include <sys/uio.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace jobshaper {

// Owns a descriptor and closes it. -1: none.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor() { reset(); }

  bool valid() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }
  void reset();
  int release() { return std::exchange(descriptor_, -1); }  // to another owner

 private:
  int descriptor_ = -1;
};

// An existing file, to be read from its start. A directory counts as not openable.
Descriptor openForReading(const std::string& path);

// An existing file of any kind, opened without waiting: a pipe of that name must not hold the job
// up.
Descriptor openWithoutWaiting(const std::string& path);
bool isRegularFile(const Descriptor& file);

// The same for a regular file alone. None when it is anything else.
Descriptor openRegularFile(const std::string& path);

// Files of ours, in a folder where others may write too: a regular file that belongs to this
// user and has no other name, never one that a symbolic link stands for. None when the path
// leads to anything else; what is there is then left as it is.

// A new or emptied file that only its owner can read.
Descriptor createFile(const std::string& path);

// The same, and a new file in the place of one with content where the folder allows it: some file
// systems write a file that is emptied and filled again to the disk at once.
Descriptor replaceFile(const std::string& path);

// A new file or one to be continued, for everyone to read and write.
Descriptor openForAppending(const std::string& path);

// An existing file, to be read back.
Descriptor openOwnFile(const std::string& path);

// The same, to be changed too.
Descriptor openForUpdate(const std::string& path);

// A new file without a name in this folder, gone with its descriptor.
Descriptor createNamelessFile(const std::string& folder);

// Standard input, output and error are opened on nothing if whoever started the process has
// closed them; otherwise the next file to be opened would receive the job.
void openMissingStandardStreams();

// What a pipe is asked to hold: enough for writer and reader to work side by side, little enough
// for the system to grant it to eighty jobs at once.
inline constexpr std::size_t kPipeSize = 256 * 1024;

// Makes a pipe hold kPipeSize bytes if it holds less and the system can. Nothing happens to
// other descriptors.
void enlargePipe(int descriptor);

// Whether a read would return at once, be it with bytes or at the end of input.
bool inputWaits(int descriptor);

// At least one byte, as soon as there is any. 0 at end of input and after a read error.
std::size_t readSome(int descriptor, char* buffer, std::size_t size);

// Reads on until the buffer is full, the input ends or cannot be read. How much was read.
std::size_t readFully(int descriptor, char* buffer, std::size_t size);

#if defined(__linux__)
// Moves bytes that wait in one pipe, which nobody else reads, to another: at least one, as soon as
// there is room. 0 after an error.
std::size_t moveSome(int input, int output, std::size_t size);
#endif

// All bytes of all spans, in order; the spans are used up. False when the rest cannot be
// written.
bool writeAll(int descriptor, iovec* spans, std::size_t count);
bool writeAll(int descriptor, std::string_view bytes);

// All bytes from this position of a file on, wherever its next read or write would be. False
// when the file has fewer, or room for fewer.
bool readAt(int descriptor, char* buffer, std::size_t size, off_t position);
bool writeAt(int descriptor, const char* bytes, std::size_t size, off_t position);

// Asks for room on disk for `size` bytes of a file from this position on, whatever the file's own
// size. Nothing happens where room is scarce (less than 16 times as much is free), or where the
// file system cannot promise it.
void reserveRoom(int descriptor, off_t position, off_t size);

// Gives back the room behind the end of a file.
void releaseRoom(int descriptor);

// The whole file as bytes, at most `limit` of them; "" when it cannot be read or is not a
// regular file.
std::string readWholeFile(const std::string& path, std::size_t limit);

}  // namespace jobshaper
