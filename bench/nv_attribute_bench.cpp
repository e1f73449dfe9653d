// nv_attribute_bench: cfgGetNVAttributeValue by short name from the cache
// (cachedOnly 1) on a simulated network camera of about 500 attributes,
// beside a plain std::unordered_map<std::string, ...> lookup of the same
// names in the same run.
//
//   - map: find() of the short name in an unordered_map from short name to
//     a record of the value (type tag and bytes), and a copy of the value's
//     bytes out, as a caller's own cache of the camera's settings would do;
//   - library: cfgGetNVAttributeValue(session, shortName, 0, type, out, 1),
//     the same names in the same order, each with the type the listing gave.
//   The names cycle through every readable attribute of the camera. The
//   ratio map / library says how many map lookups one call of the library
//   costs. Each figure is the median of rounds in which both take turns.
// Run from a Release build.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <unordered_map>
#include <vector>

#include <unistd.h>

#include "keldcfgc/keldcfgc.h"
#include "keldnvsim/keldnvsim_control.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 7;
constexpr double kRoundSeconds = 0.3;
constexpr std::uint32_t kWantedAttributes = 500;
constexpr std::uint32_t kEveryVisibility = 0x8000000;
constexpr std::uint32_t kCommand = 102;

[[noreturn]] void Fail(const char* what, std::uint32_t status) {
  std::fprintf(stderr, "nv_attribute_bench: %s: 0x%08X\n", what, status);
  std::exit(1);
}

void Check(const char* what, std::int32_t status) {
  if (status != 0) Fail(what, static_cast<std::uint32_t>(status));
}

std::string Description(std::uint32_t extra) {
  return R"({ "cameras": [ { "interface": "bench", "serial": "0x00A1B000000B0001", "vendor": "Orvane Devices",
                             "model": "OD GC-640M", "interface_type": "network", "width": 64, "height": 48,
                             "extra_attributes": )" +
         std::to_string(extra) + " } ] }";
}

// A fresh simulated driver with one camera of `extra` generated attributes
// beside its own, opened; the camera's listing in *list.
std::uint32_t OpenCamera(std::uint32_t extra, const std::string& folder, std::vector<KELDcfgAttrInfo>* list) {
  Check("reset the driver", static_cast<std::int32_t>(keldnvsimResetWith(Description(extra).c_str(), folder.c_str())));
  Check("list the cameras", cfgRefreshCameras2(nullptr, 2));
  std::uint32_t session = 0;
  Check("open the camera", cfgOpenCamera3(nullptr, 2, "bench", 0, 0, 0, &session));
  std::uint32_t count = 0;
  Check("count the attributes", cfgGetNVAttributesInfo2(session, nullptr, &count, kEveryVisibility, 0));
  list->assign(count, KELDcfgAttrInfo{});
  Check("list the attributes", cfgGetNVAttributesInfo2(session, list->data(), &count, kEveryVisibility, 1));
  list->resize(count);
  return session;
}

// Calls per second of `body(i)` for i = 0, 1, 2 ... over kRoundSeconds.
template <typename Body>
double CallsPerSecond(Body body) {
  std::size_t calls = 0;
  const Clock::time_point start = Clock::now();
  Clock::time_point now = start;
  do {
    for (int i = 0; i < 256; ++i) body(calls++);
    now = Clock::now();
  } while (now - start < std::chrono::duration<double>(kRoundSeconds));
  return static_cast<double>(calls) / std::chrono::duration<double>(now - start).count();
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// The value of an attribute as a caller's own cache keeps it.
struct CachedValue {
  std::uint32_t type = 0;
  std::uint32_t size = 0;
  std::array<unsigned char, 520> bytes{};
};

}  // namespace

int main() {
  const std::string folder = (std::filesystem::temp_directory_path() /
                              ("nv_attribute_bench-" + std::to_string(getpid()))).string();

  // The camera's own attributes first, then as many generated ones as make
  // the whole about 500.
  std::vector<KELDcfgAttrInfo> list;
  std::uint32_t session = OpenCamera(0, folder, &list);
  const auto own = static_cast<std::uint32_t>(list.size());
  Check("close", cfgClose(session));
  session = OpenCamera(kWantedAttributes > own ? kWantedAttributes - own : 0, folder, &list);

  // Every readable attribute but the commands, by its short name; its value
  // read once so that the map holds the same bytes.
  std::vector<std::string> names;
  std::vector<std::uint32_t> types;
  std::unordered_map<std::string, CachedValue> map;
  for (const KELDcfgAttrInfo& info : list) {
    if (info.Readable == 0 || info.Type == kCommand) continue;
    const std::string full = info.Name;
    const std::size_t cut = full.rfind("::");
    const std::string shortName = cut == std::string::npos ? full : full.substr(cut + 2);
    CachedValue value;
    value.type = info.Type;
    Check(full.c_str(), cfgGetNVAttributeValue(session, shortName.c_str(), 0, info.Type, value.bytes.data(), 1));
    value.size = info.Type == 5 ? static_cast<std::uint32_t>(std::strlen(reinterpret_cast<char*>(value.bytes.data())) + 1)
                 : info.Type == 100 ? 520u
                 : info.Type == 101 ? 1u
                 : info.Type == 1   ? 4u
                                    : 8u;
    if (!map.emplace(shortName, value).second) continue;  // a short name twice: the first holds
    names.push_back(shortName);
    types.push_back(info.Type);
  }

  std::array<unsigned char, 4096> out{};
  std::uint64_t failures = 0;
  const auto library = [&](std::size_t i) {
    const std::size_t at = i % names.size();
    if (cfgGetNVAttributeValue(session, names[at].c_str(), 0, types[at], out.data(), 1) != 0) ++failures;
  };
  std::uint64_t misses = 0;
  const auto plain = [&](std::size_t i) {
    const auto found = map.find(names[i % names.size()]);
    if (found == map.end()) {
      ++misses;
      return;
    }
    std::memcpy(out.data(), found->second.bytes.data(), found->second.size);
  };

  std::vector<double> mapRates;
  std::vector<double> libraryRates;
  for (int round = 0; round < kRounds; ++round) {
    mapRates.push_back(CallsPerSecond(plain));
    libraryRates.push_back(CallsPerSecond(library));
  }
  Check("close", cfgClose(session));
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  if (failures != 0 || misses != 0) {
    std::fprintf(stderr, "nv_attribute_bench: %llu library calls failed, %llu map look-ups missed\n",
                 static_cast<unsigned long long>(failures), static_cast<unsigned long long>(misses));
    return 1;
  }

  const double mapRate = Median(mapRates);
  const double libraryRate = Median(libraryRates);
  std::printf("camera of %zu attributes (all visibilities), %zu names looked up in turn, median of %d rounds\n",
              list.size(), names.size(), kRounds);
  std::printf("  std::unordered_map<std::string> find + copy: %12.0f lookups/s\n", mapRate);
  std::printf("  cfgGetNVAttributeValue, short name, cached:  %12.0f calls/s\n", libraryRate);
  std::printf("  ratio map / library: %.1f (one library call costs that many map lookups)\n", mapRate / libraryRate);
  return 0;
}
