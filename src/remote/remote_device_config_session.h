// RemoteDeviceConfigSession: a session whose device lives on a remote
// target. Every device operation is one numbered command to the target's own
// local session: the arguments are flattened into an input stream, one
// RemoteCommand runs, and the results are read from the output stream. The
// operations the table marks Proxy are made from the codecs of their
// parameters; the others (attributes, images, registers, blocks, the
// acquisition flags) are written out by hand.
//
// The operations over the session's caches and attribute map run here in the
// client, on the copies that the commands brought.
#pragma once

#include <atomic>
#include <cstdint>

#include "foundation/byte_stream.h"
#include "remote/remote_session.h"
#include "session/command_codecs.h"
#include "session/config_session.h"

namespace keld {

// Targets from this version on take images in the stream form and the
// configuration of an acquisition with the acquisition flags (command 71).
inline constexpr std::uint32_t kImageCarrierVersionThreshold = 0x03020000;

class RemoteDeviceConfigSession : public RemoteSession, public DeviceConfigSession {
 public:
  // Builds the remote part first, which binds to the host and opens the
  // remote session, then the device part.
  RemoteDeviceConfigSession(const char* clientName, const char* host, std::uint32_t driverType,
                            const char* interfaceName, Status* status);
  // A session bound to no target: its commands go wherever a subclass's
  // RunCommand takes them, as if to a target of version `targetVersion`.
  RemoteDeviceConfigSession(const char* interfaceName, std::uint32_t targetVersion);
  ~RemoteDeviceConfigSession() override;

  bool IsRemote() override { return true; }
  // The target side is not ours: a remote session executes nothing.
  Status ExecuteCommand(std::uint32_t, ByteStream*, ByteStream*) override { return kSuccess; }

#define KELD_REMOTE_DECLARE(group, name, command, handle, step, target, client, ...) \
  KELD_REMOTE_DECLARE_##client(name, __VA_ARGS__)
#define KELD_REMOTE_DECLARE_Proxy(name, ...) Status name(KELD_PARAMS(__VA_ARGS__)) override;
#define KELD_REMOTE_DECLARE_ProxyCustom(name, ...) Status name(KELD_PARAMS(__VA_ARGS__)) override;
#define KELD_REMOTE_DECLARE_KeldProxy(name, ...)
#define KELD_REMOTE_DECLARE_KeldProxyCustom(name, ...)
#define KELD_REMOTE_DECLARE_NoProxy(name, ...)
  KELD_DEVICE_OPERATIONS(KELD_REMOTE_DECLARE)
#undef KELD_REMOTE_DECLARE_Proxy
#undef KELD_REMOTE_DECLARE_ProxyCustom

  // Runs one command on the target's session: handle 0 for control, 1 for
  // images. Anything that goes wrong on the way is 0xBFFF8004.
  virtual Status RunCommand(std::uint32_t command, int handle, ByteStream* input, ByteStream* output);

  // Whether the target takes images in the stream form.
  bool TargetTakesStreamForm() const { return remoteVersion >= kImageCarrierVersionThreshold; }

  // The session's acquisition flags (see acquisition_flags in the local
  // session); the stream-form bit is chosen here by the target's version.
  std::atomic<std::uint32_t> acquisitionFlags{0};

 protected:
  // One command whose parameters all travel by their codecs: the inputs are
  // flattened, the command runs, and on success the outputs are read. The
  // streams are freed in every case.
  template <typename... Codecs, typename... Args>
  Status Proxy(std::uint32_t command, int handle, Args... args) {
    ScopedByteStream input;
    ScopedByteStream output;
    Status status = wire::SendArguments<Codecs...>(input.get(), args...);
    if (status != kSuccess) return status;
    status = RunCommand(command, handle, input.get(), output.get());
    if (status != kSuccess) return status;
    output->Rewind();
    return wire::ReceiveResults<Codecs...>(output.get(), args...);
  }

  // Reads an image reply into the caller's image, in the stream form where
  // `flags` has its bit.
  static Status ReceiveImage(ByteStream* output, Image* image, std::uint32_t flags);
};

// Defines the proxies of the rows whose client column is `kind`, for a class.
#define KELD_PROXY_BODY(cls, kind, group, name, command, handle, step, target, client, ...) \
  KELD_PROXY_BODY_IF_##kind##_##client(cls, name, command, handle, __VA_ARGS__)
#define KELD_PROXY_DEFINE(cls, name, command, handle, ...)                          \
  Status cls::name(KELD_PARAMS(__VA_ARGS__)) {                                      \
    return Proxy<KELD_CODECS(__VA_ARGS__)>(command, handle __VA_OPT__(, ) KELD_ARGS(__VA_ARGS__)); \
  }
#define KELD_PROXY_BODY_IF_Proxy_Proxy(cls, name, command, handle, ...) \
  KELD_PROXY_DEFINE(cls, name, command, handle, __VA_ARGS__)
#define KELD_PROXY_BODY_IF_Proxy_ProxyCustom(...)
#define KELD_PROXY_BODY_IF_Proxy_KeldProxy(...)
#define KELD_PROXY_BODY_IF_Proxy_KeldProxyCustom(...)
#define KELD_PROXY_BODY_IF_Proxy_NoProxy(...)
#define KELD_PROXY_BODY_IF_KeldProxy_Proxy(...)
#define KELD_PROXY_BODY_IF_KeldProxy_ProxyCustom(...)
#define KELD_PROXY_BODY_IF_KeldProxy_KeldProxy(cls, name, command, handle, ...) \
  KELD_PROXY_DEFINE(cls, name, command, handle, __VA_ARGS__)
#define KELD_PROXY_BODY_IF_KeldProxy_KeldProxyCustom(...)
#define KELD_PROXY_BODY_IF_KeldProxy_NoProxy(...)

}  // namespace keld
