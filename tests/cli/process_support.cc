#include "cli/process_support.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

extern char** environ;

namespace quorvane::testing {
namespace {

using Clock = std::chrono::steady_clock;

void closeQuietly(int& fd) {
  if (fd >= 0) ::close(fd);
  fd = -1;
}

}  // namespace

std::vector<std::string> homeEnvironment(const std::string& home, int lockWaitMs) {
  return {"XDG_DATA_HOME=" + home + "/data",
          "XDG_CONFIG_HOME=" + home + "/config",
          "XDG_CACHE_HOME=" + home + "/cache",
          "LANG=C.UTF-8",
          "LANGUAGE=",
          "LC_ALL=",
          "QUORVANE_LOCK_WAIT_MS=" + std::to_string(lockWaitMs)};
}

ProcessRun runQuorvane(const std::vector<std::string>& arguments, const ProcessOptions& options) {
  std::vector<std::string> command;
  if (options.asUser) {
    command = {"setpriv", "--reuid=" + *options.asUser, "--regid=" + *options.asUser,
               "--clear-groups", "--"};
  }
  command.push_back(options.program.value_or(QUORVANE_BINARY));
  command.insert(command.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& part : command) argv.push_back(part.data());
  argv.push_back(nullptr);

  // This process's environment, with the given variables in place of its
  // own of the same names.
  const auto nameOf = [](const std::string& variable) {
    return variable.substr(0, variable.find('='));
  };
  std::vector<std::string> environment = options.environment;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string name = nameOf(*variable);
    const bool replaced =
        std::any_of(options.environment.begin(), options.environment.end(),
                    [&](const std::string& given) { return nameOf(given) == name; });
    if (!replaced) environment.emplace_back(*variable);
  }
  std::vector<char*> envp;
  for (std::string& variable : environment) envp.push_back(variable.data());
  envp.push_back(nullptr);

  int in[2], out[2], err[2];
  if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) {
    throw std::runtime_error("pipe failed");
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  posix_spawn_file_actions_adddup2(&actions, err[1], 2);
  pid_t child = 0;
  const auto started = Clock::now();
  const int spawned = ::posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  ::close(in[0]);
  ::close(out[1]);
  ::close(err[1]);
  if (spawned != 0) {
    ::close(in[1]);
    ::close(out[0]);
    ::close(err[0]);
    throw std::runtime_error(std::string("cannot start quorvane: ") + std::strerror(spawned));
  }

  ProcessRun run;
  // The input is small; a program that does not read it gets EPIPE, no harm.
  ::signal(SIGPIPE, SIG_IGN);
  if (!options.input.empty()) {
    [[maybe_unused]] const ssize_t written =
        ::write(in[1], options.input.data(), options.input.size());
  }
  ::close(in[1]);

  int fds[2] = {out[0], err[0]};
  std::string* sinks[2] = {&run.out, &run.err};
  bool killSent = false;
  while (fds[0] >= 0 || fds[1] >= 0) {
    int timeout = -1;
    if (options.killAfter && !killSent) {
      const auto due = started + *options.killAfter;
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(due - Clock::now());
      if (left.count() <= 0) {
        ::kill(child, SIGKILL);
        killSent = true;
      } else {
        timeout = static_cast<int>(left.count()) + 1;
      }
    }
    pollfd polled[2] = {{fds[0], POLLIN, 0}, {fds[1], POLLIN, 0}};
    if (::poll(polled, 2, timeout) < 0 && errno != EINTR) break;
    for (int i = 0; i < 2; ++i) {
      if (fds[i] < 0 || (polled[i].revents & (POLLIN | POLLHUP | POLLERR)) == 0) continue;
      char buffer[4096];
      const ssize_t count = ::read(fds[i], buffer, sizeof buffer);
      if (count > 0) {
        sinks[i]->append(buffer, static_cast<std::size_t>(count));
      } else if (count == 0 || errno != EINTR) {
        closeQuietly(fds[i]);
      }
    }
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  run.took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - started);
  if (WIFSIGNALED(status)) {
    run.killed = WTERMSIG(status) == SIGKILL;
  } else {
    run.exitCode = WEXITSTATUS(status);
  }
  return run;
}

}  // namespace quorvane::testing
