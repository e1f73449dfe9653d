// Version negotiation of the configuration library, for C++ components of the
// same family. A version word holds, from the top, 8 bits major, 4 bits
// minor, 4 bits update, then the phase (2 bits: d, a, b, f) and the build
// (14 bits). Versions order as unsigned words.
#ifndef KELDCFGC_VERSION_HPP
#define KELDCFGC_VERSION_HPP

#include <cstdint>
#include <cstdio>
#include <string>

class tHTVersion {
 public:
  constexpr tHTVersion() = default;
  constexpr explicit tHTVersion(std::uint32_t word) : word_(word) {}
  constexpr std::uint32_t word() const { return word_; }
  constexpr auto operator<=>(const tHTVersion&) const = default;

  // Text form such as "18.5.0f0".
  std::string toString() const {
    static constexpr char kPhases[] = {'d', 'a', 'b', 'f'};
    char text[32];
    std::snprintf(text, sizeof text, "%u.%u.%u%c%u", static_cast<unsigned>(word_ >> 24),
                  static_cast<unsigned>((word_ >> 20) & 0xF), static_cast<unsigned>((word_ >> 16) & 0xF),
                  kPhases[(word_ >> 14) & 0x3], static_cast<unsigned>(word_ & 0x3FFF));
    return text;
  }

 private:
  std::uint32_t word_ = 0;
};

namespace nKELDCFGC_18_5 {

// The library's own version, 18.5.0f0. `status` is left as it is.
__attribute__((visibility("default"))) tHTVersion getCurrentVersion(std::int32_t& status);
// The oldest version this library is compatible with. `status` is left as it is.
__attribute__((visibility("default"))) tHTVersion getOldestCompatibleVersion(std::int32_t& status);
// Checks a caller's range against the library's. A negative result is
// -50000 (malformed range), -50253 (caller too old) or -50252 (library too
// old); it replaces a status of 0 or a positive one, and a mismatch is
// reported on standard error. A negative status on entry is left alone.
__attribute__((visibility("default"))) void compareVersion(const tHTVersion& newest, const tHTVersion& oldest,
                                                           std::int32_t& status, const char* component);

}  // namespace nKELDCFGC_18_5

#endif
