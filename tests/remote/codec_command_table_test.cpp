// Every row of the operation table, driven through a remote session into
// the target's dispatcher and on into the test double, against the same
// operation called on the double directly: the double must see the same
// arguments, byte for byte, and the caller must get the same results and
// status. A failing operation's status comes through and its outputs are not
// read. Every command number the protocol knows is reached once.
#include <gtest/gtest.h>

#include <set>
#include <tuple>
#include <utility>

#include "support/table_double.h"

namespace keld {
namespace {

using test::BytesOfValue;
using test::FlatBytes;
using test::LoopbackSession;
using test::TableDouble;

constexpr Status kDriverFailure = 0xBFF60123;
constexpr std::uint32_t kNewTarget = 0x03020000;
constexpr std::uint32_t kOldTarget = 0x03010000;

// Every command number reached by any case below.
std::set<std::uint32_t>& Reached() {
  static std::set<std::uint32_t> numbers;
  return numbers;
}

template <typename T>
T MakeValue(std::uint32_t seed) {
  if constexpr (std::is_same_v<T, std::uint8_t>) return static_cast<std::uint8_t>(seed * 3 + 1);
  if constexpr (std::is_same_v<T, std::uint32_t>) return 0x10000u + seed * 97;
  if constexpr (std::is_same_v<T, std::uint64_t>) return 0x1122334455667788ull + seed;
  if constexpr (std::is_same_v<T, double>) return seed + 0.125;
}

// What the caller hands an operation for one parameter, and what it finds
// there afterwards.
template <typename Codec>
struct Argument;
template <typename T>
struct Argument<wire::In<T>> {
  explicit Argument(std::uint32_t seed) : value(MakeValue<T>(seed)) {}
  T Get() { return value; }
  std::string Result() const { return {}; }
  T value;
};
template <>
struct Argument<wire::In<const char*>> {
  explicit Argument(std::uint32_t seed) : text("text argument " + std::to_string(seed)) {}
  const char* Get() { return text.c_str(); }
  std::string Result() const { return {}; }
  std::string text;
};
template <>
struct Argument<wire::In<LightHeadRecord*>> {
  explicit Argument(std::uint32_t seed) {
    record.entry.version = seed;
    std::strcpy(record.entry.namePart1, "Maker");
    std::strcpy(record.entry.digitalSigner, "signer");
    std::strcpy(record.entry.binaryBlob, "ABCDEF");
  }
  LightHeadRecord* Get() { return &record; }
  std::string Result() const { return {}; }
  LightHeadRecord record;
};
template <typename T>
struct Argument<wire::Out<T*>> {
  explicit Argument(std::uint32_t) {}
  T* Get() { return &value; }
  std::string Result() const {
    if constexpr (std::is_arithmetic_v<T>) {
      return BytesOfValue(value);
    } else if constexpr (std::is_same_v<T, CFGString>) {
      return value.c_str();
    } else {
      return FlatBytes(value);
    }
  }
  T value{};
};
template <>
struct Argument<wire::InOut<std::uint32_t*>> {
  explicit Argument(std::uint32_t seed) : value(MakeValue<std::uint32_t>(seed)) {}
  std::uint32_t* Get() { return &value; }
  std::string Result() const { return BytesOfValue(value); }
  std::uint32_t value;
};

template <typename... Codecs, std::size_t... Index>
std::tuple<Argument<Codecs>...> MakeArguments(std::index_sequence<Index...>) {
  return std::tuple<Argument<Codecs>...>(Argument<Codecs>(static_cast<std::uint32_t>(Index) + 1)...);
}

template <typename... Codecs>
std::vector<std::string> Results(const std::tuple<Argument<Codecs>...>& arguments) {
  return std::apply([](const auto&... argument) { return std::vector<std::string>{argument.Result()...}; },
                    arguments);
}

// One operation, directly and through the wire, with one set of arguments
// each, for a succeeding and a failing double.
template <typename... Codecs, typename Call>
void RoundTrip(const char* name, int command, int handle, Call call) {
  SCOPED_TRACE(name);
  for (const Status answer : {kSuccess, kDriverFailure}) {
    TableDouble direct;
    direct.answer = answer;
    auto expected = MakeArguments<Codecs...>(std::index_sequence_for<Codecs...>{});
    const Status directStatus =
        std::apply([&](auto&... argument) { return call(direct, argument.Get()...); }, expected);

    TableDouble target;
    target.answer = answer;
    LoopbackSession remote(&target, kNewTarget);
    auto actual = MakeArguments<Codecs...>(std::index_sequence_for<Codecs...>{});
    const Status remoteStatus =
        std::apply([&](auto&... argument) { return call(remote, argument.Get()...); }, actual);

    EXPECT_EQ(remoteStatus, directStatus);
    EXPECT_EQ(remoteStatus, answer);
    EXPECT_EQ(target.log, direct.log);
    ASSERT_EQ(remote.handles.count(static_cast<std::uint32_t>(command)), 1u);
    EXPECT_EQ(remote.handles[static_cast<std::uint32_t>(command)], handle);
    Reached().insert(static_cast<std::uint32_t>(command));
    if (answer == kSuccess) {
      EXPECT_EQ(Results<Codecs...>(actual), Results<Codecs...>(expected));
    } else {
      // Nothing is read from a failed command: the outputs are as they were.
      const auto untouched = MakeArguments<Codecs...>(std::index_sequence_for<Codecs...>{});
      EXPECT_EQ(Results<Codecs...>(actual), Results<Codecs...>(untouched));
    }
  }
}

void EveryProxyRow() {
#define KELD_ROUND_TRIP(group, name, command, handle, step, target, client, ...) \
  KELD_ROUND_TRIP_##client(name, command, handle, __VA_ARGS__)
#define KELD_ROUND_TRIP_GENERIC(name, command, handle, ...)                                              \
  RoundTrip<KELD_CODECS(__VA_ARGS__)>(#name, command, handle, [](DeviceConfigSession& session,        \
                                                                 auto... arguments) -> Status {       \
    return session.name(arguments...);                                                                 \
  });
#define KELD_ROUND_TRIP_Proxy(name, command, handle, ...) KELD_ROUND_TRIP_GENERIC(name, command, handle, __VA_ARGS__)
#define KELD_ROUND_TRIP_KeldProxy(name, command, handle, ...) \
  KELD_ROUND_TRIP_GENERIC(name, command, handle, __VA_ARGS__)
#define KELD_ROUND_TRIP_ProxyCustom(...)
#define KELD_ROUND_TRIP_KeldProxyCustom(...)
#define KELD_ROUND_TRIP_NoProxy(...)
  KELD_DEVICE_OPERATIONS(KELD_ROUND_TRIP)
}

TEST(CommandTable, EveryProxyRowRoundTrips) { EveryProxyRow(); }

// ---- The rows written out by hand ------------------------------------------

// The state of one case: a double called directly and one behind the wire.
struct CustomRows {
  // Runs `call` on the double directly and through the loopback; returns both
  // statuses and leaves the logs to compare.
  template <typename Call>
  void Both(Call call, std::uint32_t targetVersion = kNewTarget) {
    remote_ = std::make_unique<LoopbackSession>(&target_, targetVersion);
    directStatus_ = call(direct_);
    remoteStatus_ = call(*remote_);
    EXPECT_EQ(remoteStatus_, directStatus_);
    EXPECT_EQ(target_.log, direct_.log);
    for (const auto& [command, handle] : remote_->handles) Reached().insert(command);
  }
  TableDouble direct_;
  TableDouble target_;
  std::unique_ptr<LoopbackSession> remote_;
  Status directStatus_ = 1;
  Status remoteStatus_ = 1;
};

// Pixels of an image as bytes, for comparing what two images hold.
std::string Pixels(Image* image) {
  CfgImage view;
  view.Attach(image);
  std::string bytes;
  for (std::uint32_t y = 0; y < view.GetHeight(); ++y) {
    void* row = nullptr;
    EXPECT_EQ(GetImagePixel(image, 0, y, &row), 0u);
    bytes.append(static_cast<const char*>(row), view.GetWidth());
  }
  bytes += "|" + std::to_string(view.GetWidth()) + "x" + std::to_string(view.GetHeight());
  return bytes;
}

struct OwnedImage {
  OwnedImage() { EXPECT_EQ(NewImage(&image, 0, 0, 0, 0), 0u); }
  ~OwnedImage() { EXPECT_EQ(DisposeImage(image), 0u); }
  Image* image = nullptr;
};

void SnapImageComesBackInBothForms(CustomRows& c) {
  for (const std::uint32_t version : {kNewTarget, kOldTarget}) {
    OwnedImage viaDirect;
    OwnedImage viaWire;
    c.remote_ = std::make_unique<LoopbackSession>(&c.target_, version);
    ASSERT_EQ(c.direct_.SnapImage(1, viaDirect.image), kSuccess);
    ASSERT_EQ(c.remote_->SnapImage(1, viaWire.image), kSuccess);
    EXPECT_EQ(Pixels(viaWire.image), Pixels(viaDirect.image));
    EXPECT_EQ(c.remote_->handles[10], 1);
    Reached().insert(10);
    // The stream form's bit is added for a new target only.
    std::uint32_t sent = 0;
    std::memcpy(&sent, c.remote_->lastInput.data(), sizeof sent);
    EXPECT_EQ(sent, version >= kImageCarrierVersionThreshold ? 9u : 1u);
  }
}

void SnapWithoutFlattenReadsNoImage(CustomRows& c) {
  OwnedImage image;
  c.Both([&](DeviceConfigSession& s) { return s.SnapImage(0, image.image); }, kOldTarget);
  EXPECT_EQ(c.remoteStatus_, kSuccess);
  EXPECT_TRUE(c.remote_->lastOutput.empty());
}

void GrabAfterSetupGrabCarriesNumberAndImage(CustomRows& c) {
  OwnedImage viaDirect;
  OwnedImage viaWire;
  c.remote_ = std::make_unique<LoopbackSession>(&c.target_, kNewTarget);
  ASSERT_EQ(c.remote_->SetupGrab(4), kSuccess);  // no thread: neither bit 0 nor 1
  EXPECT_EQ(c.remote_->acquisitionFlags.load(), 4u | 8u);
  ASSERT_EQ(c.remote_->SetAcquisitionFlags(1 | 8), kSuccess);
  EXPECT_EQ(c.target_.acquisitionFlags.load(), 9u);
  std::uint32_t number = 0;
  ASSERT_EQ(c.remote_->GrabImage(&number, viaWire.image), kSuccess);
  // The number sent is the one from before this grab: none yet.
  EXPECT_EQ(number, 0u);
  std::uint32_t directNumber = 0;
  ASSERT_EQ(c.direct_.GrabImage(&directNumber, viaDirect.image), kSuccess);
  EXPECT_EQ(Pixels(viaWire.image), Pixels(viaDirect.image));
  EXPECT_EQ(c.remote_->handles[11], 0);
  EXPECT_EQ(c.remote_->handles[12], 1);
  EXPECT_EQ(c.remote_->handles[73], 0);
  for (std::uint32_t command : {11u, 12u, 73u}) Reached().insert(command);
}

void ConfigureAcquisitionChoosesItsCommandByTheTarget(CustomRows& c) {
  LoopbackSession oldTarget(&c.target_, kOldTarget);
  oldTarget.acquisitionFlags = 0x1F;
  ASSERT_EQ(oldTarget.ConfigureAcquisition(2, 8), kSuccess);
  EXPECT_EQ(oldTarget.handles.count(13), 1u);
  EXPECT_EQ(oldTarget.lastInput.size(), 8u);
  EXPECT_EQ(oldTarget.acquisitionFlags.load(), 0x18u);  // bits 0 to 2 gone
  const std::uint32_t flagsBefore = c.target_.acquisitionFlags;
  LoopbackSession newTarget(&c.target_, kNewTarget);
  newTarget.acquisitionFlags = 0x7;
  ASSERT_EQ(newTarget.ConfigureAcquisition(2, 8), kSuccess);
  EXPECT_EQ(newTarget.handles.count(71), 1u);
  EXPECT_EQ(newTarget.lastInput.size(), 12u);
  EXPECT_EQ(newTarget.acquisitionFlags.load(), 0x8u);
  // Command 71 hands the flags to the target; 13 left them alone.
  EXPECT_EQ(flagsBefore, 0u);
  EXPECT_EQ(c.target_.acquisitionFlags.load(), 0x8u);
  EXPECT_EQ(c.target_.log.back(), "ConfigureAcquisition|" + BytesOfValue(2u) + "|" + BytesOfValue(8u));
  Reached().insert(13);
  Reached().insert(71);
}

void CopyImageReplacesTheNumber(CustomRows& c) {
  OwnedImage viaDirect;
  OwnedImage viaWire;
  std::uint32_t directNumber = 5;
  std::uint32_t wireNumber = 5;
  c.Both([&](DeviceConfigSession& s) {
    std::uint32_t* number = &s == &c.direct_ ? &directNumber : &wireNumber;
    return s.CopyImage(number, &s == &c.direct_ ? viaDirect.image : viaWire.image);
  });
  EXPECT_EQ(wireNumber, 1005u);
  EXPECT_EQ(wireNumber, directNumber);
  EXPECT_EQ(Pixels(viaWire.image), Pixels(viaDirect.image));
  EXPECT_EQ(c.remote_->handles[15], 1);
}

void RegistersTravelAsRawWords(CustomRows& c) {
  const std::uint32_t values[3] = {7, 8, 9};
  c.Both([&](DeviceConfigSession& s) { return s.WriteU32(2, 0x40, 3, values); });
  std::uint32_t direct[4] = {1, 1, 1, 1};
  std::uint32_t wire[4] = {1, 1, 1, 1};
  c.Both([&](DeviceConfigSession& s) { return s.ReadU32(2, 0x40, 3, &s == &c.direct_ ? direct : wire); });
  EXPECT_EQ(std::memcmp(direct, wire, sizeof direct), 0);
  EXPECT_EQ(wire[3], 1u);  // only `count` words are written
  // A zero count gives an empty reply and leaves the buffer alone.
  std::uint32_t untouched = 77;
  c.Both([&](DeviceConfigSession& s) { return s.ReadU32(2, 0x40, 0, &untouched); });
  EXPECT_TRUE(c.remote_->lastOutput.empty());
  EXPECT_EQ(untouched, 77u);
}

void BlocksTravelWhole(CustomRows& c) {
  const std::uint8_t data[6] = {1, 2, 3, 4, 5, 6};
  c.Both([&](DeviceConfigSession& s) { return s.WriteBlock(0x1122334455667788ull, 1, 2, 3, 2, data); });
  std::uint8_t direct[6] = {};
  std::uint8_t wire[6] = {};
  c.Both([&](DeviceConfigSession& s) { return s.ReadBlock(9, 1, 2, 1, 6, &s == &c.direct_ ? direct : wire); });
  EXPECT_EQ(std::memcmp(direct, wire, sizeof direct), 0);
  // No buffer: the reply is not copied anywhere.
  c.Both([&](DeviceConfigSession& s) { return s.ReadBlock(9, 1, 2, 1, 6, nullptr); });
  EXPECT_EQ(c.remoteStatus_, kSuccess);
}

void SequenceTableSendsCountBytes(CustomRows& c) {
  std::uint8_t table[4 * 8] = {};
  for (std::size_t i = 0; i < sizeof table; ++i) table[i] = static_cast<std::uint8_t>(i + 1);
  c.remote_ = std::make_unique<LoopbackSession>(&c.target_, kNewTarget);
  ASSERT_EQ(c.remote_->KELDSequenceSetup(4, table, 10, 20), kSuccess);
  // Four bytes of the table travel and fill the start of four zeroed entries.
  std::string expected(4 * 8, '\0');
  expected.replace(0, 4, reinterpret_cast<const char*>(table), 4);
  EXPECT_EQ(c.target_.log.back(), "KELDSequenceSetup|" + BytesOfValue(4u) + "|" + expected + "|" + BytesOfValue(10u) +
                                    "|" + BytesOfValue(20u));
  Reached().insert(44);
}

void TriggerQueryStartsFromFixedValues(CustomRows& /*unused*/) {
  // A driver that leaves the results alone: the presets come back.
  class Silent : public TableDouble {
   public:
    Status KELDSessionTriggerGet(std::uint32_t, std::uint32_t*, std::uint32_t*, std::uint32_t*, std::uint32_t*,
                                 std::uint32_t*, double*, std::uint32_t*) override {
      return kSuccess;
    }
  } silent;
  LoopbackSession remote(&silent, kNewTarget);
  std::uint32_t words[6] = {9, 9, 9, 9, 9, 9};
  double time = 9.0;
  ASSERT_EQ(remote.KELDSessionTriggerGet(3, &words[0], &words[1], &words[2], &words[3], &words[4], &time, &words[5]),
            kSuccess);
  const std::uint32_t presets[6] = {0, 0xFFFFFFFF, 0, 0, 0, 5};
  EXPECT_EQ(std::memcmp(words, presets, sizeof words), 0);
  EXPECT_EQ(time, 0.0);
  Reached().insert(61);
}

void RingSupportIsClearedAndServedByTheNetworkSessionOnly(CustomRows& c) {
  std::uint32_t supported = 5;
  c.remote_ = std::make_unique<LoopbackSession>(&c.target_, kNewTarget);
  // The frame-grabber target has no handler for it.
  EXPECT_EQ(c.remote_->SupportsRingAcquisition(0, &supported), kNotSupported);
  EXPECT_EQ(supported, 0u);
  EXPECT_EQ(c.remote_->handles.count(74), 1u);
  Reached().insert(74);
}

void AttributesMoveAsDeltasAndComeBackWhole(CustomRows& c) {
  c.remote_ = std::make_unique<LoopbackSession>(&c.target_, kNewTarget);
  ASSERT_EQ(c.target_.RefreshAttributes(), kSuccess);
  ASSERT_EQ(c.remote_->RefreshAttributes(), kSuccess);
  ASSERT_EQ(c.remote_->attributes.size(), 2u);
  Attribute* attribute = nullptr;
  ASSERT_EQ(c.remote_->FindAttributeByName("Setting16", &attribute), kSuccess);
  EXPECT_EQ(test::AttributeBytes(*attribute), test::AttributeBytes(*c.target_.attributes.FindByKey(0x10)));

  // A write sends the changed value, the marks are cleared here.
  static_cast<TypedAttribute<AttrU32>*>(attribute)->SetValue(AttrU32{4242});
  ASSERT_EQ(c.remote_->WriteAttribute(attribute), kSuccess);
  EXPECT_EQ(attribute->IsDirty(), 0u);
  EXPECT_EQ(static_cast<TypedAttribute<AttrU32>*>(c.target_.attributes.FindByKey(0x10))->GetValue().value, 4242u);

  // A read brings the device's value back clean.
  ASSERT_EQ(c.remote_->ReadAttribute(attribute), kSuccess);
  EXPECT_EQ(static_cast<TypedAttribute<AttrU32>*>(attribute)->GetValue().value, c.target_.seed * 1000);
  EXPECT_EQ(attribute->IsDirty(), 0u);

  // A commit sends the changed attributes of the map in one command; the
  // client's marks stay until the next refresh.
  Attribute* other = c.remote_->attributes.FindByKey(0x20);
  static_cast<TypedAttribute<AttrU32>*>(other)->SetValue(AttrU32{7});
  ASSERT_EQ(c.remote_->CommitAttributes(), kSuccess);
  EXPECT_EQ(c.target_.log.back(), "CommitAttributes|32");
  EXPECT_NE(other->IsDirty(), 0u);
  for (std::uint32_t command : {3u, 4u, 5u, 6u}) EXPECT_EQ(c.remote_->handles.count(command), 1u) << command;
  for (std::uint32_t command : {3u, 4u, 5u, 6u}) Reached().insert(command);
}

void ReadAttributeRefusesAReplyForAnotherAttribute(CustomRows& c) {
  c.remote_ = std::make_unique<LoopbackSession>(&c.target_, kNewTarget);
  ASSERT_EQ(c.target_.RefreshAttributes(), kSuccess);
  // The client asks for key 0x20 under the key of 0x10's type but the
  // target's attribute of that key is another type.
  Attribute* probe = nullptr;
  ASSERT_EQ(CreateAttribute(AttrF64::kTag, false, &probe), kSuccess);
  std::unique_ptr<Attribute> owned(probe);
  probe->SetKey(0x20);
  EXPECT_EQ(c.remote_->ReadAttribute(probe), kIncompatibleAttributeTypes);
}

TEST(CustomRows, SnapImageComesBackInBothForms) {
  CustomRows c;
  SnapImageComesBackInBothForms(c);
}

TEST(CustomRows, SnapWithoutFlattenReadsNoImage) {
  CustomRows c;
  SnapWithoutFlattenReadsNoImage(c);
}

TEST(CustomRows, GrabAfterSetupGrabCarriesNumberAndImage) {
  CustomRows c;
  GrabAfterSetupGrabCarriesNumberAndImage(c);
}

TEST(CustomRows, ConfigureAcquisitionChoosesItsCommandByTheTarget) {
  CustomRows c;
  ConfigureAcquisitionChoosesItsCommandByTheTarget(c);
}

TEST(CustomRows, CopyImageReplacesTheNumber) {
  CustomRows c;
  CopyImageReplacesTheNumber(c);
}

TEST(CustomRows, RegistersTravelAsRawWords) {
  CustomRows c;
  RegistersTravelAsRawWords(c);
}

TEST(CustomRows, BlocksTravelWhole) {
  CustomRows c;
  BlocksTravelWhole(c);
}

TEST(CustomRows, SequenceTableSendsCountBytes) {
  CustomRows c;
  SequenceTableSendsCountBytes(c);
}

TEST(CustomRows, TriggerQueryStartsFromFixedValues) {
  CustomRows c;
  TriggerQueryStartsFromFixedValues(c);
}

TEST(CustomRows, RingSupportIsClearedAndServedByTheNetworkSessionOnly) {
  CustomRows c;
  RingSupportIsClearedAndServedByTheNetworkSessionOnly(c);
}

TEST(CustomRows, AttributesMoveAsDeltasAndComeBackWhole) {
  CustomRows c;
  AttributesMoveAsDeltasAndComeBackWhole(c);
}

TEST(CustomRows, ReadAttributeRefusesAReplyForAnotherAttribute) {
  CustomRows c;
  ReadAttributeRefusesAReplyForAnotherAttribute(c);
}

// Every command number but the unused one is reached by the cases above.
TEST(CommandTable, EveryCommandNumberIsReached) {
  EveryProxyRow();
  {
    CustomRows c;
    SnapImageComesBackInBothForms(c);
  }
  {
    CustomRows c;
    SnapWithoutFlattenReadsNoImage(c);
  }
  {
    CustomRows c;
    GrabAfterSetupGrabCarriesNumberAndImage(c);
  }
  {
    CustomRows c;
    ConfigureAcquisitionChoosesItsCommandByTheTarget(c);
  }
  {
    CustomRows c;
    CopyImageReplacesTheNumber(c);
  }
  {
    CustomRows c;
    RegistersTravelAsRawWords(c);
  }
  {
    CustomRows c;
    BlocksTravelWhole(c);
  }
  {
    CustomRows c;
    SequenceTableSendsCountBytes(c);
  }
  {
    CustomRows c;
    TriggerQueryStartsFromFixedValues(c);
  }
  {
    CustomRows c;
    RingSupportIsClearedAndServedByTheNetworkSessionOnly(c);
  }
  {
    CustomRows c;
    AttributesMoveAsDeltasAndComeBackWhole(c);
  }
  {
    CustomRows c;
    ReadAttributeRefusesAReplyForAnotherAttribute(c);
  }
  for (std::uint32_t number = 0; number <= kLastCommand; ++number) {
    if (number == kUnusedCommand) continue;
    EXPECT_EQ(Reached().count(number), 1u) << "command " << number;
  }
}

}  // namespace
}  // namespace keld
