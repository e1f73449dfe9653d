#include "support_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>

extern char** environ;

namespace keld::testsupport {

ChildProcess::ChildProcess(const std::vector<std::string>& argv) {
  int pipeFds[2];
  if (pipe2(pipeFds, O_CLOEXEC) != 0) std::abort();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  // The child starts with no signal blocked, whatever this thread blocks.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  const int result = posix_spawn(&pid_, args[0], &actions, &attributes, args.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(pipeFds[1]);
  if (result != 0) std::abort();
  output_ = pipeFds[0];
}

ChildProcess::~ChildProcess() {
  if (!reaped_) {
    kill(pid_, SIGKILL);
    int status = 0;
    waitpid(pid_, &status, 0);
  }
  close(output_);
}

std::string ChildProcess::ReadLine(int limitMs) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
  for (;;) {
    const std::size_t newline = pending_.find('\n');
    if (newline != std::string::npos) {
      std::string line = pending_.substr(0, newline);
      pending_.erase(0, newline + 1);
      return line;
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    if (left.count() <= 0) return {};
    pollfd entry{output_, POLLIN, 0};
    if (poll(&entry, 1, static_cast<int>(left.count())) <= 0) continue;
    char buffer[256];
    const ssize_t got = read(output_, buffer, sizeof buffer);
    if (got <= 0) return {};
    pending_.append(buffer, static_cast<std::size_t>(got));
  }
}

void ChildProcess::Signal(int signal) const { kill(pid_, signal); }

int ChildProcess::Wait(int limitMs) {
  if (reaped_) return -1;
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
  do {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      reaped_ = true;
      return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  } while (std::chrono::steady_clock::now() < end);
  return -1;
}

std::uint64_t ProcStatusField(pid_t pid, const char* field) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  const std::string prefix = std::string(field) + ":";
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(prefix, 0) == 0) return std::strtoull(line.c_str() + prefix.size(), nullptr, 10);
  }
  return 0;
}

std::uint64_t ChildProcess::RssKiB() const { return ProcStatusField(pid_, "VmRSS"); }
std::uint64_t ChildProcess::PeakRssKiB() const { return ProcStatusField(pid_, "VmHWM"); }
std::uint64_t ChildProcess::Threads() const { return ProcStatusField(pid_, "Threads"); }

void ChildProcess::ResetPeakRss() const {
  std::ofstream clear("/proc/" + std::to_string(pid_) + "/clear_refs");
  clear << "5";
}

ScopedTempDir::ScopedTempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "keld_test_XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) std::abort();
  path_ = pattern;
}

ScopedTempDir::~ScopedTempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> ReadLines(const std::filesystem::path& file) {
  std::vector<std::string> lines;
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

}  // namespace keld::testsupport
