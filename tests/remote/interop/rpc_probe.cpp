// rpc_probe: our RPC client as a command-line program, for the interop
// scripts. Usage:
//   rpc_probe version PORT          RemoteVersion
//   rpc_probe mtu PORT ADAPTER      RemoteGetMTU
//   rpc_probe session PORT          RemoteOpen, a multi-fragment RemoteCommand,
//                                   RemotePing, RemoteClose (small fragments)
// Prints one "name=value" line per result; exit 0 when every call went
// through the transport, 1 when one raised.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/rpc_binding.h"
#include "remote/rpc/rpc_error.h"

using namespace keld;

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: rpc_probe version|mtu|session PORT [ADAPTER]\n");
    return 2;
  }
  const std::string mode = argv[1];
  rpc::RpcBinding binding("127.0.0.1", static_cast<std::uint32_t>(std::atoi(argv[2])));
  binding.SetComTimeout(10000);
  try {
    if (mode == "version") {
      std::uint32_t version = 0;
      const Status status = rpc::RemoteVersion(&binding, &version);
      std::printf("status=0x%08X\nversion=0x%08X\n", static_cast<unsigned>(status), version);
    } else if (mode == "mtu" && argc > 3) {
      std::uint32_t mtu = 0;
      const Status status = rpc::RemoteGetMTU(&binding, argv[3], &mtu);
      std::printf("status=0x%08X\nmtu=%u\n", static_cast<unsigned>(status), mtu);
    } else if (mode == "session") {
      binding.SetFragmentSizes(rpc::kMinFragSize, rpc::kMinFragSize);
      std::uint32_t id = 0;
      const Status opened = rpc::RemoteOpen(&binding, 0, "probe:1", "img0", &id);
      std::printf("open=0x%08X\nid=%u\n", static_cast<unsigned>(opened), id);
      std::vector<std::uint8_t> bytes(5000, 0x5A);
      ScopedByteStream in, out;
      if (in->AppendBytes(bytes.data(), bytes.size()) != keld::kSuccess) return 1;
      std::printf("command=0x%08X\n", static_cast<unsigned>(rpc::RemoteCommand(&binding, id, 10, in.get(), out.get())));
      std::printf("ping=0x%08X\n", static_cast<unsigned>(rpc::RemotePing(&binding, id)));
      std::printf("close=0x%08X\n", static_cast<unsigned>(rpc::RemoteClose(&binding, id)));
    } else {
      std::fprintf(stderr, "unknown mode %s\n", mode.c_str());
      return 2;
    }
  } catch (const rpc::RpcError& error) {
    std::printf("exception=%u %s\n", error.code(), error.what());
    return 1;
  }
  return 0;
}
