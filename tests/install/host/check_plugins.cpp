// A small host built against the installed package: it lets the installed library find
// its plug-ins with nothing set, prints the plug-in directory and one line per module
// file ("<file>: <state>[: <reason>]"), and then uses the components named on the
// command line:
//   --operator NAME         creates the operator and prints "NAME: <its help>"
//   --round-trip FILE       saves a grey gradient to FILE through the storage chosen
//                           by its extension, loads it back and compares
// Exit status 0 when every step worked, 1 otherwise.

#include <korvane/config/Registry.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImageManager.h>
#include <korvane/plugins/PluginLoader.h>
#include <korvane/process/Operator.h>
#include <korvane/process/OperatorManager.h>
#include <korvane/process/StorageManager.h>

#include <cstring>
#include <iostream>
#include <string>

namespace {

bool useOperator(const char* type) {
    std::string name = type;
    Korvane::OperatorRefPtr op = Korvane::OperatorManager::get()->create(type, name, true);
    if (op.isNull()) {
        std::cout << type << ": cannot be created\n";
        return false;
    }
    std::cout << type << ": " << op->help() << "\n";
    return true;
}

bool roundTrip(const char* file) {
    Korvane::ImgRefPtr image =
        Korvane::ImageManager::get()->createAnonymous(8, true, false, 16, 4, 1);
    for (unsigned int i = 0; i < image->pixelCount(); ++i)
        image->rawBuffer()[i] = static_cast<unsigned char>(i * 4);
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
