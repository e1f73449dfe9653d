#include "platform/driver_libraries.h"

namespace keld {

namespace {
// In this order: they are destroyed in the reverse one at unload. The
// platform layer's objects are linked, and so made, before those of the
// session layer.
DynamicLibrary frameGrabberDriver("keld.dll");
DynamicLibrary visionServices("odvissvc.dll");
DynamicLibrary networkCameraDriver("odkeldnv.dll");
DynamicLibrary legacyCameraDriver("keld1394.dll");
}  // namespace

DynamicLibrary& FrameGrabberDriver() { return frameGrabberDriver; }
DynamicLibrary& VisionServices() { return visionServices; }
DynamicLibrary& NetworkCameraDriver() { return networkCameraDriver; }
DynamicLibrary& LegacyCameraDriver() { return legacyCameraDriver; }

}  // namespace keld
