// A small host built against the installed package: it lets the installed library find
// its plug-ins with nothing set, prints the plug-in directory and one line per module
// file ("<file>: <state>[: <reason>]"), and then uses the components named on the
// command line:
//   --operator NAME         creates the operator, prints "NAME: <its help>", runs it
//                           once in an operator process on a grey gradient and prints
//                           "NAME: 0 4 8 12 -> <the first four samples it put out>"
//   --round-trip FILE       saves a grey gradient to FILE through the storage chosen
//                           by its extension, loads it back and compares
// Exit status 0 when every step worked, 1 otherwise.

#include <korvane/buffers/BufferManager.h>
#include <korvane/buffers/BufferTemplate.h>
#include <korvane/config/Registry.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImageManager.h>
#include <korvane/plugins/PluginLoader.h>
#include <korvane/process/BufferSlotInterface.h>
#include <korvane/process/Operator.h>
#include <korvane/process/OperatorManager.h>
#include <korvane/process/OperatorProcess.h>
#include <korvane/process/StorageManager.h>

#include <chrono>
#include <cstring>
#include <iostream>
#include <string>
#include <thread>

namespace {

using Images = Korvane::BufferTemplate<Korvane::ImgRefPtr>;

Images& images(const Korvane::BufferRefPtr& buffer) {
    return static_cast<Images&>(*buffer);
}

// The host's ends of the operator's buffers: it feeds "Out" and drains "In".
class Endpoint : public Korvane::BufferSlotInterface {
public:
    Endpoint() : BufferSlotInterface("CheckHost") {
        addBufferSlot("Out", "Image", Korvane::slot_output, "Images to the operator.", false);
        addBufferSlot("In", "Image", Korvane::slot_input, "Images from the operator.", false);
    }
};

// A 16 x 4 8-bit image with the samples 0, 4, 8, ...
Korvane::ImgRefPtr gradient() {
    Korvane::ImgRefPtr image =
        Korvane::ImageManager::get()->createAnonymous(8, true, false, 16, 4, 1);
    for (unsigned int i = 0; i < image->pixelCount(); ++i)
        image->rawBuffer()[i] = static_cast<unsigned char>(i * 4);
    return image;
}

// Polls for at most 30 s until the process shows detail.
bool reaches(const Korvane::OperatorProcessRefPtr& process,
             Korvane::ProcessInterface::StatusDetail detail) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (process->statusDetail() != detail) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

// Runs one iteration of an operator process holding the operator alone, with one
// image in its input buffer; the first samples of what it put out.
std::string runOnce(Korvane::OperatorRefPtr op) {
    Korvane::OperatorManager* operators = Korvane::OperatorManager::get();
    std::string name = "CheckRun";
    Korvane::OperatorProcessRefPtr process = operators->createProcess(name, true);
    Korvane::RefPtr<Endpoint> host(new Endpoint, nullptr);
    Korvane::BufferManager* buffers = Korvane::BufferManager::get();
    Korvane::BufferRefPtr in = buffers->connect(host, "Out", op, "In", 4);
    Korvane::BufferRefPtr out = buffers->connect(op, "Out", host, "In", 4);
    if (process.isNull() || in.isNull() || out.isNull() ||
        !process->setProperty("MaxIterations", 1LL))
        return "cannot be set up";
    process->addOperator(op, 0);
    process->startProcess();
    Korvane::ImgRefPtr result;
    const bool ran = reaches(process, Korvane::ProcessInterface::RunningIterating) &&
                     images(in).push(gradient()) &&
                     reaches(process, Korvane::ProcessInterface::StoppingDone) &&
                     images(out).pop(result);
    process->stopProcess();
    operators->releaseProcess(name.c_str());
    if (!ran || result.isNull() || result->pixelCount() < 4) return "did not run";
    std::string samples = "0 4 8 12 ->";
    for (int i = 0; i < 4; ++i) samples += " " + std::to_string(result->rawBuffer()[i]);
    return samples;
}

bool useOperator(const char* type) {
    std::string name = type;
    Korvane::OperatorRefPtr op = Korvane::OperatorManager::get()->create(type, name, true);
    if (op.isNull()) {
        std::cout << type << ": cannot be created\n";
        return false;
    }
    std::cout << type << ": " << op->help() << "\n";
    const std::string samples = runOnce(op);
    std::cout << type << ": " << samples << "\n";
    return samples.find("->") != std::string::npos;
}

bool roundTrip(const char* file) {
    Korvane::ImgRefPtr image = gradient();
    Korvane::ImgRefPtr loaded;
    Korvane::StorageManager* storages = Korvane::StorageManager::get();
    const bool same = storages->saveImage(image, file) && storages->loadImage(loaded, file) &&
                      loaded->width() == 16 && loaded->height() == 4 &&
                      std::memcmp(loaded->rawBuffer(), image->rawBuffer(), 64) == 0;
    std::cout << file << (same ? ": saved and loaded back\n" : ": round trip failed\n");
    return same;
}

}  // namespace

int main(int argc, char** argv) {
    std::string pluginPath;
    Korvane::Registry::get()->getProperty("PLUGIN_PATH", &pluginPath);
    std::cout << "PLUGIN_PATH " << pluginPath << "\n";
    Korvane::PluginLoader* loader = Korvane::PluginLoader::get();
    loader->loadAll();
    for (const Korvane::PluginLoadRecord& record : loader->loadReport()) {
        std::cout << record.file << ": " << Korvane::pluginLoadStateName(record.state);
        if (!record.reason.empty()) std::cout << ": " << record.reason;
        std::cout << "\n";
    }
    if (argc % 2 == 0) {
        std::cerr << "every option takes one value\n";
        return 2;
    }
    bool ok = true;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string option = argv[i];
        if (option == "--operator") {
            ok = useOperator(argv[i + 1]) && ok;
        } else if (option == "--round-trip") {
            ok = roundTrip(argv[i + 1]) && ok;
        } else {
            std::cerr << "unknown option " << option << "\n";
            return 2;
        }
    }
    return ok ? 0 : 1;
}
