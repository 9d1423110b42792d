#include "platform/atomic_file.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "support/temp_dir.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

Names namesIn(const fs::path& directory) {
  Names names;
  for (const auto& entry : fs::directory_iterator(directory)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string contentOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// The pid of a process that has ended.
pid_t endedProcess() {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  ::waitpid(child, nullptr, 0);
  return child;
}

class AtomicFileTest : public ::testing::Test {
 protected:
  testing::TempDir dir;
  std::string target = dir.file("portfolio.pdf");
};

TEST_F(AtomicFileTest, TheFileAppearsWholeAtTheCommitWithThePermissionsItReplaces) {
  std::ofstream(target) << "the old export";
  ::chmod(target.c_str(), 0600);
  {
    AtomicFile file(target);
    file.write(bytesOf("%PDF-1.7 "));
    EXPECT_EQ(contentOf(target), "the old export") << "nothing shows before the commit";
    file.write(bytesOf("the new export"));
    file.commit();
  }
  EXPECT_EQ(contentOf(target), "%PDF-1.7 the new export");
  struct stat info {};
  ::stat(target.c_str(), &info);
  EXPECT_EQ(info.st_mode & 07777, 0600u) << "a private file stays private";
  EXPECT_EQ(namesIn(dir.path()), Names{"portfolio.pdf"});

  AtomicFile fresh(dir.file("new.pdf"));
  fresh.commit();
  ::stat(dir.file("new.pdf").c_str(), &info);
  EXPECT_EQ(info.st_mode & 07777, 0644u);
}

TEST_F(AtomicFileTest, AbandonedItLeavesNothing) {
  {
    AtomicFile file(target);
    file.write(bytesOf("half a document"));
  }
  EXPECT_EQ(namesIn(dir.path()), Names{});
}

TEST_F(AtomicFileTest, AKillBeforeTheCommitLeavesNothingBehind) {
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    AtomicFile file(target);
    file.write(bytesOf(std::string(1 << 20, 'x')));
    const char unnamed = file.isUnnamed() ? 'u' : 'n';
    [[maybe_unused]] const ssize_t written = ::write(ready[1], &unnamed, 1);
    for (;;) ::pause();
  }
  char unnamed = 0;
  ASSERT_EQ(::read(ready[0], &unnamed, 1), 1);
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  ::close(ready[0]);
  ::close(ready[1]);
  if (unnamed == 'u') {
    EXPECT_EQ(namesIn(dir.path()), Names{}) << "an unnamed file dies with its process";
  } else {
    // A file system without unnamed files: the next write cleans up.
    EXPECT_EQ(namesIn(dir.path()).size(), 1u);
    EXPECT_EQ(removeStaleTemporaryFiles(dir.path().string()), 1);
  }
}

TEST_F(AtomicFileTest, OnlyOurTemporaryFilesOfEndedProcessesAreRemoved) {
  const std::string ended = std::to_string(endedProcess());
  const std::string alive = std::to_string(::getpid());
  const Names made{".a_orig.jpg.tmp-" + ended + "-Ab12Cd",
                   ".a_orig.jpg.tmp-" + alive + "-Ab12Cd",
                   ".old.json.tmp-Zz9Yy8",
                   ".recent.json.tmp-Qq1Ww2",
                   ".hidden",
                   "notes.tmp-" + ended + "-Ab12Cd",
                   ".x.tmp-" + ended + "-toolong",
                   ".x.tmp-" + ended + "-Ab12",
                   ".y.tmp-" + ended + "x-Ab12Cd"};
  for (const std::string& name : made) std::ofstream(dir.file(name)) << "x";
  // A pid-less one (an older version's) goes once it is an hour old.
  const timeval twoHoursAgo[2] = {{::time(nullptr) - 7200, 0}, {::time(nullptr) - 7200, 0}};
  ::utimes(dir.file(".old.json.tmp-Zz9Yy8").c_str(), twoHoursAgo);

  EXPECT_EQ(removeStaleTemporaryFiles(dir.path().string()), 2);
  EXPECT_EQ(namesIn(dir.path()),
            (Names{".a_orig.jpg.tmp-" + alive + "-Ab12Cd", ".hidden", ".recent.json.tmp-Qq1Ww2",
                   ".x.tmp-" + ended + "-Ab12", ".x.tmp-" + ended + "-toolong",
                   ".y.tmp-" + ended + "x-Ab12Cd", "notes.tmp-" + ended + "-Ab12Cd"}));
}

TEST_F(AtomicFileTest, ATargetWithTheLongestNameAFolderTakesCanBeWritten) {
  const std::string longest = dir.file(std::string(250, 'n') + ".pdf");
  AtomicFile file(longest);
  file.write(bytesOf("ok"));
  file.commit();
  EXPECT_EQ(contentOf(longest), "ok");
}

}  // namespace
}  // namespace quorvane
