#include "platform/dynamic_library.h"

#include <dlfcn.h>

#include <cstring>

namespace keld {

namespace {

bool EndsWithIgnoringCase(const std::string& text, const char* suffix) {
  const std::size_t length = std::strlen(suffix);
  if (text.size() < length) return false;
  for (std::size_t i = 0; i < length; ++i) {
    const char a = text[text.size() - length + i];
    const char b = suffix[i];
    if ((a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) != b) return false;
  }
  return true;
}

}  // namespace

DynamicLibrary::DynamicLibrary(const char* fileName) : name_(fileName != nullptr ? fileName : "") {}

DynamicLibrary::~DynamicLibrary() { Unload(); }

std::string DynamicLibrary::PlatformFileName(const std::string& fileName) {
  // The folder separators of the system's texts become this platform's.
  std::string path = fileName;
  for (char& c : path) {
    if (c == '\\') c = '/';
  }
  if (!EndsWithIgnoringCase(path, ".dll")) return path;
  path.resize(path.size() - 4);
  const std::size_t slash = path.rfind('/');
  const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
  path.insert(start, "lib");
  return path + ".so";
}

std::string DynamicLibrary::PlatformFunctionName(const char* functionName) {
  // "_Name@12": the calling convention's decoration, which this platform's
  // libraries do not carry.
  std::string name = functionName;
  const std::size_t at = name.rfind('@');
  if (name.size() > 1 && name[0] == '_' && at != std::string::npos && at > 1 && at + 1 < name.size()) {
    bool digits = true;
    for (std::size_t i = at + 1; i < name.size(); ++i) digits = digits && name[i] >= '0' && name[i] <= '9';
    if (digits) name = name.substr(1, at - 1);
  }
  return name;
}

void* DynamicLibrary::GetFunction(const char* functionName) {
  if (module_.load() == nullptr) {
    void* loaded = dlopen(PlatformFileName(name_).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (loaded != nullptr) {
      void* expected = nullptr;
      // Of two threads that loaded at once, the later keeps its handle in
      // the loader's count only; the module is the same.
      if (!module_.compare_exchange_strong(expected, loaded)) dlclose(loaded);
    }
  }
  void* module = module_.load();
  if (module == nullptr || functionName == nullptr || functionName[0] == 0) return nullptr;
  std::lock_guard<std::mutex> guard(lock_);
  const auto found = functions_.find(functionName);
  if (found != functions_.end()) return found->second;
  ++lookups_;
  void* address = dlsym(module, PlatformFunctionName(functionName).c_str());
  if (address == nullptr) return nullptr;
  try {
    functions_.emplace(functionName, address);
  } catch (...) {
    // Only the cache entry is lost; the address is good.
  }
  return address;
}

void DynamicLibrary::ReplaceForTesting(const char* fileName) {
  Unload();
  std::lock_guard<std::mutex> guard(lock_);
  functions_.clear();
  name_ = fileName != nullptr ? fileName : "";
}

void DynamicLibrary::Unload() {
  void* module = module_.exchange(nullptr);
  if (module != nullptr) dlclose(module);
}

}  // namespace keld
