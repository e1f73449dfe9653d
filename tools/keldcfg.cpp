// keldcfg: command-line configuration tool over the cfg API.
#include <CLI/CLI.hpp>
#include <unistd.h>

#include <cctype>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "keldcfgc/keldcfgc.h"
#include "keldcfgc/version.hpp"
#include "odvissvc/odvissvc.h"

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


// Prints a failed call with its status word and text; the exit status 1.
int Failed(const std::string& what, std::int32_t status) {
  std::fprintf(stderr, "keldcfg: %s: 0x%08" PRIX32 " %s\n", what.c_str(), static_cast<std::uint32_t>(status),
               ErrorText(status).c_str());
  return 1;
}

// Flags of the acquisition functions: bring the image back (a remote
// session's reply carries it only with this bit) and decode raw Bayer data
// to colour.
constexpr std::uint32_t kWithImage = 1;
constexpr std::uint32_t kDecodeBayer = 16;
constexpr std::uint32_t kFrameRateKey = 0x3FF600D9;

// What the acquisition commands share: where the board is, which board,
// and what to change on it before acquiring.
struct BoardChoice {
  std::string host;
  std::string board;
  std::string cameraFile;
  double frameRate = -1;  // below 0: as the camera file says
};

// A session on a board, closed at the end of its scope.
class Board {
 public:
  Board() = default;
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;
  ~Board() {
    if (id_ != 0) cfgClose(id_);
  }
  // Opens the board and sets it up as chosen; 0 or the exit status.
  int Open(const BoardChoice& choice) {
    const char* host = choice.host.empty() ? nullptr : choice.host.c_str();
    // The boards' interface files, which their names stand for, are made
    // by an enumeration where a board has none yet.
    std::int32_t status = cfgRefreshBoards(host);
    if (status != 0) return Failed("list the boards", status);
    status = cfgOpenBoard(host, choice.board.c_str(), 0, &id_);
    if (status != 0) {
      id_ = 0;
      return Failed("open " + choice.board, status);
    }
    if (!choice.cameraFile.empty()) {
      status = cfgReadAttributes(id_, choice.cameraFile.c_str());
      if (status != 0) return Failed("camera file " + choice.cameraFile, status);
    }
    if (choice.frameRate >= 0) {
      status = cfgSetAttributeDouble(id_, kFrameRateKey, choice.frameRate, 0);
      if (status != 0) return Failed("frame rate", status);
    }
    return 0;
  }
  std::uint32_t id() const { return id_; }

 private:
  std::uint32_t id_ = 0;
};

// An image of the image library, disposed of at the end of its scope.
struct ImageDeleter {
  void operator()(Image* image) const { DisposeImage(image); }
};
using ImagePointer = std::unique_ptr<Image, ImageDeleter>;

ImagePointer MakeImage() {
  Image* image = nullptr;
  if (NewImage(&image, ODV_U8, 0, 0, 0) != ODV_SUCCESS) return nullptr;
  return ImagePointer(image);
}

const char* TypeName(std::uint32_t type) {
  switch (type) {
    case ODV_U8:
      return "8-bit monochrome";
    case ODV_U16:
      return "16-bit monochrome";
    case ODV_RGB32:
      return "colour";
    default:
      return "other";
  }
}

std::uint32_t HeaderWord(const Image* image, int index) {
  return reinterpret_cast<const std::uint32_t*>(image)[index];
}

// Snaps one frame on an open session (board or camera) and writes it as
// PNG, with a line that tells its size and kind; 0 or the exit status.
int SnapSessionToPng(std::uint32_t session, std::uint32_t flags, const std::string& source,
                     const std::string& output) {
  ImagePointer image = MakeImage();
  if (!image) return Failed("image", static_cast<std::int32_t>(ODV_E_NO_MEMORY));
  const std::int32_t status = cfgSnapImage(session, flags, image.get());
  if (status != 0) return Failed("snap on " + source, status);
  const OdvStatus written = WriteImagePNG(image.get(), output.c_str());
  if (written != ODV_SUCCESS) return Failed("write " + output, static_cast<std::int32_t>(written));
  const std::uint32_t type = HeaderWord(image.get(), ODV_WORD_TYPE);
  std::printf("%s: %" PRIu32 " x %" PRIu32 " %s frame written to %s\n", source.c_str(),
              HeaderWord(image.get(), ODV_WORD_WIDTH), HeaderWord(image.get(), ODV_WORD_HEIGHT), TypeName(type),
              output.c_str());
  return 0;
}

// Snaps one frame and writes it as PNG; raw Bayer frames are decoded to
// colour unless `raw` asks for the mosaic.
int SnapToPng(const BoardChoice& choice, const std::string& output, bool raw) {
  Board board;
  if (const int failed = board.Open(choice); failed != 0) return failed;
  const std::uint32_t flags = kWithImage | (raw ? 0 : kDecodeBayer);
  return SnapSessionToPng(board.id(), flags, choice.board, output);
}

// Grabs `count` frames and prints their buffer numbers as runs, with every
// gap (frames the board lost, or that came while this program was busy)
// and every number seen twice (a remote target answers with its newest
// image, which may be the one it gave before).
int GrabFrames(const BoardChoice& choice, std::uint32_t count, bool quiet) {
  Board board;
  if (const int failed = board.Open(choice); failed != 0) return failed;
  ImagePointer image = MakeImage();
  if (!image) return Failed("image", static_cast<std::int32_t>(ODV_E_NO_MEMORY));
  std::int32_t status = cfgSetupGrab(board.id(), kWithImage);
  if (status != 0) return Failed("set up the grab on " + choice.board, status);
  std::vector<std::uint32_t> numbers;
  numbers.reserve(count);
  const bool terminal = isatty(fileno(stderr)) != 0;
  const auto start = std::chrono::steady_clock::now();
  auto lastReport = start;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t number = 0;
    status = cfgGrabImage(board.id(), &number, image.get());
    if (status != 0) {
      if (terminal && lastReport != start) std::fprintf(stderr, "\n");
      Failed("grab " + std::to_string(i + 1) + " of " + std::to_string(count) + " on " + choice.board, status);
      break;
    }
    numbers.push_back(number);
    const auto now = std::chrono::steady_clock::now();
    if (!quiet && now - lastReport >= std::chrono::seconds(1)) {
      lastReport = now;
      // One line rewritten on a terminal, one line a report elsewhere.
      std::fprintf(stderr, "%s%" PRIu32 " of %" PRIu32 " frames, buffer %" PRIu32 "%s", terminal ? "\r" : "", i + 1,
                   count, number, terminal ? "" : "\n");
      std::fflush(stderr);
    }
  }
  if (!quiet && terminal && lastReport != start) std::fprintf(stderr, "\n");
  cfgStopAcquisition(board.id());
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  // Runs of consecutive numbers; a number given again (a remote target's
  // newest image may still be the one it gave before) is counted, not
  // listed twice.
  std::string runs;
  std::uint64_t missing = 0;
  std::uint32_t repeated = 0;
  std::vector<std::string> gaps;
  std::vector<std::uint32_t> distinct;
  for (const std::uint32_t number : numbers) {
    if (!distinct.empty() && number == distinct.back()) {
      ++repeated;
    } else {
      distinct.push_back(number);
    }
  }
  for (std::size_t i = 0; i < distinct.size();) {
    std::size_t end = i;
    while (end + 1 < distinct.size() && distinct[end + 1] == distinct[end] + 1) ++end;
    if (!runs.empty()) runs += " ";
    runs += end == i ? std::to_string(distinct[i]) : std::to_string(distinct[i]) + "-" + std::to_string(distinct[end]);
    if (end + 1 < distinct.size()) {
      const std::uint32_t before = distinct[end];
      const std::uint32_t after = distinct[end + 1];
      if (after > before) {
        missing += after - before - 1;
        gaps.push_back(after - before == 2 ? std::to_string(before + 1)
                                           : std::to_string(before + 1) + "-" + std::to_string(after - 1));
      } else {
        gaps.push_back("back from " + std::to_string(before) + " to " + std::to_string(after));
      }
    }
    i = end + 1;
  }
  std::printf("%s: %zu frames in %.2f s, buffer numbers %s\n", choice.board.c_str(), numbers.size(), seconds,
              runs.empty() ? "none" : runs.c_str());
  if (gaps.empty()) {
    std::printf("no gaps");
  } else {
    std::printf("%" PRIu64 " frames missing:", missing);
    for (const std::string& gap : gaps) std::printf(" %s", gap.c_str());
  }
  if (repeated != 0) std::printf(", %" PRIu32 " numbers given again", repeated);
  std::printf("\n");
  return status == 0 ? 0 : 1;
}

// ---- Network and USB cameras ------------------------------------------------
// These commands use the cameras of the network and USB driver (driver type
// 2) and their attributes by name.

constexpr std::int32_t kCameraDriver = 2;
// Type tags of attribute values, as the listing reports them and the value
// functions take them.
constexpr std::uint32_t kTypeU32 = 1;
constexpr std::uint32_t kTypeF64 = 2;
constexpr std::uint32_t kTypeString = 5;
constexpr std::uint32_t kTypeEnum = 100;
constexpr std::uint32_t kTypeBool = 101;
constexpr std::uint32_t kTypeCommand = 102;
constexpr std::uint32_t kTypeI64 = 104;
constexpr std::uint32_t kComponentValue = 0;
// The listing's visibility that takes in every attribute, the driver's own
// settings too.
constexpr std::uint32_t kEveryVisibility = 0x8000000;
// Room for a string value: the library copies the whole text.
constexpr std::size_t kTextRoom = 4096;

const char* CharPointer(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

const char* BusName(std::uint32_t bus) {
  switch (bus) {
    case 1:
      return "network";
    case 2:
      return "USB";
    case 4:
      return "camera link";
    default:
      return "other";
  }
}

const char* TypeTagName(std::uint32_t type) {
  switch (type) {
    case kTypeU32:
      return "u32";
    case kTypeF64:
      return "f64";
    case kTypeString:
      return "string";
    case kTypeEnum:
      return "enum";
    case kTypeBool:
      return "bool";
    case kTypeCommand:
      return "command";
    case kTypeI64:
      return "i64";
    default:
      return "?";
  }
}

// Lists the cameras of the network and USB driver: name, identity,
// description and bus.
int ListCameras(const std::string& host) {
  const char* target = CharPointer(host);
  std::int32_t status = cfgRefreshCameras2(target, kCameraDriver);
  if (status != 0) return Failed("list the cameras", status);
  std::uint32_t count = 0;
  status = cfgGetCameraCount2(target, kCameraDriver, &count);
  if (status != 0) return Failed("count the cameras", status);
  std::printf("%" PRIu32 " network and USB cameras\n", count);
  for (std::uint32_t i = 0; i < count; ++i) {
    char name[256] = "";
    char description[256] = "";
    std::uint32_t high = 0;
    std::uint32_t low = 0;
    std::uint32_t bus = 0;
    status = cfgQueryCamera2(target, kCameraDriver, i, name, sizeof name, &high, &low, description,
                             sizeof description, &bus);
    if (status != 0) return Failed("camera " + std::to_string(i), status);
    std::printf("%s: %s, %s, id 0x%08" PRIX32 "%08" PRIX32 "\n", name, description, BusName(bus), high, low);
  }
  return 0;
}

// A session on a camera, closed at the end of its scope.
class Camera {
 public:
  Camera() = default;
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;
  ~Camera() {
    if (id_ != 0) cfgClose(id_);
  }
  // Opens the camera by its interface name; 0 or the exit status. The list
  // of cameras is made first, as a user would see it.
  int Open(const std::string& host, const std::string& camera) {
    const char* target = CharPointer(host);
    std::int32_t status = cfgRefreshCameras2(target, kCameraDriver);
    if (status != 0) return Failed("list the cameras", status);
    status = cfgOpenCamera3(target, kCameraDriver, camera.c_str(), 0, 0, 0, &id_);
    if (status != 0) {
      id_ = 0;
      return Failed("open " + camera, status);
    }
    name_ = camera;
    return 0;
  }
  std::uint32_t id() const { return id_; }
  const std::string& name() const { return name_; }

 private:
  std::uint32_t id_ = 0;
  std::string name_;
};

// The attribute listing of a camera up to a visibility, read anew from the
// driver; *status tells a failure.
std::vector<KELDcfgAttrInfo> AttributeListing(std::uint32_t session, std::uint32_t visibility,
                                              std::int32_t* status) {
  std::uint32_t count = 0;
  *status = cfgGetNVAttributesInfo2(session, nullptr, &count, visibility, 0);
  if (*status != 0) return {};
  std::vector<KELDcfgAttrInfo> list(count);
  if (count != 0) *status = cfgGetNVAttributesInfo2(session, list.data(), &count, visibility, 1);
  list.resize(*status == 0 ? count : 0);
  return list;
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// The attribute a user means by `wanted`: its full name, or the end of it
// after a "::" (the short name, or a path's tail), in any case. A name that
// fits several attributes is refused, so that nothing is set by chance.
const KELDcfgAttrInfo* FindAttribute(const std::vector<KELDcfgAttrInfo>& list, const std::string& wanted,
                                     std::string* problem) {
  for (const KELDcfgAttrInfo& info : list) {
    if (wanted == info.Name) return &info;
  }
  const std::string tail = "::" + Lower(wanted);
  const KELDcfgAttrInfo* found = nullptr;
  for (const KELDcfgAttrInfo& info : list) {
    const std::string name = Lower(info.Name);
    const bool fits = name == Lower(wanted) ||
                      (name.size() > tail.size() && name.compare(name.size() - tail.size(), tail.size(), tail) == 0);
    if (!fits) continue;
    if (found != nullptr) {
      *problem = wanted + " names both " + found->Name + " and " + info.Name;
      return nullptr;
    }
    found = &info;
  }
  if (found == nullptr) *problem = "the camera has no attribute " + wanted;
  return found;
}

// The value of an attribute as text, read from the camera; a value that
// cannot be read says why.
std::string ValueText(std::uint32_t session, const KELDcfgAttrInfo& info) {
  if (info.Type == kTypeCommand) return "(command)";
  if (info.Readable == 0) return "(not readable)";
  char text[kTextRoom] = "";
  std::int32_t status = 0;
  switch (info.Type) {
    case kTypeU32: {
      std::uint32_t value = 0;
      status = cfgGetNVAttributeValue(session, info.Name, kComponentValue, info.Type, &value, 0);
      std::snprintf(text, sizeof text, "%" PRIu32, value);
      break;
    }
    case kTypeI64: {
      std::int64_t value = 0;
      status = cfgGetNVAttributeValue(session, info.Name, kComponentValue, info.Type, &value, 0);
      std::snprintf(text, sizeof text, "%" PRId64, value);
      break;
    }
    case kTypeF64: {
      double value = 0;
      status = cfgGetNVAttributeValue(session, info.Name, kComponentValue, info.Type, &value, 0);
      std::snprintf(text, sizeof text, "%g", value);
      break;
    }
    case kTypeString: {
      char value[kTextRoom] = "";
      status = cfgGetNVAttributeValue(session, info.Name, kComponentValue, info.Type, value, 0);
      std::snprintf(text, sizeof text, "\"%s\"", value);
      break;
    }
    case kTypeEnum: {
      KELDnvEnumItem_struct item{};
      status = cfgGetNVAttributeValue(session, info.Name, kComponentValue, info.Type, &item, 0);
      const auto number = static_cast<std::int64_t>((std::uint64_t{item.ValueHigh} << 32) | item.ValueLow);
      std::snprintf(text, sizeof text, "%s (%" PRId64 ")", item.Name, number);
      break;
    }
    case kTypeBool: {
      std::uint8_t value = 0;
      status = cfgGetNVAttributeValue(session, info.Name, kComponentValue, info.Type, &value, 0);
      std::snprintf(text, sizeof text, "%s", value != 0 ? "true" : "false");
      break;
    }
    default:
      return "(type " + std::to_string(info.Type) + ")";
  }
  if (status != 0) {
    std::snprintf(text, sizeof text, "(0x%08" PRIX32 " %s)", static_cast<std::uint32_t>(status),
                  ErrorText(status).c_str());
  }
  return text;
}

// Prints a camera's attribute tree: a line for each category as the path
// changes, then the attribute's short name, value, units, type and access.
int ShowCameraAttributes(const std::string& host, const std::string& cameraName, std::uint32_t visibility) {
  Camera camera;
  if (const int failed = camera.Open(host, cameraName); failed != 0) return failed;
  std::int32_t status = 0;
  const std::vector<KELDcfgAttrInfo> list = AttributeListing(camera.id(), visibility, &status);
  if (status != 0) return Failed("attributes of " + cameraName, status);
  std::printf("%s: %zu attributes up to visibility 0x%08" PRIX32 "\n", cameraName.c_str(), list.size(), visibility);
  std::vector<std::string> shown;  // the categories of the line before
  for (const KELDcfgAttrInfo& info : list) {
    std::vector<std::string> path;
    const std::string name = info.Name;
    std::size_t start = 0;
    for (std::size_t cut = name.find("::"); cut != std::string::npos; cut = name.find("::", start)) {
      path.push_back(name.substr(start, cut - start));
      start = cut + 2;
    }
    std::size_t same = 0;
    while (same < path.size() && same < shown.size() && path[same] == shown[same]) ++same;
    for (std::size_t level = same; level < path.size(); ++level) {
      std::printf("%*s%s\n", static_cast<int>(2 * level), "", path[level].c_str());
    }
    shown = path;
    const std::string units = info.Units[0] != 0 ? std::string(" ") + info.Units : std::string();
    std::printf("%*s%s = %s%s  [%s, %s%s]\n", static_cast<int>(2 * path.size()), "", name.substr(start).c_str(),
                ValueText(camera.id(), info).c_str(), units.c_str(), TypeTagName(info.Type),
                info.Readable != 0 ? "r" : "-", info.Writable != 0 ? "w" : "-");
  }
  return 0;
}

// Sets one attribute from its text: numbers as the attribute's type wants
// them, enumerations by a choice's name or number, booleans as
// true/false/on/off/1/0, commands by any true value. Throws
// std::invalid_argument or std::out_of_range for a text that is no value.
std::int32_t SetFromText(std::uint32_t session, const KELDcfgAttrInfo& info, const std::string& text) {
  const auto whole = [&](std::size_t used) {
    if (used != text.size()) throw std::invalid_argument("not a number: " + text);
  };
  std::size_t used = 0;
  switch (info.Type) {
    case kTypeU32: {
      const unsigned long long number = std::stoull(text, &used, 0);
      whole(used);
      if (number > UINT32_MAX || text.find('-') != std::string::npos) throw std::out_of_range(text);
      const auto value = static_cast<std::uint32_t>(number);
      return cfgSetNVAttributeValue(session, info.Name, kComponentValue, info.Type, &value, 0);
    }
    case kTypeI64: {
      const std::int64_t value = std::stoll(text, &used, 0);
      whole(used);
      return cfgSetNVAttributeValue(session, info.Name, kComponentValue, info.Type, &value, 0);
    }
    case kTypeF64: {
      const double value = std::stod(text, &used);
      whole(used);
      return cfgSetNVAttributeValue(session, info.Name, kComponentValue, info.Type, &value, 0);
    }
    case kTypeString:
      return cfgSetNVAttributeValue(session, info.Name, kComponentValue, info.Type, text.c_str(), 0);
    case kTypeEnum: {
      // A choice by its name first; a number is taken as the choice's value.
      std::uint32_t count = 0;
      std::int32_t status = cfgGetNVAttributeEnumValues(session, info.Name, nullptr, &count, 0);
      if (status != 0) return status;
      std::vector<KELDnvEnumItem_struct> choices(count);
      if (count != 0) status = cfgGetNVAttributeEnumValues(session, info.Name, choices.data(), &count, 1);
      if (status != 0) return status;
      choices.resize(count);
      for (const KELDnvEnumItem_struct& choice : choices) {
        if (Lower(choice.Name) == Lower(text)) {
          return cfgSetNVAttributeValue(session, info.Name, kComponentValue, kTypeEnum, &choice, 0);
        }
      }
      const std::int64_t number = std::stoll(text, &used, 0);
      whole(used);
      for (const KELDnvEnumItem_struct& choice : choices) {
        if (static_cast<std::int64_t>((std::uint64_t{choice.ValueHigh} << 32) | choice.ValueLow) == number) {
          return cfgSetNVAttributeValue(session, info.Name, kComponentValue, kTypeEnum, &choice, 0);
        }
      }
      throw std::invalid_argument(text + " is none of the choices of " + info.Name);
    }
    case kTypeBool:
    case kTypeCommand: {
      const std::string word = Lower(text);
      std::uint8_t value = 0;
      if (word == "1" || word == "true" || word == "on" || word == "yes") {
        value = 1;
      } else if (word != "0" && word != "false" && word != "off" && word != "no") {
        throw std::invalid_argument("not a boolean: " + text);
      }
      return cfgSetNVAttributeValue(session, info.Name, kComponentValue, kTypeBool, &value, 0);
    }
    default:
      throw std::invalid_argument(std::string(info.Name) + " has a type this program cannot set");
  }
}

// Sets attributes given as NAME=VALUE, one after the other, and prints each
// value as the camera reads it back. Stops at the first that fails.
int SetCameraAttributes(const std::string& host, const std::string& cameraName,
                        const std::vector<std::string>& assignments) {
  Camera camera;
  if (const int failed = camera.Open(host, cameraName); failed != 0) return failed;
  std::int32_t status = 0;
  const std::vector<KELDcfgAttrInfo> list = AttributeListing(camera.id(), kEveryVisibility, &status);
  if (status != 0) return Failed("attributes of " + cameraName, status);
  for (const std::string& assignment : assignments) {
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos || equals == 0) {
      std::fprintf(stderr, "keldcfg: %s is not NAME=VALUE\n", assignment.c_str());
      return 2;
    }
    const std::string wanted = assignment.substr(0, equals);
    std::string problem;
    const KELDcfgAttrInfo* info = FindAttribute(list, wanted, &problem);
    if (info == nullptr) {
      std::fprintf(stderr, "keldcfg: %s\n", problem.c_str());
      return 2;
    }
    try {
      status = SetFromText(camera.id(), *info, assignment.substr(equals + 1));
    } catch (const std::logic_error& e) {
      std::fprintf(stderr, "keldcfg: %s: %s\n", info->Name, e.what());
      return 2;
    }
    if (status != 0) return Failed("set " + std::string(info->Name), status);
    const std::string units = info->Units[0] != 0 ? std::string(" ") + info->Units : std::string();
    std::printf("%s: %s = %s%s\n", cameraName.c_str(), info->Name, ValueText(camera.id(), *info).c_str(),
                units.c_str());
  }
  return 0;
}

// Snaps one frame from a camera and writes it as PNG.
int SnapCameraToPng(const std::string& host, const std::string& cameraName, const std::string& output) {
  Camera camera;
  if (const int failed = camera.Open(host, cameraName); failed != 0) return failed;
  return SnapSessionToPng(camera.id(), kWithImage, cameraName, output);
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
  keldcfg error 0xBFFF8009
  keldcfg snap --board img0 frame.png
  keldcfg grab --board img1 --count 1000 --host 10.0.0.7
  keldcfg cameras
  keldcfg camera-attributes --camera cam0
  keldcfg camera-set --camera cam0 Gain=2 ExposureTime=5000
  keldcfg camera-snap --camera cam0 --host localhost frame.png)";

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

  BoardChoice snapChoice;
  BoardChoice grabChoice;
  const auto boardOptions = [](CLI::App* command, BoardChoice& choice, const char* board) {
    choice.board = board;
    command->add_option("--host", choice.host, "target host (absent: this computer)");
    command->add_option("--board", choice.board, "interface name of the board")->capture_default_str();
    command->add_option("--camera", choice.cameraFile, "camera file to load first, such as mono640.icd");
    command->add_option("--frame-rate", choice.frameRate, "frames per second to set first (0: as fast as asked)")
        ->check(CLI::Range(0.0, 1000.0));
  };
  auto* snap = app.add_subcommand("snap", "snap one frame from a board and write it as PNG");
  boardOptions(snap, snapChoice, "img0");
  std::string output;
  bool raw = false;
  snap->add_option("output", output, "PNG file to write")->required();
  snap->add_flag("--raw", raw, "keep a raw Bayer mosaic as it is, without decoding it to colour");
  auto* grab = app.add_subcommand("grab", "grab frames from a board and print their buffer numbers and gaps");
  boardOptions(grab, grabChoice, "img1");
  std::uint32_t count = 100;
  bool quiet = false;
  grab->add_option("--count", count, "frames to grab")->capture_default_str()->check(CLI::Range(1u, 100000000u));
  grab->add_flag("--quiet", quiet, "no progress on standard error");

  std::string cameraHost;
  std::string cameraName = "cam0";
  const auto cameraOptions = [&](CLI::App* command) {
    command->add_option("--host", cameraHost, "target host (absent: this computer)");
    command->add_option("--camera", cameraName, "interface name of the camera")->capture_default_str();
  };
  auto* cameras = app.add_subcommand("cameras", "list the network and USB cameras");
  cameras->add_option("--host", cameraHost, "target host (absent: this computer)");
  auto* cameraAttributes =
      app.add_subcommand("camera-attributes", "print the attribute tree of a camera with its values");
  cameraOptions(cameraAttributes);
  std::uint32_t visibility = 0x4000;
  cameraAttributes->add_option("--visibility", visibility, "highest visibility listed (0x8000000: all)")
      ->capture_default_str();
  auto* cameraSet = app.add_subcommand("camera-set", "set attributes of a camera by name");
  cameraOptions(cameraSet);
  std::vector<std::string> assignments;
  cameraSet->add_option("assignments", assignments, "NAME=VALUE, such as Gain=2 (full, short or tail of name)")
      ->required();
  auto* cameraSnap = app.add_subcommand("camera-snap", "snap one frame from a camera and write it as PNG");
  cameraOptions(cameraSnap);
  std::string cameraOutput;
  cameraSnap->add_option("output", cameraOutput, "PNG file to write")->required();

  CLI11_PARSE(app, argc, argv);
  try {
    if (version->parsed()) return host.empty() ? ShowVersion() : ShowTargetVersion(host);
    if (mtu->parsed()) return ShowMtu(host, adapter);
    if (error->parsed()) return ShowErrorTexts(codes);
    if (snap->parsed()) return SnapToPng(snapChoice, output, raw);
    if (grab->parsed()) return GrabFrames(grabChoice, count, quiet);
    if (cameras->parsed()) return ListCameras(cameraHost);
    if (cameraAttributes->parsed()) return ShowCameraAttributes(cameraHost, cameraName, visibility);
    if (cameraSet->parsed()) return SetCameraAttributes(cameraHost, cameraName, assignments);
    if (cameraSnap->parsed()) return SnapCameraToPng(cameraHost, cameraName, cameraOutput);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "keldcfg: %s\n", e.what());
    return 2;
  }
  return 1;
}
