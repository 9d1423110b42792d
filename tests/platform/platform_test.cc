#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <set>
#include <system_error>

#include "platform/file_system.h"
#include "platform/uuid.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

// 8-4-4-4-12 upper-case hexadecimal digits, version 4, RFC 4122 variant.
bool hasUuidForm(const std::string& text) {
  if (text.size() != 36) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    const char c = text[i];
    if (dash ? c != '-' : !((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'))) return false;
  }
  return text[14] == '4' && std::string_view("89AB").find(text[19]) != std::string_view::npos;
}

TEST(UuidTest, IsUpperCaseVersionFourAndUnique) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    const std::string uuid = makeUuid();
    ASSERT_TRUE(hasUuidForm(uuid)) << uuid;
    seen.insert(uuid);
  }
  EXPECT_EQ(seen.size(), 1000u);
}

TEST(RealFileSystemTest, ReadsWholeFilesAndRefusesWhatIsNoFile) {
  testing::TempDir dir;
  {
    std::ofstream out(dir.file("image.jpg"), std::ios::binary);
    std::string content(200'000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7);
    out << content;
  }
  const Bytes bytes = realFileSystem().readFile(dir.file("image.jpg"));
  ASSERT_EQ(bytes.size(), 200'000u);
  EXPECT_EQ(bytes[199'999], static_cast<std::uint8_t>(199'999 * 7));

  EXPECT_THROW(realFileSystem().readFile(dir.file("missing.jpg")), std::system_error);
  EXPECT_THROW(realFileSystem().readFile(dir.path().string()), std::system_error);
  // A FIFO is refused at once rather than waited on.
  ASSERT_EQ(::mkfifo(dir.file("pipe").c_str(), 0600), 0);
  EXPECT_THROW(realFileSystem().readFile(dir.file("pipe")), std::system_error);
}

}  // namespace
}  // namespace quorvane
