#include <korvane/devices/DisplayManager.h>

#include <memory>

namespace Korvane {

DisplayManager* DisplayManager::get() {
    static DisplayManager manager;
    return &manager;
}

DisplayManager::DisplayManager() = default;

DisplayManager::~DisplayManager() = default;

DisplayRefPtr DisplayManager::create(const char* type, unsigned int width, unsigned int height,
                                     std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = type ? type : "";
    return createPrivate(prototypePrivate(typeName), typeName, width, height, name, unique);
}

DisplayRefPtr DisplayManager::create(DisplayRefPtr prototype, unsigned int width,
                                     unsigned int height, std::string& name, bool unique) {
    MutexLock lock(&m_lock);
    const std::string typeName = prototype.isValid() ? prototype->type() : std::string();
    return createPrivate(prototype, typeName, width, height, name, unique);
}

DisplayRefPtr DisplayManager::createPrivate(const DisplayRefPtr& prototype, const std::string& type,
                                            unsigned int width, unsigned int height,
                                            std::string& name, bool unique) {
    DisplayRefPtr display;
    if (prototype.isValid()) {
        std::unique_ptr<Display> made(prototype->clone(width, height));
        if (made) {
            display = DisplayRefPtr(made.get(), &freeCallback);
            made.release();
        }
    }
    return enterCreatedPrivate(display, type, name, unique);
}

}  // namespace Korvane
