#include <gtest/gtest.h>
#include <korvane/core/ManageableType.h>
#include <korvane/core/Object.h>

#include <string>
#include <vector>

using namespace Korvane;

namespace {

class Gadget : public ManageableType {
public:
    Gadget() : ManageableType("Gadget") {}
    using ManageableType::setName;
    using ManageableType::setType;
};

std::string text(const PropertyInterface& object, const std::string& name) {
    std::string value;
    EXPECT_TRUE(object.getProperty(name, &value)) << name;
    return value;
}

}  // namespace

// ---- ManageableType ---------------------------------------------------------------------

TEST(ManageableType, DeclaresTheThreeManagerProperties) {
    const Gadget gadget;
    EXPECT_EQ(gadget.propertyNameList(),
              (std::vector<std::string>{"ComponentType", "Name", "Type"}));
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"Type", "The type as registered to the manager."},
        {"Name", "The name of the instance as created by a manager."},
        {"ComponentType", "The Korvane component type of this object."},
    };
    for (const auto& [name, description] : expected) {
        EXPECT_EQ(gadget.propertyType(name), string_property) << name;
        EXPECT_EQ(gadget.propertyAccess(name), read_access) << name;
        EXPECT_EQ(gadget.propertyCategory(name), 1) << name;
        EXPECT_EQ(gadget.propertyCategoryName(name), "Manager") << name;
        EXPECT_EQ(gadget.propertyDescription(name), description) << name;
    }
    EXPECT_EQ(text(gadget, "ComponentType"), "Gadget");
    EXPECT_EQ(gadget.name(), "");
    EXPECT_EQ(gadget.type(), "");
}

TEST(ManageableType, PublicWritesAreRefused) {
    Gadget gadget;
    EXPECT_FALSE(gadget.setProperty("Name", std::string("x")));
    EXPECT_FALSE(gadget.setProperty("Type", "x"));
    EXPECT_FALSE(gadget.setProperty("ComponentType", "x"));
    EXPECT_EQ(gadget.name(), "");
    EXPECT_EQ(text(gadget, "ComponentType"), "Gadget");
}

TEST(ManageableType, NameAndTypeAreEachSetOnce) {
    Gadget gadget;
    EXPECT_TRUE(gadget.setName("first"));
    EXPECT_FALSE(gadget.setName(std::string("second")));
    EXPECT_FALSE(gadget.setName("third"));
    EXPECT_EQ(gadget.name(), "first");
    EXPECT_EQ(text(gadget, "Name"), "first");
    EXPECT_TRUE(gadget.setType(std::string("Camera")));
    EXPECT_FALSE(gadget.setType("Grabber"));
    EXPECT_EQ(gadget.type(), "Camera");
}

TEST(ManageableType, NullTextIsRefusedAndLeavesThePropertyOpen) {
    Gadget gadget;
    EXPECT_FALSE(gadget.setName(static_cast<const char*>(nullptr)));
    EXPECT_FALSE(gadget.setType(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(gadget.setName("later"));
    EXPECT_TRUE(gadget.setType("later"));
}

TEST(ManageableType, AnEmptyNameLeavesThePropertyOpen) {
    Gadget gadget;
    EXPECT_TRUE(gadget.setName(""));
    EXPECT_TRUE(gadget.setName("real"));
    EXPECT_EQ(gadget.name(), "real");
}

TEST(ManageableType, CopyKeepsTypeButStartsUnnamed) {
    Gadget original;
    original.setType("Camera");
    original.setName("cam1");
    Gadget copy(original);
    EXPECT_EQ(copy.type(), "Camera");
    EXPECT_EQ(copy.name(), "");
    EXPECT_EQ(text(copy, "ComponentType"), "Gadget");
    EXPECT_EQ(copy.propertyDescription("Name"),
              "The name of the instance as created by a manager.");
    EXPECT_EQ(copy.propertyAccess("Name"), read_access);
    EXPECT_TRUE(copy.setName("cam2"));
    EXPECT_EQ(original.name(), "cam1");
}

TEST(ManageableType, EventProcHandlesNothing) {
    Gadget gadget;
    EXPECT_FALSE(gadget.eventProc(0x10000000u, Object()));
}

// ---- Object -----------------------------------------------------------------------------

namespace {

Object makeFilledObject() {
    Object object;
    object.addProperty("Speed", 2.5, double_property, read_write_access, 4, "Axis speed.");
    object.addProperty("Label", std::string("home"), string_property, read_access, 7, "Label.");
    object.addProperty("Mode", 1LL, std::vector<std::string>{"Off", "Slow", "Fast"}, enum_property,
                       read_write_access, 5, "Mode.");
    object.addProperty("Count", 3, int32_property, read_write_access);
    object.setProperty("Count", 4);
    return object;
}

void expectSameRecords(const Object& a, const Object& b) {
    ASSERT_EQ(a.propertyNameList(), b.propertyNameList());
    for (const std::string& name : a.propertyNameList()) {
        PropertyInfo left;
        PropertyInfo right;
        ASSERT_TRUE(a.propertyInfo(name, &left));
        ASSERT_TRUE(b.propertyInfo(name, &right));
        EXPECT_EQ(left.type, right.type) << name;
        EXPECT_EQ(left.category, right.category) << name;
        EXPECT_EQ(left.access, right.access) << name;
        EXPECT_EQ(left.description, right.description) << name;
        EXPECT_EQ(left.valueSet, right.valueSet) << name;
        EXPECT_EQ(a.propertyEnumList(name), b.propertyEnumList(name)) << name;
    }
}

}  // namespace

TEST(Object, AssignmentReplacesEveryRecord) {
    const Object source = makeFilledObject();
    Object target;
    target.addProperty("Stale", 1, int32_property, read_write_access);
    target.addProperty("Speed", std::string("text"), string_property, read_write_access);
    target = source;
    expectSameRecords(source, target);
    EXPECT_EQ(target.propertyType("Stale"), invalid_property);
    EXPECT_EQ(target.propertyType("Speed"), double_property);
}

TEST(Object, SelfAssignmentChangesNothing) {
    Object object = makeFilledObject();
    const Object before(object);
    Object& alias = object;
    object = alias;
    expectSameRecords(before, object);
    int count = 0;
    EXPECT_TRUE(object.getProperty("Count", &count));
    EXPECT_EQ(count, 4);
}
