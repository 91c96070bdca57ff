#pragma once
// The named counted handles. Each is a RefPtr over one class of the system, with no
// fields or behaviour of its own; naming them keeps signatures readable and lets a
// class be named in a handle before its own header is included.

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
class BufferRefPtr : public RefPtr<Buffer> { public: using RefPtr<Buffer>::RefPtr; };
class ChannelRefPtr : public RefPtr<Channel> { public: using RefPtr<Channel>::RefPtr; };
class DeviceDetectorRefPtr : public RefPtr<DeviceDetector> { public: using RefPtr<DeviceDetector>::RefPtr; };
class DeviceRefPtr : public RefPtr<Device> { public: using RefPtr<Device>::RefPtr; };
class DisplayRefPtr : public RefPtr<Display> { public: using RefPtr<Display>::RefPtr; };
class FrameGrabberDetectorRefPtr : public RefPtr<FrameGrabberDetector> { public: using RefPtr<FrameGrabberDetector>::RefPtr; };
class FrameGrabberRefPtr : public RefPtr<FrameGrabber> { public: using RefPtr<FrameGrabber>::RefPtr; };
class HeaderGeneratorRefPtr : public RefPtr<HeaderGenerator> { public: using RefPtr<HeaderGenerator>::RefPtr; };
class ImgRefPtr : public RefPtr<Image> { public: using RefPtr<Image>::RefPtr; };
class LogRefPtr : public RefPtr<Log> { public: using RefPtr<Log>::RefPtr; };
class LogWriterRefPtr : public RefPtr<LogWriter> { public: using RefPtr<LogWriter>::RefPtr; };
class LutRefPtr : public RefPtr<Lut> { public: using RefPtr<Lut>::RefPtr; };
class MotionRefPtr : public RefPtr<Motion> { public: using RefPtr<Motion>::RefPtr; };
class ObjectRefPtr : public RefPtr<Object> { public: using RefPtr<Object>::RefPtr; };
class OperatorProcessRefPtr : public RefPtr<OperatorProcess> { public: using RefPtr<OperatorProcess>::RefPtr; };
class OperatorRefPtr : public RefPtr<Operator> { public: using RefPtr<Operator>::RefPtr; };
class ProcessorRefPtr : public RefPtr<Processor> { public: using RefPtr<Processor>::RefPtr; };
class ScriptRefPtr : public RefPtr<Script> { public: using RefPtr<Script>::RefPtr; };
class SensorRefPtr : public RefPtr<Sensor> { public: using RefPtr<Sensor>::RefPtr; };
class StorageRefPtr : public RefPtr<Storage> { public: using RefPtr<Storage>::RefPtr; };
class TopologyRefPtr : public RefPtr<Topology> { public: using RefPtr<Topology>::RefPtr; };
class VendorConfigRefPtr : public RefPtr<VendorConfig> { public: using RefPtr<VendorConfig>::RefPtr; };
// clang-format on

}  // namespace Korvane
