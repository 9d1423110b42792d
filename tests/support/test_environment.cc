// Every test starts from the same neutral machine: English, and no chance
// of reading or writing the developer's own library or preferences.
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

struct NeutralEnvironment {
  NeutralEnvironment() {
    for (const char* variable : {"LANGUAGE", "LC_ALL", "LC_MESSAGES"}) ::unsetenv(variable);
    ::setenv("LANG", "C.UTF-8", 1);
    const char* base = std::getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base == '/' ? base : "/tmp") + "/quorvane-test-home-XXXXXX";
    if (::mkdtemp(pattern.data()) != nullptr) {
      home = pattern;
      ::setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
      ::setenv("XDG_DATA_HOME", (home + "/data").c_str(), 1);
      ::setenv("XDG_CACHE_HOME", (home + "/cache").c_str(), 1);
    }
  }
  ~NeutralEnvironment() {
    std::error_code ignored;
    if (!home.empty()) std::filesystem::remove_all(home, ignored);
  }
  std::string home;
};

const NeutralEnvironment kNeutralEnvironment;

}  // namespace
