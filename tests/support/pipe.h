// A pipe with both ends in the test.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace jobshaper::testing {

class Pipe {
 public:
  // A pipe of this capacity, by default the system's. With O_DIRECT, it keeps writes separate.
  explicit Pipe(int size = 0, int flags = 0) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC | flags), 0);
    reading_ = ends[0];
    writing_ = ends[1];
    if (size > 0) {
      EXPECT_GE(fcntl(writing_, F_SETPIPE_SZ, size), size);
    }
  }
  ~Pipe() {
    closeReading();
    closeWriting();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int reading() const { return reading_; }
  int writing() const { return writing_; }
  void closeReading() { close(std::exchange(reading_, -1)); }
  void closeWriting() { close(std::exchange(writing_, -1)); }

  // The bytes must fit into the pipe.
  void put(std::string_view bytes) const {
    EXPECT_EQ(write(writing_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  // Fills the pipe until a writer would have to wait.
  void fill() const {
    fcntl(writing_, F_SETFL, O_NONBLOCK);
    const std::string block(4096, 'x');
    while (write(writing_, block.data(), block.size()) > 0) {
    }
    fcntl(writing_, F_SETFL, 0);
  }
  // How many bytes are in the pipe.
  std::size_t waiting() const {
    int count = 0;
    EXPECT_EQ(ioctl(reading_, FIONREAD, &count), 0);
    return static_cast<std::size_t>(count);
  }
  // Reads all bytes that are in the pipe.
  std::string take() const { return take(waiting()); }
  // Reads everything to the end.
  std::string takeAll() const { return take(std::string::npos); }
  // Reads this many bytes, or all to the end.
  std::string take(std::size_t size) const {
    std::string bytes;
    char part[65536];
    while (bytes.size() < size) {
      const ssize_t n = read(reading_, part, std::min(sizeof part, size - bytes.size()));
      if (n <= 0) break;
      bytes.append(part, static_cast<std::size_t>(n));
    }
    return bytes;
  }

 private:
  int reading_ = -1;
  int writing_ = -1;
};

}  // namespace jobshaper::testing
