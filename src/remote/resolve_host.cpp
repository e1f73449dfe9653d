#include "remote/resolve_host.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>

namespace keld {

std::uint32_t ResolveHost(const char* name) {
  if (name == nullptr || name[0] == '\0') name = "127.0.0.1";
  int part[4];
  if (std::sscanf(name, "%d.%d.%d.%d", &part[0], &part[1], &part[2], &part[3]) == 4 && part[0] < 256 &&
      part[1] < 256 && part[2] < 256 && part[3] < 256) {
    return ntohl(inet_addr(name));
  }
  // getaddrinfo is the thread-safe form of the single-address look-up.
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  if (getaddrinfo(name, nullptr, &hints, &list) != 0 || list == nullptr) return kNoAddress;
  const auto* first = reinterpret_cast<const sockaddr_in*>(list->ai_addr);
  const std::uint32_t address = ntohl(first->sin_addr.s_addr);
  freeaddrinfo(list);
  return address;
}

}  // namespace keld
