#include <korvane/core/PropertyInterface.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using namespace Korvane;

namespace {

std::vector<std::string> namesOf(const PropertyTable& table) {
    std::vector<std::string> names;
    for (const auto& [name, record] : table) names.push_back(name);
    return names;
}

// Adds a signed record holding value; fails the test when the name is taken.
void addNumber(PropertyTable& table, const std::string& name, long long value) {
    Property* record = table.add(name);
    ASSERT_NE(record, nullptr) << name;
    record->type = int64_property;
    record->value.s = value;
}

std::vector<std::string> categoryNames(const CategoryManager& categories) {
    std::vector<std::string> names;
    for (unsigned int number : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u}) {
        names.push_back(categories.categoryName(number));
    }
    return names;
}

const std::vector<std::string> predefinedNames{"Unknown",    "Manager", "Fifo",    "",
                                               "Parameters", "Style",   "Process", "Config"};

}  // namespace

TEST(Property, NewRecordHasNeutralFields) {
    const Property record;
    EXPECT_EQ(record.value.u, 0u);
    EXPECT_EQ(record.text, "");
    EXPECT_EQ(record.type, invalid_property);
    EXPECT_EQ(record.category, 0);
    EXPECT_EQ(record.access, not_set);
    EXPECT_TRUE(record.description.empty());
    EXPECT_TRUE(record.enumNames.empty());
    EXPECT_FALSE(record.valueSet);
}

TEST(PropertyTable, VisitsNamesInByteOrderWhateverTheOrderAdded) {
    PropertyTable table;
    for (const char* name : {"b", "{x}", "B", "_", "a", "9", "Ab", "A", "a_"}) {
        ASSERT_NE(table.add(name), nullptr) << name;
    }
    EXPECT_EQ(namesOf(table),
              (std::vector<std::string>{"9", "A", "Ab", "B", "_", "a", "a_", "b", "{x}"}));
    EXPECT_EQ(table.size(), 9u);
}

TEST(PropertyTable, AddRefusesATakenNameAndKeepsItsRecord) {
    PropertyTable table;
    addNumber(table, "Gain", 3);
    EXPECT_EQ(table.add("Gain"), nullptr);
    ASSERT_NE(table.find("Gain"), nullptr);
    EXPECT_EQ(table.find("Gain")->value.s, 3);
    EXPECT_EQ(table.size(), 1u);
}

TEST(PropertyTable, FindIsExactAndCaseSensitive) {
    PropertyTable table;
    addNumber(table, "Gain", 1);
    addNumber(table, "GainMax", 2);
    EXPECT_EQ(table.find("gain"), nullptr);
    EXPECT_EQ(table.find("Gai"), nullptr);
    EXPECT_EQ(table.find(""), nullptr);
    ASSERT_NE(table.find("GainMax"), nullptr);
    EXPECT_EQ(table.find("GainMax")->value.s, 2);
    EXPECT_EQ(PropertyTable().find("Gain"), nullptr);
}

TEST(PropertyTable, EraseKeepsEveryOtherRecordInOrder) {
    PropertyTable table;
    const std::vector<std::string> names{"K", "C", "X", "A", "M", "Q", "B", "Z", "D", "P", "E"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        addNumber(table, names[i], static_cast<long long>(i));
    }
    EXPECT_TRUE(table.erase("C"));
    EXPECT_FALSE(table.erase("C"));
    EXPECT_TRUE(table.erase("E"));
    EXPECT_EQ(namesOf(table),
              (std::vector<std::string>{"A", "B", "D", "K", "M", "P", "Q", "X", "Z"}));
    for (std::size_t i = 0; i < names.size(); ++i) {
        const Property* record = table.find(names[i]);
        if (names[i] == "C" || names[i] == "E") {
            EXPECT_EQ(record, nullptr) << names[i];
        } else {
            ASSERT_NE(record, nullptr) << names[i];
            EXPECT_EQ(record->value.s, static_cast<long long>(i)) << names[i];
        }
    }
    addNumber(table, "C", 100);
    EXPECT_EQ(table.find("C")->value.s, 100);
}

TEST(PropertyTable, InsertOrAssignReplacesTheWholeRecordOrAddsIt) {
    PropertyTable table;
    Property* old = table.add("Mode");
    ASSERT_NE(old, nullptr);
    old->type = enum_property;
    old->enumNames = {"A", "B"};
    old->category = 5;

    Property replacement;
    replacement.type = string_property;
    replacement.text = "free";
    table.insertOrAssign("Mode", std::move(replacement));
    const Property* now = table.find("Mode");
    ASSERT_NE(now, nullptr);
    EXPECT_EQ(now->type, string_property);
    EXPECT_EQ(now->text, "free");
    EXPECT_TRUE(now->enumNames.empty());
    EXPECT_EQ(now->category, 0);

    table.insertOrAssign("Added", Property());
    EXPECT_EQ(namesOf(table), (std::vector<std::string>{"Added", "Mode"}));
}

TEST(PropertyTable, CopiesAreIndependent) {
    PropertyTable table;
    addNumber(table, "A", 1);
    addNumber(table, "B", 2);
    PropertyTable copy = table;
    copy.find("A")->value.s = 10;
    EXPECT_TRUE(copy.erase("B"));
    addNumber(copy, "C", 3);
    EXPECT_EQ(table.find("A")->value.s, 1);
    EXPECT_EQ(namesOf(table), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(namesOf(copy), (std::vector<std::string>{"A", "C"}));
    copy.clear();
    EXPECT_TRUE(copy.empty());
    EXPECT_EQ(copy.begin(), copy.end());
    EXPECT_EQ(table.size(), 2u);
}

TEST(PropertyText, CopiesShareOneText) {
    const PropertyText text(std::string("The gain of the amplifier, in decibels."));
    const PropertyText copy = text;
    PropertyText assigned;
    assigned = copy;
    EXPECT_EQ(copy.str(), "The gain of the amplifier, in decibels.");
    EXPECT_EQ(&copy.str(), &text.str());
    EXPECT_EQ(&assigned.str(), &text.str());
}

TEST(PropertyText, EmptyAndNullAreTheEmptyText) {
    for (const PropertyText& text :
         {PropertyText(), PropertyText(""), PropertyText(static_cast<const char*>(nullptr)),
          PropertyText(std::string()), PropertyText::permanent("")}) {
        EXPECT_TRUE(text.empty());
        EXPECT_EQ(text.str(), "");
    }
    EXPECT_FALSE(PropertyText("x").empty());
}

TEST(PropertyText, CopyOutlivesTheOriginal) {
    PropertyText copy;
    {
        std::string source = "Written while the source still lived.";
        const PropertyText original(source);
        source.assign("overwritten");
        copy = original;
    }
    EXPECT_EQ(copy.str(), "Written while the source still lived.");
    PropertyText moved(std::move(copy));
    EXPECT_EQ(moved.str(), "Written while the source still lived.");
    copy = moved;
    EXPECT_EQ(&copy.str(), &moved.str());
}

TEST(PropertyText, PermanentTextIsSharedByCopies) {
    // Never freed: kept in a static, as its owners do.
    static const PropertyText permanent = PropertyText::permanent("Declared by every object.");
    PropertyText copy = permanent;
    EXPECT_EQ(&copy.str(), &permanent.str());
    copy = PropertyText("Another text.");
    EXPECT_EQ(permanent.str(), "Declared by every object.");
}

TEST(CategoryManager, StartsWithThePredefinedNames) {
    const CategoryManager categories;
    EXPECT_EQ(categoryNames(categories), predefinedNames);
    EXPECT_EQ(categories.categoryName(CategoryManager::USER_CATEGORY), "");
}

TEST(CategoryManager, ChangesStayWithTheirManager) {
    CategoryManager changed;
    const CategoryManager untouched;
    EXPECT_TRUE(changed.setCategory(1, "Owner"));
    EXPECT_TRUE(changed.setCategory(CategoryManager::USER_CATEGORY, "Mine"));
    EXPECT_TRUE(changed.eraseCategory(7));
    EXPECT_FALSE(changed.eraseCategory(7));
    EXPECT_FALSE(changed.eraseCategory(3));
    EXPECT_EQ(changed.categoryName(1), "Owner");
    EXPECT_EQ(changed.categoryName(CategoryManager::USER_CATEGORY), "Mine");
    EXPECT_EQ(changed.categoryName(7), "");
    EXPECT_EQ(categoryNames(untouched), predefinedNames);
    EXPECT_EQ(categoryNames(CategoryManager()), predefinedNames);
}

TEST(CategoryManager, CopyTakesTheNamesThenGoesItsOwnWay) {
    CategoryManager original;
    original.setCategory(9, "Nine");
    CategoryManager copy(original);
    copy.setCategory(9, "Neun");
    copy.eraseCategory(0);
    EXPECT_EQ(original.categoryName(9), "Nine");
    EXPECT_EQ(original.categoryName(0), "Unknown");
    EXPECT_EQ(copy.categoryName(9), "Neun");

    copy = CategoryManager();
    EXPECT_EQ(categoryNames(copy), predefinedNames);
    EXPECT_EQ(copy.categoryName(9), "");
    copy = original;
    EXPECT_EQ(copy.categoryName(9), "Nine");
}
