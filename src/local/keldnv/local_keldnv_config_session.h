// LocalKELDNVConfigSession: a session on a camera of the network and USB
// driver, served in this process. The driver's public functions are close to
// the session's own operations, so most operations are one driver call. What
// sets this session apart is that its attributes have names, with "::"
// paths that make up a tree; the driver answers each property of an
// attribute in a call of its own; and what it can answer depends on the
// driver's version word:
//
//   from 0x03010000  the representation of an attribute is read
//   from 0x03100000  its description and display name are read
//   from 0x03900008  attributes are listed by KELDnvEnumerateAttributes3
//                    (before: KELDnvEnumerateAttributes2)
//   from 0x04400000  driver names come from KELDnvGetDriverName2
//                    (before: KELDnvGetDriverName)
//
// A driver without KELDnvGetDriverVersion stands for version 0: the oldest
// behaviour everywhere. The driver's camera handle is kept in
// `driverHandle`, 0 while closed; the camera's name is the interface name
// the session was made with. Attribute keys are the indices of one
// enumeration, valid until the next refresh.
#pragma once

#include <cstdint>

#include "local/local_device_config_session.h"

namespace keld {

// Versions of the driver from which it answers more.
inline constexpr std::uint32_t kKeldnvVersionRepresentation = 0x03010000;
inline constexpr std::uint32_t kKeldnvVersionDescriptions = 0x03100000;
inline constexpr std::uint32_t kKeldnvVersionEnumerateAttributes3 = 0x03900008;
inline constexpr std::uint32_t kKeldnvVersionDriverName2 = 0x04400000;
// Visibility that an attribute takes when the driver does not tell it, and
// the one at which a refresh lists the attributes: all of them.
inline constexpr std::uint32_t kKeldnvDefaultVisibility = 16384;
inline constexpr std::uint32_t kKeldnvListAllVisibility = 0x8000000;

class LocalKELDNVConfigSession : public LocalDeviceConfigSession {
 public:
  LocalKELDNVConfigSession(const char* name, Status* status);
  ~LocalKELDNVConfigSession() override;

  std::uint32_t GetDriverType() override { return kDriverKELDnv; }
  // Opens the camera with the open flags set before.
  Status Open() override;
  // Closes the driver's handle; always 0 but for an exception, and a second
  // close makes no call.
  Status Close() override;

  // ---- Cameras ----------------------------------------------------------------
  Status EnumerateDevices(DeviceList* devices) override;
  Status SetOpenFlags(std::uint32_t flags) override;
  Status GetCameraStatus(const char* camera, std::uint8_t* present, std::uint32_t* state) override;
  Status RenameInterface(const char* name) override;

  // ---- Attributes ---------------------------------------------------------------
  // Fills every component of the attribute by name. The flags, visibility
  // and tooltip go through their setters (and so are dirty afterwards); the
  // value, limits and texts are written straight into their components.
  Status ReadAttribute(Attribute* attribute) override;
  Status WriteAttribute(Attribute* attribute) override;
  // Rebuilds the map from the driver's list of all attributes.
  Status RefreshAttributes() override;
  Status ValidateAttributes() override;
  Status ReadAttributes(const char* path) override;
  Status WriteAttributes(const char* path) override;
  Status ReadAttributesFromString(const char* text) override;
  Status WriteAttributesToString(CFGString* text) override;
  // One driver call per word, at addresses 4 bytes apart; `space` is not used.
  Status ReadU32(std::uint32_t space, std::uint32_t address, std::uint32_t count, std::uint32_t* values) override;
  Status WriteU32(std::uint32_t space, std::uint32_t address, std::uint32_t count,
                  const std::uint32_t* values) override;

  // ---- Acquisition ------------------------------------------------------------------
  Status SnapImage(std::uint32_t flags, Image* image) override;
  Status SetupGrab(std::uint32_t flags) override;
  Status GrabImage(std::uint32_t* bufferNumber, Image* image) override;
  Status ConfigureAcquisition(std::uint32_t continuous, std::uint32_t count) override;
  Status StartAcquisition() override;
  // *bufferNumber chooses the buffer (0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFB and
  // 0xFFFFFFFA pick by the driver's modes 0, 1, 3 and 4, any other number is
  // a buffer number) and receives the number of the buffer copied.
  Status CopyImage(std::uint32_t* bufferNumber, Image* image) override;
  Status StopAcquisition() override;
  Status UnconfigureAcquisition() override;
  Status CalculateBayerGains(std::uint32_t selector, double* red, double* green, double* blue) override;
  // Sets a ring of two empty images of the type up and takes it down again.
  Status SupportsRingAcquisition(std::uint32_t imageType, std::uint32_t* supported) override;
  // From the driver's attributes "Width", "Height" and
  // "AcquisitionAttributes::TypeOfImageInUse".
  bool GetImageGeometry(std::uint32_t* width, std::uint32_t* height, std::uint32_t* typeOfImage) override;
  // Command 74 on a target.
  Status HandleSupportsRingAcquisition(ByteStream* input, ByteStream* output) override;

  // ---- Camera files -------------------------------------------------------------------
  Status QueryCameraFileDataList(CameraFileDataList* files, std::uint32_t* current) override;
  // The camera-link camera files: `list` is an array of *size CameraFileData
  // records, or null to ask for the count.
  Status GetKELDCameraFileList(char* list, std::uint32_t* size) override;
  Status GetKELDCameraFilename(char* name, std::uint32_t size) override;
  Status ChangeKELDCameraFile(const char* name) override;
  Status RenameCameraLinkBoard(const char* oldName, const char* newName) override;
  Status CopyKELDCameraFile(const char* name) override;

  // The driver's handle of the open camera.
  std::uint32_t CameraHandle() const { return static_cast<std::uint32_t>(driverHandle); }
  // Handed to the driver at Open; set by SetOpenFlags.
  std::uint32_t openFlags = 0;
};

// The driver's version word: 0 where the driver does not tell it.
std::uint32_t KeldnvDriverVersion();

// The network and USB driver's text of a status, for any status: `found` is
// true where the driver has a non-empty text. The second provider of the
// chain of error texts.
void KeldnvDriverErrorText(Status status, CFGString* text, bool* found);

}  // namespace keld
