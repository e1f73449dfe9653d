// RpcBinding: the client end of one binding handle. It holds the parsed
// string binding (network address and endpoint) and, once used, one TCP
// connection bound to the CfgRemote interface. The connection is made on the
// first call, carries one call at a time, and is dropped after any failure so
// that the next call connects anew. Every call runs under a deadline of the
// time-out set last by SetComTimeout, in milliseconds, covering the wait for
// another thread's call on the same binding, connect, bind, send and receive.
// Failures throw RpcError.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "remote/rpc/pdu.h"

namespace keld::rpc {

class ResponseReader;
class RpcSocket;

// Composes "ncacn_ip_tcp:address[endpoint]".
std::string ComposeStringBinding(const std::string& networkAddress, const std::string& endpoint);

struct RpcReply {
  std::vector<std::uint8_t> stub;
  bool bigEndian = false;
};

class RpcBinding {
 public:
  // Parses a string binding; a text that is not "ncacn_ip_tcp:addr[port]"
  // gives the runtime's status 1700 through *status and null.
  static std::unique_ptr<RpcBinding> FromStringBinding(const std::string& text, std::uint32_t* status);

  RpcBinding(std::string networkAddress, std::uint32_t port);
  RpcBinding(const RpcBinding&) = delete;
  RpcBinding& operator=(const RpcBinding&) = delete;
  ~RpcBinding();

  void SetComTimeout(std::uint32_t milliseconds);
  // Fragment sizes offered at bind; for tests of fragmentation.
  void SetFragmentSizes(std::uint16_t maxXmit, std::uint16_t maxRecv);

  // Sends a stub and returns the whole reply stub.
  RpcReply Call(std::uint16_t opnum, const std::vector<std::uint8_t>& stub);
  // Sends a stub given in pieces, which go out without being joined, and
  // lets `consume` read the reply where it wants it; what it leaves of the
  // stub is read and dropped.
  void Call(std::uint16_t opnum, const StubPiece* pieces, std::size_t count,
            const std::function<void(ResponseReader*)>& consume);

  const std::string& networkAddress() const { return networkAddress_; }
  std::uint32_t port() const { return port_; }

 private:
  void Connect(const class Deadline& deadline);

  // One outstanding call per connection: `inCall_` under `lock_`. A call
  // waits for the connection within its own deadline.
  std::mutex lock_;
  std::condition_variable idle_;
  bool inCall_ = false;
  std::string networkAddress_;
  std::uint32_t port_;
  std::atomic<std::uint32_t> timeoutMs_{45000};  // set without waiting for a running call
  std::uint16_t offerXmit_ = kDefaultMaxFrag;
  std::uint16_t offerRecv_ = kDefaultMaxFrag;
  std::unique_ptr<RpcSocket> socket_;
  std::uint16_t sendFrag_ = kMinFragSize;  // negotiated: what the server accepts
  std::uint16_t recvFrag_ = kMinFragSize;  // negotiated: what the server sends
  std::uint32_t nextCallId_ = 1;
};

}  // namespace keld::rpc
