// A client for the server's tests, run as a child process so that it can be
// stopped with SIGSTOP: idle_client PORT CLIENT_NAME SESSIONS opens that many
// sessions on 127.0.0.1:PORT (interfaces img0, img1, ...), prints "ready"
// and the ids, and then sits silent on its connection for at most a minute.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "remote/rpc/cfg_remote.h"
#include "remote/rpc/rpc_binding.h"
#include "remote/rpc/rpc_error.h"

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: idle_client PORT CLIENT_NAME SESSIONS\n");
    return 2;
  }
  const auto port = static_cast<std::uint32_t>(std::strtoul(argv[1], nullptr, 10));
  const int sessions = std::atoi(argv[3]);
  try {
    keld::rpc::RpcBinding binding("127.0.0.1", port);
    binding.SetComTimeout(10000);
    std::string ids;
    for (int i = 0; i < sessions; ++i) {
      std::uint32_t id = 0;
      const std::string interfaceName = "img" + std::to_string(i);
      const keld::Status status = keld::rpc::RemoteOpen(&binding, 1, argv[2], interfaceName.c_str(), &id);
      if (status != keld::kSuccess) {
        std::printf("failed 0x%08X\n", static_cast<std::uint32_t>(status));
        return 1;
      }
      ids += " " + std::to_string(id);
    }
    std::printf("ready%s\n", ids.c_str());
    std::fflush(stdout);
    for (int second = 0; second < 60; ++second) sleep(1);
  } catch (const keld::rpc::RpcError& error) {
    std::printf("failed %s\n", error.what());
    return 1;
  }
  return 0;
}
