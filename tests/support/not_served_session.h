// A device session whose every operation of the first group answers "not
// supported"; made from the operation table. Tests derive from it and give
// bodies only to what they exercise.
#pragma once

#include "session/config_session.h"

namespace keld::test {

class NotServedOperations : public DeviceConfigSession {
 public:
  using DeviceConfigSession::DeviceConfigSession;
#define KELD_TEST_NOT_SERVED(group, name, command, handle, step, target, client, ...) \
  KELD_TEST_NOT_SERVED_##group(name, __VA_ARGS__)
#define KELD_TEST_NOT_SERVED_BODY(name, ...) \
  Status name(KELD_PARAM_TYPES(__VA_ARGS__)) override { return kNotSupported; }
#define KELD_TEST_NOT_SERVED_ROOT(name, ...) KELD_TEST_NOT_SERVED_BODY(name, __VA_ARGS__)
#define KELD_TEST_NOT_SERVED_FIRST(name, ...) KELD_TEST_NOT_SERVED_BODY(name, __VA_ARGS__)
#define KELD_TEST_NOT_SERVED_LOCAL(name, ...) KELD_TEST_NOT_SERVED_BODY(name, __VA_ARGS__)
#define KELD_TEST_NOT_SERVED_BASE(name, ...)
#define KELD_TEST_NOT_SERVED_OPTIONAL(name, ...)
  KELD_DEVICE_OPERATIONS(KELD_TEST_NOT_SERVED)
  bool IsRemote() override { return false; }
  Status ExecuteCommand(std::uint32_t, ByteStream*, ByteStream*) override { return kNotSupported; }
};

}  // namespace keld::test
