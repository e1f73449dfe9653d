// DynamicLibrary: a library loaded by its file name at first need, with its
// functions resolved by exported name through a cache. Nothing is bound at
// load time: a machine without a driver still loads this system, and the
// missing driver shows as missing functions (null).
//
// The names are the system's own (Windows) names and are mapped to this
// platform at the point of use: a file "keld.dll" is loaded as
// "libkeld.so" (a folder in front is kept), and a decorated function name
// "_Name@12" is looked up as "Name".
//
// A failed load is not remembered: every call tries again, so a library
// that becomes loadable later is picked up. Only successful look-ups enter
// the cache; a function the library lacks costs one look-up per call. The
// lock guards the cache alone; the load happens outside it, and two threads
// racing on the first use both load, which the loader's reference count
// makes harmless.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>

namespace keld {

class DynamicLibrary {
 public:
  explicit DynamicLibrary(const char* fileName);
  DynamicLibrary(const DynamicLibrary&) = delete;
  DynamicLibrary& operator=(const DynamicLibrary&) = delete;
  virtual ~DynamicLibrary();

  // The address of the named function, or null: library not loadable, name
  // null or empty, or no such function. It never says why.
  void* GetFunction(const char* functionName);

  // The function as a pointer of its declared type, or null.
  template <typename Function>
  Function* Get(const char* functionName) {
    return reinterpret_cast<Function*>(GetFunction(functionName));
  }

  const std::string& FileName() const { return name_; }

  // The file name as this platform's loader takes it.
  static std::string PlatformFileName(const std::string& fileName);
  // The function name as this platform's libraries export it.
  static std::string PlatformFunctionName(const char* functionName);

  // Unloads and takes another file name; for tests that load another build
  // of a driver. Not for use while other threads call into the library.
  void ReplaceForTesting(const char* fileName);
  // How many times the platform's look-up ran; for tests of the cache.
  std::size_t LookupsForTesting() const { return lookups_; }

 private:
  void Unload();

  std::string name_;
  std::atomic<void*> module_{nullptr};
  std::map<std::string, void*> functions_;  // byte order: case-sensitive, shorter first
  std::mutex lock_;
  std::atomic<std::size_t> lookups_{0};
};

}  // namespace keld
