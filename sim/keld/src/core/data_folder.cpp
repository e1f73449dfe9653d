#include "core/data_folder.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "core/text_file.h"

namespace keldsim {
namespace fs = std::filesystem;
namespace {

struct SeedFile {
  const char* name;
  const char* text;
};

// The camera files a new data folder starts with.
constexpr SeedFile kSeeds[] = {
    {"mono640.icd", R"(# OD-KELD camera file
[Camera]
Model = Mono 640
ModeName = 640 x 480, 8-bit monochrome
Detail = Progressive scan, free-running or triggered, 60 frames per second
InterfaceTypes = 0x00000003
Width = 640
Height = 480
ImageType = 0
BitDepth = 8
BayerPattern = none
FrameRate = 60
Noise = 0
[Attribute Exposure Time]
Kind = numeric
Units = us
Minimum = 1
Maximum = 10000
Increment = 1
Scale = 10
Offset = 0
Precision = 0
Default = 100
[Attribute Gain]
Kind = numeric
Units = dB
Minimum = 0
Maximum = 480
Increment = 1
Scale = 0.05
Offset = 0
Precision = 2
Default = 0
[Attribute Trigger Mode]
Kind = string
Values = Free Run|Triggered
Default = Free Run
[Attribute Trigger Polarity]
Parent = Trigger Mode
When = Triggered
Kind = string
Values = Rising Edge|Falling Edge
Default = Rising Edge
[Attribute Trigger Delay]
Parent = Trigger Mode
When = Triggered
Kind = numeric
Units = us
Minimum = 0
Maximum = 1000
Increment = 1
Scale = 1
Offset = 0
Precision = 0
Default = 0
)"},
    {"bayer1280.icd", R"(# OD-KELD camera file
[Camera]
Model = Colour 1280 raw
ModeName = 1280 x 1024, 8-bit Bayer RG/GB
Detail = Raw Bayer mosaic over Camera Link base, 30 frames per second
InterfaceTypes = 0x00000004
Width = 1280
Height = 1024
ImageType = 0
BitDepth = 8
BayerPattern = 0
FrameRate = 30
Noise = 3
[Attribute Exposure Time]
Kind = numeric
Units = us
Minimum = 1
Maximum = 20000
Increment = 1
Scale = 5
Offset = 0
Precision = 0
Default = 400
[Attribute White Balance]
Kind = string
Values = Manual|Automatic
Default = Manual
[Attribute Red Gain]
Parent = White Balance
When = Manual
Kind = numeric
Units =
Minimum = 0
Maximum = 399
Increment = 1
Scale = 0.01
Offset = 0
Precision = 2
Default = 100
[Attribute Blue Gain]
Parent = White Balance
When = Manual
Kind = numeric
Units =
Minimum = 0
Maximum = 399
Increment = 1
Scale = 0.01
Offset = 0
Precision = 2
Default = 100
)"},
    {"mono16.icd", R"(# OD-KELD camera file
[Camera]
Model = Mono 12-bit 1024
ModeName = 1024 x 768, 12-bit monochrome
Detail = 12 bits a pixel in 16-bit words, 50 frames per second
InterfaceTypes = 0x00000006
Width = 1024
Height = 768
ImageType = 7
BitDepth = 12
BayerPattern = none
FrameRate = 50
Noise = 1
[Attribute Exposure Time]
Kind = numeric
Units = ms
Minimum = 1
Maximum = 1000
Increment = 1
Scale = 0.1
Offset = 0
Precision = 1
Default = 50
)"},
    {"rgb640.icd", R"(# OD-KELD camera file
[Camera]
Model = Colour 640 RGB
ModeName = 640 x 480, 24-bit colour
Detail = Colour camera with its own Bayer decoding, 30 frames per second
InterfaceTypes = 0x00000004
Width = 640
Height = 480
ImageType = 4
BitDepth = 8
BayerPattern = none
FrameRate = 30
Noise = 0
)"},
};

constexpr SeedFile kReferenceSeeds[] = {
    {"reference640.icd", R"(# OD-KELD camera file
[Camera]
Model = Reference 640
ModeName = 640 x 480, 8-bit reference
Detail = Reference timing for every interface type
InterfaceTypes = 0x00000007
Width = 640
Height = 480
ImageType = 0
BitDepth = 8
BayerPattern = none
FrameRate = 30
Noise = 0
)"},
};

std::string Slashes(std::string_view name) {
  std::string text(name);
  std::replace(text.begin(), text.end(), '\\', '/');
  return text;
}

}  // namespace

DataFolder::DataFolder(std::string root) : root_(fs::path(Slashes(root)).lexically_normal().string()) {
  while (root_.size() > 1 && root_.back() == '/') root_.pop_back();
}

std::string DataFolder::DefaultRoot() {
  const char* xdg = std::getenv("XDG_DATA_HOME");
  if (xdg != nullptr && xdg[0] == '/') return (fs::path(xdg) / "keldsim").string();
  const char* home = std::getenv("HOME");
  if (home != nullptr && home[0] == '/') return (fs::path(home) / ".local" / "share" / "keldsim").string();
  return "/tmp/keldsim-" + std::to_string(::getuid());
}

std::string DataFolder::Resolve(std::string_view name) const {
  const fs::path path(Slashes(name));
  if (path.is_absolute()) return path.lexically_normal().string();
  return (fs::path(root_) / path).lexically_normal().string();
}

std::string DataFolder::Normalize(std::string_view name) const {
  const fs::path path(Resolve(name));
  const fs::path relative = path.lexically_relative(root_);
  if (relative.empty() || *relative.begin() == "..") return path.string();
  return relative.string();
}

std::string DataFolder::WithoutInterfaceExtension(std::string_view name) {
  std::string text(name);
  if (text.size() >= 4 && EqualNoCase(std::string_view(text).substr(text.size() - 4), ".iid"))
    text.resize(text.size() - 4);
  return text;
}

std::string DataFolder::InterfacePath(std::string_view name) const {
  return Resolve(WithoutInterfaceExtension(name) + ".iid");
}

Status DataFolder::Prepare() const {
  std::error_code failure;
  fs::create_directories(root_, failure);
  if (failure || !fs::is_directory(root_, failure)) return st::kDataFolder;
  if (!fs::is_empty(root_, failure)) return failure ? st::kDataFolder : st::kOk;
  for (const auto& seed : kSeeds) {
    if (!WriteWholeFile(fs::path(root_) / seed.name, seed.text)) return st::kDataFolder;
  }
  const fs::path reference = fs::path(root_) / "Reference";
  fs::create_directories(reference, failure);
  if (failure) return st::kDataFolder;
  for (const auto& seed : kReferenceSeeds) {
    if (!WriteWholeFile(reference / seed.name, seed.text)) return st::kDataFolder;
  }
  return st::kOk;
}

std::vector<std::string> DataFolder::List(std::string_view extension) const {
  std::vector<std::string> names;
  std::error_code failure;
  for (fs::directory_iterator it(root_, failure), end; !failure && it != end; it.increment(failure)) {
    std::error_code ignored;
    if (!it->is_regular_file(ignored)) continue;
    const std::string name = it->path().filename().string();
    if (name.size() > extension.size() &&
        EqualNoCase(std::string_view(name).substr(name.size() - extension.size()), extension)) {
      names.push_back(name);
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace keldsim
