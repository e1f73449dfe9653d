// iThread: the abstract body of a thread of the platform layer. A class that
// derives from it runs `Run` on a thread started by a thread controller.
#pragma once

namespace keld {

class iThread {
 public:
  iThread() = default;
  iThread(const iThread&) = delete;
  iThread& operator=(const iThread&) = delete;
  virtual ~iThread() = default;
  virtual void Run() {}
};

}  // namespace keld
