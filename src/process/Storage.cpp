#include <korvane/platform/Mutex.h>
#include <korvane/process/Storage.h>

#include <algorithm>
#include <cctype>

namespace Korvane {

namespace {

const PropertyText& deprecatedDescription() {
    static const PropertyText text = PropertyText::permanent("Deprecated, do not use!");
    return text;
}

const PropertyText& frameIdDescription() {
    static const PropertyText text =
        PropertyText::permanent("Index number of the frame that will be read next.");
    return text;
}

const PropertyText& frameCountDescription() {
    static const PropertyText text =
        PropertyText::permanent("Total number of frames in the current file.");
    return text;
}

constexpr int processCategory = 6;

std::string lowerCase(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

void removeAll(std::vector<std::string>& formats, const std::string& ext) {
    formats.erase(std::remove(formats.begin(), formats.end(), ext), formats.end());
}

}  // namespace

struct Storage::Private {
    Private() = default;
    Private(const Private& other) {
        MutexLock lock(&other.lock);
        loadFormats = other.loadFormats;
        saveFormats = other.saveFormats;
    }

    mutable Mutex lock;  // guards both lists
    std::vector<std::string> loadFormats;
    std::vector<std::string> saveFormats;
};

Storage::Storage() : ManageableType("Storage"), d(std::make_unique<Private>()) {
    addProperty("ImageNr", 0LL, int64_property, read_write_access, 0, deprecatedDescription());
    addProperty("StreamSize", 0LL, int64_property, read_access, 0, deprecatedDescription());
    addProperty("CanRead", false, bool_property, read_access, 0);
    addProperty("CanWrite", false, bool_property, read_access, 0);
    addProperty("FrameId", 0u, uint32_property, read_write_access, processCategory,
                frameIdDescription());
    addProperty("FrameCount", 0u, uint32_property, read_access, processCategory,
                frameCountDescription());
}

Storage::Storage(const Storage& other)
    : ManageableType(other), d(std::make_unique<Private>(*other.d)) {}

Storage::~Storage() = default;

std::vector<std::string> Storage::supportedLoadFormats() const {
    MutexLock lock(&d->lock);
    return d->loadFormats;
}

std::vector<std::string> Storage::supportedSaveFormats() const {
    MutexLock lock(&d->lock);
    return d->saveFormats;
}

bool Storage::canLoad(const char* fileName) const {
    return accepts(true, fileName);
}

bool Storage::canSave(const char* fileName) const {
    return accepts(false, fileName);
}

void Storage::addLoadFormat(const std::string& ext) {
    MutexLock lock(&d->lock);
    d->loadFormats.push_back(ext);
}

void Storage::addSaveFormat(const std::string& ext) {
    MutexLock lock(&d->lock);
    d->saveFormats.push_back(ext);
}

void Storage::removeLoadFormat(const std::string& ext) {
    MutexLock lock(&d->lock);
    removeAll(d->loadFormats, ext);
}

void Storage::removeSaveFormat(const std::string& ext) {
    MutexLock lock(&d->lock);
    removeAll(d->saveFormats, ext);
}

std::string Storage::extension(const std::string& fileName) {
    const std::size_t dot = fileName.rfind('.');
    if (dot == std::string::npos || fileName.size() - dot - 1 < 2) return std::string();
    return fileName.substr(dot + 1);
}

bool Storage::accepts(bool loading, const char* fileName) const {
    if (!fileName) return false;
    const std::string ext = lowerCase(extension(fileName));
    if (ext.empty()) return false;
    MutexLock lock(&d->lock);
    const std::vector<std::string>& formats = loading ? d->loadFormats : d->saveFormats;
    return std::find(formats.begin(), formats.end(), ext) != formats.end();
}

}  // namespace Korvane
