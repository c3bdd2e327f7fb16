#include "booklet/page_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "platform/files.h"
#include "platform/text_encoding.h"

namespace jobshaper {

namespace {

constexpr std::size_t kBlock = 64 * 1024;

// Copies blocks between two files, or within one.
class CopyBuffer {
 public:
  bool copy(int from, off_t fromPosition, std::size_t size, int to, off_t toPosition) {
    return readAt(from, bytes_.get(), size, fromPosition) &&
           writeAt(to, bytes_.get(), size, toPosition);
  }

 private:
  std::unique_ptr<char[]> bytes_{new char[kBlock]};
};

std::size_t blockOf(off_t rest) { return std::min(kBlock, static_cast<std::size_t>(rest)); }

off_t sizeOf(const Descriptor& file) {
  struct stat status {};
  return file.valid() && ::fstat(file.get(), &status) == 0 ? status.st_size : -1;
}

// Copies a file of this size to a position in another one.
bool copyWhole(const Descriptor& from, off_t size, const Descriptor& to, off_t position) {
  CopyBuffer buffer;
  for (off_t done = 0; done < size;) {
    const std::size_t block = blockOf(size - done);
    if (!buffer.copy(from.get(), done, block, to.get(), position + done)) return false;
    done += static_cast<off_t>(block);
  }
  return true;
}

// Moves the content of a file of this size toward its end by `distance` bytes. Starts with the last
// block, so that nothing is overwritten before it has been moved.
bool moveBack(const Descriptor& file, off_t size, off_t distance) {
  CopyBuffer buffer;
  for (off_t rest = size; rest > 0;) {
    const std::size_t block = blockOf(rest);
    rest -= static_cast<off_t>(block);
    if (!buffer.copy(file.get(), rest, block, file.get(), rest + distance)) return false;
  }
  return true;
}

}  // namespace

bool PageFile::open(const std::string& path) {
  pending_.clear();
  failed_ = false;
  file_ = createFile(path);
  return file_.valid();
}

bool PageFile::openAgain(const std::string& path) {
  pending_.clear();
  failed_ = false;
  file_ = openForUpdate(path);
  return file_.valid() && ::lseek(file_.get(), 0, SEEK_END) >= 0;
}

void PageFile::write(std::string_view bytes) {
  pending_.append(bytes);
  flushFullBlocks();
}

void PageFile::writeMacRoman(std::string_view text) {
  appendUtf8FromMacRoman(pending_, text);
  flushFullBlocks();
}

void PageFile::flushFullBlocks() {
  if (pending_.size() >= kBlock) static_cast<void>(flush());
}

bool PageFile::append(const std::string& path) {
  const Descriptor other = openOwnFile(path);
  const off_t added = sizeOf(other);
  const off_t size = flush() ? sizeOf(file_) : -1;
  return added >= 0 && size >= 0 && copyWhole(other, added, file_, size) &&
         ::lseek(file_.get(), size + added, SEEK_SET) >= 0;
}

bool PageFile::prepend(const std::string& path) {
  const Descriptor other = openOwnFile(path);
  const off_t added = sizeOf(other);
  const off_t size = flush() ? sizeOf(file_) : -1;
  return added >= 0 && size >= 0 && moveBack(file_, size, added) &&
         copyWhole(other, added, file_, 0) && ::lseek(file_.get(), size + added, SEEK_SET) >= 0;
}

bool PageFile::flush() {
  if (!pending_.empty() && !writeAll(file_.get(), pending_)) failed_ = true;
  pending_.clear();
  return !failed_;
}

bool PageFile::close() {
  const bool written = flush();
  return file_.close() && written;
}

}  // namespace jobshaper
