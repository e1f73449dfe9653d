// The one table of device operations. Each row names an operation of the
// session interface, in the order of the interface, with what everything
// else needs to know of it:
//
//   group    ROOT      declared by ConfigSession itself (Open, Close)
//            FIRST     abstract in DeviceConfigSession; every concrete class
//                      gives a body, local sessions by default "not supported"
//            LOCAL     as FIRST, but the local base class serves it for all
//                      local sessions
//            BASE      served once by DeviceConfigSession over its caches and
//                      attribute map, for local and remote sessions alike
//            OPTIONAL  answers 0xBFFF8011 unless a class overrides it
//   command  its number in the command protocol, or NoCommand
//   handle   binding handle of the command: 0 control, 1 images
//   step     what the target does with its background image thread around
//            the command: NoStep, StopFirst, or After the operation
//   target   how the target runs the command:
//            Handler            a HandleXxx operation of the local base,
//                               reading the inputs, calling Xxx and writing
//                               the outputs as the parameter list says
//            HandlerCustom      a HandleXxx operation written out by hand
//            HandlerWithFlags   written out by hand, taking the input and
//                               whether an acquisition-flags word follows
//                               (the same handler serves command 71)
//            Direct             no handler: the same reading, calling and
//                               writing inline in the dispatcher
//            KeldHandler        HandleXxx answers 0xBFFF8011 in the base; the
//                               frame-grabber session runs it as Handler
//            KeldHandlerCustom  as KeldHandler, written out by hand
//            NvHandlerCustom    HandleXxx answers 0xBFFF8011 in the base; the
//                               network and USB session writes it by hand
//            NoTarget           no command
//   client   how a remote session sends it:
//            Proxy              flatten the inputs, one command, unflatten
//                               the outputs, as the parameter list says
//            ProxyCustom        written out by hand in the remote base
//            KeldProxy          Proxy, on the frame-grabber remote session only
//            KeldProxyCustom    written out by hand there
//            NoProxy            no command: remote sessions answer 0xBFFF8011
//   params   (direction, type, name) of each parameter, in order. In is sent
//            to the target, Out comes back, InOut goes both ways; Raw
//            parameters are moved by a hand-written body; Ref parameters
//            never travel (the BASE operations have no command).
//
// A new operation is one row here and the bodies of the classes that serve
// it; declarations, default bodies, proxies, the target's dispatch table and
// the test doubles are all made from this table.
#pragma once

#include <cstdint>

namespace keld {

// What the target does with its background image thread around a command.
enum class CommandStep : std::uint8_t { NoStep, StopFirst, After };

inline constexpr int NoCommand = -1;
// Highest command number the protocol knows.
inline constexpr std::uint32_t kLastCommand = 74;
// The number that stands in the table's range but names no command.
inline constexpr std::uint32_t kUnusedCommand = 59;
// ConfigureAcquisition with the acquisition flags, for targets at or above
// the image carrier's version threshold.
inline constexpr std::uint32_t kConfigureAcquisitionWithFlags = 71;

// The operation table, in the order of the session interface.
// clang-format off
#define KELD_DEVICE_OPERATIONS(X) \
  X(ROOT, Open, 1, 0, NoStep, Direct, Proxy) \
  X(ROOT, Close, 2, 0, NoStep, Direct, Proxy) \
  X(FIRST, EnumerateDevices, 0, 0, NoStep, Handler, Proxy, (Out, DeviceList*, devices)) \
  X(FIRST, ReadAttribute, 3, 0, NoStep, HandlerCustom, ProxyCustom, (Raw, Attribute*, attribute)) \
  X(FIRST, WriteAttribute, 4, 0, NoStep, HandlerCustom, ProxyCustom, (Raw, Attribute*, attribute)) \
  X(FIRST, RefreshAttributes, 5, 0, NoStep, HandlerCustom, ProxyCustom) \
  X(LOCAL, CommitAttributes, 6, 0, NoStep, HandlerCustom, ProxyCustom) \
  X(FIRST, ValidateAttributes, 7, 0, NoStep, Direct, Proxy) \
  X(FIRST, ReadAttributes, 8, 0, NoStep, Handler, Proxy, (In, const char*, path)) \
  X(FIRST, WriteAttributes, 9, 0, NoStep, Handler, Proxy, (In, const char*, path)) \
  X(FIRST, SnapImage, 10, 1, NoStep, HandlerCustom, ProxyCustom, (In, std::uint32_t, flags), (Raw, Image*, image)) \
  X(FIRST, SetupGrab, 11, 0, StopFirst, HandlerCustom, ProxyCustom, (In, std::uint32_t, flags)) \
  X(FIRST, GrabImage, 12, 1, NoStep, HandlerCustom, ProxyCustom, (Raw, std::uint32_t*, bufferNumber), \
    (Raw, Image*, image)) \
  X(FIRST, ConfigureAcquisition, 13, 0, StopFirst, HandlerWithFlags, ProxyCustom, (In, std::uint32_t, continuous), \
    (In, std::uint32_t, count)) \
  X(FIRST, StartAcquisition, 14, 0, StopFirst, Direct, Proxy) \
  X(FIRST, CopyImage, 15, 1, NoStep, HandlerCustom, ProxyCustom, (Raw, std::uint32_t*, bufferNumber), \
    (Raw, Image*, image)) \
  X(FIRST, StopAcquisition, 16, 0, After, Direct, Proxy) \
  X(FIRST, UnconfigureAcquisition, 17, 0, After, Direct, Proxy) \
  X(LOCAL, GetImageCompression, 18, 0, NoStep, Handler, Proxy, (Out, std::uint32_t*, type), \
    (Out, std::uint32_t*, quality)) \
  X(LOCAL, SetImageCompression, 19, 0, NoStep, Handler, Proxy, (In, std::uint32_t, type), \
    (In, std::uint32_t, quality)) \
  X(FIRST, GetCameraVideoModes, 20, 0, NoStep, Handler, Proxy, (Out, CameraVideoModeList*, modes)) \
  X(FIRST, GetCameraFeatures, 21, 0, NoStep, Handler, Proxy, (Out, CameraFeatureList*, features)) \
  X(FIRST, ConfigureTrigger, 22, 0, NoStep, Handler, Proxy, (In, std::uint32_t, first), \
    (In, std::uint32_t, second), (In, std::uint32_t, third), (In, std::uint32_t, fourth)) \
  X(FIRST, ReadU32, 23, 0, NoStep, HandlerCustom, ProxyCustom, (In, std::uint32_t, space), \
    (In, std::uint32_t, address), (In, std::uint32_t, count), (Raw, std::uint32_t*, values)) \
  X(FIRST, WriteU32, 24, 0, NoStep, HandlerCustom, ProxyCustom, (In, std::uint32_t, space), \
    (In, std::uint32_t, address), (In, std::uint32_t, count), (Raw, const std::uint32_t*, values)) \
  X(FIRST, QueryCameraFileDataList, 25, 0, NoStep, Handler, Proxy, (Out, CameraFileDataList*, files), \
    (Out, std::uint32_t*, current)) \
  X(FIRST, QueryReferenceCameraFileList, 26, 0, NoStep, Handler, Proxy, (Out, StringList*, files)) \
  X(FIRST, QueryInterfaceFileDataList, 27, 0, NoStep, Handler, Proxy, (In, std::uint32_t, index), \
    (Out, InterfaceFileDataList*, files)) \
  X(FIRST, ChangeInterfaceFile, 28, 0, NoStep, Handler, Proxy, (In, const char*, path)) \
  X(FIRST, WriteInterfaceFile, 29, 0, NoStep, Handler, Proxy, (In, const char*, path), (In, std::uint32_t, flag)) \
  X(FIRST, QueryCameraAttributeList, 30, 0, NoStep, Handler, Proxy, (Out, CameraAttributeList*, list)) \
  X(FIRST, SetCameraAttribute, 31, 0, NoStep, Handler, Proxy, (In, std::uint32_t, attributeKey), (In, const char*, text), \
    (In, double, number), (In, std::uint8_t, useDefault)) \
  X(FIRST, AutoExposure, 32, 0, NoStep, Handler, Proxy, (Out, double*, first), (Out, double*, second)) \
  X(FIRST, GetDataFilePath, 33, 0, NoStep, Handler, Proxy, (Out, CFGString*, path)) \
  X(FIRST, InitializeDiagnostics, 34, 0, NoStep, Handler, Proxy, (Out, std::uint32_t*, first), \
    (Out, std::uint32_t*, second)) \
  X(FIRST, QueryDiagnosticResults, 35, 0, NoStep, Handler, Proxy, (In, std::uint32_t, index), \
    (Out, StringList*, names), (Out, StringList*, results)) \
  X(LOCAL, CopyFile, 36, 0, NoStep, Handler, Proxy, (In, const char*, source), (In, const char*, destination)) \
  X(FIRST, CalculateBayerGains, 37, 0, NoStep, Handler, Proxy, (In, std::uint32_t, selector), \
    (Out, double*, red), (Out, double*, green), (Out, double*, blue)) \
  X(FIRST, QueryAcqUnitCameraFileList, 38, 0, NoStep, Handler, Proxy, (In, const char*, unit), \
    (Out, StringList*, files)) \
  X(FIRST, GetSerialErrorText, 39, 0, NoStep, Handler, Proxy, (Out, CFGString*, text)) \
  X(FIRST, WriteBlock, 40, 0, NoStep, HandlerCustom, ProxyCustom, (In, std::uint64_t, block), \
    (In, std::uint32_t, first), (In, std::uint32_t, second), (In, std::uint32_t, width), \
    (In, std::uint32_t, height), (Raw, const void*, data)) \
  X(FIRST, ReadBlock, 41, 0, NoStep, HandlerCustom, ProxyCustom, (In, std::uint64_t, block), \
    (In, std::uint32_t, first), (In, std::uint32_t, second), (In, std::uint32_t, width), \
    (In, std::uint32_t, height), (Raw, void*, data)) \
  X(FIRST, IsFPGAClassNumSupported, 42, 0, NoStep, Handler, Proxy, (In, std::uint32_t, classNumber), \
    (Out, std::uint32_t*, supported)) \
  X(FIRST, ReadAttributesFromString, 62, 0, NoStep, Handler, Proxy, (In, const char*, text)) \
  X(FIRST, WriteAttributesToString, 63, 0, NoStep, Handler, Proxy, (Out, CFGString*, text)) \
  X(LOCAL, SetAcquisitionFlags, 73, 0, NoStep, Direct, ProxyCustom, (In, std::uint32_t, flags)) \
  X(BASE, RefreshCameraFileDataList, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, std::uint32_t*, count), \
    (Ref, std::uint32_t*, current)) \
  X(BASE, RefreshReferenceCameraFileList, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, std::uint32_t*, count)) \
  X(BASE, GetCameraFileData, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, std::uint32_t, index), \
    (Ref, CameraFileData*, data)) \
  X(BASE, GetReferenceCameraFileName, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, std::uint32_t, index), \
    (Ref, CFGString*, name)) \
  X(BASE, RefreshInterfaceFileDataList, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, std::uint32_t, index), \
    (Ref, std::uint32_t*, count)) \
  X(BASE, GetInterfaceFileData, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, std::uint32_t, index), \
    (Ref, InterfaceFileData*, data)) \
  X(BASE, RefreshCameraAttributeList, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, std::uint32_t*, count)) \
  X(BASE, GetCameraAttribute, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, std::uint32_t, index), \
    (Ref, CameraAttribute*, data)) \
  X(BASE, RunDiagnostics, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, std::uint32_t, index), \
    (Ref, std::uint32_t*, count)) \
  X(BASE, GetDiagnosticResults, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, std::uint32_t, index), \
    (Ref, CFGString*, name), (Ref, CFGString*, result)) \
  X(BASE, RefreshAcqUnitCameraFileList, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, const char*, unit), \
    (Ref, std::uint32_t*, count)) \
  X(BASE, GetAcqUnitCameraFileName, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, std::uint32_t, index), \
    (Ref, CFGString*, name)) \
  X(BASE, GetNVAttributesInfo, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, NVAttributeInfoList*, list), \
    (Ref, std::uint32_t, visibility)) \
  X(BASE, GetNVAttributeValue, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, Attribute*, attribute), \
    (Ref, std::uint32_t, component), (Ref, std::uint32_t, type), (Ref, void*, value)) \
  X(BASE, SetNVAttributeValue, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, Attribute*, attribute), \
    (Ref, std::uint32_t, component), (Ref, std::uint32_t, type), (Ref, const void*, value)) \
  X(BASE, GetNVAttributeEnumValues, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, Attribute*, attribute), \
    (Ref, NVAttributeEnumItemList*, items)) \
  X(BASE, FindAttributeByName, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, const char*, name), \
    (Ref, Attribute**, attribute)) \
  X(BASE, FindAttributeByKey, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, std::uint32_t, attributeKey), \
    (Ref, Attribute**, attribute)) \
  X(OPTIONAL, SetOpenFlags, 67, 0, NoStep, Handler, Proxy, (In, std::uint32_t, flags)) \
  X(OPTIONAL, GetCameraStatus, 68, 0, NoStep, Handler, Proxy, (In, const char*, camera), \
    (Out, std::uint8_t*, present), (Out, std::uint32_t*, state)) \
  X(OPTIONAL, RenameInterface, 69, 0, NoStep, Handler, Proxy, (In, const char*, name)) \
  X(OPTIONAL, CalculateBayerColorLUT, 72, 0, NoStep, Direct, Proxy) \
  X(OPTIONAL, SupportsRingAcquisition, 74, 0, StopFirst, NvHandlerCustom, ProxyCustom, \
    (In, std::uint32_t, imageType), (Out, std::uint32_t*, supported)) \
  X(OPTIONAL, GetKELDCameraFileList, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, char*, list), \
    (Ref, std::uint32_t*, size)) \
  X(OPTIONAL, GetKELDCameraFilename, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, char*, name), \
    (Ref, std::uint32_t, size)) \
  X(OPTIONAL, ChangeKELDCameraFile, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, const char*, name)) \
  X(OPTIONAL, RenameCameraLinkBoard, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, const char*, oldName), \
    (Ref, const char*, newName)) \
  X(OPTIONAL, CopyKELDCameraFile, NoCommand, 0, NoStep, NoTarget, NoProxy, (Ref, const char*, name)) \
  X(OPTIONAL, KELDRingSetup, 43, 0, NoStep, KeldHandler, KeldProxy, (In, std::uint32_t, count), \
    (In, std::uint32_t, first), (In, std::uint32_t, second)) \
  X(OPTIONAL, KELDSequenceSetup, 44, 0, NoStep, KeldHandlerCustom, KeldProxyCustom, (In, std::uint32_t, count), \
    (Raw, void*, table), (In, std::uint32_t, first), (In, std::uint32_t, second)) \
  X(OPTIONAL, KELDSessionStartAcquisition, 45, 0, NoStep, KeldHandler, KeldProxy) \
  X(OPTIONAL, KELDSessionStopAcquisition, 46, 0, NoStep, KeldHandler, KeldProxy) \
  X(OPTIONAL, KELDPulseCreate2, 47, 0, NoStep, KeldHandler, KeldProxy, (In, std::uint32_t, first), \
    (In, std::uint32_t, second), (In, std::uint32_t, third), (In, std::uint32_t, fourth), \
    (In, std::uint32_t, fifth), (In, std::uint32_t, sixth), (In, std::uint32_t, seventh), \
    (In, std::uint32_t, eighth), (In, std::uint32_t, ninth), (In, std::uint32_t, tenth), \
    (InOut, std::uint32_t*, pulse)) \
  X(OPTIONAL, KELDPulseDispose, 48, 0, NoStep, KeldHandler, KeldProxy, (In, std::uint32_t, pulse)) \
  X(OPTIONAL, KELDPulseRate, 49, 0, NoStep, KeldHandler, KeldProxy, (In, double, delay), (In, double, width), \
    (InOut, std::uint32_t*, first), (InOut, std::uint32_t*, second), (InOut, std::uint32_t*, third)) \
  X(OPTIONAL, KELDPulseStart, 50, 0, NoStep, KeldHandler, KeldProxy, (In, std::uint32_t, pulse)) \
  X(OPTIONAL, KELDPulseStop, 51, 0, NoStep, KeldHandler, KeldProxy, (In, std::uint32_t, pulse)) \
  X(OPTIONAL, KELDSessionTriggerDrive2, 52, 0, NoStep, KeldHandler, KeldProxy, (In, std::uint32_t, first), \
    (In, std::uint32_t, second), (In, std::uint32_t, third), (In, std::uint32_t, fourth)) \
  X(OPTIONAL, KELDSessionTriggerRead2, 53, 0, NoStep, KeldHandler, KeldProxy, (In, std::uint32_t, first), \
    (In, std::uint32_t, second), (In, std::uint32_t, third), (InOut, std::uint32_t*, value)) \
  X(OPTIONAL, KELDSessionTriggerRoute2, 54, 0, NoStep, KeldHandler, KeldProxy, (In, std::uint32_t, first), \
    (In, std::uint32_t, second), (In, std::uint32_t, third), (In, std::uint32_t, fourth)) \
  X(OPTIONAL, KELDSessionTriggerClear, 55, 0, NoStep, KeldHandler, KeldProxy) \
  X(OPTIONAL, KELDSessionTriggerConfigure2, 56, 0, NoStep, KeldHandler, KeldProxy, (In, std::uint32_t, first), \
    (In, std::uint32_t, second), (In, std::uint32_t, third), (In, std::uint32_t, fourth), \
    (In, std::uint32_t, fifth)) \
  X(OPTIONAL, KELDSessionLineTrigSource2, 57, 0, NoStep, KeldHandler, KeldProxy, (In, std::uint32_t, first), \
    (In, std::uint32_t, second), (In, std::uint32_t, third), (In, std::uint32_t, fourth)) \
  X(OPTIONAL, KELDEncoderResetPosition, 58, 0, NoStep, KeldHandler, KeldProxy) \
  X(OPTIONAL, KELDSessionTriggerConfigure3, 60, 0, NoStep, KeldHandler, KeldProxy, (In, std::uint32_t, first), \
    (In, std::uint32_t, second), (In, std::uint32_t, third), (In, std::uint32_t, fourth), \
    (In, std::uint32_t, fifth), (In, double, time), (In, std::uint32_t, sixth)) \
  X(OPTIONAL, KELDSessionTriggerGet, 61, 0, NoStep, KeldHandlerCustom, KeldProxy, (In, std::uint32_t, trigger), \
    (Out, std::uint32_t*, first), (Out, std::uint32_t*, second), (Out, std::uint32_t*, third), \
    (Out, std::uint32_t*, fourth), (Out, std::uint32_t*, fifth), (Out, double*, time), \
    (Out, std::uint32_t*, sixth)) \
  X(OPTIONAL, KELDEnumerateLightHeads, 64, 0, NoStep, KeldHandler, KeldProxy, (Out, LightHeadList*, heads)) \
  X(OPTIONAL, KELDDeployLightHeadData, 65, 0, NoStep, KeldHandler, KeldProxy, (In, LightHeadRecord*, data), \
    (In, std::uint8_t, checkLimits)) \
  X(OPTIONAL, KELDLoadLightingLimits, 66, 0, NoStep, KeldHandler, KeldProxy, (In, LightHeadRecord*, data)) \
  X(OPTIONAL, KELDPulseSetDutyCycle, 70, 0, NoStep, KeldHandler, KeldProxy, (In, std::uint32_t, pulse), \
    (In, std::uint32_t, first), (In, std::uint32_t, second))
// clang-format on

// ---- Expanding parameter lists ------------------------------------------
// KELD_PP_FOR_EACH(m, (a...), (b...)) gives m(a...), m(b...): one expansion
// per parameter, separated by commas; nothing for an empty list.
#define KELD_PP_PARENS ()
#define KELD_PP_EXPAND(...) KELD_PP_EXPAND3(KELD_PP_EXPAND3(KELD_PP_EXPAND3(__VA_ARGS__)))
#define KELD_PP_EXPAND3(...) KELD_PP_EXPAND2(KELD_PP_EXPAND2(KELD_PP_EXPAND2(__VA_ARGS__)))
#define KELD_PP_EXPAND2(...) KELD_PP_EXPAND1(KELD_PP_EXPAND1(KELD_PP_EXPAND1(__VA_ARGS__)))
#define KELD_PP_EXPAND1(...) __VA_ARGS__
#define KELD_PP_FOR_EACH(macro, ...) __VA_OPT__(KELD_PP_EXPAND(KELD_PP_FOR_EACH_STEP(macro, __VA_ARGS__)))
#define KELD_PP_FOR_EACH_STEP(macro, first, ...) \
  macro first __VA_OPT__(, KELD_PP_FOR_EACH_AGAIN KELD_PP_PARENS(macro, __VA_ARGS__))
#define KELD_PP_FOR_EACH_AGAIN() KELD_PP_FOR_EACH_STEP

#define KELD_PARAM_DECLARATION(direction, type, name) type name
#define KELD_PARAM_UNNAMED(direction, type, name) type
#define KELD_PARAM_NAME(direction, type, name) name
#define KELD_PARAM_CODEC(direction, type, name) ::keld::wire::direction<type>

// `type name, ...` of a parameter list.
#define KELD_PARAMS(...) KELD_PP_FOR_EACH(KELD_PARAM_DECLARATION, __VA_ARGS__)
// `type, ...`, for bodies that use none of them.
#define KELD_PARAM_TYPES(...) KELD_PP_FOR_EACH(KELD_PARAM_UNNAMED, __VA_ARGS__)
// `name, ...`.
#define KELD_ARGS(...) KELD_PP_FOR_EACH(KELD_PARAM_NAME, __VA_ARGS__)
// The codecs of the parameters (see session/command_codecs.h).
#define KELD_CODECS(...) KELD_PP_FOR_EACH(KELD_PARAM_CODEC, __VA_ARGS__)

// Per operation, its command number, binding handle and step, for the
// bodies written out by hand: operation::ReadAttribute.command and so on.
struct CommandInfo {
  int command;
  int handle;
  CommandStep step;
};
namespace operation {
#define KELD_COMMAND_INFO(group, name, command, handle, step, target, client, ...) \
  inline constexpr CommandInfo name{command, handle, CommandStep::step};
KELD_DEVICE_OPERATIONS(KELD_COMMAND_INFO)
#undef KELD_COMMAND_INFO
}  // namespace operation

}  // namespace keld
