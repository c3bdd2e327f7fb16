// A pipe with both ends in the test.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

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
  // How many bytes are in the pipe.
  std::size_t waiting() const {
    int count = 0;
    EXPECT_EQ(ioctl(reading_, FIONREAD, &count), 0);
    return static_cast<std::size_t>(count);
  }
  // Reads all bytes that are in the pipe.
  std::string take() const { return take(waiting()); }
  // Reads this many bytes.
  std::string take(std::size_t size) const {
    std::string bytes(size, '\0');
    for (std::size_t taken = 0; taken < bytes.size();) {
      const ssize_t n = read(reading_, bytes.data() + taken, bytes.size() - taken);
      if (n <= 0) break;
      taken += static_cast<std::size_t>(n);
    }
    return bytes;
  }

 private:
  int reading_ = -1;
  int writing_ = -1;
};

}  // namespace jobshaper::testing
