// How each parameter of a device operation travels in the command protocol.
// One codec per direction and type; the operation table names them for every
// parameter (In<T>, Out<T>, InOut<T>), and the remote proxies and the
// target's handlers are both made from the same codecs, so the two ends of a
// command cannot disagree on its layout.
//
// A codec has two halves:
//   client:  Send(stream, argument)        before the call (In, InOut)
//            Receive(stream, argument)     after a successful call (Out, InOut)
//   target:  Local                         the target's storage of the value
//            Take(stream, &local)          read from the command's input
//            Pass(local)                   what the operation is handed
//            Give(stream, local)           write to the command's output
// A half that has nothing to do answers success.
//
// The primitives are those of ByteStream; a text is a CFGString's flat form;
// lists and records travel in their own flat forms (Flatten/Unflatten).
// Raw and Ref parameters have no codec: rows with them are written by hand
// or never travel.
#pragma once

#include <cstdint>
#include <tuple>
#include <type_traits>

#include "foundation/byte_stream.h"
#include "foundation/cfg_string.h"
#include "foundation/status.h"

namespace keld::wire {

// Sent to the target, not returned.
template <typename T>
struct In;
// Returned by the target; nothing is sent.
template <typename T>
struct Out;
// Sent as it stands before the call, then replaced by what comes back.
template <typename T>
struct InOut;
// Moved by a hand-written body; no generic codec.
template <typename T>
struct Raw;
// Never travels.
template <typename T>
struct Ref;

// The fixed-size primitives.
template <typename T>
struct Primitive;
template <>
struct Primitive<std::uint8_t> {
  static Status Write(ByteStream* s, std::uint8_t v) { return s->AppendU8(v); }
  static Status Read(ByteStream* s, std::uint8_t* v) { return s->ReadU8(v); }
};
template <>
struct Primitive<std::uint32_t> {
  static Status Write(ByteStream* s, std::uint32_t v) { return s->AppendU32(v); }
  static Status Read(ByteStream* s, std::uint32_t* v) { return s->ReadU32(v); }
};
template <>
struct Primitive<std::uint64_t> {
  static Status Write(ByteStream* s, std::uint64_t v) { return s->AppendU64(v); }
  static Status Read(ByteStream* s, std::uint64_t* v) { return s->ReadU64(v); }
};
template <>
struct Primitive<double> {
  static Status Write(ByteStream* s, double v) { return s->AppendF64(v); }
  static Status Read(ByteStream* s, double* v) { return s->ReadF64(v); }
};

// A value: u8, u32, u64 or f64.
template <typename T>
struct In {
  using Local = T;
  static Status Send(ByteStream* s, T value) { return Primitive<T>::Write(s, value); }
  static Status Receive(ByteStream*, T) { return kSuccess; }
  static Status Take(ByteStream* s, Local* local) { return Primitive<T>::Read(s, local); }
  static T Pass(Local& local) { return local; }
  static Status Give(ByteStream*, const Local&) { return kSuccess; }
};

// A text. A null text goes as the empty one.
template <>
struct In<const char*> {
  using Local = CFGString;
  static Status Send(ByteStream* s, const char* text) { return CFGString(text).Flatten(s); }
  static Status Receive(ByteStream*, const char*) { return kSuccess; }
  static Status Take(ByteStream* s, Local* local) { return local->Unflatten(s); }
  static const char* Pass(Local& local) { return local.c_str(); }
  static Status Give(ByteStream*, const Local&) { return kSuccess; }
};

// A record or list handed over by pointer, in its own flat form.
template <typename T>
struct In<T*> {
  using Local = T;
  static Status Send(ByteStream* s, T* value) { return value->Flatten(s); }
  static Status Receive(ByteStream*, T*) { return kSuccess; }
  static Status Take(ByteStream* s, Local* local) { return local->Unflatten(s); }
  static T* Pass(Local& local) { return &local; }
  static Status Give(ByteStream*, const Local&) { return kSuccess; }
};

// A result through a pointer: a value (u8, u32, f64) as its primitive, a
// list in its own flat form (the list's reader empties it first).
template <typename T>
struct Out<T*> {
  using Local = T;
  static Status Send(ByteStream*, T*) { return kSuccess; }
  static Status Receive(ByteStream* s, T* value) {
    if constexpr (std::is_arithmetic_v<T>) {
      return Primitive<T>::Read(s, value);
    } else {
      return value->Unflatten(s);
    }
  }
  static Status Take(ByteStream*, Local*) { return kSuccess; }
  static T* Pass(Local& local) { return &local; }
  static Status Give(ByteStream* s, const Local& local) {
    if constexpr (std::is_arithmetic_v<T>) {
      return Primitive<T>::Write(s, local);
    } else {
      return local.Flatten(s);
    }
  }
};

// A text result. The reply is read into a fresh string, so that an empty
// text replaces what the caller's string held.
template <>
struct Out<CFGString*> {
  using Local = CFGString;
  static Status Send(ByteStream*, CFGString*) { return kSuccess; }
  static Status Receive(ByteStream* s, CFGString* text) {
    CFGString fresh;
    const Status status = fresh.Unflatten(s);
    if (status == kSuccess) *text = fresh;
    return status;
  }
  static Status Take(ByteStream*, Local*) { return kSuccess; }
  static CFGString* Pass(Local& local) { return &local; }
  static Status Give(ByteStream* s, const Local& local) { return local.Flatten(s); }
};

// A u32 that the caller presets and the target may change.
template <>
struct InOut<std::uint32_t*> {
  using Local = std::uint32_t;
  static Status Send(ByteStream* s, std::uint32_t* value) { return s->AppendU32(*value); }
  static Status Receive(ByteStream* s, std::uint32_t* value) { return s->ReadU32(value); }
  static Status Take(ByteStream* s, Local* local) { return s->ReadU32(local); }
  static std::uint32_t* Pass(Local& local) { return &local; }
  static Status Give(ByteStream* s, const Local& local) { return s->AppendU32(local); }
};

// ---- Running one command from the codecs of its parameters ------------

// Client: flattens the arguments in order; the first failure ends it.
template <typename... Codecs, typename... Args>
Status SendArguments(ByteStream* input, Args... args) {
  static_cast<void>(input);  // an operation without inputs sends nothing
  Status status = kSuccess;
  ((status = status == kSuccess ? Codecs::Send(input, args) : status), ...);
  return status;
}

// Client: reads the results of a successful command in order.
template <typename... Codecs, typename... Args>
Status ReceiveResults(ByteStream* output, Args... args) {
  static_cast<void>(output);  // nor does one without results read anything
  Status status = kSuccess;
  ((status = status == kSuccess ? Codecs::Receive(output, args) : status), ...);
  return status;
}

// Target: reads the inputs into storage of its own, calls the operation with
// them and, where it succeeded, writes the outputs. A failed read ends the
// command before the operation runs.
template <typename... Codecs, typename Call>
Status RunHandler(ByteStream* input, ByteStream* output, Call&& call) {
  static_cast<void>(input);
  static_cast<void>(output);
  std::tuple<typename Codecs::Local...> locals{};
  return std::apply(
      [&](auto&... local) -> Status {
        Status status = kSuccess;
        ((status = status == kSuccess ? Codecs::Take(input, &local) : status), ...);
        if (status != kSuccess) return status;
        status = call(Codecs::Pass(local)...);
        if (status != kSuccess) return status;
        ((status = status == kSuccess ? Codecs::Give(output, local) : status), ...);
        return status;
      },
      locals);
}

}  // namespace keld::wire
