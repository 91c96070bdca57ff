// Storages: formats and the two extension rules, the StorageManager's choice of a
// storage by extension and its instance lifecycle. Writing real files is checked by the
// acquisition setup of the topology thread test.

#include <gtest/gtest.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImageManager.h>
#include <korvane/process/Storage.h>
#include <korvane/process/StorageManager.h>

#include <initializer_list>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/BufferFixture.h"

using namespace Korvane;
using KorvaneTest::textOf;

namespace {

// Formats given at construction; every call is appended to a journal (not owned) as
// "<tag> load|save <file>". Its loads make a named 1 x 1 image, "Loaded" + a key.
class RecordingStorage : public Storage {
public:
    RecordingStorage(std::string tag, std::vector<std::string>* journal,
                     std::initializer_list<const char*> formats, bool answer = true)
        : m_tag(std::move(tag)), m_journal(journal), m_answer(answer) {
        for (const char* format : formats) {
            addLoadFormat(format);
            addSaveFormat(format);
        }
    }
    Storage* createCopy() override { return new RecordingStorage(*this); }

    bool save(ImgRefPtr, const char* fileName) override {
        m_journal->push_back(m_tag + " save " + fileName);
        return m_answer;
    }
    bool load(ImgRefPtr& image, const char* fileName) override {
        m_journal->push_back(m_tag + " load " + fileName);
        std::string name = "Loaded";
        image = ImageManager::get()->create("uint8", 1, 1, name, true);
        return m_answer;
    }

    using Storage::addLoadFormat;
    using Storage::extension;
    using Storage::removeLoadFormat;
    using Storage::removeSaveFormat;

private:
    std::string m_tag;
    std::vector<std::string>* m_journal;
    bool m_answer;
};

StorageRefPtr handle(Storage* storage) {
    return StorageRefPtr(storage, nullptr);
}

class StorageManagerTest : public ::testing::Test {
protected:
    void TearDown() override {
        manager->cleanUp();
        ImageManager::get()->cleanUp();
    }

    void add(const char* name, Storage* storage) {
        ASSERT_TRUE(manager->registerType(name, handle(storage)));
    }

    StorageManager* manager = StorageManager::get();
    std::vector<std::string> journal;
};

}  // namespace

TEST(Storage, DeclaresTheSixPropertiesWithTheirExactDescriptions) {
    RecordingStorage storage("s", nullptr, {});
    EXPECT_EQ(textOf(storage, "ComponentType"), "Storage");
    const char* deprecated = "Deprecated, do not use!";
    const std::tuple<const char*, PropertyType, AccessType, int, const char*> expected[] = {
        {"ImageNr", int64_property, read_write_access, 0, deprecated},
        {"StreamSize", int64_property, read_access, 0, deprecated},
        {"CanRead", bool_property, read_access, 0, ""},
        {"CanWrite", bool_property, read_access, 0, ""},
        {"FrameId", uint32_property, read_write_access, 6,
         "Index number of the frame that will be read next."},
        {"FrameCount", uint32_property, read_access, 6,
         "Total number of frames in the current file."},
    };
    for (const auto& [name, type, access, category, description] : expected) {
        PropertyInfo info;
        ASSERT_TRUE(storage.propertyInfo(name, &info)) << name;
        EXPECT_TRUE(info.type == type && info.access == access && info.category == category)
            << name;
        EXPECT_EQ(info.description, description);
    }
}

TEST(Storage, FormatsAreKeptAsGivenAndMatchTheLowerCasedExtension) {
    RecordingStorage storage("s", nullptr, {"tif"});
    storage.addLoadFormat("TIF");
    storage.addLoadFormat("tif");
    EXPECT_EQ(storage.supportedLoadFormats(), (std::vector<std::string>{"tif", "TIF", "tif"}));
    const std::pair<const char*, bool> names[] = {
        {"A.TIF", true},     {"a.tif", true}, {"dir/a.Tif", true}, {"a.tiff", false},
        {"a.tif.gz", false}, {"tif", false},  {"a.", false},       {"", false},
        {"a.b.TIF", true},   {".tif", true},  {nullptr, false},
    };
    for (const auto& [name, accepted] : names) {
        SCOPED_TRACE(name ? name : "null");
        EXPECT_EQ(storage.canLoad(name), accepted);
        EXPECT_EQ(storage.canSave(name), accepted);
    }
    // Removing drops every equal entry of its own list only.
    storage.removeLoadFormat("tif");
    EXPECT_EQ(storage.supportedLoadFormats(), std::vector<std::string>{"TIF"});
    EXPECT_FALSE(storage.canLoad("a.tif"));  // "TIF" never equals a lower-cased extension
    EXPECT_TRUE(storage.canSave("a.tif"));
    storage.removeSaveFormat("tif");
    EXPECT_TRUE(storage.supportedSaveFormats().empty());
}

TEST(Storage, TheTwoExtensionRulesDifferOnShortEndingsAndSeparators) {
    struct Case {
        const char* name;
        const char* ofStorage;  // at least two characters after the last "."
        const char* ofManager;  // at least one, and no separator after it
    };
    for (const Case& c :
         {Case{"a.b", "", "b"}, Case{"a.tif", "tif", "tif"}, Case{"dir.x/file", "x/file", ""},
          Case{"dir.xy\\file", "xy\\file", ""}, Case{"noextension", "", ""}, Case{"a.", "", ""},
          Case{"", "", ""}, Case{"a.b.TIFF", "TIFF", "TIFF"}}) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(RecordingStorage::extension(c.name), c.ofStorage);
        EXPECT_EQ(StorageManager::extension(c.name), c.ofManager);
    }
}

TEST_F(StorageManagerTest, TypesAreLowerCasedAndTheFirstInByteOrderThatAcceptsTheFileIsUsed) {
    add("b", new RecordingStorage("b", &journal, {"raw", "dat"}));
    add("Image.A", new RecordingStorage("a", &journal, {"raw"}));
    add("C", new RecordingStorage("c", &journal, {"dat", "bin"}));
    EXPECT_EQ(manager->typeList(), (std::vector<std::string>{"a", "b", "c"}));
    const StorageRefPtr spare = handle(new RecordingStorage("x", &journal, {}));
    for (const char* refused : {"other.a", static_cast<const char*>(nullptr), "Image."})
        EXPECT_FALSE(manager->registerType(refused, spare)) << (refused ? refused : "null");
    ImgRefPtr image;
    EXPECT_TRUE(manager->loadImage(image, "x.RAW"));
    EXPECT_EQ(manager->instance("a")->type(), "a");
    EXPECT_TRUE(manager->loadImage(image, "x.dat"));
    EXPECT_TRUE(manager->saveImage(image, "x.bin"));
    EXPECT_EQ(journal, (std::vector<std::string>{"a load x.RAW", "b load x.dat", "c save x.bin"}));
    // No storage accepts these: nothing is called.
    for (const char* file : {"x.png", "x", "dir.raw/x", "x.r"}) {
        EXPECT_FALSE(manager->loadImage(image, file)) << file;
        EXPECT_FALSE(manager->saveImage(image, file)) << file;
    }
    EXPECT_FALSE(manager->loadImage(image, nullptr));
    EXPECT_FALSE(manager->saveImage(ImgRefPtr(), "x.raw"));
    EXPECT_EQ(journal.size(), 3u);
}

TEST_F(StorageManagerTest, LoadingKeepsTheStorageInstanceAndSavingReleasesIt) {
    add("raw", new RecordingStorage("raw", &journal, {"raw"}));
    ImgRefPtr image;
    ASSERT_TRUE(manager->loadImage(image, "one.raw"));
    ASSERT_TRUE(image.isValid());
    EXPECT_EQ(manager->instanceList(), std::vector<std::string>{"raw"});
    StorageRefPtr used = manager->instance("raw");
    ASSERT_TRUE(manager->loadImage(image, "two.raw"));
    EXPECT_EQ(manager->instance("raw").rawPtr(), used.rawPtr());  // the same instance again

    // A type name that is no valid instance name still finds its one instance.
    add("r.a+w", new RecordingStorage("a+w", &journal, {"aw"}));
    ASSERT_TRUE(manager->loadImage(image, "one.aw"));
    ASSERT_TRUE(manager->loadImage(image, "two.aw"));
    EXPECT_EQ(manager->instanceList(), (std::vector<std::string>{"a_w", "raw"}));
    manager->releaseInstance("a_w");

    EXPECT_TRUE(manager->saveImage(image, "three.raw"));
    EXPECT_EQ(manager->instanceCount(), 0u);
    EXPECT_TRUE(manager->saveImage(image, "four.raw"));  // made anew, released again
    EXPECT_EQ(manager->instanceCount(), 0u);
    EXPECT_EQ(journal.size(), 6u);
}

TEST_F(StorageManagerTest, TheStoragesAnswerIsPassedOnAndImagesAreFoundByName) {
    add("bad", new RecordingStorage("bad", &journal, {"bad"}, false));
    add("raw", new RecordingStorage("raw", &journal, {"raw"}));
    std::string imageName = "unchanged";
    EXPECT_TRUE(manager->loadImage(imageName, "a.raw"));
    EXPECT_EQ(imageName.rfind("Loaded", 0), 0u) << imageName;
    EXPECT_TRUE(ImageManager::get()->instance(imageName.c_str()).isValid());

    EXPECT_TRUE(manager->saveImage(imageName.c_str(), "b.raw"));
    EXPECT_FALSE(manager->saveImage(imageName.c_str(), "c.bad"));
    EXPECT_FALSE(manager->saveImage("NoSuchImage", "d.raw"));
    EXPECT_FALSE(manager->saveImage(static_cast<const char*>(nullptr), "e.raw"));
    std::string failed = "unchanged";
    EXPECT_FALSE(manager->loadImage(failed, "f.bad"));  // an image, but a failed load
    EXPECT_EQ(failed.rfind("Loaded", 0), 0u) << failed;
    failed = "unchanged";
    EXPECT_FALSE(manager->loadImage(failed, "g.none"));
    EXPECT_EQ(failed, "unchanged");
    EXPECT_EQ(journal, (std::vector<std::string>{"raw load a.raw", "raw save b.raw",
                                                 "bad save c.bad", "bad load f.bad"}));
}
