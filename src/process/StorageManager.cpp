#include <korvane/image/ImageManager.h>
#include <korvane/process/StorageManager.h>

#include <cctype>
#include <memory>

namespace Korvane {

namespace {

std::string lowerCase(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

}  // namespace

StorageManager* StorageManager::get() {
    static StorageManager manager;
    return &manager;
}

StorageManager::StorageManager() = default;
StorageManager::~StorageManager() = default;

bool StorageManager::registerType(const char* name, const StorageRefPtr& prototype) {
    if (!name) return false;
    const std::string full(name);
    const std::size_t dot = full.rfind('.');
    const std::string type = lowerCase(dot == std::string::npos ? full : full.substr(dot + 1));
    return Manager::registerType(type.c_str(), prototype);
}

StorageRefPtr StorageManager::create(const char* type, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = type ? type : "";
    return createPrivate(prototypePrivate(typeName), typeName, name, unique);
}

StorageRefPtr StorageManager::create(StorageRefPtr prototype, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = prototype.isValid() ? prototype->type() : std::string();
    return createPrivate(prototype, typeName, name, unique);
}

std::string StorageManager::extension(const std::string& fileName) {
    const std::size_t dot = fileName.rfind('.');
    if (dot == std::string::npos || dot + 1 == fileName.size()) return std::string();
    if (fileName.find_first_of("/\\", dot + 1) != std::string::npos) return std::string();
    return fileName.substr(dot + 1);
}

bool StorageManager::loadImage(ImgRefPtr& image, const char* fileName) {
    if (!fileName) return false;
    StorageRefPtr storage;  // declared before the lock: a storage freed here goes after it
    MutexLock lock(&m_lock);
    const std::string type = typeForPrivate(fileName, false);
    if (type.empty()) return false;
    storage = storageOfTypePrivate(type);
    // The storage's load runs under the manager's lock, serialising file access.
    return storage.isValid() && storage->load(image, fileName);
}

bool StorageManager::loadImage(std::string& imageName, const char* fileName) {
    ImgRefPtr image;
    const bool loaded = loadImage(image, fileName);
    if (image.isValid()) imageName = image->name();
    return loaded;
}

bool StorageManager::saveImage(ImgRefPtr image, const char* fileName) {
    if (image.isNull() || !fileName) return false;
    StorageRefPtr storage;  // declared before the lock: the released storage goes after it
    MutexLock lock(&m_lock);
    const std::string type = typeForPrivate(fileName, true);
    if (type.empty()) return false;
    storage = storageOfTypePrivate(type);
    if (storage.isNull()) return false;
    // The storage's save runs under the manager's lock, serialising file access.
    const bool saved = storage->save(image, fileName);
    releaseInstance(storage->name().c_str());
    return saved;
}

bool StorageManager::saveImage(const char* imageName, const char* fileName) {
    ImgRefPtr image = ImageManager::get()->instance(imageName);
    return image.isValid() && saveImage(image, fileName);
}

StorageRefPtr StorageManager::createPrivate(const StorageRefPtr& prototype, const std::string& type,
                                            std::string& name, bool unique) {
    StorageRefPtr storage;
    if (prototype.isValid()) {
        std::unique_ptr<Storage> made(prototype->createCopy());
        if (made) {
            storage = StorageRefPtr(made.get(), &freeCallback);
            made.release();
        }
    }
    return enterCreatedPrivate(storage, type, name, unique);
}

std::string StorageManager::typeForPrivate(const char* fileName, bool forSaving) const {
    for (const std::string& type : typeListPrivate()) {
        const StorageRefPtr prototype = prototypePrivate(type);
        if (forSaving ? prototype->canSave(fileName) : prototype->canLoad(fileName)) return type;
    }
    return std::string();
}

StorageRefPtr StorageManager::storageOfTypePrivate(const std::string& type) {
    // The type as the instance map spells names, so that the next call finds it.
    std::string name = type;
    const std::string alphabet = allowedCharactersInName();
    for (char& c : name) {
        if (alphabet.find(c) == std::string::npos) c = '_';
    }
    StorageRefPtr storage = instancePrivate(name);
    if (storage.isValid()) return storage;
    return createPrivate(prototypePrivate(type), type, name, false);
}

}  // namespace Korvane
