// Feeds a peer's bytes to the target's dispatcher: the first byte is the
// command number (every number up to 79, so unknown ones too), the rest its
// input. The session behind it answers success for every operation, so that
// each handler reads all its inputs and writes all its outputs. Nothing a
// peer sends may crash the target or leak.
#include <cstdint>
#include <cstdlib>

#include "attributes/attribute.h"
#include "foundation/byte_stream.h"
#include "local/keld/local_keld_config_session.h"

namespace keld {
namespace {

class Obliging : public LocalKELDConfigSession {
 public:
  Obliging() : LocalKELDConfigSession("fuzz", &status_) {
    const std::uint32_t tags[] = {1, 2, 4, 5, 100, 101, 104};
    std::uint32_t key = 1;
    for (const std::uint32_t tag : tags) {
      Attribute* attribute = nullptr;
      if (CreateAttribute(tag, true, &attribute) != kSuccess) std::abort();
      attribute->SetKey(key++);
      attributes.Insert(attribute);
    }
  }
#define KELD_FUZZ_OBLIGE(group, name, command, handle, step, target, client, ...) \
  KELD_FUZZ_OBLIGE_##group(name, __VA_ARGS__)
#define KELD_FUZZ_OBLIGE_BODY(name, ...) \
  Status name(KELD_PARAM_TYPES(__VA_ARGS__)) override { return kSuccess; }
#define KELD_FUZZ_OBLIGE_ROOT(name, ...) KELD_FUZZ_OBLIGE_BODY(name, __VA_ARGS__)
#define KELD_FUZZ_OBLIGE_FIRST(name, ...) KELD_FUZZ_OBLIGE_BODY(name, __VA_ARGS__)
#define KELD_FUZZ_OBLIGE_LOCAL(name, ...)
#define KELD_FUZZ_OBLIGE_BASE(name, ...)
#define KELD_FUZZ_OBLIGE_OPTIONAL(name, ...) KELD_FUZZ_OBLIGE_BODY(name, __VA_ARGS__)
  KELD_DEVICE_OPERATIONS(KELD_FUZZ_OBLIGE)
  // The base copies files by the names a peer sends; here the names are the
  // fuzzer's, and no file may be made or overwritten by them.
  Status CopyFile(const char*, const char*) override { return kSuccess; }

 private:
  Status status_ = kSuccess;
};

}  // namespace
}  // namespace keld

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keld;
  if (size == 0) return 0;
  Obliging session;
  ByteStream in;
  if (in.AppendBytes(data + 1, size - 1) != kSuccess) return 0;
  ByteStream out;
  IgnoreStatus(session.ExecuteCommand(data[0] % 80, &in, &out));  // any status
  out.Reset();
  in.Reset();
  return 0;
}
