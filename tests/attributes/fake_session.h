// A device session whose driver-facing operations answer "not supported"
// (from the operation table), but for the list queries, which fill the
// caches from prepared data and can be told to fail. It exercises the
// operations all sessions share.
#pragma once

#include "support/not_served_session.h"

namespace keld::testing {

class FakeSession : public test::NotServedOperations {
 public:
  FakeSession() : NotServedOperations("img0", nullptr) {}

  Status queryStatus = kSuccess;
  CameraFileDataList preparedCameraFiles;
  std::uint32_t preparedCurrent = 0;
  StringList preparedStrings;
  StringList preparedResults;
  InterfaceFileDataList preparedInterfaceFiles;
  CameraAttributeList preparedCameraAttributes;
  std::uint32_t lastIndex = 0;
  CFGString lastUnit;

  Status QueryCameraFileDataList(CameraFileDataList* files, std::uint32_t* current) override {
    if (queryStatus != kSuccess) return queryStatus;
    *files = preparedCameraFiles;
    *current = preparedCurrent;
    return kSuccess;
  }
  Status QueryReferenceCameraFileList(StringList* files) override {
    if (queryStatus != kSuccess) return queryStatus;
    *files = preparedStrings;
    return kSuccess;
  }
  Status QueryInterfaceFileDataList(std::uint32_t index, InterfaceFileDataList* files) override {
    lastIndex = index;
    if (queryStatus != kSuccess) return queryStatus;
    *files = preparedInterfaceFiles;
    return kSuccess;
  }
  Status QueryCameraAttributeList(CameraAttributeList* nodes) override {
    if (queryStatus != kSuccess) return queryStatus;
    *nodes = preparedCameraAttributes;
    return kSuccess;
  }
  Status QueryDiagnosticResults(std::uint32_t index, StringList* names, StringList* results) override {
    lastIndex = index;
    if (queryStatus != kSuccess) return queryStatus;
    *names = preparedStrings;
    *results = preparedResults;
    return kSuccess;
  }
  Status QueryAcqUnitCameraFileList(const char* unit, StringList* files) override {
    lastUnit = unit;
    if (queryStatus != kSuccess) return queryStatus;
    *files = preparedStrings;
    return kSuccess;
  }

  std::uint32_t GetDriverType() override { return kDriverKELDnv; }
};

}  // namespace keld::testing
