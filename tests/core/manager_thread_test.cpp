#include <gtest/gtest.h>
#include <korvane/core/Manager.h>
#include <korvane/core/Object.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "support/Detached.h"
#include "support/SerializedTable.h"
#include "support/WidgetManager.h"

using namespace Korvane;
using KorvaneTest::Widget;
using KorvaneTest::WidgetManager;
using KorvaneTest::WidgetRefPtr;
using Names = std::vector<std::string>;

namespace {

std::string text(const PropertyInterface& object, const std::string& name) {
    std::string value;
    EXPECT_TRUE(object.getProperty(name, &value)) << name;
    return value;
}

}  // namespace

TEST(ManageableType, DeclaresThreeReadOnlyManagerProperties) {
    Widget widget;
    EXPECT_EQ(widget.propertyNameList(), (Names{"ComponentType", "Name", "Type"}));
    const std::pair<const char*, const char*> expected[] = {
        {"Type", "The type as registered to the manager."},
        {"Name", "The name of the instance as created by a manager."},
        {"ComponentType", "The Korvane component type of this object."}};
    for (const auto& [name, description] : expected) {
        EXPECT_EQ(KorvaneTest::record(widget, name),
                  KorvaneTest::record(string_property, read_access, 1, description));
        EXPECT_FALSE(widget.setProperty(name, "x")) << name;
    }
    EXPECT_EQ(text(widget, "ComponentType"), "Widget");
}

// An empty or null text leaves the property open for the first real one; a copy keeps
// the type but starts unnamed.
TEST(ManageableType, NameAndTypeAreEachSetOnce) {
    Widget widget;
    EXPECT_FALSE(widget.setName(static_cast<const char*>(nullptr)) ||
                 widget.setType(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(widget.setName("") && widget.setName("first") &&
                !widget.setName(std::string("second")));
    EXPECT_EQ(text(widget, "Name"), "first");
    EXPECT_TRUE(widget.setType(std::string("Camera")) && !widget.setType("Grabber"));
    Widget copy(widget);
    EXPECT_TRUE(copy.type() == "Camera" && copy.setName("second"));
}

TEST(Object, AssignmentReplacesEveryRecordAndSelfAssignmentNone) {
    Object source;
    source.addProperty("Speed", 2.5, double_property, read_write_access, 4, "Axis speed.");
    source.addProperty("Label", std::string("home"), string_property, read_access, 7, "Label.");
    source.addProperty("Mode", 1LL, Names{"Off", "Slow", "Fast"}, enum_property, read_write_access,
                       5, "Mode.");
    source.setProperty("Speed", 4.0);
    Object target;
    target.addProperty("Stale", 1, int32_property, read_write_access);
    target.addProperty("Speed", std::string("text"), string_property, read_write_access);
    target = source;
    Object& alias = target;
    target = alias;

    auto describe = [](const Object& object, const std::string& name) {
        PropertyInfo info;
        EXPECT_TRUE(object.propertyInfo(name, &info)) << name;
        return std::make_tuple(info.type, info.category, info.access, info.description,
                               info.valueSet, object.propertyEnumList(name));
    };
    ASSERT_EQ(target.propertyNameList(), source.propertyNameList());
    for (const std::string& name : source.propertyNameList())
        EXPECT_EQ(describe(target, name), describe(source, name)) << name;
    double speed = 0;
    EXPECT_TRUE(target.getProperty("Speed", &speed) && speed == 4.0);
    EXPECT_EQ(text(target, "Label") + text(target, "Mode"), "homeSlow");
}

namespace {

// base, then "{" + eight groups of four characters from 0-9A-Z joined by "-" + "}".
bool endsInKey(const std::string& name, const std::string& base) {
    if (name.size() != base.size() + 41 || name.compare(0, base.size(), base) != 0) return false;
    for (std::size_t i = 0; i <= 40; ++i) {
        const char c = name[base.size() + i];
        const bool alnum = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z');
        if (!(i == 0 ? c == '{' : i == 40 ? c == '}' : i % 5 == 0 ? c == '-' : alnum)) return false;
    }
    return true;
}

class ManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(manager.registerType("Cam", WidgetManager::makePrototype()));
    }
    // Creates from type and answers the final name; empty when refused.
    std::string create(std::string name, bool unique, const char* type = "Cam") {
        const bool made = manager.create(type, name, unique).isValid();
        EXPECT_EQ(made, !name.empty());
        return name;
    }
    Names journal;  // declared first: the manager's prototypes write to it when destroyed
    WidgetManager manager;
};

}  // namespace

TEST_F(ManagerTest, FreeNamesAreCleanedToTheAlphabet) {
    const std::string alphabet = WidgetManager::allowedCharactersInName();
    EXPECT_EQ(alphabet, "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_{}:-");
    const std::pair<std::string, std::string> cases[] = {
        {alphabet, alphabet},
        {std::string("a\0b\tc\xC3\xA9.", 8), "a_b_c___"},
        {"{not a key}", "{not_a_key}"},
        {std::string(10000, '#'), std::string(10000, '_')}};
    for (const auto& [requested, stored] : cases) EXPECT_EQ(create(requested, true), stored);
    EXPECT_TRUE(manager.instance("{not_a_key}").isValid() &&
                manager.instance("{not a key}").isNull());
    WidgetRefPtr outside(new Widget, &WidgetManager::freeCallback);
    std::string name = "outside?";
    EXPECT_TRUE(manager.instanceMapInsert(name, outside, false));
    EXPECT_EQ(name + outside->name(), "outside_outside_");
}

TEST_F(ManagerTest, TakenNameFailsOrIsKeyed) {
    EXPECT_EQ(create("A", false), "A");
    EXPECT_EQ(create("A", false), "");
    const std::string keyed = create("A", true);
    EXPECT_TRUE(endsInKey(keyed, "A")) << keyed;
    // A generated name is keyed again, not extended.
    const std::string again = create(keyed, true);
    EXPECT_TRUE(again != keyed && endsInKey(again, "A")) << again;
    create("cam{x}{y}", false);
    EXPECT_TRUE(endsInKey(create("cam{x}{y}", true), "cam"));
    EXPECT_EQ(create("", false), "");
    EXPECT_TRUE(endsInKey(create("", true), ""));
}

TEST_F(ManagerTest, UnknownEmptyAndNullNamesAreRefused) {
    create("A", false);
    for (const char* name : {"", "B", "a", static_cast<const char*>(nullptr)}) {
        SCOPED_TRACE(name ? name : "(null)");
        std::string created = "x";
        EXPECT_TRUE(manager.instance(name).isNull() &&
                    manager.create(name, created, true).isNull());
        EXPECT_FALSE(manager.releaseInstance(name) || manager.unregisterType(name) ||
                     manager.typeExists(name));
    }
    std::string name = "ghost";
    EXPECT_FALSE(manager.registerType("Empty", WidgetRefPtr()) ||
                 manager.instanceMapInsert(name, WidgetRefPtr(), true) ||
                 manager.registerType(nullptr, WidgetManager::makePrototype()) ||
                 manager.registerType("", WidgetManager::makePrototype()));
    EXPECT_EQ(manager.typeList(), Names{"Cam"});
    EXPECT_EQ(manager.instanceList(), Names{"A"});
}

TEST_F(ManagerTest, ReleaseDropsOnlyTheManagersHandle) {
    ASSERT_TRUE(manager.registerType("Logged", WidgetManager::makePrototype(&journal)));
    std::string name = "held";
    WidgetRefPtr held = manager.create("Logged", name, false);
    create("gone", false, "Logged");
    EXPECT_TRUE(manager.releaseInstance("held") && !manager.releaseInstance("held"));
    EXPECT_TRUE(journal.empty());
    EXPECT_TRUE(manager.releaseInstance("gone"));
    EXPECT_EQ(journal, Names{"instance gone"});
    held = WidgetRefPtr();
    EXPECT_EQ(journal, (Names{"instance gone", "instance held"}));
}

TEST_F(ManagerTest, ListsComeInByteOrderAndFilterByExactType) {
    for (const char* type : {"Camera", "\xC3\xA9t\xC3\xA9", "Axis"})
        ASSERT_TRUE(manager.registerType(type, WidgetManager::makePrototype()));
    for (const char* name : {"b", "B", "a", "_x", "Z1", "-", "{"}) create(name, false);
    create("c2", false, "Camera");
    EXPECT_EQ(manager.instanceList(), (Names{"-", "B", "Z1", "_x", "a", "b", "c2", "{"}));
    EXPECT_EQ(manager.typeList(), (Names{"Axis", "Cam", "Camera", "\xC3\xA9t\xC3\xA9"}));
    EXPECT_EQ(manager.instanceList("Cam"), (Names{"-", "B", "Z1", "_x", "a", "b", "{"}));
    EXPECT_EQ(manager.instanceList("Camera"), Names{"c2"});
    EXPECT_TRUE(manager.instanceList("cam").empty() && manager.instanceList("").empty());
}

TEST_F(ManagerTest, TypesRegisterOnceAndUnregisteringLeavesInstances) {
    WidgetRefPtr first = WidgetManager::makePrototype(), second = WidgetManager::makePrototype();
    EXPECT_TRUE(manager.registerType("Twice", first) && !manager.registerType("Twice", second));
    EXPECT_EQ(first->type() + "|" + second->type(), "Twice|")
        << "a refused prototype is left alone";
    create("survivor", false);
    EXPECT_TRUE(manager.unregisterType("Cam") && !manager.unregisterType("Cam"));
    EXPECT_EQ(manager.instanceList("Cam"), Names{"survivor"});
    EXPECT_EQ(create("next", false), "");
}

// Destruction and cleanUp drop the prototypes first; handles held elsewhere outlive both.
TEST(Manager, DestructionDropsTypesThenInstances) {
    Names journal;
    auto fill = [&journal](WidgetManager& manager, std::string gone) {
        EXPECT_TRUE(manager.registerType("Proto", WidgetManager::makePrototype(&journal)));
        manager.create("Proto", gone, false);
    };
    auto manager = std::make_unique<WidgetManager>();
    fill(*manager, "gone");
    std::string kept = "kept";
    WidgetRefPtr held = manager->create("Proto", kept, false);
    manager.reset();
    EXPECT_EQ(journal, (Names{"type Proto", "instance gone"}));
    held = WidgetRefPtr();
    EXPECT_EQ(journal.back(), "instance kept");
    journal.clear();
    WidgetManager cleaned;
    fill(cleaned, "only");
    EXPECT_TRUE(cleaned.cleanUp());
    EXPECT_EQ(journal, (Names{"type Proto", "instance only"}));
}

// A host's own manager needs no more than an empty tag (this must compile); a type
// without a named handle is held by RefPtr<T>.
struct Gadget : Korvane::ManageableType {
    Gadget() : ManageableType("Gadget") {}
};
struct GadgetManagerTags {};
struct GadgetManager : Korvane::Manager<Gadget, GadgetManagerTags> {};

static_assert(std::is_same_v<GadgetManager::Handle, Korvane::RefPtr<Gadget>>);
static_assert(std::is_same_v<WidgetManager::Handle, WidgetRefPtr>);

namespace {

// What one thread leaves in the manager, or why it stopped.
struct Outcome {
    std::vector<std::pair<std::string, WidgetRefPtr>> instances;
    std::set<std::string> types;
    std::string error;
};

// Creates instances (every other one under a shared name, so that keys are drawn
// concurrently), releases every third, registers and unregisters types of its own and
// reads the lists in between.
void churn(WidgetManager& manager, int thread, Outcome& out) {
    const std::string prefix = "t" + std::to_string(thread) + "_";
    for (int i = 0; i < 250; ++i) {
        std::string name = i % 2 ? "shared" : prefix + std::to_string(i);
        WidgetRefPtr object = manager.create("Cam", name, true);
        if (object.isNull() || object->name() != name) return void(out.error = "create " + name);
        if (i % 3 != 0) {
            out.instances.emplace_back(name, object);
        } else if (!manager.releaseInstance(name.c_str())) {
            return void(out.error = "release " + name);
        }
        const std::string type = prefix + "type" + std::to_string(i);
        if (!manager.registerType(type.c_str(), WidgetManager::makePrototype()))
            return void(out.error = "register " + type);
        if (i % 2 == 0)
            manager.unregisterType(type.c_str());
        else
            out.types.insert(type);
        manager.instanceList("Cam");
        manager.typeList();
    }
}

}  // namespace

TEST(ManagerThreads, ConcurrentCreateAndReleaseKeepTablesConsistent) {
    // Shared with the threads, so that a thread left behind at the deadline still works
    // on live objects.
    auto manager = std::make_shared<WidgetManager>();
    ASSERT_TRUE(manager->registerType("Cam", WidgetManager::makePrototype()));
    std::promise<void> go;
    std::shared_future<void> start = go.get_future().share();
    std::vector<std::shared_ptr<Outcome>> outcomes;
    std::vector<std::future<void>> workers;
    for (int t = 0; t < 4; ++t) {
        auto out = outcomes.emplace_back(std::make_shared<Outcome>());
        workers.push_back(KorvaneTest::startDetached([manager, t, start, out] {
            start.wait();
            churn(*manager, t, *out);
        }));
    }
    go.set_value();
    for (auto& worker : workers)
        ASSERT_EQ(worker.wait_for(std::chrono::seconds(60)), std::future_status::ready);

    std::set<std::string> types = {"Cam"};
    Names names;
    for (const auto& outcome : outcomes) {
        ASSERT_EQ(outcome->error, "");
        types.insert(outcome->types.begin(), outcome->types.end());
        for (const auto& [name, object] : outcome->instances) {
            names.push_back(name);
            EXPECT_EQ(manager->instance(name.c_str()), object) << name;
            EXPECT_EQ(object->name(), name);
        }
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end()) << "names are unique";
    EXPECT_EQ(manager->instanceList(), names);
    EXPECT_EQ(manager->instanceList("Cam"), names);
    EXPECT_EQ(manager->typeList(), Names(types.begin(), types.end()));
}
