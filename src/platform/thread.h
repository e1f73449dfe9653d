// iThread and the thread controller of the platform layer. A class that
// derives from iThread has its ThreadBody run on a thread of its own by a
// ThreadController, which joins the thread when it is waited for or goes.
#pragma once

#include <memory>
#include <thread>

namespace keld {

class iThread {
 public:
  iThread() = default;
  iThread(const iThread&) = delete;
  iThread& operator=(const iThread&) = delete;
  virtual ~iThread() = default;
  virtual void ThreadBody() = 0;
};

class ThreadController {
 public:
  ThreadController(const ThreadController&) = delete;
  ThreadController& operator=(const ThreadController&) = delete;
  ~ThreadController() { Wait(); }

  // Starts `body` on a new thread; null where no thread could be started.
  static std::unique_ptr<ThreadController> Create(iThread* body);
  // Waits for the body to return. Safe to call more than once.
  void Wait() {
    if (thread_.joinable()) thread_.join();
  }

 private:
  ThreadController() = default;
  std::thread thread_;
};

inline std::unique_ptr<ThreadController> ThreadController::Create(iThread* body) {
  std::unique_ptr<ThreadController> controller(new (std::nothrow) ThreadController);
  if (controller == nullptr) return nullptr;
  try {
    controller->thread_ = std::thread([body] { body->ThreadBody(); });
  } catch (...) {
    return nullptr;  // no thread to be had: the caller goes on without one
  }
  return controller;
}

}  // namespace keld
