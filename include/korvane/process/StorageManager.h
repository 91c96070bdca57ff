#pragma once
// The StorageManager keeps one prototype per storage type and loads and saves whole
// images through the storage that accepts a file's extension: the first type, in byte
// order of the type names, whose prototype accepts it. Type names are the lower-cased
// part of the registered name after its last "." ("Image.PNG" registers "png").
//
// One process-wide instance; every operation holds the manager's lock, loadImage and
// saveImage for the whole load or save: the storage's load and save are called under
// it, so file input and output through the manager is serialised.
// Instances: loadImage uses the instance named like the type, creating it if needed,
// and keeps it; saveImage does the same and releases that instance afterwards.
// Decisions: a null image or file name is refused (false) without calling a storage;
// create looks a type up exactly as given (registered types are lower case).

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Manager.h>
#include <korvane/image/Image.h>
#include <korvane/process/Storage.h>

#include <string>

namespace Korvane {

namespace Internal {

struct KORVANE_API StorageManagerTraits {};

}  // namespace Internal

class KORVANE_API StorageManager : public Manager<Storage, Internal::StorageManagerTraits> {
public:
    static StorageManager* get();

    StorageManager(const StorageManager&) = delete;
    StorageManager& operator=(const StorageManager&) = delete;
    ~StorageManager() override;

    // Registers prototype under the lower-cased part of name after its last "." (all of
    // name if it has none); false as for the generic manager.
    bool registerType(const char* name, const StorageRefPtr& prototype) override;

    // A copy of the prototype registered as type, entered under name (which may change).
    // Empty handle and empty name for an unknown type, a failed copy or a refused name.
    StorageRefPtr create(const char* type, std::string& name, bool unique);
    // The same from a given storage; the new one takes the prototype's type.
    StorageRefPtr create(StorageRefPtr prototype, std::string& name, bool unique);

    // The text after the last "." when at least one character follows it and no "/" or
    // "\" does; otherwise empty.
    static std::string extension(const std::string& fileName);

    // Loads fileName into image through the first storage that can load it; false when
    // none can, or the storage's answer.
    bool loadImage(ImgRefPtr& image, const char* fileName);
    // The same into a new handle; when an image results, its name goes into imageName.
    bool loadImage(std::string& imageName, const char* fileName);
    // Saves image to fileName through the first storage that can save it; false when
    // none can, or the storage's answer.
    bool saveImage(ImgRefPtr image, const char* fileName);
    // The same for the ImageManager's image of that name; false when there is none.
    bool saveImage(const char* imageName, const char* fileName);

private:
    StorageManager();

    // Clones prototype and enters the copy as an instance of type; the caller holds m_lock.
    StorageRefPtr createPrivate(const StorageRefPtr& prototype, const std::string& type,
                                std::string& name, bool unique);
    // The first type whose prototype accepts fileName for loading (saving); empty when
    // none does. The caller holds m_lock.
    std::string typeForPrivate(const char* fileName, bool forSaving) const;
    // The instance named like type (its characters outside the instance-name alphabet
    // read as "_"), created if there is none. The caller holds m_lock.
    StorageRefPtr storageOfTypePrivate(const std::string& type);
};

}  // namespace Korvane
