// RpcError: the one exception of the RPC layer. Everything that goes wrong
// on the wire (connect, bind, send, receive, time-out, malformed PDU, bad
// stub data, a null reference pointer handed to a stub) raises it; the
// remote session's call executor turns it into 0xBFFF8004.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace keld::rpc {

// Codes of the runtime that the layer reports in its exceptions.
inline constexpr std::uint32_t kRpcNullRefPointer = 1780;      // null reference pointer handed to a stub
inline constexpr std::uint32_t kRpcInvalidStringBinding = 1700;
inline constexpr std::uint32_t kRpcCallFailed = 1726;          // connection lost or protocol broken
inline constexpr std::uint32_t kRpcServerUnavailable = 1722;   // no connection could be made
inline constexpr std::uint32_t kRpcTimedOut = 1818;            // the call's deadline passed
inline constexpr std::uint32_t kRpcBadStubData = 0x6F7;        // stub data could not be read
inline constexpr std::uint32_t kRpcBindRejected = 1717;        // the target refused the interface

class RpcError : public std::runtime_error {
 public:
  RpcError(std::uint32_t code, const std::string& what) : std::runtime_error(what), code_(code) {}
  std::uint32_t code() const { return code_; }

 private:
  std::uint32_t code_;
};

}  // namespace keld::rpc
