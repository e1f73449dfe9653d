// Child processes for the server's tests: keldcfgd itself, to measure its
// memory and signals from outside, and clients that can be stopped.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace keld::testsupport {

class ChildProcess {
 public:
  // Starts `argv[0]` with the arguments; its standard output comes through
  // a pipe that ReadLine reads. Aborts the test binary if it cannot start.
  explicit ChildProcess(const std::vector<std::string>& argv);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  // Kills the child if it still runs.
  ~ChildProcess();

  pid_t pid() const { return pid_; }
  // One line of the child's output without its newline; empty after `limitMs`.
  std::string ReadLine(int limitMs);
  void Signal(int signal) const;
  // The exit code, or 128 + the signal that ended it; -1 if it still runs after `limitMs`.
  int Wait(int limitMs);
  // Resident and peak resident memory in KiB from /proc (0 when unknown).
  std::uint64_t RssKiB() const;
  std::uint64_t PeakRssKiB() const;
  // Sets the peak back to the present resident memory.
  void ResetPeakRss() const;
  // Threads of the process.
  std::uint64_t Threads() const;

 private:
  pid_t pid_ = -1;
  int output_ = -1;
  std::string pending_;
  bool reaped_ = false;
};

// A field of /proc/<pid>/status ("VmRSS", "Threads", ...) as a number.
std::uint64_t ProcStatusField(pid_t pid, const char* field);

// A fresh, empty directory under the temporary folder, removed with the object.
class ScopedTempDir {
 public:
  ScopedTempDir();
  ~ScopedTempDir();
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// Lines of a text file (none if it is missing).
std::vector<std::string> ReadLines(const std::filesystem::path& file);

}  // namespace keld::testsupport
