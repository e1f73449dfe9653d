// The test double of the command protocol, made from the operation table:
// a frame-grabber local session whose every operation notes its call, with
// the bytes of every input, in a log and answers with outputs made from a
// seed; and a remote session that carries its commands straight into such a
// session's ExecuteCommand, through copies of the streams as the wire would.
// Called once directly and once through the remote session, an operation
// must leave the same log entry and give the same results.
#pragma once

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "attributes/attribute.h"
#include "datafile/light_head_record.h"
#include "foundation/byte_stream.h"
#include "inventory/device_list.h"
#include "local/keld/local_keld_config_session.h"
#include "odvissvc/odvissvc.h"
#include "remote/remote_keld_config_session.h"
#include "session/command_codecs.h"

namespace keld::test {

// ---- Describing inputs and making outputs --------------------------------

template <typename T>
std::string BytesOfValue(const T& value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}
template <typename Flat>
std::string FlatBytes(const Flat& value) {
  ByteStream stream;
  EXPECT_EQ(value.Flatten(&stream), kSuccess);
  std::string bytes(reinterpret_cast<const char*>(stream.data), stream.size);
  stream.Reset();
  return bytes;
}

// The bytes an input stands for, as the operation received it.
template <typename T>
std::string Describe(T value) {
  if constexpr (std::is_arithmetic_v<T>) {
    return BytesOfValue(value);
  } else if constexpr (std::is_same_v<T, const char*>) {
    return value == nullptr ? std::string("<null>") : std::string(value);
  } else {
    return FlatBytes(*value);  // records by pointer
  }
}

// Fills an output from a seed, so that two calls with one seed agree.
inline void Fill(std::uint8_t* value, std::uint32_t seed) { *value = static_cast<std::uint8_t>(seed * 7 + 1); }
inline void Fill(std::uint32_t* value, std::uint32_t seed) { *value = 0xA5000000u + seed * 0x1013; }
inline void Fill(double* value, std::uint32_t seed) { *value = 1.25 + seed * 0.5; }
inline void Fill(CFGString* text, std::uint32_t seed) { *text = ("result text " + std::to_string(seed)).c_str(); }
inline void Fill(StringList* list, std::uint32_t seed) {
  list->clear();
  list->push_back(CFGString(("first " + std::to_string(seed)).c_str()));
  list->push_back(CFGString(""));
  list->push_back(CFGString("third"));
}
inline void Fill(DeviceList* list, std::uint32_t seed) {
  list->clear();
  for (std::uint32_t i = 0; i < 2; ++i) {
    Device device;
    device.name = ("img" + std::to_string(seed + i)).c_str();
    device.uniqueId = 0x0123456789ABCDEFull + seed + i;
    device.description = "a board";
    device.driverName = "driver";
    device.driverVersion = 0x03100000 + i;
    device.busType = 0x31333934;
    list->push_back(device);
  }
}
template <typename List>
void FillRecords(List* list, std::uint32_t seed) {
  list->clear();
  for (std::uint32_t i = 0; i < 2; ++i) {
    typename List::value_type record;
    auto* bytes = reinterpret_cast<std::uint8_t*>(&record);
    for (std::size_t b = 0; b < sizeof record; ++b) bytes[b] = static_cast<std::uint8_t>(seed + i * 31 + b * 13);
    list->push_back(record);
  }
}
template <typename List>
void FillCurrent(List* list, std::uint32_t seed) {
  FillRecords(list, seed);
  list->Current = seed + 3;
}
inline void Fill(CameraVideoModeList* list, std::uint32_t seed) { FillCurrent(list, seed); }
inline void Fill(CameraFeatureList* list, std::uint32_t seed) { FillRecords(list, seed); }
inline void Fill(CameraAttributeList* list, std::uint32_t seed) { FillCurrent(list, seed); }
inline void Fill(CameraFileDataList* list, std::uint32_t seed) { FillCurrent(list, seed); }
inline void Fill(InterfaceFileDataList* list, std::uint32_t seed) { FillCurrent(list, seed); }
// A sealed head (its blob travels whole) and a plain one without points.
inline void Fill(LightHeadList* list, std::uint32_t seed) {
  list->clear();
  LightHeadRecord& sealed = list->emplace_back();
  sealed.entry.version = 1.0 + seed;
  std::strcpy(sealed.entry.namePart1, "Maker");
  std::strcpy(sealed.entry.namePart2, "Ring");
  std::strcpy(sealed.entry.binaryBlob, "00A1B2C3");
  LightHeadRecord& plain = list->emplace_back();
  plain.entry.version = 2.0;
  std::strcpy(plain.entry.namePart3, "plain");
  plain.entry.maximumCurrentContinuous = 0.5;
  plain.entry.maximumDutyCycleStrobed = 0.25;
}

// The full form of an attribute, as its flat bytes.
inline std::string AttributeBytes(const Attribute& attribute) {
  ByteStream stream;
  EXPECT_EQ(attribute.Flatten(&stream, true), kSuccess);
  std::string bytes(reinterpret_cast<const char*>(stream.data), stream.size);
  stream.Reset();
  return bytes;
}

// What a codec's parameter does in the double: inputs are noted, outputs
// filled, in-out values noted and then replaced.
template <typename Codec>
struct DoubleParameter;
template <typename T>
struct DoubleParameter<wire::In<T>> {
  static void Act(std::string* entry, T value, std::uint32_t) { *entry += "|" + Describe(value); }
};
template <typename T>
struct DoubleParameter<wire::Out<T*>> {
  static void Act(std::string*, T* value, std::uint32_t seed) { Fill(value, seed); }
};
template <>
struct DoubleParameter<wire::InOut<std::uint32_t*>> {
  static void Act(std::string* entry, std::uint32_t* value, std::uint32_t seed) {
    *entry += "|" + BytesOfValue(*value);
    Fill(value, seed);
  }
};

// ---- The target ----------------------------------------------------------

class TableDouble : public LocalKELDConfigSession {
 public:
  TableDouble() : LocalKELDConfigSession("double", &constructed_) {}

  std::vector<std::string> log;
  // Seed of the outputs and status of the next operations; 0 is success.
  std::uint32_t seed = 1;
  Status answer = kSuccess;

  // Notes the call and fills the outputs; answers `answer`.
  template <typename... Codecs, typename... Args>
  Status Act(const char* name, Args... args) {
    std::string entry = name;
    std::uint32_t position = 0;
    (DoubleParameter<Codecs>::Act(&entry, args, seed * 100 + position++), ...);
    log.push_back(entry);
    return answer;
  }

#define KELD_DOUBLE_OPERATION(group, name, command, handle, step, target, client, ...) \
  KELD_DOUBLE_OPERATION_##client(name, __VA_ARGS__)
#define KELD_DOUBLE_OPERATION_GENERIC(name, ...)                                                 \
  Status name(KELD_PARAMS(__VA_ARGS__)) override {                                              \
    return Act<KELD_CODECS(__VA_ARGS__)>(#name __VA_OPT__(, ) KELD_ARGS(__VA_ARGS__));          \
  }
#define KELD_DOUBLE_OPERATION_Proxy(name, ...) KELD_DOUBLE_OPERATION_GENERIC(name, __VA_ARGS__)
#define KELD_DOUBLE_OPERATION_KeldProxy(name, ...) KELD_DOUBLE_OPERATION_GENERIC(name, __VA_ARGS__)
#define KELD_DOUBLE_OPERATION_ProxyCustom(name, ...)
#define KELD_DOUBLE_OPERATION_KeldProxyCustom(name, ...)
#define KELD_DOUBLE_OPERATION_NoProxy(name, ...)
  KELD_DEVICE_OPERATIONS(KELD_DOUBLE_OPERATION)

  // ---- The operations whose commands are written out by hand ------------

  Status ReadAttribute(Attribute* attribute) override {
    log.push_back("ReadAttribute|" + std::to_string(attribute->GetKey()));
    if (answer != kSuccess) return answer;
    // What the device holds now: a value that the client has not seen.
    if (auto* typed = dynamic_cast<TypedAttribute<AttrU32>*>(attribute)) typed->SetValue(AttrU32{seed * 1000});
    attribute->SetDirty(0);
    return kSuccess;
  }
  Status WriteAttribute(Attribute* attribute) override {
    log.push_back("WriteAttribute|" + std::to_string(attribute->GetKey()) + "|" + AttributeBytes(*attribute));
    attribute->SetDirty(0);
    return answer;
  }
  Status RefreshAttributes() override {
    log.push_back("RefreshAttributes");
    if (answer != kSuccess) return answer;
    attributes.Clear();
    for (std::uint32_t number : {0x10u, 0x20u}) {
      Attribute* attribute = nullptr;
      EXPECT_EQ(CreateAttribute(AttrU32::kTag, true, &attribute), kSuccess);
      attribute->SetKey(number);
      EXPECT_EQ(attribute->SetName(("Camera::Setting" + std::to_string(number)).c_str()), kSuccess);
      static_cast<TypedAttribute<AttrU32>*>(attribute)->SetValue(AttrU32{number + seed});
      attribute->SetDirty(0);
      attributes.Insert(attribute);
    }
    return kSuccess;
  }
  Status CommitAttributes() override {
    std::string entry = "CommitAttributes";
    for (const auto& element : attributes.ByKeyIndex()) {
      if (element->IsDirty() != 0) entry += "|" + std::to_string(element->GetKey());
    }
    log.push_back(entry);
    return answer;
  }
  Status SnapImage(std::uint32_t flags, Image* image) override {
    log.push_back("SnapImage|" + BytesOfValue(flags));
    return answer != kSuccess ? answer : Paint(image);
  }
  Status SetupGrab(std::uint32_t flags) override {
    log.push_back("SetupGrab|" + BytesOfValue(flags));
    return answer;
  }
  Status GrabImage(std::uint32_t* bufferNumber, Image* image) override {
    log.push_back("GrabImage");
    *bufferNumber = seed + 40;
    return answer != kSuccess ? answer : Paint(image);
  }
  Status ConfigureAcquisition(std::uint32_t continuous, std::uint32_t count) override {
    log.push_back("ConfigureAcquisition|" + BytesOfValue(continuous) + "|" + BytesOfValue(count));
    return answer;
  }
  Status CopyImage(std::uint32_t* bufferNumber, Image* image) override {
    log.push_back("CopyImage|" + BytesOfValue(*bufferNumber));
    *bufferNumber += 1000;
    return answer != kSuccess ? answer : Paint(image);
  }
  Status ReadU32(std::uint32_t space, std::uint32_t address, std::uint32_t count, std::uint32_t* values) override {
    log.push_back("ReadU32|" + BytesOfValue(space) + "|" + BytesOfValue(address) + "|" + BytesOfValue(count));
    for (std::uint32_t i = 0; i < count; ++i) values[i] = seed * 0x100 + i;
    return answer;
  }
  Status WriteU32(std::uint32_t space, std::uint32_t address, std::uint32_t count,
                  const std::uint32_t* values) override {
    log.push_back("WriteU32|" + BytesOfValue(space) + "|" + BytesOfValue(address) + "|" + BytesOfValue(count) + "|" +
                  std::string(reinterpret_cast<const char*>(values), count * sizeof(std::uint32_t)));
    return answer;
  }
  Status WriteBlock(std::uint64_t block, std::uint32_t first, std::uint32_t second, std::uint32_t width,
                    std::uint32_t height, const void* data) override {
    log.push_back("WriteBlock|" + BytesOfValue(block) + "|" + BytesOfValue(first) + "|" + BytesOfValue(second) + "|" +
                  BytesOfValue(width) + "|" + BytesOfValue(height) + "|" +
                  std::string(static_cast<const char*>(data), std::size_t{width} * height));
    return answer;
  }
  Status ReadBlock(std::uint64_t block, std::uint32_t first, std::uint32_t second, std::uint32_t width,
                   std::uint32_t height, void* data) override {
    log.push_back("ReadBlock|" + BytesOfValue(block) + "|" + BytesOfValue(first) + "|" + BytesOfValue(second) + "|" +
                  BytesOfValue(width) + "|" + BytesOfValue(height));
    auto* bytes = static_cast<std::uint8_t*>(data);
    for (std::size_t i = 0; bytes != nullptr && i < std::size_t{width} * height; ++i) {
      bytes[i] = static_cast<std::uint8_t>(seed + i * 3);
    }
    return answer;
  }
  Status SetAcquisitionFlags(std::uint32_t flags) override {
    log.push_back("SetAcquisitionFlags|" + BytesOfValue(flags));
    return LocalKELDConfigSession::SetAcquisitionFlags(flags) != kSuccess ? kInternalError : answer;
  }
  Status SupportsRingAcquisition(std::uint32_t imageType, std::uint32_t* supported) override {
    log.push_back("SupportsRingAcquisition|" + BytesOfValue(imageType));
    *supported = 1;
    return answer;
  }
  Status KELDSequenceSetup(std::uint32_t count, void* table, std::uint32_t first, std::uint32_t second) override {
    // The table holds `count` entries of 8 bytes; the bytes that travel are
    // its first `count`.
    log.push_back("KELDSequenceSetup|" + BytesOfValue(count) + "|" +
                  std::string(static_cast<const char*>(table), std::size_t{count} * 8) + "|" + BytesOfValue(first) +
                  "|" + BytesOfValue(second));
    return answer;
  }

  // Paints a small image that depends on the seed.
  Status Paint(Image* image) {
    if (ResizeAndCastImage(image, 5 + seed % 3, 3, 0) != 0) return kInternalError;
    return FillTestPattern(image, seed, 0, seed) == 0 ? kSuccess : kInternalError;
  }


 private:
  Status constructed_ = kSuccess;
};

// ---- The client -------------------------------------------------------------

// A remote frame-grabber session whose commands reach a TableDouble through
// copies of the streams, as over the wire. It notes the binding handle of
// every command.
class LoopbackSession : public RemoteKELDConfigSession {
 public:
  LoopbackSession(TableDouble* target, std::uint32_t targetVersion)
      : RemoteKELDConfigSession("loopback", targetVersion), target_(target) {}

  Status RunCommand(std::uint32_t command, int handle, ByteStream* input, ByteStream* output) override {
    handles[command] = handle;
    lastInput.assign(reinterpret_cast<const char*>(input->data), input->size);
    ByteStream sent;
    EXPECT_EQ(sent.AppendBytes(input->data, input->size), kSuccess);
    ByteStream reply;
    const Status status = target_->ExecuteCommand(command, &sent, &reply);
    sent.Reset();
    lastOutput.assign(reinterpret_cast<const char*>(reply.data), reply.size);
    // A failed command's output is not read; it is freed like any other.
    output->Reset();
    if (status == kSuccess) {
      EXPECT_EQ(output->AppendBytes(reply.data, reply.size), kSuccess);
    }
    reply.Reset();
    return status;
  }

  std::map<std::uint32_t, int> handles;
  std::string lastInput;
  std::string lastOutput;

 private:
  TableDouble* target_;
};

}  // namespace keld::test
