#pragma once
// The named counted handles. Each is a RefPtr over one class of the system, with no
// fields or behaviour of its own; naming them keeps signatures readable and lets a
// class be named in a handle before its own header is included. They are exported
// so that a handle's type information is the same in the core, the host and every
// plug-in.

#include <korvane/core/RefPtr.h>

namespace Korvane {

class Buffer;
class Channel;
class Device;
class DeviceDetector;
class Display;
class FrameGrabber;
class FrameGrabberDetector;
class HeaderGenerator;
class Image;
class Log;
class LogWriter;
class Lut;
class Motion;
class Object;
class Operator;
class OperatorProcess;
class Processor;
class Script;
class Sensor;
class Storage;
class Topology;
class VendorConfig;

// clang-format off
class KORVANE_API BufferRefPtr : public RefPtr<Buffer> { public: using RefPtr<Buffer>::RefPtr; };
class KORVANE_API ChannelRefPtr : public RefPtr<Channel> { public: using RefPtr<Channel>::RefPtr; };
class KORVANE_API DeviceDetectorRefPtr : public RefPtr<DeviceDetector> { public: using RefPtr<DeviceDetector>::RefPtr; };
class KORVANE_API DeviceRefPtr : public RefPtr<Device> { public: using RefPtr<Device>::RefPtr; };
class KORVANE_API DisplayRefPtr : public RefPtr<Display> { public: using RefPtr<Display>::RefPtr; };
class KORVANE_API FrameGrabberDetectorRefPtr : public RefPtr<FrameGrabberDetector> { public: using RefPtr<FrameGrabberDetector>::RefPtr; };
class KORVANE_API FrameGrabberRefPtr : public RefPtr<FrameGrabber> { public: using RefPtr<FrameGrabber>::RefPtr; };
class KORVANE_API HeaderGeneratorRefPtr : public RefPtr<HeaderGenerator> { public: using RefPtr<HeaderGenerator>::RefPtr; };
class KORVANE_API ImgRefPtr : public RefPtr<Image> { public: using RefPtr<Image>::RefPtr; };
class KORVANE_API LogRefPtr : public RefPtr<Log> { public: using RefPtr<Log>::RefPtr; };
class KORVANE_API LogWriterRefPtr : public RefPtr<LogWriter> { public: using RefPtr<LogWriter>::RefPtr; };
class KORVANE_API LutRefPtr : public RefPtr<Lut> { public: using RefPtr<Lut>::RefPtr; };
class KORVANE_API MotionRefPtr : public RefPtr<Motion> { public: using RefPtr<Motion>::RefPtr; };
class KORVANE_API ObjectRefPtr : public RefPtr<Object> { public: using RefPtr<Object>::RefPtr; };
class KORVANE_API OperatorProcessRefPtr : public RefPtr<OperatorProcess> { public: using RefPtr<OperatorProcess>::RefPtr; };
class KORVANE_API OperatorRefPtr : public RefPtr<Operator> { public: using RefPtr<Operator>::RefPtr; };
class KORVANE_API ProcessorRefPtr : public RefPtr<Processor> { public: using RefPtr<Processor>::RefPtr; };
class KORVANE_API ScriptRefPtr : public RefPtr<Script> { public: using RefPtr<Script>::RefPtr; };
class KORVANE_API SensorRefPtr : public RefPtr<Sensor> { public: using RefPtr<Sensor>::RefPtr; };
class KORVANE_API StorageRefPtr : public RefPtr<Storage> { public: using RefPtr<Storage>::RefPtr; };
class KORVANE_API TopologyRefPtr : public RefPtr<Topology> { public: using RefPtr<Topology>::RefPtr; };
class KORVANE_API VendorConfigRefPtr : public RefPtr<VendorConfig> { public: using RefPtr<VendorConfig>::RefPtr; };

// The handle class that carries a T: its named handle where one exists, RefPtr<T>
// otherwise. Templates such as Manager<T, Traits> name their handles through it; a
// host that declares its own named handle specialises it beside the handle.
template <class T> struct HandleOf { using Type = RefPtr<T>; };
template <> struct HandleOf<Buffer> { using Type = BufferRefPtr; };
template <> struct HandleOf<Channel> { using Type = ChannelRefPtr; };
template <> struct HandleOf<DeviceDetector> { using Type = DeviceDetectorRefPtr; };
template <> struct HandleOf<Device> { using Type = DeviceRefPtr; };
template <> struct HandleOf<Display> { using Type = DisplayRefPtr; };
template <> struct HandleOf<FrameGrabberDetector> { using Type = FrameGrabberDetectorRefPtr; };
template <> struct HandleOf<FrameGrabber> { using Type = FrameGrabberRefPtr; };
template <> struct HandleOf<HeaderGenerator> { using Type = HeaderGeneratorRefPtr; };
template <> struct HandleOf<Image> { using Type = ImgRefPtr; };
template <> struct HandleOf<Log> { using Type = LogRefPtr; };
template <> struct HandleOf<LogWriter> { using Type = LogWriterRefPtr; };
template <> struct HandleOf<Lut> { using Type = LutRefPtr; };
template <> struct HandleOf<Motion> { using Type = MotionRefPtr; };
template <> struct HandleOf<Object> { using Type = ObjectRefPtr; };
template <> struct HandleOf<OperatorProcess> { using Type = OperatorProcessRefPtr; };
template <> struct HandleOf<Operator> { using Type = OperatorRefPtr; };
template <> struct HandleOf<Processor> { using Type = ProcessorRefPtr; };
template <> struct HandleOf<Script> { using Type = ScriptRefPtr; };
template <> struct HandleOf<Sensor> { using Type = SensorRefPtr; };
template <> struct HandleOf<Storage> { using Type = StorageRefPtr; };
template <> struct HandleOf<Topology> { using Type = TopologyRefPtr; };
template <> struct HandleOf<VendorConfig> { using Type = VendorConfigRefPtr; };
// clang-format on

}  // namespace Korvane
