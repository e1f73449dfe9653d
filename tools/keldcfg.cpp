// keldcfg: command-line configuration tool over the cfg API.
#include <CLI/CLI.hpp>
#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "keldcfgc/keldcfgc.h"
#include "keldcfgc/version.hpp"

namespace {

std::string ErrorText(std::int32_t status) {
  char text[255];
  cfgGetErrorText(static_cast<std::uint32_t>(status), text);
  return text;
}

// Version of a target's server; the library's own where no host is named.
int ShowTargetVersion(const std::string& host) {
  std::uint32_t version = 0;
  const std::int32_t status = cfgQueryVersion(host.c_str(), &version);
  if (status != 0) {
    std::fprintf(stderr, "keldcfg: version of %s: 0x%08" PRIX32 " %s\n", host.c_str(),
                 static_cast<std::uint32_t>(status), ErrorText(status).c_str());
    return 1;
  }
  std::printf("%s: %s (0x%08" PRIX32 ")\n", host.c_str(), tHTVersion(version).toString().c_str(), version);
  return 0;
}

int ShowMtu(const std::string& host, const std::string& adapter) {
  std::uint32_t mtu = 0;
  const std::int32_t status = cfgGetNetworkInterfaceMTU(host.c_str(), adapter.c_str(), &mtu);
  if (status != 0) {
    std::fprintf(stderr, "keldcfg: MTU of %s on %s: 0x%08" PRIX32 " %s\n", adapter.c_str(), host.c_str(),
                 static_cast<std::uint32_t>(status), ErrorText(status).c_str());
    return 1;
  }
  std::printf("%s %s: MTU %" PRIu32 "\n", host.c_str(), adapter.c_str(), mtu);
  return 0;
}

int ShowVersion() {
  std::int32_t status = 0;
  const tHTVersion current = nKELDCFGC_18_5::getCurrentVersion(status);
  const tHTVersion oldest = nKELDCFGC_18_5::getOldestCompatibleVersion(status);
  std::printf("keldcfgc %s (0x%08" PRIX32 "), compatible back to %s\n", current.toString().c_str(), current.word(),
              oldest.toString().c_str());
  return 0;
}

int ShowErrorTexts(const std::vector<std::string>& codes) {
  for (const std::string& code : codes) {
    const auto status = static_cast<std::uint32_t>(std::stoul(code, nullptr, 0));
    char text[255];
    cfgGetErrorText(status, text);
    std::printf("0x%08" PRIX32 ": %s\n", status, text);
  }
  return 0;
}

}  // namespace

namespace {

// The sections of a manual page that the options alone do not tell.
constexpr const char* kHelpFooter = R"(
HOST
  Absent or 127.0.0.1      this computer, through the library itself.
  NAME or ADDRESS          the target server keldcfgd on that host, on the
                           port of the registry value RemotePort (7750).
  ADDRESS::TARGET          the target TARGET on that host, whose port its
                           service locator (TCP 3580) tells.

FILES
  /etc/keldcfgc/registry.reg  the library's settings (RemotePort,
                              ShowAllPhantomBoards); without it the defaults
                              hold. An example comes with the documentation
                              (share/doc/keldcfgc).

EXIT STATUS
  0 success; 1 a call failed (its status word and text are printed); 2 a
  bad argument; other values: the command line was not understood.

EXAMPLES
  keldcfg version
  keldcfg version --host 10.0.0.7::demo
  keldcfg mtu --host 10.0.0.7 eth0
  keldcfg error 0xBFFF8009)";

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"keldcfg: configure frame-grabber boards and cameras"};
  app.footer(kHelpFooter);
  std::int32_t status = 0;
  app.set_version_flag("--version", "keldcfg of keldcfgc " + nKELDCFGC_18_5::getCurrentVersion(status).toString(),
                       "print the library's version and exit");
  app.require_subcommand(1);

  auto* version = app.add_subcommand("version", "print the library's version, or a target's with --host");
  std::string host;
  version->add_option("--host", host, "target host: name or address, or 127.0.0.1::target for the locator");
  auto* mtu = app.add_subcommand("mtu", "print the MTU of a network adapter of a target");
  std::string adapter;
  mtu->add_option("--host", host, "target host")->required();
  mtu->add_option("adapter", adapter, "adapter name, such as lo")->required();
  auto* error = app.add_subcommand("error", "print the text of status codes");
  std::vector<std::string> codes;
  error->add_option("codes", codes, "status codes, decimal or 0x-hex")->required();

  CLI11_PARSE(app, argc, argv);
  try {
    if (version->parsed()) return host.empty() ? ShowVersion() : ShowTargetVersion(host);
    if (mtu->parsed()) return ShowMtu(host, adapter);
    if (error->parsed()) return ShowErrorTexts(codes);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "keldcfg: %s\n", e.what());
    return 2;
  }
  return 1;
}
