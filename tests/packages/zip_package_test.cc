#include "packages/zip_package.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zip.h>

#include <filesystem>
#include <fstream>
#include <list>

#include "packages/transfer_error.h"
#include "support/temp_dir.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using Case = QuorvaneTransferCase;

std::string textOf(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

// Builds archives as another tool (or a hostile hand) would, entry by entry.
class ArchiveMaker {
 public:
  explicit ArchiveMaker(const std::string& path) {
    int error = 0;
    archive_ = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
  }
  zip_int64_t add(const std::string& name, const std::string& content,
                  zip_int32_t method = ZIP_CM_DEFLATE) {
    contents_.push_back(content);
    zip_source_t* source =
        zip_source_buffer(archive_, contents_.back().data(), contents_.back().size(), 0);
    const zip_int64_t index = zip_file_add(archive_, name.c_str(), source, ZIP_FL_ENC_UTF_8);
    zip_set_file_compression(archive_, static_cast<zip_uint64_t>(index), method, 0);
    return index;
  }
  ::zip* get() { return archive_; }
  void close() { zip_close(archive_); }

 private:
  ::zip* archive_;
  std::list<std::string> contents_;  // alive until the archive is written
};

class ZipPackageTest : public ::testing::Test {
 protected:
  std::optional<Case> caseOfOpening(const std::string& path) {
    try {
      ZipPackageReader reader(path);
      return std::nullopt;
    } catch (const QuorvaneTransferError& error) {
      return error.errorCase();
    }
  }
  testing::TempDir dir;
};

TEST_F(ZipPackageTest, WhatIsWrittenIsReadBackInOrderJsonDeflatedImagesStored) {
  const std::string image = dir.file("a1_orig.jpg");
  writeFile(image, std::string(5000, 'J'));
  const std::string target = dir.file("out/Atlas.quorvane");
  fs::create_directories(dir.file("out"));
  writeZipPackage(realFileSystem(), target,
                  {{ZipEntry::Kind::text, "manifest.json", std::string(2000, '{'), {}},
                   {ZipEntry::Kind::directory, "data/", {}, {}},
                   {ZipEntry::Kind::text, "data/project.json", "{}", {}},
                   {ZipEntry::Kind::directory, "media/", {}, {}},
                   {ZipEntry::Kind::directory, "media/original/", {}, {}},
                   {ZipEntry::Kind::file, "media/original/a1.jpg", {}, image, 5000}},
                  false);
  EXPECT_EQ(namesIn(dir.file("out")), std::vector<std::string>{"Atlas.quorvane"})
      << "nothing else beside it";

  int error = 0;
  ::zip* archive = zip_open(target.c_str(), ZIP_RDONLY, &error);
  ASSERT_NE(archive, nullptr);
  EXPECT_STREQ(zip_get_name(archive, 0, 0), "manifest.json");
  EXPECT_STREQ(zip_get_name(archive, 5, 0), "media/original/a1.jpg");
  zip_stat_t stat;
  zip_stat_index(archive, 0, 0, &stat);
  EXPECT_EQ(stat.comp_method, ZIP_CM_DEFLATE);
  zip_stat_index(archive, 5, 0, &stat);
  EXPECT_EQ(stat.comp_method, ZIP_CM_STORE);
  zip_discard(archive);

  ZipPackageReader reader(target);
  EXPECT_EQ(reader.kindOf("data"), PackageTree::Kind::directory);
  EXPECT_EQ(reader.kindOf("manifest.json"), PackageTree::Kind::file);
  EXPECT_EQ(reader.kindOf("nothing"), std::nullopt);
  EXPECT_EQ(reader.filesIn("media/original"), std::vector<std::string>{"a1.jpg"});
  EXPECT_EQ(textOf(*reader.read("media/original/a1.jpg", 5000)), std::string(5000, 'J'));
  EXPECT_EQ(reader.read("media/original/a1.jpg", 4999), std::nullopt) << "one byte over";
}

TEST_F(ZipPackageTest, HostileArchivesAreRefusedBeforeAnythingIsRead) {
  struct Hostile {
    const char* story;
    std::function<void(ArchiveMaker&)> make;
  };
  const std::vector<Hostile> hostile{
      {"an absolute name", [](ArchiveMaker& m) { m.add("/etc/x", "x"); }},
      {"a name that climbs", [](ArchiveMaker& m) { m.add("media/../../x", "x"); }},
      {"a backslash", [](ArchiveMaker& m) { m.add("media\\original\\x.jpg", "x"); }},
      {"an empty segment", [](ArchiveMaker& m) { m.add("data//project.json", "x"); }},
      {"a symbolic link",
       [](ArchiveMaker& m) {
         const zip_int64_t index = m.add("media/original/a1.jpg", "/etc/passwd", ZIP_CM_STORE);
         zip_file_set_external_attributes(m.get(), static_cast<zip_uint64_t>(index), 0,
                                          ZIP_OPSYS_UNIX, (S_IFLNK | 0777) << 16);
       }},
      {"an encrypted entry",
       [](ArchiveMaker& m) {
         const zip_int64_t index = m.add("manifest.json", "{}");
         zip_file_set_encryption(m.get(), static_cast<zip_uint64_t>(index), ZIP_EM_TRAD_PKWARE,
                                 "secret");
       }},
      {"bzip2 compression",
       [](ArchiveMaker& m) { m.add("manifest.json", std::string(100, 'x'), ZIP_CM_BZIP2); }},
      {"a file and a folder of one name",
       [](ArchiveMaker& m) {
         m.add("data", "x");
         zip_dir_add(m.get(), "data", 0);
       }},
  };
  for (const Hostile& h : hostile) {
    const std::string path = dir.file("hostile.zip");
    fs::remove(path);
    ArchiveMaker maker(path);
    h.make(maker);
    maker.close();
    ASSERT_TRUE(fs::exists(path)) << h.story;
    EXPECT_EQ(caseOfOpening(path), Case::invalidPackage) << h.story;
  }

  writeFile(dir.file("text.quorvane"), "this is no archive");
  EXPECT_EQ(caseOfOpening(dir.file("text.quorvane")), Case::invalidPackage);
  writeFile(dir.file("empty.quorvane"), "");
  EXPECT_EQ(caseOfOpening(dir.file("empty.quorvane")), Case::invalidPackage);
  EXPECT_THROW(ZipPackageReader(dir.file("missing.quorvane")), std::system_error);
}

// Names libzip will not write, made as a hand editing the bytes would: the
// name changed in place, in both headers.
TEST_F(ZipPackageTest, NamesOnlyAnEditedArchiveHoldsAreRefused) {
  for (const std::string& replacement : {
           std::string("aaaa"),     // two entries of one name
           std::string("ab\x01c"),  // a control character
           std::string("\xC0\xAF"
                       "bc"),  // an overlong "/"
           std::string("\xE0\x80\xAF"
                       "b"),  // the same in three bytes
           std::string("\xED\xA0\x80"
                       "b"),                 // a surrogate
           std::string("\xF4\x90\x80\x80"),  // beyond U+10FFFF
       }) {
    const std::string path = dir.file("edited.zip");
    ArchiveMaker maker(path);
    maker.add("data/aaaa.json", "{}");
    maker.add("data/bbbb.json", "[]");
    maker.close();
    std::string bytes;
    {
      std::ifstream in(path, std::ios::binary);
      bytes.assign(std::istreambuf_iterator<char>(in), {});
    }
    for (std::size_t at = bytes.find("data/bbbb.json"); at != std::string::npos;
         at = bytes.find("data/bbbb.json", at)) {
      bytes.replace(at + 5, 4, replacement);
    }
    writeFile(path, bytes);
    EXPECT_EQ(caseOfOpening(path), Case::invalidPackage) << ::testing::PrintToString(replacement);
  }
}

TEST_F(ZipPackageTest, SizesAreCountedOnWhatInflatesAndABombCostsNothing) {
  const std::string path = dir.file("bomb.zip");
  ArchiveMaker maker(path);
  maker.add("media/original/a1.jpg", std::string(64 << 20, '\0'));  // 64 MiB of zeros
  maker.close();
  EXPECT_LT(fs::file_size(path), 200u * 1024) << "a small file";
  ZipPackageReader reader(path);
  std::uint64_t seen = 0;
  EXPECT_EQ(reader.stream("media/original/a1.jpg", 1 << 20,
                          [&](std::span<const std::uint8_t> piece) { seen += piece.size(); }),
            std::nullopt);
  EXPECT_LE(seen, (1u << 20) + 64 * 1024u) << "reading stopped just past the limit";
}

TEST_F(ZipPackageTest, ACorruptedEntryIsFoundByItsChecksum) {
  const std::string path = dir.file("corrupt.zip");
  ArchiveMaker maker(path);
  maker.add("media/original/a1.jpg", std::string(1000, 'J'), ZIP_CM_STORE);
  maker.close();
  std::string bytes;
  {
    std::ifstream in(path, std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(in), {});
  }
  bytes[bytes.find(std::string(100, 'J')) + 50] = 'K';
  writeFile(path, bytes);
  ZipPackageReader reader(path);
  try {
    reader.read("media/original/a1.jpg", 5000);
    FAIL() << "the damage must be found";
  } catch (const QuorvaneTransferError& error) {
    EXPECT_EQ(error.errorCase(), Case::invalidPackage);
  }
}

TEST_F(ZipPackageTest, AFailedWriteLeavesNothingAndNeverTouchesAnOlderPackage) {
  const std::string target = dir.file("Atlas.quorvane");
  writeFile(target, "an older package");
  // An original that vanished before it could be written.
  EXPECT_THROW(
      writeZipPackage(realFileSystem(), target,
                      {{ZipEntry::Kind::text, "manifest.json", "{}", {}},
                       {ZipEntry::Kind::file, "media/original/a1.jpg", {}, dir.file("gone")}},
                      true),
      std::system_error);
  EXPECT_THROW(writeZipPackage(realFileSystem(), target,
                               {{ZipEntry::Kind::text, "manifest.json", "{}", {}}}, false),
               std::system_error)
      << "without --force an existing package stays";
  std::ifstream in(target);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "an older package");
  EXPECT_EQ(namesIn(dir.path()), std::vector<std::string>{"Atlas.quorvane"}) << "no temporary file";
}

}  // namespace
}  // namespace quorvane
