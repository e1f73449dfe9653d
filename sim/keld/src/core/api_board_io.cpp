// Entry points of board memory, FPGA classes, trigger lines, pulse
// generators, the serial link and lighting.
#include <cmath>

#include "core/entry.h"

using keldsim::Guarded;
using keldsim::OnSession;
using keldsim::Session;
using keldsim::Simulator;
using keldsim::Status;
using keldsim::TriggerSetting;
namespace st = keldsim::st;

extern "C" {

KeldDriverStatus kldRead(uint32_t serial, uint32_t region, uint32_t offset, uint32_t width, void* value) {
  return Guarded(__func__, [&] { return Simulator::Get().Register(serial, region, offset, width, value, false); });
}

KeldDriverStatus kldWrite(uint32_t serial, uint32_t region, uint32_t offset, uint32_t width, const void* value) {
  return Guarded(__func__, [&] {
    return Simulator::Get().Register(serial, region, offset, width, const_cast<void*>(value), true);
  });
}

// block: the board's serial number; first: the bank (0 firmware, 1 EEPROM);
// second: the byte address; width: bytes of an element (1, 2 or 4); height:
// elements.
KeldDriverStatus odkelduReadBlock(uint64_t block, uint32_t first, uint32_t second, uint32_t width, uint32_t height,
                                  void* data) {
  return Guarded(__func__, [&] { return Simulator::Get().Block(block, first, second, width, height, data, false); });
}

KeldDriverStatus odkelduWriteBlock(uint64_t block, uint32_t first, uint32_t second, uint32_t width, uint32_t height,
                                   const void* data) {
  return Guarded(__func__, [&] {
    return Simulator::Get().Block(block, first, second, width, height, const_cast<void*>(data), true);
  });
}

KeldDriverStatus odkelduIsFPGAClassNumberSupported(uint32_t sid, uint32_t classNumber, uint32_t* supported) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (supported == nullptr) return st::kInvalidArgument;
    return session.FpgaClassSupported(classNumber, *supported);
  });
}

// Trigger settings: line (0 to 15), polarity (0 active high, 1 active low),
// action (0 none, 1 start, 2 stop, 3 each buffer, 4 each line), signal type
// (0 external, 1 bus, 2 software), time-out in ms; then a delay in seconds
// (0 to 10) and flags.
KeldDriverStatus kldSessionTriggerConfigure(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                            uint32_t fourth) {
  return OnSession(__func__, sid, [&](Session& session) {
    TriggerSetting setting;
    setting.words[0] = first;
    setting.words[1] = second;
    setting.words[2] = third;
    setting.words[3] = fourth;
    return session.TriggerConfigure(setting);
  });
}

KeldDriverStatus kldSessionTriggerConfigure2(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                             uint32_t fourth, uint32_t fifth) {
  return OnSession(__func__, sid, [&](Session& session) {
    TriggerSetting setting;
    const uint32_t words[5] = {first, second, third, fourth, fifth};
    std::copy(words, words + 5, setting.words);
    return session.TriggerConfigure(setting);
  });
}

KeldDriverStatus kldSessionTriggerConfigure3(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                             uint32_t fourth, uint32_t fifth, double time, uint32_t sixth) {
  return OnSession(__func__, sid, [&](Session& session) {
    TriggerSetting setting;
    const uint32_t words[5] = {first, second, third, fourth, fifth};
    std::copy(words, words + 5, setting.words);
    setting.delay = time;
    setting.flags = sixth;
    return session.TriggerConfigure(setting);
  });
}

KeldDriverStatus kldSessionTriggerGet(uint32_t sid, uint32_t trigger, uint32_t* first, uint32_t* second,
                                      uint32_t* third, uint32_t* fourth, uint32_t* fifth, double* time,
                                      uint32_t* sixth) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (first == nullptr || second == nullptr || third == nullptr || fourth == nullptr || fifth == nullptr ||
        time == nullptr || sixth == nullptr) {
      return st::kInvalidArgument;
    }
    TriggerSetting setting;
    if (const Status status = session.TriggerGet(trigger, setting); status != st::kOk) return status;
    *first = setting.words[0];
    *second = setting.words[1];
    *third = setting.words[2];
    *fourth = setting.words[3];
    *fifth = setting.words[4];
    *time = setting.delay;
    *sixth = setting.flags;
    return st::kOk;
  });
}

// line, signal type, what drives it (0 nothing, 1 asserted, 2 unasserted,
// 3 acquisition in progress, 4 acquisition done, 5 pulse output), polarity.
KeldDriverStatus kldSessionTriggerDrive2(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                         uint32_t fourth) {
  return OnSession(__func__, sid, [&](Session& session) { return session.TriggerDrive(first, second, third, fourth); });
}

// line, signal type, polarity, out level.
KeldDriverStatus kldSessionTriggerRead2(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                        uint32_t* value) {
  return OnSession(__func__, sid, [&](Session& session) -> Status {
    if (value == nullptr) return st::kInvalidArgument;
    return session.TriggerRead(first, second, third, *value);
  });
}

// line, its signal type, source line, its signal type.
KeldDriverStatus kldSessionTriggerRoute2(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                         uint32_t fourth) {
  return OnSession(__func__, sid, [&](Session& session) { return session.TriggerRoute(first, second, third, fourth); });
}

KeldDriverStatus kldSessionTriggerClear(uint32_t sid) {
  return OnSession(__func__, sid, [&](Session& session) { return session.TriggerClear(); });
}

// line, signal type, polarity, divider (1 to 65535).
KeldDriverStatus kldSessionLineTrigSource2(uint32_t sid, uint32_t first, uint32_t second, uint32_t third,
                                           uint32_t fourth) {
  return OnSession(__func__, sid,
                   [&](Session& session) { return session.LineTriggerSource(first, second, third, fourth); });
}

KeldDriverStatus kldEncoderResetPosition(uint32_t sid) {
  return OnSession(__func__, sid, [&](Session& session) { return session.EncoderReset(); });
}

// timebase (0 50 MHz, 1 1 MHz, 2 1 kHz), delay and width in ticks, trigger
// line (0xFFFFFFFF: at once), trigger polarity, output line, output
// polarity, mode (0 one pulse, 1 a train), pulses of a train (0 until
// stopped), flags.
KeldDriverStatus kldPulseCreate2(uint32_t first, uint32_t second, uint32_t third, uint32_t fourth, uint32_t fifth,
                                 uint32_t sixth, uint32_t seventh, uint32_t eighth, uint32_t ninth, uint32_t tenth,
                                 uint32_t* pulse) {
  return Guarded(__func__, [&] {
    const keldsim::PulseParameters parameters{
        {first, second, third, fourth, fifth, sixth, seventh, eighth, ninth, tenth}};
    return Simulator::Get().PulseCreate(parameters, pulse);
  });
}

KeldDriverStatus kldPulseDispose(uint32_t pulse) {
  return Guarded(__func__, [&] { return Simulator::Get().PulseDispose(pulse); });
}

// The ticks of a delay and a width in seconds, on the finest timebase that
// holds both: *first the timebase, *second the delay, *third the width.
KeldDriverStatus kldPulseRate(double delay, double width, uint32_t* first, uint32_t* second, uint32_t* third) {
  return Guarded(__func__, [&]() -> Status {
    if (first == nullptr || second == nullptr || third == nullptr) return st::kInvalidArgument;
    if (!std::isfinite(delay) || !std::isfinite(width) || delay < 0 || width <= 0) return st::kInvalidPulse;
    constexpr double kTimebases[] = {50e6, 1e6, 1e3};
    for (uint32_t timebase = 0; timebase < 3; ++timebase) {
      const double delayTicks = std::round(delay * kTimebases[timebase]);
      const double widthTicks = std::round(width * kTimebases[timebase]);
      if (delayTicks > 4294967295.0 || widthTicks > 4294967295.0) continue;
      if (widthTicks < 1) return st::kInvalidPulse;  // shorter than one tick of the finest timebase
      *first = timebase;
      *second = static_cast<uint32_t>(delayTicks);
      *third = static_cast<uint32_t>(widthTicks);
      return st::kOk;
    }
    return st::kInvalidPulse;
  });
}

KeldDriverStatus kldPulseStart(uint32_t pulse, uint32_t sid) {
  return Guarded(__func__, [&] { return Simulator::Get().PulseStart(pulse, sid); });
}

KeldDriverStatus kldPulseStop(uint32_t pulse) {
  return Guarded(__func__, [&] { return Simulator::Get().PulseStop(pulse); });
}

// first: ticks high (the width), second: ticks low (the delay).
KeldDriverStatus kldPulseSetDutyCycle(uint32_t pulse, uint32_t sid, uint32_t first, uint32_t second) {
  return Guarded(__func__, [&] { return Simulator::Get().PulseDutyCycle(pulse, sid, first, second); });
}

KeldDriverStatus odkelduShowSerialError(uint32_t sid, char* text, uint32_t* size) {
  return OnSession(__func__, sid, [&](Session& session) { return session.SerialError(text, size); });
}

KeldDriverStatus odkelduLoadLightingLimits(uint32_t sid, const void* lightHeadEntry) {
  return OnSession(__func__, sid, [&](Session& session) { return session.LoadLightingLimits(lightHeadEntry); });
}

}  // extern "C"
