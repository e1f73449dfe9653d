// Frames that run one device operation each: acquisition, registers, files,
// the update checks and the frame-grabber's rings, triggers, pulses and
// lighting. Where a frame tests pointers, it does so before the session is
// looked up.
#include <strings.h>

#include <algorithm>
#include <string>

#include "attributes/attribute.h"
#include "capi/frames.h"
#include "datafile/light_head_data.h"

namespace keld::frames {

namespace {

// The string attribute that names the light head a session uses.
constexpr std::uint32_t kLightHeadInUseAttribute = 0x3FF6057B;

bool AnyNull() { return false; }
template <typename First, typename... Rest>
bool AnyNull(const First* first, const Rest*... rest) {
  return first == nullptr || AnyNull(rest...);
}

}  // namespace

// ---- Acquisition and registers --------------------------------------------

Status SnapImage(std::uint32_t id, std::uint32_t flags, Image* image) {
  return Run(id, &DeviceConfigSession::SnapImage, flags, image);
}

Status SetupGrab(std::uint32_t id, std::uint32_t flags) { return Run(id, &DeviceConfigSession::SetupGrab, flags); }

Status GrabImage(std::uint32_t id, std::uint32_t* bufferNumber, Image* image) {
  if (AnyNull(bufferNumber, image)) return kBadPointer;
  return Run(id, &DeviceConfigSession::GrabImage, bufferNumber, image);
}

Status ConfigureAcquisition(std::uint32_t id, std::uint32_t continuous, std::uint32_t bufferCount) {
  return Run(id, &DeviceConfigSession::ConfigureAcquisition, continuous, bufferCount);
}

Status StartAcquisition(std::uint32_t id) { return Run(id, &DeviceConfigSession::StartAcquisition); }

Status CopyImage(std::uint32_t id, std::uint32_t* bufferNumber, Image* image) {
  if (AnyNull(bufferNumber, image)) return kBadPointer;
  return Run(id, &DeviceConfigSession::CopyImage, bufferNumber, image);
}

Status StopAcquisition(std::uint32_t id) { return Run(id, &DeviceConfigSession::StopAcquisition); }

Status UnconfigureAcquisition(std::uint32_t id) { return Run(id, &DeviceConfigSession::UnconfigureAcquisition); }

Status GetImageCompression(std::uint32_t id, std::uint32_t* type, std::uint32_t* quality) {
  if (AnyNull(type, quality)) return kBadPointer;
  return Run(id, &DeviceConfigSession::GetImageCompression, type, quality);
}

Status SetImageCompression(std::uint32_t id, std::uint32_t type, std::uint32_t quality) {
  return Run(id, &DeviceConfigSession::SetImageCompression, type, quality);
}

Status SetAcquisitionFlags(std::uint32_t id, std::uint32_t flags) {
  return Run(id, &DeviceConfigSession::SetAcquisitionFlags, flags);
}

Status SupportsRingAcquisition(std::uint32_t id, std::uint32_t imageType, std::uint32_t* supported) {
  if (supported == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::SupportsRingAcquisition, imageType, supported);
}

Status ConfigureTrigger(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                        std::uint32_t fourth) {
  return Run(id, &DeviceConfigSession::ConfigureTrigger, first, second, third, fourth);
}

Status ReadU32(std::uint32_t id, std::uint32_t space, std::uint32_t address, std::uint32_t count,
               std::uint32_t* values) {
  return Run(id, &DeviceConfigSession::ReadU32, space, address, count, values);
}

Status WriteU32(std::uint32_t id, std::uint32_t space, std::uint32_t address, std::uint32_t count,
                const std::uint32_t* values) {
  return Run(id, &DeviceConfigSession::WriteU32, space, address, count, values);
}

Status CalculateBayerGains(std::uint32_t id, std::uint32_t selector, double* red, double* green, double* blue) {
  if (AnyNull(red, green, blue)) return kBadPointer;
  return Run(id, &DeviceConfigSession::CalculateBayerGains, selector, red, green, blue);
}

Status CalculateBayerColorLUT(std::uint32_t id) { return Run(id, &DeviceConfigSession::CalculateBayerColorLUT); }

// ---- Camera, interface and data files -------------------------------------

Status RefreshCameraFileDataList(std::uint32_t id, std::uint32_t* count, std::uint32_t* current) {
  return Run(id, &DeviceConfigSession::RefreshCameraFileDataList, count, current);
}

Status RefreshReferenceCameraFileList(std::uint32_t id, std::uint32_t* count) {
  return Run(id, &DeviceConfigSession::RefreshReferenceCameraFileList, count);
}

Status RefreshInterfaceFileDataList(std::uint32_t id, std::uint32_t index, std::uint32_t* count) {
  return Run(id, &DeviceConfigSession::RefreshInterfaceFileDataList, index, count);
}

Status GetCameraFileData(std::uint32_t id, std::uint32_t index, CameraFileData* data) {
  if (data == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::GetCameraFileData, index, data);
}

Status GetReferenceCameraFileName(std::uint32_t id, std::uint32_t index, CFGString* name) {
  return Run(id, &DeviceConfigSession::GetReferenceCameraFileName, index, name);
}

Status GetInterfaceFileData(std::uint32_t id, std::uint32_t index, InterfaceFileData* data) {
  return Run(id, &DeviceConfigSession::GetInterfaceFileData, index, data);
}

Status RefreshCameraAttributeList(std::uint32_t id, std::uint32_t* count) {
  if (count == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::RefreshCameraAttributeList, count);
}

Status GetCameraAttribute(std::uint32_t id, std::uint32_t index, CameraAttribute* data) {
  if (data == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::GetCameraAttribute, index, data);
}

Status SetCameraAttribute(std::uint32_t id, std::uint32_t key, const char* text, double number,
                          std::uint8_t useDefault) {
  if (text == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::SetCameraAttribute, key, text, number, useDefault);
}

Status AutoExposure(std::uint32_t id, double* first, double* second) {
  if (AnyNull(first, second)) return kBadPointer;
  return Run(id, &DeviceConfigSession::AutoExposure, first, second);
}

Status GetDataFilePath(std::uint32_t id, CFGString* path) {
  return Run(id, &DeviceConfigSession::GetDataFilePath, path);
}

Status ChangeInterfaceFile(std::uint32_t id, const char* path) {
  if (path == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::ChangeInterfaceFile, path);
}

Status WriteInterfaceFile(std::uint32_t id, const char* path, std::uint32_t flag) {
  if (path == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::WriteInterfaceFile, path, flag);
}

Status CopyFile(std::uint32_t id, const char* source, const char* destination) {
  return Run(id, &DeviceConfigSession::CopyFile, source, destination);
}

Status RefreshAcqUnitCameraFileList(std::uint32_t id, const char* unit, std::uint32_t* count) {
  return Run(id, &DeviceConfigSession::RefreshAcqUnitCameraFileList, unit, count);
}

Status GetAcqUnitCameraFileName(std::uint32_t id, std::uint32_t index, CFGString* name) {
  return Run(id, &DeviceConfigSession::GetAcqUnitCameraFileName, index, name);
}

Status GetSerialErrorText(std::uint32_t id, CFGString* text) {
  return Run(id, &DeviceConfigSession::GetSerialErrorText, text);
}

Status RenameInterface(std::uint32_t id, const char* name) {
  if (name == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::RenameInterface, name);
}

// A null list asks for the size alone; the size is always needed.
Status GetKELDCameraFileList(std::uint32_t id, char* list, std::uint32_t* size) {
  if (size == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::GetKELDCameraFileList, list, size);
}

Status GetKELDCameraFilename(std::uint32_t id, char* name, std::uint32_t size) {
  if (name == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::GetKELDCameraFilename, name, size);
}

Status ChangeKELDCameraFile(std::uint32_t id, const char* name) {
  if (name == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::ChangeKELDCameraFile, name);
}

Status CopyKELDCameraFile(std::uint32_t id, const char* name) {
  if (name == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::CopyKELDCameraFile, name);
}

// ---- Firmware updates ---------------------------------------------------------
// The reading and unpacking of update files is not part of the library
// yet: the three file-based frames keep their argument tests and session
// look-ups, and answer 0xBFFF8011 where they would read the file.

Status GetUpdateFileHeaderInfo(const char* /*path*/, std::uint32_t* count, std::uint8_t* /*header*/) {
  if (count == nullptr) return kBadPointer;
  return kNotSupported;
}

Status WriteUpdateFileChunk(std::uint32_t id, std::uint32_t /*blockHigh*/, std::uint32_t /*blockLow*/,
                            const char* /*path*/, std::uint32_t /*offset*/, std::uint32_t /*length*/) {
  // A failed look-up is remembered and wins over what the file gives.
  return OnDeviceSession(id, [](DeviceConfigSession&) { return kNotSupported; });
}

Status VerifyUpdate(std::uint32_t id, std::uint32_t /*blockHigh*/, std::uint32_t /*blockLow*/, const char* /*path*/,
                    std::uint32_t* matches) {
  if (matches == nullptr) return kBadPointer;
  *matches = 0;
  return OnDeviceSession(id, [](DeviceConfigSession&) { return kNotSupported; });
}

Status IsFPGAClassNumSupported(std::uint32_t id, std::uint32_t classNumber, std::uint32_t* supported) {
  if (supported == nullptr) return kBadPointer;
  *supported = 0;
  return Run(id, &DeviceConfigSession::IsFPGAClassNumSupported, classNumber, supported);
}

// ---- Frame-grabber rings, sequences, triggers, pulses and lighting --------

Status KELDRingSetup(std::uint32_t id, std::uint32_t bufferCount, std::uint32_t first, std::uint32_t second) {
  return Run(id, &DeviceConfigSession::KELDRingSetup, bufferCount, first, second);
}

Status KELDSequenceSetup(std::uint32_t id, std::uint32_t count, void* table, std::uint32_t first,
                         std::uint32_t second) {
  if (table == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::KELDSequenceSetup, count, table, first, second);
}

Status KELDSessionStartAcquisition(std::uint32_t id) {
  return Run(id, &DeviceConfigSession::KELDSessionStartAcquisition);
}

Status KELDSessionStopAcquisition(std::uint32_t id) { return Run(id, &DeviceConfigSession::KELDSessionStopAcquisition); }

Status KELDPulseCreate2(std::uint32_t id, const std::uint32_t (&a)[10], std::uint32_t* pulse) {
  if (pulse == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::KELDPulseCreate2, a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8], a[9],
             pulse);
}

Status KELDPulseDispose(std::uint32_t id, std::uint32_t pulse) {
  return Run(id, &DeviceConfigSession::KELDPulseDispose, pulse);
}

Status KELDPulseRate(std::uint32_t id, double delay, double width, std::uint32_t* first, std::uint32_t* second,
                     std::uint32_t* third) {
  if (AnyNull(first, second, third)) return kBadPointer;
  return Run(id, &DeviceConfigSession::KELDPulseRate, delay, width, first, second, third);
}

Status KELDPulseStart(std::uint32_t id, std::uint32_t pulse) {
  return Run(id, &DeviceConfigSession::KELDPulseStart, pulse);
}

Status KELDPulseStop(std::uint32_t id, std::uint32_t pulse) { return Run(id, &DeviceConfigSession::KELDPulseStop, pulse); }

Status KELDPulseSetDutyCycle(std::uint32_t id, std::uint32_t pulse, std::uint32_t first, std::uint32_t second) {
  return Run(id, &DeviceConfigSession::KELDPulseSetDutyCycle, pulse, first, second);
}

Status KELDSessionTriggerDrive2(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                std::uint32_t fourth) {
  return Run(id, &DeviceConfigSession::KELDSessionTriggerDrive2, first, second, third, fourth);
}

Status KELDSessionTriggerRead2(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                               std::uint32_t* value) {
  if (value == nullptr) return kBadPointer;
  return Run(id, &DeviceConfigSession::KELDSessionTriggerRead2, first, second, third, value);
}

Status KELDSessionTriggerRoute2(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                std::uint32_t fourth) {
  return Run(id, &DeviceConfigSession::KELDSessionTriggerRoute2, first, second, third, fourth);
}

Status KELDSessionTriggerClear(std::uint32_t id) { return Run(id, &DeviceConfigSession::KELDSessionTriggerClear); }

Status KELDSessionTriggerConfigure2(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                    std::uint32_t fourth, std::uint32_t fifth) {
  return Run(id, &DeviceConfigSession::KELDSessionTriggerConfigure2, first, second, third, fourth, fifth);
}

Status KELDSessionLineTrigSource2(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                  std::uint32_t fourth) {
  return Run(id, &DeviceConfigSession::KELDSessionLineTrigSource2, first, second, third, fourth);
}

Status KELDEncoderResetPosition(std::uint32_t id) { return Run(id, &DeviceConfigSession::KELDEncoderResetPosition); }

Status KELDSessionTriggerConfigure3(std::uint32_t id, std::uint32_t first, std::uint32_t second, std::uint32_t third,
                                    std::uint32_t fourth, std::uint32_t fifth, double time, std::uint32_t sixth) {
  return Run(id, &DeviceConfigSession::KELDSessionTriggerConfigure3, first, second, third, fourth, fifth, time,
             sixth);
}

Status KELDSessionTriggerGet(std::uint32_t id, std::uint32_t trigger, std::uint32_t* first, std::uint32_t* second,
                             std::uint32_t* third, std::uint32_t* fourth, std::uint32_t* fifth, double* time,
                             std::uint32_t* sixth) {
  if (AnyNull(first, second, third, fourth, fifth, time, sixth)) return kBadPointer;
  return Run(id, &DeviceConfigSession::KELDSessionTriggerGet, trigger, first, second, third, fourth, fifth, time,
             sixth);
}

// The light heads a tool sees: those of the local directory and those of
// the session's target, each marked as on the target, in use (the head the
// session names) and valid. A target's head replaces a local one of the
// same head where it is valid and not older, or where the local one is not
// valid; a newer local head that is in use and valid goes to the target.
Status KELDEnumerateLightHeads(std::uint32_t id, const char* directory, LightHeadList* heads) {
  if (directory == nullptr) return kBadPointer;
  return OnDeviceSession(id, [&](DeviceConfigSession& session) {
    heads->clear();
    LightHeadList target;
    if (session.IsRemote()) {
      const Status status = session.KELDEnumerateLightHeads(&target);
      if (status != kSuccess) return status;
    }
    LightHeadList files;
    if (directory[0] != 0) LoadLightHeadDirectory(directory, &files, nullptr);
    std::string inUse;
    Attribute* named = nullptr;
    if (session.FindAttributeByKey(kLightHeadInUseAttribute, &named) == kSuccess &&
        named->GetType() == AttrString::kTag && session.ReadAttribute(named) == kSuccess) {
      inUse = static_cast<TypedAttribute<AttrString>*>(named)->GetValue().c_str();
    }
    const auto mark = [&](LightHeadRecord* record, std::uint8_t onTarget) {
      record->onTarget = onTarget;
      record->inUse = strcasecmp(LightHeadIdentifier(record->entry).c_str(), inUse.c_str()) == 0 ? 1 : 0;
      record->valid = IsValidLightHead(record->entry) ? 1 : 0;
    };
    for (LightHeadRecord& record : files) {
      mark(&record, 0);
      heads->push_back(record);
    }
    for (LightHeadRecord& record : target) {
      mark(&record, 1);
      const auto local = std::find_if(heads->begin(), heads->end(), [&](const LightHeadRecord& candidate) {
        return candidate.onTarget == 0 && SameLightHead(candidate.entry, record.entry);
      });
      if (local == heads->end()) {
        heads->push_back(record);
      } else if (record.valid != 0 && (record.entry.version >= local->entry.version || local->valid == 0)) {
        *local = record;
      } else if (local->inUse != 0 && local->valid != 0) {
        local->onTarget = 1;
        IgnoreStatus(session.KELDDeployLightHeadData(&*local, 1));  // the merged list stands either way
      }
    }
    return kSuccess;
  });
}

Status KELDDeployLightHeadData(std::uint32_t id, const ::LightHeadRecord* data, std::uint8_t checkLimits) {
  if (data == nullptr) return kBadPointer;
  LightHeadRecord record(*data);
  return Run(id, &DeviceConfigSession::KELDDeployLightHeadData, &record, checkLimits);
}

Status KELDLoadLightingLimits(std::uint32_t id, const ::LightHeadRecord* data) {
  if (data == nullptr) return kBadPointer;
  LightHeadRecord record(*data);
  return Run(id, &DeviceConfigSession::KELDLoadLightingLimits, &record);
}

}  // namespace keld::frames
