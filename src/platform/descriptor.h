// File descriptors: ownership, and the one loop each for reading and writing that knows
// about interrupted, partial and non-blocking calls.
#pragma once

#include <sys/types.h>
#include <sys/uio.h>

#include <cstddef>
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

}  // namespace jobshaper
