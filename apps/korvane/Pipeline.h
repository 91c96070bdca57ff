#pragma once
// Pipeline turns a Setup into running components and runs them: the device (by type,
// alias or detected grabber), one operator process for all operators, the tool's sink,
// FIFOs between them, all but the sink in one Topology that owns them (OwnAll). run()
// starts the consumers first, shows progress, stops on the frame limit, the duration,
// Ctrl-C or a stall, and prints the summary. Main thread only.
// Decisions: the device is started by the pipeline, not the topology, once every
// process has bound its buffers (binding flushes them). All operators share one process
// (operator k at level k): on two loaded cores that ran 640x480 and 2048x1536 chains
// of two operators faster than a process per operator, whose extra hand-offs cost more
// than the parallelism gained. Every process gets a finite "MaxIterations", since an
// endless process pauses 1 ms after each iteration, which would cap the rate near 1000
// frames/s. By default a full FIFO holds the device back, so every frame it makes is
// saved; with RunOptions::live the device's FIFO fails pushes at once and the device
// counts the frames it could not hand over ("FramesDropped"), as a free-running camera
// does. Errors of the setup (an unknown type, property or value) carry the offset
// of the text they concern and exit code 2; failures of the system exit code 1.

#include <korvane/core/Handles.h>
#include <korvane/devices/Device.h>
#include <korvane/process/Operator.h>
#include <korvane/process/OperatorProcess.h>
#include <korvane/process/Topology.h>

#include <memory>
#include <string>
#include <vector>

#include "LaunchDescription.h"
#include "SinkProcess.h"

namespace KorvaneTool {

struct RunOptions {
    unsigned long long frames = 0;  // 0: no limit
    double duration = 0;            // seconds; 0: no limit
    unsigned int bufferSize = 8;    // frames per FIFO
    double stallSeconds = 10;       // a run without a new frame for this long fails
    bool progress = false;          // progress lines also when stderr is no terminal
    bool live = false;              // the device drops frames the chain cannot take
};

struct ToolError {
    std::string message;  // empty: no error
    int exitCode = 0;
    bool hasOffset = false;
    std::size_t offset = 0;
    explicit operator bool() const { return !message.empty(); }
};

// Applies the "[Run]" options of setup to options (Frames, Duration, Buffer, Timeout).
ToolError applyRunSection(const Setup& setup, RunOptions& options);

class Pipeline {
public:
    Pipeline() = default;
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;
    ~Pipeline();

    // Makes and wires every component; nothing runs yet.
    ToolError build(const Setup& setup, const RunOptions& options);
    // Runs until a stop condition; prints progress to stderr and the summary to stdout.
    // The exit code: 0, 1 for a failure, 130 after Ctrl-C.
    int run();

private:
    ToolError makeDevice(const Element& element);
    ToolError makeChain(const Setup& setup);
    ToolError addOperator(const Element& element);
    ToolError makeSink(const Element* element);
    ToolError connectTo(const Korvane::BufferSlotPtrWrapper& consumer, const std::string& slot);
    ToolError prepareOutput(const std::string& pattern);
    ToolError makeDeviceLive();
    bool waitUntilRunning(double limitSeconds) const;
    void stopAll();
    void showProgress(double seconds, bool final);
    void printSummary(double seconds, double cpuSeconds, double dropped) const;
    void release();

    RunOptions m_options;
    Korvane::TopologyRefPtr m_topology;
    Korvane::DeviceRefPtr m_device;
    std::vector<Korvane::OperatorRefPtr> m_operators;
    Korvane::OperatorProcessRefPtr m_process;  // runs every operator; null without any
    Korvane::StorageRefPtr m_storage;
    std::string m_storageName;  // as the setup names it
    Korvane::RefPtr<SinkProcess> m_sink;
    std::string m_pattern;  // the storage's file pattern as given, made absolute
    // The last output slot of the chain: its owner and slot id.
    Korvane::BufferSlotPtrWrapper m_producer;
    std::string m_producerSlot;
    unsigned long long m_shownFrames = 0;
    double m_shownSeconds = 0;
};

}  // namespace KorvaneTool
