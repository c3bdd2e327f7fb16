// File descriptors: ownership, and reads and writes that handle interrupted, partial and
// non-blocking calls.
#pragma once

#include <sys/types.h>
#include <sys/uio.h>

#include <cstddef>
#include <string_view>
#include <utility>

namespace jobshaper {

// Owns a file descriptor and closes it on destruction. -1 means none.
class Descriptor {
 public:
  Descriptor() = default;
  // Takes ownership.
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor() { reset(); }

  bool valid() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }  // still owned by this object
  // Closes the descriptor, if there is one, and ignores errors.
  void reset();
  // The same, but returns false if what was written could not be stored: a file server or a quota
  // may report that only now.
  [[nodiscard]] bool close();
  int release() { return std::exchange(descriptor_, -1); }  // the caller must close it

 private:
  int descriptor_ = -1;
};

// Opens /dev/null as standard input, output or error where the parent process has closed it; where
// there is none, something else that reads and writes fail on. Otherwise the next file to be opened
// would get that number and receive the job or its messages.
void openMissingStandardStreams();

// The pipe capacity to ask for, in bytes: large enough for writer and reader to work in parallel,
// small enough for the system to grant it to eighty jobs at once.
inline constexpr std::size_t kPipeSize = 256 * 1024;

// Raises the capacity of a pipe to kPipeSize if it is smaller and the system allows it. Does
// nothing for other descriptors.
void enlargePipe(int descriptor);

// Whether a read would return at once: with bytes, at the end of the input, or with an error.
bool inputWaits(int descriptor);

// The functions below work on descriptors that the caller owns. They repeat calls that a signal has
// interrupted, and wait for non-blocking descriptors. When a system call fails, the reason is in
// errno.

// Reads up to `size` bytes and returns how many: at least 1, as soon as any are available; 0 at end
// of input, -1 after a read error.
ssize_t readSome(int descriptor, char* buffer, std::size_t size);

// Reads until the buffer is full, the input ends or a read fails. Returns how many bytes were read.
std::size_t readFully(int descriptor, char* buffer, std::size_t size);

#if defined(__linux__)
// Moves up to `size` bytes from one pipe to another and returns how many: at least 1, as soon as
// the output has space; 0 after an error. The input must hold bytes and have no other reader.
std::size_t moveSome(int input, int output, std::size_t size);
#endif

// Writes all bytes of all spans, in order. Modifies the spans. Returns false when not everything
// could be written.
bool writeAll(int descriptor, iovec* spans, std::size_t count);
bool writeAll(int descriptor, std::string_view bytes);

// Reads or writes exactly `size` bytes at this offset; the file position does not change. Returns
// false when the file or the disk ends before that.
bool readAt(int descriptor, char* buffer, std::size_t size, off_t position);
bool writeAt(int descriptor, const char* bytes, std::size_t size, off_t position);

}  // namespace jobshaper
