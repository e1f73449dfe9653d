// Threads that share the work of packing or unpacking one image. The pool
// starts its workers on first use and keeps them until the library unloads;
// a job hands out item numbers from one counter, and the calling thread works
// on the job too, so a job on one thread runs without any hand-over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace odv {

// Threads that pack and unpack one image (SetPackingThreads), at least 1.
unsigned PackingThreads();
// Sets it; 0 means one thread per processor.
void SetPackingThreadCount(unsigned count);

// Calls body(i) for every i below count, on up to `threads` threads, the
// caller's included, and returns when all calls have returned. One job runs
// at a time; a caller arriving meanwhile waits.
void ParallelFor(std::size_t count, unsigned threads, const std::function<void(std::size_t)>& body);

}  // namespace odv
