#include "Pipeline.h"

#include <korvane/buffers/BufferManager.h>
#include <korvane/devices/Device.h>
#include <korvane/devices/DeviceManager.h>
#include <korvane/devices/FrameGrabberManager.h>
#include <korvane/plugins/PluginLoader.h>
#include <korvane/process/OperatorManager.h>
#include <korvane/process/OperatorProcess.h>
#include <korvane/process/StorageManager.h>
#include <korvane/process/Topology.h>
#include <korvane/process/TopologyManager.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <climits>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "PropertyValues.h"
#include "TerminalLogWriter.h"
#include "platform/Terminal.h"

namespace KorvaneTool {

using namespace Korvane;

namespace {

ToolError usageError(std::string message, std::size_t offset) {
    ToolError error;
    error.message = std::move(message);
    error.exitCode = 2;
    error.hasOffset = true;
    error.offset = offset;
    return error;
}

ToolError failure(std::string message) {
    ToolError error;
    error.message = std::move(message);
    error.exitCode = 1;
    return error;
}

std::string lowerCase(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string joined(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
    return text.empty() ? "(none)" : text;
}

// The storage type registered for name, compared without case ("PngStorage" is
// registered as "pngstorage"); empty when there is none.
std::string storageType(const std::string& name) {
    const std::string wanted = lowerCase(name);
    for (const std::string& type : StorageManager::get()->typeList()) {
        if (type == wanted) return type;
    }
    return {};
}

// The first slot of owner in direction, or empty.
std::string slotOf(const BufferSlotInterface& owner, buffer_slot_type direction) {
    for (const std::string& id : owner.bufferSlotIds()) {
        buffer_slot_type type = slot_input;
        if (owner.bufferSlotInfo(id, nullptr, &type, nullptr, nullptr) && type == direction)
            return id;
    }
    return {};
}

// The settings of one element as one batch, which the component checks as a whole
// when the batch ends (a camera checks its format there, and says why it refuses).
ToolError applySettings(PropertyInterface& target, const Element& element,
                        const std::vector<std::string>& skipped = {}) {
    target.beginPropertyChange();
    for (const Setting& setting : element.settings) {
        if (std::find(skipped.begin(), skipped.end(), setting.name) != skipped.end()) continue;
        std::string error;
        if (!setFromText(target, element.type, setting.name, setting.value, error)) {
            target.endPropertyChange();
            return usageError(error, setting.offset);
        }
    }
    if (!target.endPropertyChange()) {
        return usageError(element.type +
                              " refused these settings (its message says why; "
                              "korvane plugins " +
                              element.type + " lists what each takes)",
                          element.offset);
    }
    return {};
}

void limitIterations(ProcessInterface& process) {
    process.setProperty("MaxIterations", static_cast<long long>(LLONG_MAX));
}

bool parseCount(const std::string& text, unsigned long long& value) {
    if (text.empty() || !std::isdigit(static_cast<unsigned char>(text[0]))) return false;
    try {
        std::size_t used = 0;
        value = std::stoull(text, &used);
        return used == text.size();
    } catch (const std::exception&) {
        return false;
    }
}

bool parseSeconds(const std::string& text, double& value) {
    try {
        std::size_t used = 0;
        value = std::stod(text, &used);
        return used == text.size() && value >= 0;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace

ToolError applyRunSection(const Setup& setup, RunOptions& options) {
    for (const Setting& option : setup.options) {
        const std::string name = lowerCase(option.name);
        unsigned long long count = 0;
        bool good = true;
        if (name == "frames") {
            good = parseCount(option.value, options.frames);
        } else if (name == "duration") {
            good = parseSeconds(option.value, options.duration);
        } else if (name == "timeout") {
            good = parseSeconds(option.value, options.stallSeconds) && options.stallSeconds > 0;
        } else if (name == "live") {
            good = parseBool(option.value, options.live);
        } else if (name == "buffer") {
            good = parseCount(option.value, count) && count >= 1 && count <= 100000;
            options.bufferSize = static_cast<unsigned int>(count);
        } else {
            return usageError("[Run] has no option \"" + option.name +
                                  "\"; its options: Frames, Duration, Buffer, Timeout, Live",
                              option.offset);
        }
        if (!good) {
            return usageError("\"" + option.value + "\" is not a value of " + option.name +
                                  " (Frames and Buffer take a whole number, Duration and "
                                  "Timeout seconds, Live true or false)",
                              option.valueOffset);
        }
    }
    return {};
}

Pipeline::~Pipeline() {
    release();
}

ToolError Pipeline::build(const Setup& setup, const RunOptions& options) {
    m_options = options;
    PluginLoader::get()->loadAll();
    std::string name = "korvane";
    m_topology = TopologyManager::get()->create("Topology", name, true);
    if (m_topology.isNull()) return failure("could not make a topology");
    m_topology->setOwnershipHint(Topology::OwnAll);

    if (ToolError error = makeDevice(setup.chain.front())) return error;
    if (ToolError error = makeChain(setup)) return error;
    return m_options.live ? makeDeviceLive() : ToolError();
}

ToolError Pipeline::makeChain(const Setup& setup) {
    const std::size_t count = setup.chain.size();
    for (std::size_t i = 1; i < count; ++i) {
        const Element& element = setup.chain[i];
        const bool last = i + 1 == count;
        const bool isSink = lowerCase(element.type) == "null" || !storageType(element.type).empty();
        if (isSink && !last) {
            return usageError(element.type + " is a sink: it can only be the last element",
                              element.offset);
        }
        if (isSink) return makeSink(&element);
        if (ToolError error = addOperator(element)) return error;
    }
    return makeSink(nullptr);
}

ToolError Pipeline::makeDeviceLive() {
    std::string bufferName;
    m_device->getProperty(slotOf(*m_device, slot_output), &bufferName);
    const BufferRefPtr buffer = BufferManager::get()->instance(bufferName.c_str());
    // The FIFO takes its switches at the end of a batch of property writes.
    if (buffer.isNull() || !buffer->beginPropertyChange() ||
        !buffer->setProperty("PushBlock", std::string("Off")) || !buffer->endPropertyChange()) {
        return failure("could not make the FIFO after " + m_device->type() + " drop frames");
    }
    return {};
}

ToolError Pipeline::makeDevice(const Element& element) {
    DeviceManager* devices = DeviceManager::get();
    const std::map<std::string, std::string> aliases = devices->aliases();
    std::string type = element.type;
    FrameGrabberRefPtr grabber;
    if (!devices->typeExists(type) && aliases.count(type) == 0) {
        devices->detectAll(0);
        const std::map<std::string, std::string> detected = devices->detectAllDevices();
        const auto found = detected.find(type);
        if (found == detected.end()) {
            std::string grabbers;
            for (const auto& [grabberName, deviceType] : detected) {
                grabbers += (grabbers.empty() ? "" : ", ") + grabberName + " (" + deviceType + ")";
            }
            std::string aliasText;
            for (const auto& [alias, target] : aliases) {
                aliasText += (aliasText.empty() ? "" : ", ") + alias + " (" + target + ")";
            }
            const bool isOperator = OperatorManager::get()->typeExists(type);
            return usageError(
                (isOperator ? type + " is an operator; the first element must be a device. "
                            : "unknown device \"" + type + "\". ") +
                    "Device types: " + joined(devices->typeList()) +
                    "; aliases: " + (aliasText.empty() ? "(none)" : aliasText) +
                    "; detected cameras: " + (grabbers.empty() ? "(none)" : grabbers),
                element.offset);
        }
        grabber = FrameGrabberManager::get()->instance(type.c_str());
        type = found->second;
    }
    std::string name = "Camera";
    m_device = devices->create(type.c_str(), name, true);
    if (m_device.isNull()) return failure("could not make a device of type " + type);
    if (grabber.isValid()) devices->connectFrameGrabber(m_device, grabber);
    if (ToolError error = applySettings(*m_device, element)) return error;
    m_producerSlot = slotOf(*m_device, slot_output);
    if (m_producerSlot.empty()) {
        return usageError(element.type + " has no output slot: it delivers no frames",
                          element.offset);
    }
    m_producer = m_device;
    // The tool starts the device itself, once every consumer is bound (see run()).
    m_topology->add(m_device, Topology::LeaveDevices);
    return {};
}

ToolError Pipeline::addOperator(const Element& element) {
    OperatorManager* operators = OperatorManager::get();
    if (!operators->typeExists(element.type)) {
        return usageError("unknown operator \"" + element.type + "\". Operator types: " +
                              joined(operators->typeList()) + "; sinks (last element only): " +
                              joined(StorageManager::get()->typeList()) + ", null",
                          element.offset);
    }
    std::string name = element.type;
    OperatorRefPtr op = operators->create(element.type.c_str(), name, true);
    if (op.isNull()) return failure("could not make an operator of type " + element.type);
    m_topology->add(op);
    m_operators.push_back(op);
    if (ToolError error = applySettings(*op, element)) return error;
    const std::string input = slotOf(*op, slot_input);
    const std::string output = slotOf(*op, slot_output);
    if (input.empty() || output.empty()) {
        return usageError(element.type + " needs an input and an output slot to sit in a chain",
                          element.offset);
    }
    if (ToolError error = connectTo(op, input)) return error;
    // Operator k runs at level k of the one operator process, so every iteration takes
    // a frame through the whole chain in order.
    if (m_process.isNull()) {
        name = "Operators";
        m_process = operators->createProcess(name, true);
        if (m_process.isNull()) return failure("could not make the operator process");
        limitIterations(*m_process);
        m_topology->add(m_process);
    }
    m_process->addOperator(op, static_cast<int>(m_operators.size()) - 1);
    m_producer = op;
    m_producerSlot = output;
    return {};
}

ToolError Pipeline::makeSink(const Element* element) {
    FilePattern pattern;
    if (element && lowerCase(element->type) != "null") {
        const auto file = std::find_if(element->settings.begin(), element->settings.end(),
                                       [](const Setting& s) { return s.name == "File"; });
        if (file == element->settings.end()) {
            return usageError(element->type + " needs File=NAME, e.g. File=out/frame_%05d.png",
                              element->offset);
        }
        std::string problem;
        if (!pattern.parse(file->value, problem)) return usageError(problem, file->valueOffset);
        std::string name = element->type;
        m_storageName = element->type;
        m_storage = StorageManager::get()->create(storageType(element->type).c_str(), name, true);
        if (m_storage.isNull()) return failure("could not make a storage " + element->type);
        if (!m_storage->canSave(file->value.c_str())) {
            return usageError(element->type + " does not write \"" + file->value +
                                  "\"; it writes the extensions " +
                                  joined(m_storage->supportedSaveFormats()),
                              file->valueOffset);
        }
        if (ToolError error = applySettings(*m_storage, *element, {"File"})) return error;
        // One file for the whole run: a storage that can append frames does so.
        if (!pattern.numbered() && m_storage->propertyType("Append") == bool_property) {
            m_storage->setProperty("Append", true);
        }
        m_pattern = std::filesystem::absolute(file->value).lexically_normal().string();
        if (ToolError error = prepareOutput(m_pattern)) return error;
        pattern.parse(m_pattern, problem);
    } else if (element && !element->settings.empty()) {
        return usageError("null takes no settings", element->settings.front().offset);
    }
    m_sink = RefPtr<SinkProcess>(new SinkProcess(m_storage, pattern, m_options.frames), nullptr);
    return connectTo(m_sink, "Input");
}

ToolError Pipeline::connectTo(const BufferSlotPtrWrapper& consumer, const std::string& slot) {
    if (!m_topology->connect(m_producer, m_producerSlot, consumer, slot, m_options.bufferSize)) {
        return failure("could not connect slot " + m_producerSlot + " to slot " + slot +
                       " (do their element types differ?)");
    }
    return {};
}

// Checks before the run that the files can be written: makes the directory and
// writes and removes a probe; an existing single output file is replaced.
ToolError Pipeline::prepareOutput(const std::string& pattern) {
    const std::filesystem::path directory = std::filesystem::path(pattern).parent_path();
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    const std::filesystem::path probe = directory / ".korvane-write-test";
    if (!error && !std::ofstream(probe)) error = std::make_error_code(std::errc::permission_denied);
    std::error_code ignored;
    std::filesystem::remove(probe, ignored);
    if (error || !std::filesystem::is_directory(directory)) {
        return failure("cannot write files into " + directory.string() +
                       (error ? ": " + error.message() : ""));
    }
    FilePattern names;
    std::string problem;
    if (names.parse(pattern, problem) && !names.numbered())
        std::filesystem::remove(pattern, ignored);
    return {};
}

int Pipeline::run() {
    catchInterrupt();
    const auto started = std::chrono::steady_clock::now();
    const std::clock_t cpuStarted = std::clock();
    auto seconds = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    };
    m_sink->startProcess();
    try {
        m_topology->start();
    } catch (const std::exception& error) {
        stopAll();
        std::fprintf(stderr, "korvane: could not start the pipeline: %s\n", error.what());
        return 1;
    }
    if (!waitUntilRunning(m_options.stallSeconds)) {
        stopAll();
        std::fprintf(stderr, "korvane: the processes did not start (see the messages above)\n");
        return 1;
    }
    if (!m_device->start() || !m_device->isStarted()) {
        stopAll();
        std::fprintf(stderr, "korvane: the device %s did not start\n", m_device->type().c_str());
        return 1;
    }
    unsigned long long lastFrames = 0;
    double lastFrameAt = 0;
    bool stalled = false;
    while (!m_sink->finished() && !interrupted()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const double now = seconds();
        if (m_options.duration > 0 && now >= m_options.duration) break;
        if (m_sink->frames() != lastFrames) {
            lastFrames = m_sink->frames();
            lastFrameAt = now;
        } else if (now - lastFrameAt > m_options.stallSeconds) {
            stalled = true;
            break;
        }
        if (now - m_shownSeconds >= 0.5) showProgress(now, false);
    }
    // Read before the stop: a live device counts the pushes into the stopped chain too.
    const double dropped = numberOf(*m_device, "FramesDropped", 0);
    stopAll();
    const double elapsed = seconds();
    const double cpu = static_cast<double>(std::clock() - cpuStarted) / CLOCKS_PER_SEC;
    showProgress(elapsed, true);
    printSummary(elapsed, cpu, dropped);
    if (m_sink->saveFailed()) {
        std::fprintf(stderr, "korvane: %s could not save frame %llu to %s\n", m_storageName.c_str(),
                     m_sink->frames(), m_sink->failedFile().c_str());
        return 1;
    }
    if (interrupted()) return 130;
    if (stalled) {
        std::fprintf(stderr, "korvane: no frame arrived for %.0f s; stopped\n",
                     m_options.stallSeconds);
        return 1;
    }
    return 0;
}

// Each process binds its buffers on its own thread and flushes them while it does: the
// device may deliver only when every consumer is bound, or its first frames are lost.
bool Pipeline::waitUntilRunning(double limitSeconds) const {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(limitSeconds);
    std::vector<const ProcessInterface*> processes{m_sink.rawPtr()};
    if (m_process.isValid()) processes.push_back(m_process.rawPtr());
    for (const ProcessInterface* process : processes) {
        while (process->status() == ProcessInterface::Starting) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        if (process->status() != ProcessInterface::Running) return false;
    }
    return true;
}

// The consumers first: a process that is stopping takes the abort of its buffers as the
// end of its run, while one whose producer stopped first would report the aborted pop as
// a failure. The device's pushes into the aborted buffer end its thread.
void Pipeline::stopAll() {
    m_topology->stop();
    m_sink->stopProcess();
    m_device->stop();
}

void Pipeline::showProgress(double seconds, bool final) {
    const bool terminal = stderrIsTerminal();
    if (!terminal && !m_options.progress) return;
    const unsigned long long frames = m_sink->frames();
    const double interval = seconds - m_shownSeconds;
    const double rate = interval > 0 ? static_cast<double>(frames - m_shownFrames) / interval : 0;
    const double dropped = numberOf(*m_device, "FramesDropped", 0);
    if (!final) {
        std::fprintf(stderr, "%sframes %llu  %.1f frames/s  dropped %.0f%s", terminal ? "\r" : "",
                     frames, rate, dropped, terminal ? "   " : "\n");
    } else if (terminal) {
        std::fputc('\n', stderr);
    }
    std::fflush(stderr);
    m_shownFrames = frames;
    m_shownSeconds = seconds;
}

void Pipeline::printSummary(double seconds, double cpuSeconds, double dropped) const {
    const unsigned long long frames = m_sink->frames();
    const double megabytes = static_cast<double>(m_sink->bytesWritten()) / 1e6;
    std::printf("frames: %llu\n", frames);
    std::printf("seconds: %.3f\n", seconds);
    std::printf("frames/s: %.1f\n", seconds > 0 ? static_cast<double>(frames) / seconds : 0.0);
    std::printf("CPU ms/frame: %.3f\n",
                frames ? cpuSeconds * 1000 / static_cast<double>(frames) : 0.0);
    std::printf("dropped: %.0f\n", dropped);
    std::printf("MB written: %.2f\n", megabytes);
    std::printf("MB/s: %.2f\n", seconds > 0 ? megabytes / seconds : 0.0);
    if (m_storage.isNull()) {
        std::printf("files: none (null sink)\n");
    } else if (frames == 0) {
        std::printf("files: none written (%s)\n", m_pattern.c_str());
    } else if (frames == 1 || m_sink->fileName(0) == m_sink->fileName(1)) {
        std::printf("files: %s\n", m_sink->fileName(0).c_str());
    } else {
        std::printf("files: %s .. %s\n", m_sink->fileName(0).c_str(),
                    m_sink->fileName(frames - 1).c_str());
    }
    std::fflush(stdout);
}

void Pipeline::release() {
    if (m_sink.isValid()) m_sink->stopProcess();
    if (m_topology.isValid()) {
        m_topology->clear();
        TopologyManager::get()->releaseInstance(m_topology->name().c_str());
        m_topology = TopologyRefPtr();
    }
    if (m_storage.isValid()) {
        StorageManager::get()->releaseInstance(m_storage->name().c_str());
        m_storage = StorageRefPtr();
    }
}

}  // namespace KorvaneTool
