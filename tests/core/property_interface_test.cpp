#include <korvane/core/PropertyInterface.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <cstdint>
#include <limits>

using namespace Korvane;

namespace {

// Exposes the owner's side of the interface to the tests.
class Props : public PropertyInterface {
public:
    using PropertyInterface::addProperty;
    using PropertyInterface::eraseProperty;
    using PropertyInterface::getPropertyForce;
    using PropertyInterface::setPropertyForce;
    using PropertyInterface::setProperty;
    using PropertyInterface::getProperty;

    int activations = 0;

protected:
    bool activatePropertyChange() override {
        ++activations;
        return true;
    }
};

class PropertyInterfaceTest : public ::testing::Test {
protected:
    void SetUp() override {
        p.addProperty("I8", 0, int8_property, read_write_access);
        p.addProperty("I32", 0, int32_property, read_write_access);
        p.addProperty("I64", 0LL, int64_property, read_write_access);
        p.addProperty("U8", 0u, uint8_property, read_write_access);
        p.addProperty("U32", 0u, uint32_property, read_write_access);
        p.addProperty("Flag", false, bool_property, read_write_access);
        p.addProperty("F", 0.0, float_property, read_write_access);
        p.addProperty("D", 0.0, double_property, read_write_access);
        p.addProperty("S", "text", string_property, read_write_access, 4, "A text.");
        p.addProperty("E", 0LL, std::vector<std::string>{"A", "B"}, enum_property,
                      read_write_access, 2, "Choice.");
        p.addProperty("RO", 7, int32_property, read_access);
        p.addProperty("WO", 7, int32_property, write_access);
    }
    Props p;
};

}  // namespace

TEST_F(PropertyInterfaceTest, SignedRangeChecksByWidth) {
    EXPECT_FALSE(p.setProperty("I8", 300));
    int value = 1;
    ASSERT_TRUE(p.getProperty("I8", &value));
    EXPECT_EQ(value, 0);
    EXPECT_TRUE(p.setProperty("I8", 127));
    EXPECT_TRUE(p.setProperty("I8", -128));
    EXPECT_FALSE(p.setProperty("I8", -129));
    ASSERT_TRUE(p.getProperty("I8", &value));
    EXPECT_EQ(value, -128);
    EXPECT_FALSE(p.setProperty("I32", 1LL << 31));
    EXPECT_TRUE(p.setProperty("I32", INT32_MIN));
    EXPECT_TRUE(p.setProperty("I64", std::numeric_limits<long long>::min()));
}

TEST_F(PropertyInterfaceTest, UnsignedRangeChecksByWidth) {
    EXPECT_TRUE(p.setProperty("U8", 255u));
    EXPECT_FALSE(p.setProperty("U8", 256u));
    EXPECT_TRUE(p.setProperty("U32", 4294967295ull));
    EXPECT_FALSE(p.setProperty("U32", 4294967296ull));
    unsigned long long u = 0;
    ASSERT_TRUE(p.getProperty("U32", &u));
    EXPECT_EQ(u, 4294967295ull);
}

TEST_F(PropertyInterfaceTest, NoConversionBetweenClasses) {
    EXPECT_FALSE(p.setProperty("U32", 5));
    EXPECT_TRUE(p.setProperty("U32", 5u));
    EXPECT_FALSE(p.setProperty("I32", 5u));
    EXPECT_FALSE(p.setProperty("D", 5));
    EXPECT_FALSE(p.setProperty("S", 5));
    EXPECT_FALSE(p.setProperty("I32", "5"));
    std::string text;
    EXPECT_FALSE(p.getProperty("I32", &text));
    double d = 0;
    EXPECT_FALSE(p.getProperty("I32", &d));
    int i = 0;
    EXPECT_FALSE(p.getProperty("U32", &i));
}

TEST_F(PropertyInterfaceTest, ReadsNarrowByTruncation) {
    ASSERT_TRUE(p.setProperty("I64", 0x1234567890LL));
    short s = 0;
    ASSERT_TRUE(p.getProperty("I64", &s));
    EXPECT_EQ(s, static_cast<short>(0x7890));
    bool flag = false;
    ASSERT_TRUE(p.setProperty("Flag", true));
    ASSERT_TRUE(p.getProperty("Flag", &flag));
    EXPECT_TRUE(flag);
}

TEST_F(PropertyInterfaceTest, FloatHoldsSinglePrecisionAndRefusesOverflow) {
    ASSERT_TRUE(p.setProperty("F", 0.1));
    double stored = 0;
    ASSERT_TRUE(p.getProperty("F", &stored));
    EXPECT_EQ(stored, static_cast<double>(0.1f));
    EXPECT_FALSE(p.setProperty("F", 1e300));
    EXPECT_TRUE(p.setProperty("D", 1e300));
    float f = 0;
    ASSERT_TRUE(p.getProperty("F", &f));
    EXPECT_EQ(f, 0.1f);
}

TEST_F(PropertyInterfaceTest, EnumByNameAndIndex) {
    EXPECT_TRUE(p.setProperty("E", "B"));
    unsigned int index = 0;
    ASSERT_TRUE(p.getProperty("E", &index));
    EXPECT_EQ(index, 1u);
    EXPECT_TRUE(p.setProperty("E", 1u));
    EXPECT_FALSE(p.setProperty("E", "C"));
    EXPECT_FALSE(p.setProperty("E", 2u));
    std::string name;
    ASSERT_TRUE(p.getProperty("E", &name));
    EXPECT_EQ(name, "B");
    EXPECT_EQ(p.propertyEnumList("E"), (std::vector<std::string>{"A", "B"}));
}

TEST_F(PropertyInterfaceTest, AccessRightsAndForce) {
    EXPECT_FALSE(p.setProperty("RO", 1));
    EXPECT_TRUE(p.setPropertyForce("RO", 1));
    int value = 0;
    ASSERT_TRUE(p.getProperty("RO", &value));
    EXPECT_EQ(value, 1);
    EXPECT_FALSE(p.getProperty("WO", &value));
    EXPECT_TRUE(p.getPropertyForce("WO", &value));
    EXPECT_EQ(value, 7);
    EXPECT_TRUE(p.setProperty("WO", 8));
}

TEST_F(PropertyInterfaceTest, NamesAreCleanedOnAddButLookedUpExactly) {
    EXPECT_TRUE(p.addProperty("my prop", 1, int32_property, read_write_access));
    EXPECT_FALSE(p.addProperty("my prop", 1, int32_property, read_write_access));
    EXPECT_FALSE(p.addProperty("my_prop", 2, int32_property, read_write_access));
    EXPECT_EQ(p.propertyType("my_prop"), int32_property);
    EXPECT_EQ(p.propertyType("my prop"), invalid_property);
    EXPECT_TRUE(p.addProperty("", 1, int32_property, read_write_access));
    EXPECT_EQ(p.propertyType("_"), int32_property);
}

TEST_F(PropertyInterfaceTest, AddRefusesTypeOfAnotherClass) {
    EXPECT_FALSE(p.addProperty("X", 1, uint32_property, read_write_access));
    EXPECT_FALSE(p.addProperty("X", 1u, int32_property, read_write_access));
    EXPECT_FALSE(p.addProperty("X", 1.0, int32_property, read_write_access));
    EXPECT_FALSE(p.addProperty("X", "1", int32_property, read_write_access));
    EXPECT_TRUE(p.addProperty("X", true, bool_property, read_write_access));
}

TEST_F(PropertyInterfaceTest, CharBufferReportsNeededSize) {
    ASSERT_TRUE(p.setProperty("S", "abcd"));
    char buffer[8] = {};
    int needed = 0;
    EXPECT_FALSE(p.getProperty("S", buffer, 4, &needed));
    EXPECT_EQ(needed, 5);
    EXPECT_TRUE(p.getProperty("S", buffer, 5, &needed));
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_FALSE(p.getProperty("Missing", buffer, 8, &needed));
}

TEST_F(PropertyInterfaceTest, DescribingAbsentAndPresentProperties) {
    EXPECT_EQ(p.propertyType("Nope"), PropertyInterface::invalid_property);
    EXPECT_EQ(p.propertyAccess("Nope"), PropertyInterface::not_set);
    EXPECT_EQ(&p.propertyDescription("Nope"), &PropertyInterface::emptyString);
    EXPECT_EQ(&p.propertyEnumList("Nope"), &PropertyInterface::emptyContainer);
    PropertyInfo info;
    EXPECT_FALSE(p.propertyInfo("Nope", &info));
    ASSERT_TRUE(p.propertyInfo("S", &info));
    EXPECT_EQ(info.type, string_property);
    EXPECT_EQ(info.category, 4);
    EXPECT_EQ(info.description, "A text.");
    EXPECT_FALSE(info.valueSet);
    p.setProperty("S", "x");
    ASSERT_TRUE(p.propertyInfo("S", &info));
    EXPECT_TRUE(info.valueSet);
    EXPECT_EQ(p.propertyCategoryName("S"), "Parameters");
    EXPECT_EQ(p.propertyCategoryName("E"), "Fifo");
}

TEST_F(PropertyInterfaceTest, CategoryThreeHasNoName) {
    p.addProperty("C3", 0, int32_property, read_write_access, 3);
    EXPECT_EQ(p.propertyCategoryName("C3"), "");
    p.propertyCategoryManager().setCategory(3, "Mine");
    EXPECT_EQ(p.propertyCategoryName("C3"), "Mine");
    EXPECT_TRUE(p.propertyCategoryManager().eraseCategory(3));
    EXPECT_FALSE(p.propertyCategoryManager().eraseCategory(3));
}

TEST_F(PropertyInterfaceTest, NameListIsInByteOrder) {
    Props q;
    q.addProperty("b", 0, int32_property, read_access);
    q.addProperty("B", 0, int32_property, read_access);
    q.addProperty("a", 0, int32_property, read_access);
    q.addProperty("_", 0, int32_property, read_access);
    EXPECT_EQ(q.propertyNameList(), (std::vector<std::string>{"B", "_", "a", "b"}));
    EXPECT_EQ(q.propertyCount(), 4);
    EXPECT_TRUE(q.eraseProperty("a"));
    EXPECT_FALSE(q.eraseProperty("a"));
    EXPECT_EQ(q.propertyCount(), 3);
}

TEST_F(PropertyInterfaceTest, EndPropertyChangeActivatesOnce) {
    EXPECT_TRUE(p.beginPropertyChange());
    p.setProperty("I32", 1);
    p.setProperty("I32", 2);
    EXPECT_EQ(p.activations, 0);
    EXPECT_TRUE(p.endPropertyChange());
    EXPECT_EQ(p.activations, 1);
}

TEST_F(PropertyInterfaceTest, CopyIsDeepAndIndependent) {
    p.setProperty("S", "original");
    p.propertyCategoryManager().setCategory(9, "Nine");
    Props copy(p);
    copy.setProperty("S", "changed");
    std::string text;
    p.getProperty("S", &text);
    EXPECT_EQ(text, "original");
    EXPECT_EQ(copy.propertyCategoryManager().categoryName(9), "Nine");
    EXPECT_EQ(copy.propertyEnumList("E"), p.propertyEnumList("E"));
    Props assigned;
    assigned = p;
    assigned = assigned;
    EXPECT_EQ(assigned.propertyNameList(), p.propertyNameList());
}

TEST_F(PropertyInterfaceTest, AssignStrategies) {
    Props source;
    source.addProperty("I32", 5, int32_property, read_write_access);
    source.addProperty("RO", 9, int32_property, read_access);
    source.addProperty("S", 1, int32_property, read_write_access);  // type differs
    source.addProperty("New", 1, int32_property, read_write_access);
    int value = 0;

    Props existing(p);
    existing.assignProperties(source, assign_existing);
    existing.getPropertyForce("I32", &value);
    EXPECT_EQ(value, 5);
    existing.getPropertyForce("RO", &value);
    EXPECT_EQ(value, 9);
    EXPECT_EQ(existing.propertyType("S"), string_property);
    EXPECT_EQ(existing.propertyType("New"), invalid_property);

    Props writable(p);
    writable.assignProperties(source, assign_writable);
    writable.getPropertyForce("RO", &value);
    EXPECT_EQ(value, 7);
    writable.getPropertyForce("I32", &value);
    EXPECT_EQ(value, 5);

    Props merged(p);
    merged.assignProperties(source, assign_merge);
    EXPECT_EQ(merged.propertyType("New"), int32_property);
    EXPECT_EQ(merged.propertyType("S"), string_property);

    Props replaced(p);
    replaced.assignProperties(source, assign_replace);
    EXPECT_EQ(replaced.propertyNameList(), source.propertyNameList());

    Props untouched(p);
    untouched.assignProperties(source, static_cast<AssignStrategy>(0));
    EXPECT_EQ(untouched.propertyNameList(), p.propertyNameList());
}

TEST_F(PropertyInterfaceTest, NullOutputsAreRefused) {
    EXPECT_FALSE(p.getProperty("I32", static_cast<int*>(nullptr)));
    EXPECT_FALSE(p.getProperty("S", static_cast<std::string*>(nullptr)));
    EXPECT_FALSE(p.setProperty("S", static_cast<const char*>(nullptr)));
    EXPECT_FALSE(p.propertyInfo("S", nullptr));
    EXPECT_FALSE(p.serialize(nullptr, std::cout));
}
