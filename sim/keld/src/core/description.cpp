#include "core/description.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>

#include "core/text_file.h"
#include "keldsim_generated/builtin_description.h"

namespace keldsim {
namespace {

using nlohmann::json;

// PCI identities of the older boards, as the drivers before 0x03100000
// report them.
struct PciRow {
  std::uint32_t id;
  const char* model;
};
constexpr PciRow kPciTable[] = {
    {0xD1017A5E, "OD PCI-7101"}, {0xD1027A5E, "OD PXB-7101"}, {0xD1037A5E, "OD PCI-7102"}, {0xD1047A5E, "OD PXB-7102"},
    {0xD1057A5E, "OD PCI-7103"}, {0xD1067A5E, "OD PXB-7103"}, {0xD1077A5E, "OD PCI-7105"}, {0xD1087A5E, "OD PXB-7105"},
    {0xD1097A5E, "OD PCI-7106"}, {0xD10A7A5E, "OD PXB-7106"}, {0xD10B7A5E, "OD PCI-7107"}, {0xD10C7A5E, "OD PXB-7107"},
    {0xD10D7A5E, "OD PCI-7110"}, {0xD10E7A5E, "OD PXB-7110"},
};

struct ParseError {
  std::string text;
};

[[noreturn]] void Fail(std::string text) { throw ParseError{std::move(text)}; }

std::uint64_t Number(const json& value, std::string_view what, std::uint64_t highest) {
  std::uint64_t result = 0;
  if (value.is_number_unsigned()) {
    result = value.get<std::uint64_t>();
  } else if (value.is_number_integer()) {
    if (value.get<std::int64_t>() < 0) Fail(std::string(what) + " must not be negative");
    result = static_cast<std::uint64_t>(value.get<std::int64_t>());
  } else if (value.is_string()) {
    const auto parsed = ParseU64(value.get<std::string>());
    if (!parsed) Fail(std::string(what) + " is not a number: \"" + value.get<std::string>() + "\"");
    result = *parsed;
  } else {
    Fail(std::string(what) + " must be a number or a text such as \"0x7109\"");
  }
  if (result > highest) Fail(std::string(what) + " is too large");
  return result;
}

std::uint32_t Number32(const json& value, std::string_view what) {
  return static_cast<std::uint32_t>(Number(value, what, 0xFFFFFFFFu));
}

std::uint32_t ResultWord(const json& value, std::string_view what) {
  if (value.is_string()) {
    const std::string text = value.get<std::string>();
    if (text == "passed") return 1;
    if (text == "failed") return 2;
    if (text == "critical") return 3;
    if (text == "skipped") return 4;
  }
  const std::uint32_t word = Number32(value, what);
  if (word < 1 || word > 4) Fail(std::string(what) + " must be passed, failed, critical or skipped (1 to 4)");
  return word;
}

// The model number in a name such as "OD PCIe-7109", read as hexadecimal
// digits: the board type word 0x7109.
std::uint32_t TypeFromModel(const std::string& model) {
  std::size_t end = model.size();
  while (end > 0 && std::isdigit(static_cast<unsigned char>(model[end - 1])) == 0) --end;
  std::size_t begin = end;
  while (begin > 0 && std::isdigit(static_cast<unsigned char>(model[begin - 1])) != 0) --begin;
  if (end - begin != 4) return 0;
  return ParseU32("0x" + model.substr(begin, 4)).value_or(0);
}

BoardDescription ReadBoard(const json& object) {
  if (!object.is_object()) Fail("a board must be a JSON object");
  static const std::set<std::string> kKeys = {
      "serial", "model",     "pci_id",       "type",         "revision",          "units",        "interface_types",
      "ports",  "data_fpga", "advanced_lut", "fpga_classes", "max_light_current", "memory_bytes", "board_tests"};
  for (const auto& item : object.items()) {
    if (kKeys.count(item.key()) == 0) Fail("unknown key \"" + item.key() + "\" in a board");
  }
  BoardDescription board;
  if (!object.contains("serial")) Fail("a board needs a \"serial\"");
  board.serial = Number32(object.at("serial"), "serial");
  if (board.serial == 0 || board.serial >= 0xFFFFFFF0u) Fail("serial " + Hex32(board.serial) + " is reserved");
  const std::string where = " of board " + Hex32(board.serial);
  if (!object.contains("model") || !object.at("model").is_string()) Fail("a board needs a \"model\" text" + where);
  board.model = object.at("model").get<std::string>();
  if (board.model.empty() || board.model.size() > 255) Fail("the model name must have 1 to 255 characters" + where);
  board.type = object.contains("type") ? Number32(object.at("type"), "type" + where) : TypeFromModel(board.model);
  if (board.type == 0) Fail("\"type\" is missing and cannot be read from the model name" + where);
  if (object.contains("pci_id")) {
    board.pciId = Number32(object.at("pci_id"), "pci_id" + where);
  } else {
    for (const auto& row : kPciTable) {
      if (board.model == row.model) board.pciId = row.id;
    }
  }
  if (object.contains("revision")) board.revision = Number32(object.at("revision"), "revision" + where);
  if (object.contains("units")) board.units = Number32(object.at("units"), "units" + where);
  if (board.units < 1 || board.units > 4) Fail("units must be 1 to 4" + where);
  if (object.contains("ports")) board.ports = Number32(object.at("ports"), "ports" + where);
  if (board.ports < 1 || board.ports > 8) Fail("ports must be 1 to 8" + where);
  if (board.ports < board.units) Fail("a board needs a port for each acquisition unit" + where);
  if (!object.contains("interface_types")) Fail("a board needs \"interface_types\"" + where);
  board.interfaceTypes = Number32(object.at("interface_types"), "interface_types" + where);
  if (board.interfaceTypes == 0) Fail("interface_types must not be 0" + where);
  board.dataFpga = board.type == 0x7108 || board.type == 0x7110;
  if (object.contains("data_fpga")) {
    if (!object.at("data_fpga").is_boolean()) Fail("data_fpga must be true or false" + where);
    board.dataFpga = object.at("data_fpga").get<bool>();
  }
  board.advancedLut = board.type != 0x7108;
  if (object.contains("advanced_lut")) {
    if (!object.at("advanced_lut").is_boolean()) Fail("advanced_lut must be true or false" + where);
    board.advancedLut = object.at("advanced_lut").get<bool>();
  }
  if (object.contains("fpga_classes")) {
    if (!object.at("fpga_classes").is_array()) Fail("fpga_classes must be an array" + where);
    for (const auto& value : object.at("fpga_classes"))
      board.fpgaClasses.push_back(Number32(value, "fpga class" + where));
  } else {
    board.fpgaClasses = {(board.type << 8) | 1u, (board.type << 8) | 2u};
  }
  if (object.contains("max_light_current")) {
    if (!object.at("max_light_current").is_number()) Fail("max_light_current must be a number" + where);
    board.maxLightCurrent = object.at("max_light_current").get<double>();
    if (!(board.maxLightCurrent > 0 && board.maxLightCurrent <= 100))
      Fail("max_light_current must lie in (0, 100]" + where);
  }
  board.memoryBytes = 16u << 20;
  if (object.contains("memory_bytes"))
    board.memoryBytes = Number(object.at("memory_bytes"), "memory_bytes" + where, 1ull << 34);
  if (board.memoryBytes % 4 != 0) Fail("memory_bytes must be a multiple of 4" + where);
  if (object.contains("board_tests")) {
    const json& tests = object.at("board_tests");
    if (!tests.is_object()) Fail("board_tests must be an object of test names" + where);
    for (const auto& item : tests.items()) {
      BoardTestSetting setting;
      if (item.value().is_object()) {
        if (!item.value().contains("result")) Fail("board test \"" + item.key() + "\" needs a \"result\"" + where);
        setting.result = ResultWord(item.value().at("result"), "result of \"" + item.key() + "\"");
        if (item.value().contains("message")) {
          if (!item.value().at("message").is_string()) Fail("a board test message must be a text" + where);
          setting.message = item.value().at("message").get<std::string>();
        }
      } else {
        setting.result = ResultWord(item.value(), "result of \"" + item.key() + "\"");
      }
      board.boardTests[item.key()] = setting;
    }
  }
  return board;
}

}  // namespace

// The built-in description leaves the version word to the variant.
std::string_view BuiltInDescription() { return kBuiltInDescription; }

std::string_view ModelOfPciId(std::uint32_t pciId) {
  for (const auto& row : kPciTable) {
    if (row.id == pciId) return row.model;
  }
  return {};
}

Status ParseBoard(std::string_view text, BoardDescription& board, std::string& error) {
  try {
    board = ReadBoard(json::parse(text));
    return st::kOk;
  } catch (const ParseError& failure) {
    error = failure.text;
  } catch (const json::exception& failure) {
    error = failure.what();
  }
  return st::kDescription;
}

Status ParseDescription(std::string_view text, std::uint32_t defaultVersion, Description& description,
                        std::string& error) {
  try {
    const json root = json::parse(text);
    if (!root.is_object()) Fail("the description must be a JSON object");
    for (const auto& item : root.items()) {
      if (item.key() != "driver_version" && item.key() != "boards" && item.key() != "failed_boards") {
        Fail("unknown key \"" + item.key() + "\" in the description");
      }
    }
    Description result;
    result.version =
        root.contains("driver_version") ? Number32(root.at("driver_version"), "driver_version") : defaultVersion;
    std::set<std::uint32_t> serials;
    if (root.contains("boards")) {
      if (!root.at("boards").is_array()) Fail("\"boards\" must be an array");
      for (const auto& object : root.at("boards")) {
        BoardDescription board = ReadBoard(object);
        if (!serials.insert(board.serial).second) Fail("serial " + Hex32(board.serial) + " appears twice");
        result.boards.push_back(std::move(board));
      }
    }
    if (root.contains("failed_boards")) {
      if (!root.at("failed_boards").is_array()) Fail("\"failed_boards\" must be an array");
      for (const auto& object : root.at("failed_boards")) {
        if (!object.is_object() || !object.contains("serial") || !object.contains("status")) {
          Fail("a failed board needs \"serial\" and \"status\"");
        }
        for (const auto& item : object.items()) {
          if (item.key() != "serial" && item.key() != "status")
            Fail("unknown key \"" + item.key() + "\" in a failed board");
        }
        FailedBoard failed{Number32(object.at("serial"), "serial"), Number32(object.at("status"), "status")};
        if (failed.status == 0) Fail("a failed board needs a non-zero status");
        if (!serials.insert(failed.serial).second) Fail("serial " + Hex32(failed.serial) + " appears twice");
        result.failedBoards.push_back(failed);
      }
    }
    description = std::move(result);
    return st::kOk;
  } catch (const ParseError& failure) {
    error = failure.text;
  } catch (const json::exception& failure) {
    error = failure.what();
  }
  return st::kDescription;
}

}  // namespace keldsim
