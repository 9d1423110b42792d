#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <system_error>

#include "platform/file_system.h"
#include "platform/uuid.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

TEST(UuidTest, IsUpperCaseVersionFourAndUnique) {
  const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    const std::string uuid = makeUuid();
    ASSERT_TRUE(std::regex_match(uuid, form)) << uuid;
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
}

}  // namespace
}  // namespace quorvane
