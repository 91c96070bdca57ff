#include <gtest/gtest.h>
#include <korvane/core/Manager.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "support/WidgetManager.h"

using namespace Korvane;
using KorvaneTest::Widget;
using KorvaneTest::WidgetManager;
using KorvaneTest::WidgetRefPtr;

namespace {

// "{" + eight groups of four characters from 0-9A-Z joined by "-" + "}".
bool isKey(const std::string& key) {
    if (key.size() != 41 || key.front() != '{' || key.back() != '}') return false;
    for (std::size_t i = 1; i < 40; ++i) {
        const char c = key[i];
        const bool ok = i % 5 == 0 ? c == '-' : (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z');
        if (!ok) return false;
    }
    return true;
}

// name is base followed by one key.
bool endsInKey(const std::string& name, const std::string& base) {
    return name.size() == base.size() + 41 && name.compare(0, base.size(), base) == 0 &&
           isKey(name.substr(base.size()));
}

class ManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(manager.registerType("Cam", WidgetManager::makePrototype()));
    }

    // Creates from "Cam" and answers the final name; empty when refused.
    std::string create(std::string name, bool unique) {
        WidgetRefPtr object = manager.create("Cam", name, unique);
        EXPECT_EQ(object.isValid(), !name.empty());
        return name;
    }

    // Declared first: the manager's prototypes write to it when they are destroyed.
    std::vector<std::string> journal;
    WidgetManager manager;
};

}  // namespace

// ---- names ------------------------------------------------------------------------------

TEST_F(ManagerTest, ForeignCharactersBecomeUnderscores) {
    EXPECT_EQ(create("my cam#1", false), "my_cam_1");
    EXPECT_TRUE(manager.instance("my_cam_1").isValid());
    EXPECT_FALSE(manager.instance("my cam#1").isValid());
}

TEST_F(ManagerTest, TheWholeAlphabetIsKept) {
    const std::string alphabet = WidgetManager::allowedCharactersInName();
    EXPECT_EQ(alphabet, "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_{}:-");
    EXPECT_EQ(alphabet.size(), 67u);
    EXPECT_EQ(create(alphabet, false), alphabet);
}

TEST_F(ManagerTest, ControlAndHighBytesBecomeUnderscores) {
    EXPECT_EQ(create(std::string("a\0b\tc\xC3\xA9.", 8), false), "a_b_c___");
}

TEST_F(ManagerTest, TakenNameFailsWithoutUnique) {
    EXPECT_EQ(create("A", false), "A");
    EXPECT_EQ(create("A", false), "");
    EXPECT_EQ(manager.instanceCount(), 1u);
}

TEST_F(ManagerTest, TakenNameGetsAKeyWithUnique) {
    EXPECT_EQ(create("A", true), "A");
    const std::string second = create("A", true);
    EXPECT_EQ(second.size(), 1u + 41u);
    EXPECT_TRUE(endsInKey(second, "A")) << second;
    EXPECT_EQ(manager.instance(second.c_str())->name(), second);
}

TEST_F(ManagerTest, AGeneratedNameIsRekeyedNotExtended) {
    create("A", true);
    const std::string keyed = create("A", true);
    const std::string again = create(keyed, true);
    EXPECT_NE(again, keyed);
    EXPECT_TRUE(endsInKey(again, "A")) << again;
}

TEST_F(ManagerTest, TakenNameIsCutAtItsFirstBrace) {
    create("cam{x}{y}", false);
    EXPECT_TRUE(endsInKey(create("cam{x}{y}", true), "cam"));
}

TEST_F(ManagerTest, FreeNameWithBracesIsKept) {
    EXPECT_EQ(create("{not a key}", true), "{not_a_key}");
}

TEST_F(ManagerTest, EmptyNameIsJustAKeyWithUnique) {
    const std::string name = create("", true);
    EXPECT_TRUE(endsInKey(name, "")) << name;
    EXPECT_EQ(create("", false), "");
    EXPECT_EQ(manager.instanceCount(), 1u);
}

TEST_F(ManagerTest, VeryLongNamesAreCleanedAndKeyed) {
    const std::string raw(10000, '#');
    const std::string cleaned(10000, '_');
    EXPECT_EQ(create(raw, false), cleaned);
    EXPECT_EQ(create(raw, false), "");
    const std::string keyed = create(raw, true);
    EXPECT_EQ(keyed.size(), 10041u);
    EXPECT_EQ(keyed.compare(0, 10000, cleaned), 0);
}

TEST_F(ManagerTest, InsertionRefusesAnEmptyHandle) {
    std::string name = "ghost";
    EXPECT_FALSE(manager.instanceMapInsert(name, WidgetRefPtr(), true));
    EXPECT_EQ(manager.instanceCount(), 0u);
}

TEST_F(ManagerTest, InsertionNamesAnObjectCreatedElsewhere) {
    WidgetRefPtr object(new Widget, &WidgetManager::freeCallback);
    std::string name = "outside?";
    EXPECT_TRUE(manager.instanceMapInsert(name, object, false));
    EXPECT_EQ(name, "outside_");
    EXPECT_EQ(object->name(), "outside_");
}

// ---- instances --------------------------------------------------------------------------

TEST_F(ManagerTest, UnknownOrMissingNamesGiveEmptyHandles) {
    create("A", false);
    EXPECT_TRUE(manager.instance("").isNull());
    EXPECT_TRUE(manager.instance("B").isNull());
    EXPECT_TRUE(manager.instance("a").isNull()) << "names are case-sensitive";
    EXPECT_TRUE(manager.instance(nullptr).isNull());
}

TEST_F(ManagerTest, UnknownTypeCreatesNothing) {
    std::string name = "x";
    EXPECT_TRUE(manager.create("Nope", name, true).isNull());
    name = "x";
    EXPECT_TRUE(manager.create(nullptr, name, true).isNull());
    EXPECT_EQ(manager.instanceCount(), 0u);
}

TEST_F(ManagerTest, ReleaseKeepsTheHoldersHandleValid) {
    ASSERT_TRUE(manager.registerType("Logged", WidgetManager::makePrototype(&journal)));
    std::string name = "held";
    WidgetRefPtr held = manager.create("Logged", name, false);

    EXPECT_TRUE(manager.releaseInstance("held"));
    EXPECT_TRUE(manager.instance("held").isNull());
    EXPECT_EQ(manager.instanceCount(), 0u);
    ASSERT_TRUE(held.isValid());
    EXPECT_EQ(held->name(), "held");
    EXPECT_TRUE(journal.empty());

    held = WidgetRefPtr();
    EXPECT_EQ(journal, std::vector<std::string>{"instance held"});
}

TEST_F(ManagerTest, ReleaseDestroysAnUnheldInstance) {
    ASSERT_TRUE(manager.registerType("Logged", WidgetManager::makePrototype(&journal)));
    std::string name = "gone";
    manager.create("Logged", name, false);
    EXPECT_TRUE(manager.releaseInstance("gone"));
    EXPECT_EQ(journal, std::vector<std::string>{"instance gone"});
}

TEST_F(ManagerTest, ReleaseOfUnknownNamesFails) {
    EXPECT_FALSE(manager.releaseInstance("none"));
    EXPECT_FALSE(manager.releaseInstance(""));
    EXPECT_FALSE(manager.releaseInstance(nullptr));
    create("once", false);
    EXPECT_TRUE(manager.releaseInstance("once"));
    EXPECT_FALSE(manager.releaseInstance("once"));
}

TEST_F(ManagerTest, ListsComeInByteOrder) {
    for (const char* name : {"b", "B", "a", "_x", "Z1", "-", "{"}) create(name, false);
    EXPECT_EQ(manager.instanceList(),
              (std::vector<std::string>{"-", "B", "Z1", "_x", "a", "b", "{"}));
    EXPECT_EQ(manager.instanceCount(), 7u);

    ASSERT_TRUE(manager.registerType("\xC3\xA9t\xC3\xA9", WidgetManager::makePrototype()));
    ASSERT_TRUE(manager.registerType("zoom", WidgetManager::makePrototype()));
    ASSERT_TRUE(manager.registerType("Axis", WidgetManager::makePrototype()));
    EXPECT_EQ(manager.typeList(),
              (std::vector<std::string>{"Axis", "Cam", "zoom", "\xC3\xA9t\xC3\xA9"}));
    EXPECT_EQ(manager.typeCount(), 4u);
}

TEST_F(ManagerTest, InstanceListFiltersByExactType) {
    ASSERT_TRUE(manager.registerType("Camera", WidgetManager::makePrototype()));
    std::string name = "c2";
    manager.create("Camera", name, false);
    create("c1", false);
    create("c3", false);
    EXPECT_EQ(manager.instanceList("Cam"), (std::vector<std::string>{"c1", "c3"}));
    EXPECT_EQ(manager.instanceList("Camera"), std::vector<std::string>{"c2"});
    EXPECT_TRUE(manager.instanceList("cam").empty());
    EXPECT_TRUE(manager.instanceList("").empty());
}

// ---- types ------------------------------------------------------------------------------

TEST_F(ManagerTest, RegisteringATakenTypeNameFails) {
    WidgetRefPtr first = WidgetManager::makePrototype();
    WidgetRefPtr second = WidgetManager::makePrototype();
    EXPECT_TRUE(manager.registerType("Twice", first));
    EXPECT_FALSE(manager.registerType("Twice", second));
    EXPECT_EQ(manager.typeCount(), 2u);
    EXPECT_EQ(second->type(), "") << "a refused prototype is left alone";
}

TEST_F(ManagerTest, RegisteringSetsThePrototypesType) {
    WidgetRefPtr prototype = WidgetManager::makePrototype();
    ASSERT_TRUE(manager.registerType("Scanner", prototype));
    EXPECT_EQ(prototype->type(), "Scanner");
    EXPECT_EQ(prototype->name(), "");
}

TEST_F(ManagerTest, BadRegistrationsAreRefused) {
    EXPECT_FALSE(manager.registerType("Empty", WidgetRefPtr()));
    EXPECT_FALSE(manager.registerType(nullptr, WidgetManager::makePrototype()));
    EXPECT_FALSE(manager.registerType("", WidgetManager::makePrototype()));
    EXPECT_FALSE(manager.typeExists("Empty"));
    EXPECT_FALSE(manager.typeExists(static_cast<const char*>(nullptr)));
    EXPECT_FALSE(manager.typeExists(std::string()));
    EXPECT_EQ(manager.typeCount(), 1u);
}

TEST_F(ManagerTest, UnregisteringLeavesInstancesAlone) {
    create("survivor", false);
    EXPECT_TRUE(manager.unregisterType("Cam"));
    EXPECT_FALSE(manager.typeExists("Cam"));
    EXPECT_FALSE(manager.unregisterType("Cam"));
    EXPECT_TRUE(manager.instance("survivor").isValid());
    EXPECT_EQ(manager.instanceList("Cam"), std::vector<std::string>{"survivor"});
    std::string name = "next";
    EXPECT_TRUE(manager.create("Cam", name, false).isNull());
}

TEST_F(ManagerTest, UnregisteringUnknownTypesFails) {
    EXPECT_FALSE(manager.unregisterType("Nope"));
    EXPECT_FALSE(manager.unregisterType(""));
    EXPECT_FALSE(manager.unregisterType(nullptr));
}

// ---- lifetime ---------------------------------------------------------------------------

TEST(Manager, FreeCallbackOfNullDoesNothing) {
    WidgetManager::freeCallback(nullptr);
}

TEST(Manager, DestructionDropsTypesBeforeInstances) {
    std::vector<std::string> journal;
    auto manager = std::make_unique<WidgetManager>();
    ASSERT_TRUE(manager->registerType("Proto", WidgetManager::makePrototype(&journal)));
    std::string first = "first";
    std::string second = "second";
    manager->create("Proto", first, false);
    manager->create("Proto", second, false);
    manager.reset();
    ASSERT_EQ(journal.size(), 3u);
    EXPECT_EQ(journal[0], "type Proto");
    EXPECT_EQ(std::set<std::string>(journal.begin() + 1, journal.end()),
              (std::set<std::string>{"instance first", "instance second"}));
}

TEST(Manager, HandlesOutliveTheirManager) {
    std::vector<std::string> journal;
    auto manager = std::make_unique<WidgetManager>();
    ASSERT_TRUE(manager->registerType("Proto", WidgetManager::makePrototype(&journal)));
    std::string name = "kept";
    WidgetRefPtr kept = manager->create("Proto", name, false);
    manager.reset();
    EXPECT_EQ(journal, std::vector<std::string>{"type Proto"});
    EXPECT_EQ(kept->name(), "kept");
    kept = WidgetRefPtr();
    EXPECT_EQ(journal, (std::vector<std::string>{"type Proto", "instance kept"}));
}

TEST(Manager, CleanUpEmptiesBothTablesTypesFirst) {
    std::vector<std::string> journal;
    WidgetManager manager;
    ASSERT_TRUE(manager.registerType("Proto", WidgetManager::makePrototype(&journal)));
    std::string name = "only";
    manager.create("Proto", name, false);
    EXPECT_TRUE(manager.cleanUp());
    EXPECT_EQ(journal, (std::vector<std::string>{"type Proto", "instance only"}));
    EXPECT_EQ(manager.typeCount(), 0u);
    EXPECT_EQ(manager.instanceCount(), 0u);
    EXPECT_TRUE(manager.cleanUp());
}
