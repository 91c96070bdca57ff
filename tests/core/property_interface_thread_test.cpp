#include <gtest/gtest.h>
#include <korvane/core/PropertyInterface.h>

#include <atomic>
#include <climits>
#include <cstdint>
#include <future>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/Deadline.h"
#include "support/Detached.h"

using namespace Korvane;
using Names = std::vector<std::string>;

namespace {

// Exposes the owner's side of the interface to the tests.
class Props : public PropertyInterface {
public:
    using PropertyInterface::addProperty;
    using PropertyInterface::eraseProperty;
    using PropertyInterface::getProperty;
    using PropertyInterface::getPropertyForce;
    using PropertyInterface::setProperty;
    using PropertyInterface::setPropertyForce;
    int activations = 0;

protected:
    bool activatePropertyChange() override { return ++activations; }
};

class PropertyInterfaceTest : public ::testing::Test {
protected:
    void SetUp() override {
        p.addProperty("I8", 0, int8_property, read_write_access);
        p.addProperty("I32", 0, int32_property, read_write_access);
        p.addProperty("I64", 0LL, int64_property, read_write_access);
        p.addProperty("U8", 0u, uint8_property, read_write_access);
        p.addProperty("U32", 0u, uint32_property, read_write_access);
        p.addProperty("F", 0.0, float_property, read_write_access);
        p.addProperty("D", 0.0, double_property, read_write_access);
        p.addProperty("S", "text", string_property, read_write_access, 4, "A text.");
        p.addProperty("E", 0LL, Names{"A", "B"}, enum_property, read_write_access, 2, "Choice.");
        p.addProperty("RO", 7, int32_property, read_access);
        p.addProperty("WO", 7, int32_property, write_access);
    }
    template <class T>
    T get(const char* name) {
        T value{};
        EXPECT_TRUE(p.getProperty(name, &value)) << name;
        return value;
    }
    Props p;
};

}  // namespace

// Range, class, enum index and name checks: '1' where the write may succeed.
TEST_F(PropertyInterfaceTest, WritesCheckRangeAndClassAndKeepTheValueOnFailure) {
    std::string results;
    for (const bool written :
         {p.setProperty("I8", 300), p.setProperty("I8", -129), p.setProperty("I8", -128),
          p.setProperty("I32", 1LL << 31), p.setProperty("I32", INT32_MIN),
          p.setProperty("U8", 256u), p.setProperty("U8", 255u), p.setProperty("U32", 4294967296ull),
          p.setProperty("U32", 5), p.setProperty("U32", 4294967295ull), p.setProperty("I32", 5u),
          p.setProperty("D", 5), p.setProperty("S", 5), p.setProperty("I32", "5"),
          p.setProperty("F", 1e300), p.setProperty("D", 1e300), p.setProperty("E", 2u),
          p.setProperty("E", "C"), p.setProperty("E", "B")})
        results += written ? '1' : '0';
    EXPECT_EQ(results, "0010101001000001001");
    EXPECT_EQ(get<int>("I8"), -128);
    EXPECT_EQ(get<unsigned long long>("U32"), 4294967295ull);
    std::string text;
    double d = 0;
    int i = 0;
    EXPECT_FALSE(p.getProperty("I32", &text) || p.getProperty("I32", &d) ||
                 p.getProperty("U32", &i));
}

TEST_F(PropertyInterfaceTest, NarrowReadsTruncateFloatsAreSingleAndEnumsTakeNames) {
    ASSERT_TRUE(p.setProperty("I64", 0x1234567890LL) && p.setProperty("F", 0.1) &&
                p.setProperty("E", "B"));
    EXPECT_EQ(get<short>("I64"), static_cast<short>(0x7890));
    EXPECT_EQ(get<double>("F"), static_cast<double>(0.1f));
    EXPECT_EQ(get<unsigned int>("E"), 1u);
    EXPECT_EQ(get<std::string>("E"), "B");
}

TEST_F(PropertyInterfaceTest, AccessRightsAndForce) {
    int value = 0;
    EXPECT_TRUE(!p.setProperty("RO", 1) && p.setPropertyForce("RO", 1) && get<int>("RO") == 1);
    EXPECT_TRUE(!p.getProperty("WO", &value) && p.getPropertyForce("WO", &value) && value == 7);
    EXPECT_TRUE(p.setProperty("WO", 8));
}

TEST_F(PropertyInterfaceTest, AddCleansNamesChecksTheClassAndLooksUpExactly) {
    EXPECT_TRUE(p.addProperty("my prop", 1, int32_property, read_write_access));
    EXPECT_FALSE(p.addProperty("my_prop", 2, int32_property, read_write_access));
    EXPECT_EQ(p.propertyType("my_prop"), int32_property);
    EXPECT_EQ(p.propertyType("my prop"), invalid_property);
    EXPECT_TRUE(p.addProperty("", 1, int32_property, read_write_access));
    EXPECT_EQ(p.propertyType("_"), int32_property);
    EXPECT_FALSE(p.addProperty("X", 1, uint32_property, read_write_access) ||
                 p.addProperty("X", 1u, int32_property, read_write_access) ||
                 p.addProperty("X", 1.0, int32_property, read_write_access) ||
                 p.addProperty("X", "1", int32_property, read_write_access));
    EXPECT_TRUE(p.addProperty("X", true, bool_property, read_write_access));
    const int before = p.propertyCount();
    EXPECT_TRUE(p.eraseProperty("X") && !p.eraseProperty("X"));
    EXPECT_EQ(p.propertyCount(), before - 1);
}

TEST_F(PropertyInterfaceTest, CharBufferReportsNeededSizeAndNullOutputsAreRefused) {
    ASSERT_TRUE(p.setProperty("S", "abcd"));
    char buffer[8] = {};
    int needed = 0;
    EXPECT_TRUE(!p.getProperty("S", buffer, 4, &needed) && needed == 5);
    EXPECT_TRUE(p.getProperty("S", buffer, 5, &needed));
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_FALSE(p.getProperty("Missing", buffer, 8, &needed));
    EXPECT_FALSE(p.getProperty("I32", static_cast<int*>(nullptr)) ||
                 p.getProperty("S", static_cast<std::string*>(nullptr)) ||
                 p.setProperty("S", static_cast<const char*>(nullptr)) ||
                 p.propertyInfo("S", nullptr) || p.serialize(nullptr, std::cout));
}

TEST_F(PropertyInterfaceTest, DescribingAbsentAndPresentProperties) {
    PropertyInfo info;
    EXPECT_TRUE(p.propertyType("Nope") == invalid_property && p.propertyAccess("Nope") == not_set &&
                &p.propertyDescription("Nope") == &PropertyInterface::emptyString &&
                &p.propertyEnumList("Nope") == &PropertyInterface::emptyContainer &&
                !p.propertyInfo("Nope", &info));
    ASSERT_TRUE(p.propertyInfo("S", &info));
    EXPECT_TRUE(info.category == 4 && info.description == "A text." && !info.valueSet);
    p.setProperty("S", "x");
    EXPECT_TRUE(p.propertyInfo("S", &info) && info.valueSet);
    EXPECT_EQ(p.propertyCategoryName("S"), "Parameters");
    p.addProperty("C3", 0, int32_property, read_write_access, 3);
    EXPECT_EQ(p.propertyCategoryName("C3"), "");
    p.propertyCategoryManager().setCategory(3, "Mine");
    EXPECT_EQ(p.propertyCategoryName("C3"), "Mine");
    EXPECT_TRUE(p.beginPropertyChange() && p.setProperty("I32", 1) && p.setProperty("I32", 2));
    EXPECT_EQ(p.activations, 0);
    EXPECT_TRUE(p.endPropertyChange() && p.activations == 1);
}

TEST_F(PropertyInterfaceTest, CopyIsDeepAndIndependent) {
    p.propertyCategoryManager().setCategory(9, "Nine");
    Props copy(p);
    copy.setProperty("S", "changed");
    copy.eraseProperty("I8");
    EXPECT_EQ(get<std::string>("S"), "text");
    EXPECT_EQ(p.propertyType("I8"), int8_property);
    EXPECT_EQ(copy.propertyCategoryManager().categoryName(9), "Nine");
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
    auto assigned = [&](int strategy) {
        Props target(p);
        target.assignProperties(source, static_cast<AssignStrategy>(strategy));
        return target;
    };
    auto forced = [](const Props& props) {
        int i32 = 0, ro = 0;
        props.getPropertyForce("I32", &i32);
        props.getPropertyForce("RO", &ro);
        return std::make_pair(i32, ro);
    };
    const Props existing = assigned(assign_existing);
    EXPECT_EQ(forced(existing), std::make_pair(5, 9));
    EXPECT_EQ(existing.propertyType("S"), string_property);
    EXPECT_EQ(existing.propertyType("New"), invalid_property);
    EXPECT_EQ(forced(assigned(assign_writable)), std::make_pair(5, 7));
    const Props merged = assigned(assign_merge);
    EXPECT_EQ(merged.propertyType("New"), int32_property);
    EXPECT_EQ(merged.propertyType("S"), string_property);
    EXPECT_EQ(assigned(assign_replace).propertyNameList(), source.propertyNameList());
    EXPECT_EQ(assigned(0).propertyNameList(), p.propertyNameList());
}

namespace {

Names namesOf(const PropertyTable& table) {
    Names names;
    for (const auto& [name, record] : table) names.push_back(name);
    return names;
}

}  // namespace

// Records sit in the order added with a name index beside them: erasing shifts both, and
// every remaining name must still find its own record.
TEST(PropertyTable, FindsEachRecordByExactNameAfterAddsAndErases) {
    PropertyTable table;
    const Names names{"b", "{x}", "B", "_", "a", "9", "Ab", "A", "a_", "K", "C"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        Property* record = table.add(names[i]);
        ASSERT_NE(record, nullptr) << names[i];
        record->value.s = static_cast<long long>(i);
    }
    EXPECT_EQ(table.add("A"), nullptr);
    EXPECT_TRUE(table.erase("C"));
    EXPECT_FALSE(table.erase("C"));
    EXPECT_TRUE(table.erase("b"));
    EXPECT_EQ(namesOf(table), (Names{"9", "A", "Ab", "B", "K", "_", "a", "a_", "{x}"}));
    for (std::size_t i = 1; i + 1 < names.size(); ++i) {
        const Property* record = table.find(names[i]);
        ASSERT_NE(record, nullptr) << names[i];
        EXPECT_EQ(record->value.s, static_cast<long long>(i)) << names[i];
    }
    for (const char* absent : {"C", "b", "ab", "A_", "", "{"})
        EXPECT_EQ(table.find(absent), nullptr);
    EXPECT_EQ(PropertyTable().find("A"), nullptr);
}

TEST(PropertyTable, InsertOrAssignReplacesTheWholeRecordOrAddsIt) {
    PropertyTable table;
    table.add("Mode")->enumNames = {"A", "B"};
    Property replacement;
    replacement.text = "free";
    table.insertOrAssign("Mode", std::move(replacement));
    ASSERT_NE(table.find("Mode"), nullptr);
    EXPECT_EQ(table.find("Mode")->text, "free");
    EXPECT_TRUE(table.find("Mode")->enumNames.empty());
    table.insertOrAssign("Added", Property());
    EXPECT_EQ(namesOf(table), (Names{"Added", "Mode"}));
}

TEST(PropertyText, CopiesShareOneTextThatOutlivesTheOriginal) {
    PropertyText copy, second;
    {
        std::string source = "Written while the source still lived.";
        const PropertyText original(source);
        source.assign("overwritten");
        copy = original;
        second = copy;
    }
    EXPECT_EQ(&copy.str(), &second.str());
    EXPECT_EQ(PropertyText(std::move(copy)).str(), "Written while the source still lived.");
    // Never freed: kept in a static, as its owners do.
    static const PropertyText permanent = PropertyText::permanent("Declared by every object.");
    second = permanent;
    second = PropertyText("Another text.");
    EXPECT_EQ(permanent.str(), "Declared by every object.");
    for (const PropertyText& empty :
         {PropertyText(), PropertyText(""), PropertyText(nullptr), PropertyText::permanent("")})
        EXPECT_TRUE(empty.empty() && empty.str().empty());
}

// Managers share the predefined names until their first change.
TEST(CategoryManager, ChangesStayWithTheirManager) {
    auto names = [](const CategoryManager& categories) {
        Names result;
        for (unsigned int number = 0; number < 8; ++number)
            result.push_back(categories.categoryName(number));
        return result;
    };
    const Names predefined{"Unknown",    "Manager", "Fifo",    "",
                           "Parameters", "Style",   "Process", "Config"};
    CategoryManager changed;
    EXPECT_TRUE(changed.setCategory(1, "Owner"));
    EXPECT_TRUE(changed.setCategory(CategoryManager::USER_CATEGORY, "Mine"));
    EXPECT_TRUE(changed.eraseCategory(7));
    EXPECT_FALSE(changed.eraseCategory(7) || changed.eraseCategory(3));
    EXPECT_EQ(changed.categoryName(CategoryManager::USER_CATEGORY), "Mine");
    EXPECT_EQ(changed.categoryName(1) + changed.categoryName(7), "Owner");
    EXPECT_EQ(names(CategoryManager()), predefined);
    CategoryManager copy(changed);
    copy.setCategory(1, "Other");
    EXPECT_EQ(changed.categoryName(1), "Owner");
    copy = CategoryManager();
    EXPECT_EQ(names(copy), predefined);
}

// A description is a counted text, so copies on several threads count it together.
TEST(PropertyCopyThreads, CopiesMadeAndDroppedOnManyThreadsKeepTheirDescriptions) {
    const std::string gainText = "The gain of the amplifier, shared by every copy.";
    auto prototype = std::make_shared<Props>();
    prototype->addProperty("Gain", 1, int32_property, read_write_access, 4, gainText);
    prototype->addProperty("Mode", 0LL, Names{"Linear", "Logarithmic"}, enum_property,
                           read_write_access);
    auto damaged = std::make_shared<std::atomic<int>>(0);
    std::vector<std::future<void>> workers;
    for (int t = 0; t < 4; ++t) {
        workers.push_back(KorvaneTest::startDetached([prototype, damaged, gainText] {
            for (int i = 0; i < 500; ++i) {
                Props copy(*prototype);
                copy.setProperty("Gain", i);
                Props assigned(*prototype);  // its texts are released by the assignment
                assigned = copy;
                if (assigned.propertyDescription("Gain") != gainText) ++*damaged;
            }
        }));
    }
    for (auto& worker : workers)
        ASSERT_EQ(worker.wait_for(KorvaneTest::kGenerousDeadline), std::future_status::ready);
    EXPECT_EQ(damaged->load(), 0);
    int gain = 0;
    EXPECT_TRUE(prototype->getProperty("Gain", &gain) && gain == 1);
    EXPECT_EQ(prototype->propertyDescription("Gain"), gainText);
}
