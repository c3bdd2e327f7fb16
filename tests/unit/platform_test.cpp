// What the functions of platform/ do beyond what a job can show.
#include <stdlib.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/descriptor.h"
#include "platform/files.h"
#include "platform/system.h"
#include "platform/text_encoding.h"
#include "tests/support/pipe.h"
#include "tests/support/program.h"

namespace {

// Which name gethostname() returns; kUnknown makes it fail.
enum class Name { kOwn, kEmpty, kUnknown } machineName = Name::kOwn;

}  // namespace

// Replaces the function of the C library.
extern "C" int gethostname(char* name, size_t size) noexcept {
  if (machineName == Name::kUnknown) return -1;
  utsname machine{};
  if (machineName == Name::kOwn && uname(&machine) != 0) return -1;
  strncpy(name, machine.nodename, size);
  return 0;
}

namespace jobshaper {
namespace {

// ---- files

// The directory may be the only place with space, or the only one where the user can write.
TEST(NamelessFile, IsInTheDirectoryWithoutAName) {
  const testing::TemporaryDirectory directory;
  const Descriptor file = createNamelessFile(directory.path());
  const std::string name =
      std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file.get()));
  EXPECT_TRUE(name.starts_with(directory.path() + "/")) << name;
  EXPECT_TRUE(name.ends_with(" (deleted)")) << name;
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(EnlargePipe, LetsAPipeHoldABlock) {
  const testing::Pipe pipe, large(2 * static_cast<int>(kPipeSize));
  enlargePipe(pipe.reading());
  EXPECT_EQ(fcntl(pipe.writing(), F_GETPIPE_SZ), static_cast<int>(kPipeSize));
  enlargePipe(large.writing());
  EXPECT_EQ(fcntl(large.reading(), F_GETPIPE_SZ), 2 * static_cast<int>(kPipeSize));
}

// Whatever an earlier call has left in errno, here and in the next test.
TEST(MoveSome, EndsWhereThereIsNothingMoreToMove) {
  testing::Pipe from;
  const testing::Pipe to;
  from.put("123");
  from.closeWriting();
  EXPECT_EQ(moveSome(from.reading(), to.writing(), 4), 3U);
  errno = EINTR;
  EXPECT_EQ(moveSome(from.reading(), to.writing(), 4), 0U);
}

TEST(ReadAt, EndsAtTheEndOfTheFile) {
  const testing::TemporaryDirectory directory;
  const Descriptor file = createFile(directory.file("file"));
  ASSERT_TRUE(writeAt(file.get(), "123", 3, 0));
  char buffer[4] = "";
  errno = EINTR;
  EXPECT_FALSE(readAt(file.get(), buffer, sizeof buffer, 0));
  EXPECT_TRUE(readAt(file.get(), buffer, 2, 1));
  EXPECT_EQ(std::string(buffer, 2), "23");
}

// ---- text

// A job can show only the conversion to UTF-8.
TEST(MacRoman, IsConvertedFromUtf8) {
  EXPECT_EQ(macRomanFromUtf8("\xE2\x82\xAC \xEF\xA3\xBF \xC3\xA4"), "\xdb \xf0 \x8a");
  for (int byte = 1; byte < 256; ++byte) {
    const std::string mac(1, static_cast<char>(byte));
    EXPECT_EQ(macRomanFromUtf8(utf8FromMacRoman(mac)), mac) << byte;
  }
  // Cyrillic, a combining accent, a supplementary character, a Latin 1 control, invalid UTF-8.
  for (const char* text :
       {"\xD0\x9E", "e\xCC\x81", "\xF0\x9F\x98\x80", "\xC2\x80", "a\xC3", "\x8E", "\xC1\xA1"}) {
    EXPECT_EQ(macRomanFromUtf8(text), std::nullopt) << text;
  }
}

TEST(Utf8, IsCheckedByteByByte) {
  for (const char* good : {"", "ascii", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                           "\xEE\x80\x80", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(isValidUtf8(good)) << good;
  }
  for (const char* bad :
       {"\x80", "\xBF", "\xC3", "\xC3(", "\xE2\x82", "\xE2(\xA1", "\xF0\x90\x80",
        "\xF8\x88\x80\x80", "\xFF", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80",
        "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF7\xBF\xBF\xBF", "ok\xC3"}) {
    EXPECT_FALSE(isValidUtf8(bad)) << bad;
  }
  EXPECT_TRUE(isValidUtf8(std::string_view("ok\xFF", 2)));
}

// ---- the system

TEST(Version, HasAHexadecimalDigitAComponentWhichIsAtMostF) {
  const std::pair<const char*, int> rows[] = {
      {"10.4.9", 0x1049}, {"10.3", 0x1030}, {"14.5", 0x1450},    {"9.2.2", 0x0922},
      {"11", 0x1100},     {"99.0", 0x9900}, {"10.15.7", 0x10F7}, {"10.16.99", 0x10FF}};
  for (const auto& [product, version] : rows) {
    EXPECT_EQ(versionFromProduct(product), version) << product;
  }
  for (const char* product : {"", "sonoma", "10.", "10-4", "100.1"}) {
    EXPECT_EQ(versionFromProduct(product), std::nullopt) << product;
  }
}

TEST(ThisSystem, IsTheNewestWithInstructionPagesInOnePlace) {
  EXPECT_EQ(thisSystem().version, 0x1050);
  EXPECT_EQ(thisSystem().instructionDirectory, "/Library/Printers/Quorvan/filter/.resource");
}

TEST(HostName, IsThatOfTheMachineOrLocalhost) {
  EXPECT_EQ(hostName(), testing::hostName());
  for (const Name name : {Name::kEmpty, Name::kUnknown}) {
    machineName = name;
    EXPECT_EQ(hostName(), "localhost");
  }
  machineName = Name::kOwn;
}

}  // namespace
}  // namespace jobshaper
