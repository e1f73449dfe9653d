// The runtime's counted strings and one-dimensional arrays, and the per-thread
// state that the two API families set on entry.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "odvissvc/odvissvc.h"

namespace {

thread_local std::uint32_t threadCore = 0;
thread_local void* threadContext = nullptr;
std::atomic<void*> runtimeModule{nullptr};
std::atomic<std::uint32_t> runtimeTlsIndex{0};

constexpr std::size_t kArrayHeader = offsetof(OdvArrayBlock, elements);

std::uint64_t ElementSize(const Array1D* array) { return array->elementSize == 0 ? 1 : array->elementSize; }

}  // namespace

extern "C" {

OdvStatus FM_SetString_v2(OdvStringHandle* handle, const char* text, int32_t length) {
  if (handle == nullptr || length < 0 || (text == nullptr && length != 0)) return ODV_E_ARGUMENT;
  const std::size_t bytes = offsetof(OdvString, text) + static_cast<std::size_t>(length);
  if (*handle == nullptr) {
    *handle = static_cast<OdvStringHandle>(std::calloc(1, sizeof(OdvString*)));
    if (*handle == nullptr) return ODV_E_NO_MEMORY;
  }
  auto* block = static_cast<OdvString*>(std::realloc(**handle, bytes < sizeof(OdvString) ? sizeof(OdvString) : bytes));
  if (block == nullptr) return ODV_E_NO_MEMORY;
  if (length != 0) std::memcpy(block->text, text, static_cast<std::size_t>(length));
  block->length = length;
  **handle = block;
  return ODV_SUCCESS;
}

OdvStatus FM_DisposeString(OdvStringHandle handle) {
  if (handle == nullptr) return ODV_SUCCESS;
  std::free(*handle);
  std::free(handle);
  return ODV_SUCCESS;
}

OdvStatus InitArray1D(Array1D* array, uint32_t elementSize) {
  if (array == nullptr) return ODV_E_ARGUMENT;
  std::memset(array, 0, sizeof *array);
  array->elementSize = elementSize == 0 ? 1 : elementSize;
  return ODV_SUCCESS;
}

OdvStatus ResizeArray1D(Array1D* array, uint64_t count) {
  if (array == nullptr || count > INT32_MAX) return ODV_E_ARGUMENT;
  const std::uint64_t elementSize = ElementSize(array);
  if (count > (SIZE_MAX - kArrayHeader) / elementSize) return ODV_E_NO_MEMORY;
  if (array->handle == nullptr) {
    array->handle = static_cast<OdvArrayHandle>(std::calloc(1, sizeof(OdvArrayBlock*)));
    if (array->handle == nullptr) return ODV_E_NO_MEMORY;
  }
  OdvArrayBlock* old = *array->handle;
  const std::uint64_t had = old == nullptr ? 0 : static_cast<std::uint64_t>(old->count);
  const std::size_t bytes = kArrayHeader + count * elementSize;
  auto* block = static_cast<OdvArrayBlock*>(std::realloc(old, bytes < sizeof(OdvArrayBlock) ? sizeof(OdvArrayBlock) : bytes));
  if (block == nullptr) return ODV_E_NO_MEMORY;
  if (old == nullptr) block->padding = 0;
  if (count > had) std::memset(block->elements + had * elementSize, 0, (count - had) * elementSize);
  block->count = static_cast<int32_t>(count);
  *array->handle = block;
  array->data = block->elements;
  array->size = count;
  array->capacity = count;
  return ODV_SUCCESS;
}

OdvStatus FM_GetArray1DHandle(Array1D* array, OdvArrayHandle* handle) {
  if (array == nullptr || handle == nullptr) return ODV_E_ARGUMENT;
  if (array->handle == nullptr) {
    const OdvStatus status = ResizeArray1D(array, 0);
    if (status != ODV_SUCCESS) return status;
  }
  *handle = array->handle;
  return ODV_SUCCESS;
}

OdvStatus FM_HandleToArray1D(OdvArrayHandle handle, uint32_t elementSize, Array1D* array) {
  const OdvStatus status = InitArray1D(array, elementSize);
  if (status != ODV_SUCCESS) return status;
  array->handle = handle;
  if (handle != nullptr && *handle != nullptr) {
    if ((*handle)->count < 0) return ODV_E_ARGUMENT;
    array->data = (*handle)->elements;
    array->size = static_cast<std::uint64_t>((*handle)->count);
    array->capacity = array->size;
  }
  return ODV_SUCCESS;
}

OdvStatus FM_DisposeArrayHandle(OdvArrayHandle handle) {
  if (handle == nullptr) return ODV_SUCCESS;
  std::free(*handle);
  std::free(handle);
  return ODV_SUCCESS;
}

OdvStatus SetThreadCore(uint32_t core) {
  threadCore = core;
  return ODV_SUCCESS;
}

OdvStatus FM_SetThreadCore(uint32_t core, void* context) {
  threadCore = core;
  threadContext = context;
  return ODV_SUCCESS;
}

uint32_t GetThreadCore(void) { return threadCore; }
void* GetThreadCoreContext(void) { return threadContext; }
void SetODVisSvcFMRTModule(void* module) { runtimeModule.store(module); }
void SetODVisSvcFMRTTLSIndex(uint32_t index) { runtimeTlsIndex.store(index); }
void* GetODVisSvcFMRTModule(void) { return runtimeModule.load(); }
uint32_t GetODVisSvcFMRTTLSIndex(void) { return runtimeTlsIndex.load(); }

}  // extern "C"
