// Allocation failures are part of what the tests provoke, so the sanitizers
// are told to let a failed allocation return null instead of aborting.
extern "C" {
__attribute__((visibility("default"), used)) const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
__attribute__((visibility("default"), used)) const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}
}
