#pragma once
// A Storage reads images from files and writes images to files in one or more file
// formats; plug-ins supply the concrete storages, the StorageManager picks one by the
// file's extension. The formats are extensions without the dot, compared with the
// lower-cased extension of a file name, so register them in lower case. The
// properties "ImageNr", "StreamSize", "CanRead", "CanWrite", "FrameId" and
// "FrameCount" describe a multi-frame file; the core only declares them and the
// storage keeps them up to date with the forced setters.
//
// Threads: the format lists are guarded by a lock of their own, so canLoad and canSave
// may be called from any thread. Decisions: a file name without a "." has no
// extension; a null file name is accepted by neither canLoad nor canSave.
//
// Writing a storage: register the formats in the constructor and implement
// createCopy, save and load. A minimal 8-bit grey PGM storage:
//
//   class PgmStorage : public Korvane::Storage {
//   public:
//       PgmStorage() { addLoadFormat("pgm"); addSaveFormat("pgm"); }
//       Korvane::Storage* createCopy() override { return new PgmStorage(*this); }
//
//       bool save(Korvane::ImgRefPtr image, const char* fileName) override {
//           if (image.isNull() || image->channelCount() != 1 || image->bitDepth() != 8)
//               return false;
//           std::ofstream out(fileName, std::ios::binary);
//           out << "P5\n" << image->width() << ' ' << image->height() << "\n255\n";
//           image->write(out);
//           return bool(out);
//       }
//       bool load(Korvane::ImgRefPtr& image, const char* fileName) override {
//           std::ifstream in(fileName, std::ios::binary);
//           std::string magic;
//           unsigned int width = 0, height = 0, maxValue = 0;
//           if (!(in >> magic >> width >> height >> maxValue) || magic != "P5") return false;
//           in.get();  // the one white-space character before the samples
//           image = Korvane::ImageManager::get()->createAnonymous(129u, width, height, 1);
//           if (image.isNull()) return false;
//           image->read(in);
//           return bool(in);
//       }
//   };

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/ManageableType.h>
#include <korvane/image/Image.h>

#include <memory>
#include <string>
#include <vector>

namespace Korvane {

class KORVANE_API Storage : public ManageableType {
public:
    // Component type "Storage"; declares the six properties; no formats yet.
    Storage();
    // Takes the properties and both format lists.
    Storage(const Storage& other);
    Storage& operator=(const Storage&) = delete;
    ~Storage() override;

    // Copies of the format lists, in the order they were added.
    std::vector<std::string> supportedLoadFormats() const;
    std::vector<std::string> supportedSaveFormats() const;
    // Whether the lower-cased extension of fileName (see extension) is a load (save)
    // format.
    bool canLoad(const char* fileName) const;
    bool canSave(const char* fileName) const;

    // ---- for the plug-in ------------------------------------------------------------
    // The manager makes instances through this: answer a new object of your class,
    // normally `new MyStorage(*this)`. Called under the StorageManager's lock: do not
    // call the StorageManager from here. Answer null if no copy can be made.
    virtual Storage* createCopy() = 0;
    // Writes image to the file fileName, which canSave accepted. Called on the caller's
    // thread; through StorageManager::saveImage under the manager's lock, so saves and
    // loads are serialised and you must not call the StorageManager (nor release this
    // storage) from here. May block for the file's input and output. Do not modify or
    // keep the image beyond the call. Answer whether the file was written; the manager
    // passes the answer on. Never throw.
    virtual bool save(ImgRefPtr image, const char* fileName) = 0;
    // Reads the file fileName, which canLoad accepted, into a new image and stores its
    // handle in image (from the ImageManager: createAnonymous, or create for an image
    // the application shall find by name). The same thread and lock rules as save.
    // Answer whether an image was read; leave image null when not. Never throw.
    virtual bool load(ImgRefPtr& image, const char* fileName) = 0;

protected:
    // Append ext unchanged: no case conversion, no duplicate check.
    void addLoadFormat(const std::string& ext);
    void addSaveFormat(const std::string& ext);
    // Remove the entries equal to ext.
    void removeLoadFormat(const std::string& ext);
    void removeSaveFormat(const std::string& ext);

    // The text after the last "." when at least two characters follow it, else empty.
    static std::string extension(const std::string& fileName);

private:
    struct Private;

    // Whether the lower-cased extension of fileName is one of the load (save) formats.
    bool accepts(bool loading, const char* fileName) const;

    std::unique_ptr<Private> d;
};

}  // namespace Korvane
