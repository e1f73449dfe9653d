// libFuzzer target for the light-head data files a directory may hold: the
// bytes as the sectioned text file, read, turned into light-head records and
// each record tested, identified and flattened; then written back and read
// again. No input may crash, leak or read out of bounds.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "datafile/light_head_data.h"
#include "datafile/sectioned_text_file.h"
#include "foundation/byte_stream.h"

namespace {

const std::string& Scratch() {
  static const std::string path = "/tmp/fuzz_light_head_" + std::to_string(getpid()) + ".ild";
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace keld;
  std::FILE* file = std::fopen(Scratch().c_str(), "wb");
  if (file == nullptr) return 0;
  std::fwrite(data, 1, size, file);
  std::fclose(file);

  LightHeadList list;
  LoadLightHeadFile(Scratch().c_str(), &list, size > 0 && (data[0] & 1) != 0 ? "a::b::c::d" : nullptr);
  for (const keld::LightHeadRecord& record : list) {
    static_cast<void>(IsValidLightHead(record.entry));
    static_cast<void>(LightHeadIdentifier(record.entry));
    ScopedByteStream stream;
    IgnoreStatus(record.Flatten(stream.get()));
  }
  if (!list.empty()) static_cast<void>(WriteLightHeadEntry(Scratch().c_str(), list.front().entry, true));

  std::int32_t status = 0;
  SectionedTextFile text(Scratch().c_str(), status);
  text.Read(status);
  double points[32][2];
  std::uint64_t count = 0;
  for (const auto& section : text.sections()) {
    for (const auto& entry : section.entries) ParsePairList(entry.value.c_str(), points, &count, status);
    count = 0;
  }
  std::remove(Scratch().c_str());
  return 0;
}
