#include "worker_pool.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace odv {

namespace {

std::atomic<unsigned> packingThreads{1};

unsigned Processors() {
  const unsigned n = std::thread::hardware_concurrency();
  return n == 0 ? 1 : n;
}

class WorkerPool {
 public:
  ~WorkerPool() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
    }
    wake_.notify_all();
    for (std::thread& worker : workers_) worker.join();
  }

  void Run(std::size_t count, unsigned threads, const std::function<void(std::size_t)>& body) {
    std::lock_guard<std::mutex> job(jobMutex_);
    const unsigned helpers = static_cast<unsigned>(std::min<std::size_t>(threads - 1, count - 1));
    {
      std::lock_guard<std::mutex> lock(mutex_);
      while (workers_.size() < helpers) workers_.emplace_back([this] { Work(); });
      body_ = &body;
      count_ = count;
      next_.store(0, std::memory_order_relaxed);
      openSeats_ = helpers;
      generation_.fetch_add(1, std::memory_order_release);
    }
    wake_.notify_all();
    Drain(body, count);
    // The last items may still run on a worker: wait a little actively, as
    // they take microseconds and waking from a sleep takes about as long.
    for (int spin = 0; spin < kSpins && busy_.load(std::memory_order_acquire) != 0; ++spin) Pause();
    std::unique_lock<std::mutex> lock(mutex_);
    openSeats_ = 0;  // no worker joins this job any more
    idle_.wait(lock, [this] { return busy_.load(std::memory_order_relaxed) == 0; });
    body_ = nullptr;
  }

 private:
  void Drain(const std::function<void(std::size_t)>& body, std::size_t count) {
    for (std::size_t i = next_.fetch_add(1, std::memory_order_relaxed); i < count;
         i = next_.fetch_add(1, std::memory_order_relaxed))
      body(i);
  }

  void Work() {
    std::uint64_t seen = 0;
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      if (generation_.load(std::memory_order_relaxed) == seen) {
        // Frames tend to come one after the other: look out for the next
        // job for a short while before going to sleep.
        lock.unlock();
        for (int spin = 0; spin < kSpins && generation_.load(std::memory_order_acquire) == seen; ++spin) Pause();
        lock.lock();
      }
      wake_.wait(lock, [&] { return stop_ || (generation_.load(std::memory_order_relaxed) != seen && openSeats_ > 0); });
      if (stop_) return;
      seen = generation_.load(std::memory_order_relaxed);
      --openSeats_;
      busy_.fetch_add(1, std::memory_order_relaxed);
      const std::function<void(std::size_t)>* body = body_;
      const std::size_t count = count_;
      lock.unlock();
      Drain(*body, count);
      lock.lock();
      if (busy_.fetch_sub(1, std::memory_order_acq_rel) == 1) idle_.notify_all();
    }
  }

  static void Pause() {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#else
    std::this_thread::yield();
#endif
  }

  // About a hundred microseconds of pauses.
  static constexpr int kSpins = 4000;

  std::mutex jobMutex_;
  std::mutex mutex_;
  std::condition_variable wake_, idle_;
  std::vector<std::thread> workers_;
  const std::function<void(std::size_t)>* body_ = nullptr;
  std::size_t count_ = 0;
  std::atomic<std::size_t> next_{0};
  unsigned openSeats_ = 0;
  std::atomic<unsigned> busy_{0};
  std::atomic<std::uint64_t> generation_{0};
  bool stop_ = false;
};

WorkerPool& Pool() {
  static WorkerPool pool;
  return pool;
}

}  // namespace

unsigned PackingThreads() { return packingThreads.load(std::memory_order_relaxed); }

void SetPackingThreadCount(unsigned count) {
  packingThreads.store(count == 0 ? Processors() : count, std::memory_order_relaxed);
}

void ParallelFor(std::size_t count, unsigned threads, const std::function<void(std::size_t)>& body) {
  if (count == 0) return;
  if (threads <= 1 || count == 1) {
    for (std::size_t i = 0; i < count; ++i) body(i);
    return;
  }
  Pool().Run(count, threads, body);
}

}  // namespace odv
