// The bytes of every command made from the operation table, against the
// command protocol written out here once more, independently: for each
// number, the inputs and outputs in stream order. The proxies and handlers
// are driven with arguments seeded by their position; the expected streams
// are built from the same seeds by a writer of this test's own.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <tuple>
#include <utility>

#include "support/table_double.h"

namespace keld {
namespace {

using test::LoopbackSession;
using test::TableDouble;

// ---- Driving every generic row once, noting its streams -------------------

struct Streams {
  std::string input;
  std::string output;
};

std::uint32_t SeedU32(std::uint32_t position) { return 0x10000u + position * 97; }
double SeedF64(std::uint32_t position) { return position + 0.125; }
std::uint8_t SeedU8(std::uint32_t position) { return static_cast<std::uint8_t>(position * 3 + 1); }
std::uint64_t SeedU64(std::uint32_t position) { return 0x1122334455667788ull + position; }
std::string SeedText(std::uint32_t position) { return "text argument " + std::to_string(position); }

template <typename Codec>
struct Slot;
template <typename T>
struct Slot<wire::In<T>> {
  explicit Slot(std::uint32_t position) {
    if constexpr (std::is_same_v<T, std::uint8_t>) value = SeedU8(position);
    if constexpr (std::is_same_v<T, std::uint32_t>) value = SeedU32(position);
    if constexpr (std::is_same_v<T, std::uint64_t>) value = SeedU64(position);
    if constexpr (std::is_same_v<T, double>) value = SeedF64(position);
  }
  T Get() { return value; }
  T value{};
};
template <>
struct Slot<wire::In<const char*>> {
  explicit Slot(std::uint32_t position) : text(SeedText(position)) {}
  const char* Get() { return text.c_str(); }
  std::string text;
};
template <>
struct Slot<wire::In<LightHeadRecord*>> {
  explicit Slot(std::uint32_t position) {
    record.entry.version = position;
    std::strcpy(record.entry.binaryBlob, "0A0B");
  }
  LightHeadRecord* Get() { return &record; }
  LightHeadRecord record;
};
template <typename T>
struct Slot<wire::Out<T*>> {
  explicit Slot(std::uint32_t) {}
  T* Get() { return &value; }
  T value{};
};
template <>
struct Slot<wire::InOut<std::uint32_t*>> {
  explicit Slot(std::uint32_t position) : value(SeedU32(position)) {}
  std::uint32_t* Get() { return &value; }
  std::uint32_t value;
};

template <typename... Codecs, std::size_t... Index>
std::tuple<Slot<Codecs>...> MakeSlots(std::index_sequence<Index...>) {
  return std::tuple<Slot<Codecs>...>(Slot<Codecs>(static_cast<std::uint32_t>(Index))...);
}

template <typename... Codecs, typename Call>
void Drive(int command, Call call, std::map<std::uint32_t, Streams>* seen) {
  TableDouble target;
  LoopbackSession remote(&target, 0x03020000);
  auto slots = MakeSlots<Codecs...>(std::index_sequence_for<Codecs...>{});
  const Status status = std::apply([&](auto&... slot) { return call(remote, slot.Get()...); }, slots);
  EXPECT_EQ(status, kSuccess) << "command " << command;
  (*seen)[static_cast<std::uint32_t>(command)] = {remote.lastInput, remote.lastOutput};
}

std::map<std::uint32_t, Streams> DriveAll() {
  std::map<std::uint32_t, Streams> seen;
#define KELD_LAYOUT_DRIVE(group, name, command, handle, step, target, client, ...) \
  KELD_LAYOUT_DRIVE_##client(name, command, __VA_ARGS__)
#define KELD_LAYOUT_DRIVE_GENERIC(name, command, ...)                                                      \
  Drive<KELD_CODECS(__VA_ARGS__)>(                                                                          \
      command, [](DeviceConfigSession& session, auto... arguments) -> Status { return session.name(arguments...); }, \
      &seen);
#define KELD_LAYOUT_DRIVE_Proxy(name, command, ...) KELD_LAYOUT_DRIVE_GENERIC(name, command, __VA_ARGS__)
#define KELD_LAYOUT_DRIVE_KeldProxy(name, command, ...) KELD_LAYOUT_DRIVE_GENERIC(name, command, __VA_ARGS__)
#define KELD_LAYOUT_DRIVE_ProxyCustom(...)
#define KELD_LAYOUT_DRIVE_KeldProxyCustom(...)
#define KELD_LAYOUT_DRIVE_NoProxy(...)
  KELD_DEVICE_OPERATIONS(KELD_LAYOUT_DRIVE)
  return seen;
}

// ---- The protocol, written out once more -----------------------------------

// A writer of this test's own: the machine's byte order, no padding.
class Expected {
 public:
  template <typename T>
  Expected& Raw(const T& value) {
    bytes_.append(reinterpret_cast<const char*>(&value), sizeof value);
    return *this;
  }
  Expected& Text(const std::string& text) {
    Raw(static_cast<std::uint32_t>(text.size()));
    bytes_ += text;
    return *this;
  }
  template <typename Value>
  Expected& Flat(const Value& value) {
    bytes_ += test::FlatBytes(value);
    return *this;
  }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

// What the double makes for the output at parameter position `p` (its seeds
// are 100 + position for the first operation of a double).
template <typename T>
T Made(std::uint32_t p) {
  T value{};
  test::Fill(&value, 100 + p);
  return value;
}

// One token per value on the stream: u8, u32, u64, f64, text (a seeded
// input text), then the outputs: o8, o32, of64, otext, and the lists by
// their class, each with its parameter position.
struct Item {
  const char* kind;
  std::uint32_t position;
};

std::string Build(const std::vector<Item>& items) {
  Expected e;
  for (const Item& item : items) {
    const std::string kind = item.kind;
    const std::uint32_t p = item.position;
    if (kind == "u8") e.Raw(SeedU8(p));
    else if (kind == "u32") e.Raw(SeedU32(p));
    else if (kind == "u64") e.Raw(SeedU64(p));
    else if (kind == "f64") e.Raw(SeedF64(p));
    else if (kind == "text") e.Text(SeedText(p));
    else if (kind == "head") {
      LightHeadRecord record;
      record.entry.version = p;
      std::strcpy(record.entry.binaryBlob, "0A0B");
      e.Flat(record);
    } else if (kind == "o8") e.Raw(Made<std::uint8_t>(p));
    else if (kind == "o32") e.Raw(Made<std::uint32_t>(p));
    else if (kind == "of64") e.Raw(Made<double>(p));
    else if (kind == "otext") e.Text(Made<CFGString>(p).c_str());
    else if (kind == "devices") e.Flat(Made<DeviceList>(p));
    else if (kind == "strings") e.Flat(Made<StringList>(p));
    else if (kind == "modes") e.Flat(Made<CameraVideoModeList>(p));
    else if (kind == "features") e.Flat(Made<CameraFeatureList>(p));
    else if (kind == "files") e.Flat(Made<CameraFileDataList>(p));
    else if (kind == "interfaces") e.Flat(Made<InterfaceFileDataList>(p));
    else if (kind == "cameraattributes") e.Flat(Made<CameraAttributeList>(p));
    else if (kind == "heads") e.Flat(Made<LightHeadList>(p));
    else ADD_FAILURE() << "unknown token " << kind;
  }
  return e.bytes();
}

struct Layout {
  std::uint32_t command;
  std::vector<Item> input;
  std::vector<Item> output;
};

// Inputs and outputs of the commands with plain parameters, in stream order.
// An in-out u32 goes out as u32 and comes back as o32 at its position.
const std::vector<Layout>& Layouts() {
  static const std::vector<Layout> layouts = {
      {0, {}, {{"devices", 0}}},
      {1, {}, {}},
      {2, {}, {}},
      {7, {}, {}},
      {8, {{"text", 0}}, {}},
      {9, {{"text", 0}}, {}},
      {14, {}, {}},
      {16, {}, {}},
      {17, {}, {}},
      {18, {}, {{"o32", 0}, {"o32", 1}}},
      {19, {{"u32", 0}, {"u32", 1}}, {}},
      {20, {}, {{"modes", 0}}},
      {21, {}, {{"features", 0}}},
      {22, {{"u32", 0}, {"u32", 1}, {"u32", 2}, {"u32", 3}}, {}},
      {25, {}, {{"files", 0}, {"o32", 1}}},
      {26, {}, {{"strings", 0}}},
      {27, {{"u32", 0}}, {{"interfaces", 1}}},
      {28, {{"text", 0}}, {}},
      {29, {{"text", 0}, {"u32", 1}}, {}},
      {30, {}, {{"cameraattributes", 0}}},
      {31, {{"u32", 0}, {"text", 1}, {"f64", 2}, {"u8", 3}}, {}},
      {32, {}, {{"of64", 0}, {"of64", 1}}},
      {33, {}, {{"otext", 0}}},
      {34, {}, {{"o32", 0}, {"o32", 1}}},
      {35, {{"u32", 0}}, {{"strings", 1}, {"strings", 2}}},
      {36, {{"text", 0}, {"text", 1}}, {}},
      {37, {{"u32", 0}}, {{"of64", 1}, {"of64", 2}, {"of64", 3}}},
      {38, {{"text", 0}}, {{"strings", 1}}},
      {39, {}, {{"otext", 0}}},
      {42, {{"u32", 0}}, {{"o32", 1}}},
      {43, {{"u32", 0}, {"u32", 1}, {"u32", 2}}, {}},
      {45, {}, {}},
      {46, {}, {}},
      {47,
       {{"u32", 0}, {"u32", 1}, {"u32", 2}, {"u32", 3}, {"u32", 4}, {"u32", 5}, {"u32", 6}, {"u32", 7}, {"u32", 8},
        {"u32", 9}, {"u32", 10}},
       {{"o32", 10}}},
      {48, {{"u32", 0}}, {}},
      {49, {{"f64", 0}, {"f64", 1}, {"u32", 2}, {"u32", 3}, {"u32", 4}}, {{"o32", 2}, {"o32", 3}, {"o32", 4}}},
      {50, {{"u32", 0}}, {}},
      {51, {{"u32", 0}}, {}},
      {52, {{"u32", 0}, {"u32", 1}, {"u32", 2}, {"u32", 3}}, {}},
      {53, {{"u32", 0}, {"u32", 1}, {"u32", 2}, {"u32", 3}}, {{"o32", 3}}},
      {54, {{"u32", 0}, {"u32", 1}, {"u32", 2}, {"u32", 3}}, {}},
      {55, {}, {}},
      {56, {{"u32", 0}, {"u32", 1}, {"u32", 2}, {"u32", 3}, {"u32", 4}}, {}},
      {57, {{"u32", 0}, {"u32", 1}, {"u32", 2}, {"u32", 3}}, {}},
      {58, {}, {}},
      {60, {{"u32", 0}, {"u32", 1}, {"u32", 2}, {"u32", 3}, {"u32", 4}, {"f64", 5}, {"u32", 6}}, {}},
      {61,
       {{"u32", 0}},
       {{"o32", 1}, {"o32", 2}, {"o32", 3}, {"o32", 4}, {"o32", 5}, {"of64", 6}, {"o32", 7}}},
      {62, {{"text", 0}}, {}},
      {63, {}, {{"otext", 0}}},
      {64, {}, {{"heads", 0}}},
      {65, {{"head", 0}, {"u8", 1}}, {}},
      {66, {{"head", 0}}, {}},
      {67, {{"u32", 0}}, {}},
      {68, {{"text", 0}}, {{"o8", 1}, {"o32", 2}}},
      {69, {{"text", 0}}, {}},
      {70, {{"u32", 0}, {"u32", 1}, {"u32", 2}}, {}},
      {72, {}, {}},
  };
  return layouts;
}

TEST(CommandLayout, PlainCommandsCarryTheProtocolsBytes) {
  const std::map<std::uint32_t, Streams> seen = DriveAll();
  for (const Layout& layout : Layouts()) {
    SCOPED_TRACE("command " + std::to_string(layout.command));
    const auto it = seen.find(layout.command);
    ASSERT_NE(it, seen.end());
    EXPECT_EQ(it->second.input, Build(layout.input));
    EXPECT_EQ(it->second.output, Build(layout.output));
  }
  // Every plain command has its layout here, and no layout names a command
  // that the table writes out by hand.
  EXPECT_EQ(seen.size(), Layouts().size());
}

}  // namespace
}  // namespace keld
