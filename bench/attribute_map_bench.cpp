// Name look-up in an AttributeMap of 10,000 attributes with "A::B::Name"
// paths, against std::unordered_map<std::string, Attribute*> look-ups of the
// same names measured in the same run: an exact full-name hit and a
// short-name hit. Prints nanoseconds per look-up and the two ratios.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "attributes/attribute_map.h"

namespace {

constexpr std::uint32_t kAttributes = 10000;
constexpr int kRounds = 31;

using Clock = std::chrono::steady_clock;

// Nanoseconds per look-up of every name once.
template <typename Lookup>
double NanosPerLookup(const std::vector<std::string>& names, Lookup lookup, std::uintptr_t* sink) {
  const auto start = Clock::now();
  for (const std::string& name : names) *sink += reinterpret_cast<std::uintptr_t>(lookup(name));
  const std::chrono::duration<double, std::nano> elapsed = Clock::now() - start;
  return elapsed.count() / static_cast<double>(names.size());
}

// Best of several rounds for the reference and the candidate, measured in
// turns so that a change of machine load hits both alike.
template <typename Reference, typename Candidate>
std::pair<double, double> BestOfRounds(const std::vector<std::string>& names, Reference reference,
                                       Candidate candidate, std::uintptr_t* sink) {
  double bestReference = 1e300;
  double bestCandidate = 1e300;
  for (int round = 0; round < kRounds; ++round) {
    bestReference = std::min(bestReference, NanosPerLookup(names, reference, sink));
    bestCandidate = std::min(bestCandidate, NanosPerLookup(names, candidate, sink));
  }
  return {bestReference, bestCandidate};
}

}  // namespace

int main() {
  static const char* const kGroups[] = {"Acquisition", "Camera", "Trigger", "Image", "Transport", "Device",
                                        "Lighting", "Encoder"};
  keld::AttributeMap map;
  std::vector<std::string> fullNames;
  std::vector<std::string> shortNames;
  for (std::uint32_t i = 0; i < kAttributes; ++i) {
    const std::string shortName = "Setting" + std::to_string(i);
    const std::string full = std::string(kGroups[i % 8]) + "::Block" + std::to_string(i % 97) + "::" + shortName;
    keld::Attribute* attribute = nullptr;
    if (keld::CreateAttribute(keld::AttrU32::kTag, true, &attribute) != keld::kSuccess) return 1;
    attribute->SetKey(i);
    if (attribute->SetName(full.c_str()) != keld::kSuccess) std::abort();
    map.Insert(attribute);
    fullNames.push_back(full);
    shortNames.push_back(shortName);
  }

  std::unordered_map<std::string, keld::Attribute*> byFull;
  std::unordered_map<std::string, keld::Attribute*> byShort;
  for (std::uint32_t i = 0; i < kAttributes; ++i) {
    byFull.emplace(fullNames[i], map.FindByKey(i));
    byShort.emplace(shortNames[i], map.FindByKey(i));
  }

  // Look the names up in a shuffled order, the same for both sides.
  std::mt19937 random(42);
  std::vector<std::uint32_t> order(kAttributes);
  for (std::uint32_t i = 0; i < kAttributes; ++i) order[i] = i;
  std::shuffle(order.begin(), order.end(), random);
  std::vector<std::string> fullQueries;
  std::vector<std::string> shortQueries;
  for (const std::uint32_t i : order) {
    fullQueries.push_back(fullNames[i]);
    shortQueries.push_back(shortNames[i]);
  }

  // Every query must hit the right attribute on both sides.
  for (std::uint32_t i = 0; i < kAttributes; ++i) {
    if (map.FindByName(fullNames[i].c_str()) != byFull[fullNames[i]] ||
        map.FindByName(shortNames[i].c_str()) != byShort[shortNames[i]]) {
      std::fprintf(stderr, "look-up mismatch at %u\n", i);
      return 1;
    }
  }

  std::uintptr_t sink = 0;
  const auto [referenceFull, exact] = BestOfRounds(
      fullQueries, [&](const std::string& n) { return byFull.find(n)->second; },
      [&](const std::string& n) { return map.FindByName(n.c_str()); }, &sink);
  const auto [referenceShort, shortHit] = BestOfRounds(
      shortQueries, [&](const std::string& n) { return byShort.find(n)->second; },
      [&](const std::string& n) { return map.FindByName(n.c_str()); }, &sink);

  std::printf("AttributeMap::FindByName, %u attributes, best of %d rounds (checksum %zx)\n", kAttributes, kRounds,
              static_cast<std::size_t>(sink & 0xFFF));
  std::printf("%-34s %10s %10s %8s %6s\n", "case", "ns/lookup", "ref ns", "ratio", "goal");
  std::printf("%-34s %10.1f %10.1f %8.2f %6s\n", "exact full name", exact, referenceFull, exact / referenceFull,
              "<= 2");
  std::printf("%-34s %10.1f %10.1f %8.2f %6s\n", "short name", shortHit, referenceShort, shortHit / referenceShort,
              "<= 3");
  return 0;
}
