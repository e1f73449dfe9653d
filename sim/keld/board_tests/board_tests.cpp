// A board test library of one board family (KELDSIM_BOARD_FAMILY: 7105,
// 7102, 7103 or 7107). TestInitialize hands out two tables of tests; each
// test examines the board through the driver's register access and writes
// a message of at most 1023 characters. A result set for a test through the
// driver's controls (or the description's "board_tests") takes the place of
// what the test finds.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <type_traits>

#pragma GCC visibility push(default)
#include "keld/keld_driver_api.h"
#pragma GCC visibility pop
#include "keldsim/keldsim_control.h"

#ifndef KELDSIM_BOARD_FAMILY
#error "compile with KELDSIM_BOARD_FAMILY set to 7105, 7102, 7103 or 7107"
#endif

namespace {

constexpr uint32_t kPassed = 1, kFailed = 2, kCritical = 3, kSkipped = 4;
constexpr std::size_t kMessageBytes = 1024;
constexpr uint32_t kControl = 0, kMemory = 1;

__attribute__((format(printf, 2, 3))) void Say(char** message, const char* format, ...) {
  if (message == nullptr || *message == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(*message, kMessageBytes, format, arguments);
  va_end(arguments);
}

// The tests; not every family has every one of them.

// The board types this library serves.
bool OfThisFamily(uint32_t type) {
#if KELDSIM_BOARD_FAMILY == 7105
  return type == 0x7101 || type == 0x7105;
#elif KELDSIM_BOARD_FAMILY == 7102
  return type == 0x7102;
#elif KELDSIM_BOARD_FAMILY == 7103
  return type == 0x7103 || type == 0x7104;
#else
  return type == 0x7106 || type == 0x7107 || type == 0x7108 || type == 0x7110;
#endif
}

[[maybe_unused]] uint32_t Identification(uint32_t serial, char** message) {
  uint32_t type = 0;
  if (const KeldDriverStatus status = kldRead(serial, kControl, 0x0000, 4, &type); status != 0) {
    Say(message, "The board does not answer: reading its type register failed with 0x%08X.", status);
    return kCritical;
  }
  if (!OfThisFamily(type)) {
    Say(message, "The board reports type 0x%04X, which this test library does not serve.", type);
    return kCritical;
  }
  Say(message, "Board type 0x%04X identified.", type);
  return kPassed;
}

[[maybe_unused]] uint32_t Registers(uint32_t serial, char** message) {
  constexpr uint32_t kScratch = 0x0040;
  uint32_t saved = 0;
  if (const KeldDriverStatus status = kldRead(serial, kControl, kScratch, 4, &saved); status != 0) {
    Say(message, "Reading the scratch register failed with 0x%08X.", status);
    return kFailed;
  }
  for (const uint32_t pattern : {0x5A5A5A5Au, 0xA5A5A5A5u, 0x00000000u, 0xFFFFFFFFu}) {
    uint32_t back = 0;
    const KeldDriverStatus written = kldWrite(serial, kControl, kScratch, 4, &pattern);
    const KeldDriverStatus read = written == 0 ? kldRead(serial, kControl, kScratch, 4, &back) : written;
    if (read != 0) {
      Say(message, "Access to the scratch register failed with 0x%08X.", read);
      return kFailed;
    }
    if (back != pattern) {
      Say(message, "The scratch register read back 0x%08X after 0x%08X was written.", back, pattern);
      return kFailed;
    }
  }
  (void)kldWrite(serial, kControl, kScratch, 4, &saved);  // as it was, if the board lets us
  Say(message, "The scratch register holds every pattern written to it.");
  return kPassed;
}

[[maybe_unused]] uint32_t Memory(uint32_t serial, char** message) {
  for (uint32_t offset = 0; offset < 0x10000; offset += 0x1000) {
    const uint32_t pattern = 0x9E3779B9u ^ offset;
    uint32_t back = 0;
    const KeldDriverStatus written = kldWrite(serial, kMemory, offset, 4, &pattern);
    const KeldDriverStatus read = written == 0 ? kldRead(serial, kMemory, offset, 4, &back) : written;
    if (read != 0) {
      Say(message, "On-board memory at 0x%05X cannot be reached: 0x%08X.", offset, read);
      return kFailed;
    }
    if (back != pattern) {
      Say(message, "On-board memory at 0x%05X read back 0x%08X instead of 0x%08X.", offset, back, pattern);
      return kFailed;
    }
  }
  Say(message, "On-board memory holds 16 test words.");
  return kPassed;
}

[[maybe_unused]] uint32_t DataFpga(uint32_t serial, char** message) {
  uint32_t id = 0;
  if (const KeldDriverStatus status = kldRead(serial, kControl, 0x0010, 4, &id); status != 0) {
    Say(message, "Reading the data FPGA's identity failed with 0x%08X.", status);
    return kFailed;
  }
  if (id == 0) {
    Say(message, "No data FPGA answered.");
    return kFailed;
  }
  Say(message, "Data FPGA 0x%08X answered.", id);
  return kPassed;
}

[[maybe_unused]] uint32_t AdvancedLut(uint32_t serial, char** message) {
  uint32_t architecture = 0;
  if (const KeldDriverStatus status = kldRead(serial, kControl, 0x0014, 4, &architecture); status != 0) {
    Say(message, "Reading the look-up table architecture failed with 0x%08X.", status);
    return kFailed;
  }
  if (architecture != 2) {
    Say(message, "The board has the basic look-up table architecture (%u).", architecture);
    return kFailed;
  }
  Say(message, "Advanced look-up table architecture found.");
  return kPassed;
}

[[maybe_unused]] uint32_t TriggerLoopBack(uint32_t, char** message) {
  Say(message, "Skipped: the test needs the trigger loop-back plug.");
  return kSkipped;
}

// A test under its name; a result set through the driver's controls comes
// first.
template <const char* kName, uint32_t (*kBody)(uint32_t, char**)>
uint32_t Run(uint32_t serial, char** message) {
  uint32_t result = 0;
  char text[kMessageBytes] = {};
  if (keldsimGetBoardTestResult(serial, kName, &result, text, sizeof text) == 0 && result != 0) {
    if (text[0] != '\0') {
      Say(message, "%s", text);
    } else {
      Say(message, "%s: result %u as set for this board.", kName, result);
    }
    return result;
  }
  return kBody(serial, message);
}

constexpr char kIdentification[] = "Board identification test";
constexpr char kRegisters[] = "Register read/write test";
constexpr char kMemoryTest[] = "On-board memory test";
constexpr char kDataFpga[] = "Data FPGA present test";
constexpr char kAdvancedLut[] = "Advanced Look-Up Table architecture test";
constexpr char kLoopBack[] = "Trigger loop-back test";

#define KELDSIM_TEST(name, body) \
  { name, nullptr, &Run<name, body> }
constexpr KeldBoardTest kEnd = {nullptr, nullptr, nullptr};

#if KELDSIM_BOARD_FAMILY == 7103
const KeldBoardTest kFirst[] = {KELDSIM_TEST(kIdentification, Identification), KELDSIM_TEST(kRegisters, Registers),
                                kEnd};
#else
const KeldBoardTest kFirst[] = {KELDSIM_TEST(kIdentification, Identification), KELDSIM_TEST(kRegisters, Registers),
                                KELDSIM_TEST(kMemoryTest, Memory), KELDSIM_TEST(kDataFpga, DataFpga), kEnd};
#endif

#if KELDSIM_BOARD_FAMILY == 7102
const KeldBoardTest kSecond[] = {kEnd};
#else
// The look-up table test follows another, as the library steps over it on a
// board without advanced tables only when it comes to it from the test before.
const KeldBoardTest kSecond[] = {KELDSIM_TEST(kLoopBack, TriggerLoopBack), KELDSIM_TEST(kAdvancedLut, AdvancedLut),
                                 kEnd};
#endif

}  // namespace

// The tables of this library; flags are not used. 0 on success.
extern "C" __attribute__((visibility("default"))) int32_t TestInitialize(const KeldBoardTest** first,
                                                                         const KeldBoardTest** second, uint32_t flags) {
  (void)flags;
  if (first == nullptr || second == nullptr) return -1;
  *first = kFirst;
  *second = kSecond;
  return 0;
}

static_assert(std::is_same_v<decltype(&TestInitialize), KeldTestInitialize>);
