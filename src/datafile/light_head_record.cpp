#include "datafile/light_head_record.h"

#include "foundation/byte_stream.h"

namespace keld {

namespace {

constexpr std::uint32_t kMaximumPoints = 32;

// Fewest bytes a record can take on the stream: version, the text arrays,
// the blob mark, then the limits and an empty point count.
constexpr std::uint64_t kSmallestRecord = sizeof(double) + 64 + 64 + 32 + 32 + 64 + 1024 + 64 + 1024 + 64 + 1024 +
                                          1 + sizeof(std::uint32_t) + 2 * sizeof(double) + sizeof(std::uint32_t);

// The text arrays, in stream order.
template <typename Entry, typename Visit>
Status EachArray(Entry& e, Visit visit) {
  Status status = kSuccess;
  const auto step = [&](auto& array) {
    if (status == kSuccess) status = visit(array, sizeof array);
  };
  step(e.namePart1);
  step(e.namePart2);
  step(e.namePart3);
  step(e.namePart4);
  step(e.signerName);
  step(e.signerPublicKey);
  step(e.masterSignerName);
  step(e.keyStoreSignature);
  step(e.digitalSigner);
  step(e.digitalSignature);
  return status;
}

}  // namespace

Status LightHeadRecord::Flatten(ByteStream* stream) const {
  Status status = stream->AppendF64(entry.version);
  if (status == kSuccess) {
    status = EachArray(entry, [&](const char* array, std::size_t size) { return stream->AppendBytes(array, size); });
  }
  const bool sealed = entry.binaryBlob[0] != 0;
  if (status == kSuccess) status = stream->AppendU8(sealed ? 1 : 0);
  if (status != kSuccess) return status;
  if (sealed) return stream->AppendBytes(entry.binaryBlob, sizeof entry.binaryBlob);
  if (entry.algorithm != 0) return kSessionNotConfigured;
  status = stream->AppendU32(entry.algorithm);
  if (status == kSuccess) status = stream->AppendF64(entry.maximumCurrentContinuous);
  if (status == kSuccess) status = stream->AppendF64(entry.maximumDutyCycleStrobed);
  const std::uint64_t count = entry.curvePointCount < kMaximumPoints ? entry.curvePointCount : kMaximumPoints;
  if (status == kSuccess) status = stream->AppendU64(count);
  for (std::uint64_t i = 0; i < count && status == kSuccess; ++i) {
    status = stream->AppendF64(entry.curvePoints[i][0]);
    if (status == kSuccess) status = stream->AppendF64(entry.curvePoints[i][1]);
  }
  return status;
}

Status LightHeadRecord::Unflatten(ByteStream* stream) {
  Status status = stream->ReadF64(&entry.version);
  if (status == kSuccess) {
    status = EachArray(entry, [&](char* array, std::size_t size) { return stream->ReadBytes(array, size); });
  }
  std::uint8_t sealed = 0;
  if (status == kSuccess) status = stream->ReadU8(&sealed);
  if (status != kSuccess) return status;
  if (sealed != 0) return stream->ReadBytes(entry.binaryBlob, sizeof entry.binaryBlob);
  entry.binaryBlob[0] = 0;
  status = stream->ReadU32(&entry.algorithm);
  if (status == kSuccess) status = stream->ReadF64(&entry.maximumCurrentContinuous);
  if (status == kSuccess) status = stream->ReadF64(&entry.maximumDutyCycleStrobed);
  // Four bytes, where the writer put eight: see the header.
  std::uint32_t count = 0;
  if (status == kSuccess) status = stream->ReadU32(&count);
  if (status != kSuccess) return status;
  if (count > kMaximumPoints) return kSessionNotConfigured;
  entry.curvePointCount = count;
  for (std::uint32_t i = 0; i < count && status == kSuccess; ++i) {
    status = stream->ReadF64(&entry.curvePoints[i][0]);
    if (status == kSuccess) status = stream->ReadF64(&entry.curvePoints[i][1]);
  }
  return status;
}

Status LightHeadList::Flatten(ByteStream* stream) const {
  Status status = stream->AppendU32(static_cast<std::uint32_t>(size()));
  for (const LightHeadRecord& record : *this) {
    if (status != kSuccess) break;
    status = record.Flatten(stream);
  }
  return status;
}

Status LightHeadList::Unflatten(ByteStream* stream) {
  clear();
  std::uint32_t count = 0;
  const Status status = stream->ReadU32(&count);
  if (status != kSuccess) return status;
  if (stream->Remaining() / kSmallestRecord < count) return kByteStreamLoadFailed;
  for (std::uint32_t i = 0; i < count; ++i) {
    LightHeadRecord& record = emplace_back();
    const Status read = record.Unflatten(stream);
    if (read != kSuccess) {
      pop_back();
      return read;
    }
  }
  return kSuccess;
}

}  // namespace keld
