// How jobshaper-queue writes its messages.
#include "queue/message.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace jobshaper::testing {
namespace {

// The first of the writes to standard error in a run of `write`, whole.
template <typename Write>
std::string firstWrite(Write write) {
  int pipe[2];
  EXPECT_EQ(::pipe2(pipe, O_DIRECT | O_CLOEXEC), 0);  // keeps writes apart
  const int before = ::dup(STDERR_FILENO);
  ::dup2(pipe[1], STDERR_FILENO);
  write();
  ::dup2(before, STDERR_FILENO);
  ::close(before);
  ::close(pipe[1]);
  std::string bytes(4096, '\0');
  const ssize_t size = ::read(pipe[0], bytes.data(), bytes.size());
  ::close(pipe[0]);
  bytes.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return bytes;
}

TEST(Message, IsWrittenAtOnceAsALineOfItsOwn) {
  const std::string text(2000, 'x');
  EXPECT_EQ(firstWrite([&] { warn("%s", text.c_str()); }), "\nWARNING: " + text + "\n");
  EXPECT_EQ(firstWrite([&] { reportError("%s", text.c_str()); }), "\nERROR: " + text + "\n");
}

}  // namespace
}  // namespace jobshaper::testing
