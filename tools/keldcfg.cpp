// keldcfg: command-line configuration tool over the cfg API.
#include <CLI/CLI.hpp>
#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "keldcfgc/keldcfgc.h"
#include "keldcfgc/version.hpp"

namespace {

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

int main(int argc, char** argv) {
  CLI::App app{"keldcfg: configure frame-grabber boards and cameras"};
  app.require_subcommand(1);

  auto* version = app.add_subcommand("version", "print the library's version");
  auto* error = app.add_subcommand("error", "print the text of status codes");
  std::vector<std::string> codes;
  error->add_option("codes", codes, "status codes, decimal or 0x-hex")->required();

  CLI11_PARSE(app, argc, argv);
  try {
    if (version->parsed()) return ShowVersion();
    if (error->parsed()) return ShowErrorTexts(codes);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "keldcfg: %s\n", e.what());
    return 2;
  }
  return 1;
}
