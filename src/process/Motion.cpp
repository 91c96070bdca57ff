#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/FifoTemplate.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/platform/Mutex.h>
#include <korvane/process/CmdStatus.h>
#include <korvane/process/Motion.h>

#include <map>
#include <utility>

namespace Korvane {

namespace {

using CommandFifo = FifoTemplate<ObjectRefPtr>;

constexpr unsigned int commandCapacity = 32;
constexpr unsigned long long passPause = 250;  // ms between two commands

void deleteObject(Object* object) {
    delete object;
}

// A copy that keeps a CmdStatus a CmdStatus; any other command is copied as an Object.
Object* copyCommand(const Object& prototype) {
    if (const auto* status = dynamic_cast<const CmdStatus*>(&prototype)) {
        return new CmdStatus(*status);
    }
    return new Object(prototype);
}

ObjectRefPtr newStatus() {
    return ObjectRefPtr(new CmdStatus, &deleteObject);
}

}  // namespace

struct Motion::Private {
    Private() : status(newStatus()) {}
    Private(const Private& other) : status(newStatus()) {
        MutexLock lock(&other.lock);
        for (const auto& [name, prototype] : other.commands) {
            commands.emplace(name, std::unique_ptr<Object>(copyCommand(*prototype)));
        }
    }

    // Guards every field below; held only for short reads and writes, never while a
    // plug-in operation or a buffer operation runs.
    mutable Mutex lock;
    std::map<std::string, std::unique_ptr<Object>> commands;  // prototypes by name
    BufferRefPtr commandBuffer;   // the command fifo while running, else null
    CommandFifo* fifo = nullptr;  // the same buffer, typed; reached through commandBuffer
    ObjectRefPtr status;          // replaced, never modified
};

Motion::Motion() : ProcessInterface("Motion"), d(std::make_unique<Private>()) {
    addSupportedCommand("QueryStatus", CmdStatus());
}

Motion::Motion(const Motion& other)
    : ProcessInterface(other), d(std::make_unique<Private>(*other.d)) {}

Motion::~Motion() = default;

std::vector<std::string> Motion::commandList() const {
    MutexLock lock(&d->lock);
    std::vector<std::string> names;
    names.reserve(d->commands.size());
    for (const auto& entry : d->commands) names.push_back(entry.first);
    return names;
}

ObjectRefPtr Motion::createCommand(const std::string& name) const {
    MutexLock lock(&d->lock);
    auto it = d->commands.find(name);
    if (it == d->commands.end()) return ObjectRefPtr();
    return ObjectRefPtr(copyCommand(*it->second), &deleteObject);
}

void Motion::sendCommand(const ObjectRefPtr& command) {
    if (command.isNull()) return;
    BufferRefPtr keep;  // keeps the fifo alive should cleanup drop it meanwhile
    CommandFifo* fifo = nullptr;
    {
        MutexLock lock(&d->lock);
        if (!d->fifo) return;
        keep = d->commandBuffer;
        fifo = d->fifo;
    }
    updateStatus("pending", "command queued");
    fifo->push(command);  // the fifo never blocks: a full one refuses the command
}

ObjectRefPtr Motion::queryStatus() const {
    MutexLock lock(&d->lock);
    return d->status;
}

void Motion::addSupportedCommand(const std::string& name, const Object& prototype) {
    std::unique_ptr<Object> copy(copyCommand(prototype));
    MutexLock lock(&d->lock);
    d->commands.emplace(name, std::move(copy));
}

void Motion::updateStatus(const std::string& status, const std::string& message) {
    auto record = std::make_unique<CmdStatus>();
    record->setProperty("Status", status);
    record->setProperty("Message", message);
    updateStatus(ObjectRefPtr(record.release(), &deleteObject));
}

void Motion::updateStatus(const ObjectRefPtr& status) {
    ObjectRefPtr previous;  // let go outside the lock
    MutexLock lock(&d->lock);
    previous = d->status;
    d->status = status;
}

bool Motion::init() {
    std::string name = "MotionCommandBuffer";
    BufferRefPtr buffer = BufferManager::get()->create("ObjectFifo", commandCapacity, name, true);
    if (buffer.isNull()) {
        korvLogError("Motion object failed to create an ObjectFifo.");
        return false;
    }
    buffer->beginPropertyChange();
    buffer->setProperty("PopBlock", false);
    buffer->setProperty("PushBlock", false);
    buffer->endPropertyChange();
    auto* fifo = dynamic_cast<CommandFifo*>(buffer.rawPtr());
    if (!fifo) return false;
    {
        MutexLock lock(&d->lock);
        d->commandBuffer = buffer;
        d->fifo = fifo;
    }
    return openController();
}

bool Motion::sequence(unsigned long long) {
    ObjectRefPtr command = popCommand();
    if (command.isValid() && !executeCommand(command)) {
        korvLogError("Motion controlled failed to execute command.");
    }
    sleep(passPause);
    return true;
}

bool Motion::cleanup() {
    BufferRefPtr dropped;  // let go outside the lock
    {
        MutexLock lock(&d->lock);
        dropped = d->commandBuffer;
        d->commandBuffer = BufferRefPtr();
        d->fifo = nullptr;
    }
    closeController();
    return true;
}

ObjectRefPtr Motion::popCommand() {
    BufferRefPtr keep;
    CommandFifo* fifo = nullptr;
    {
        MutexLock lock(&d->lock);
        keep = d->commandBuffer;
        fifo = d->fifo;
    }
    ObjectRefPtr command;
    if (fifo && fifo->pop(command)) return command;
    return ObjectRefPtr();
}

}  // namespace Korvane
