#include <korvane/config/Registry.h>
#include <korvane/config/StringUtils.h>
#include <korvane/core/PropertyInterface.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Korvane::AccessType;
using Korvane::PropertyInterface;
using Strings = std::vector<std::string>;

// A property bag whose text and enumeration properties a test declares.
class Settings : public PropertyInterface {
public:
    void text(const std::string& name, const std::string& value,
              AccessType access = Korvane::read_write_access) {
        addProperty(name, value, Korvane::string_property, access);
    }
    void enumeration(const std::string& name, long long index, const Strings& names) {
        addProperty(name, index, names, Korvane::enum_property, Korvane::read_write_access);
    }
};

class Expand : public ::testing::Test {
protected:
    void SetUp() override {
        source.text("A", "1");
        source.text("B", "2");
    }
    Settings source;
};

TEST_F(Expand, ReplacesReferencesAndKeepsTextBetween) {
    EXPECT_EQ(Korvane::expand("%A%x%B%", true, &source), "1x2");
    EXPECT_EQ(Korvane::expand("<%A%>", true, &source), "<1>");
}

TEST_F(Expand, UnknownNameExpandsToNothing) {
    EXPECT_EQ(Korvane::expand("%A%x%C%", true, &source), "1x");
}

TEST_F(Expand, WithoutResolveEveryReferenceIsRemoved) {
    EXPECT_EQ(Korvane::expand("a%A%b%B%c", false, &source), "abc");
}

TEST_F(Expand, TextWithoutReferencesOrWithoutSourceIsUnchanged) {
    EXPECT_EQ(Korvane::expand("plain text", true, &source), "plain text");
    EXPECT_EQ(Korvane::expand("%A%x%B%", true, nullptr), "%A%x%B%");
    EXPECT_EQ(Korvane::expand("", true, &source), "");
}

TEST_F(Expand, AdjacentReferencesArePairedInOrder) {
    EXPECT_EQ(Korvane::expand("%A%%B%", true, &source), "12");
    EXPECT_EQ(Korvane::expand("%A%%B%%A%", true, &source), "121");
}

TEST_F(Expand, UnclosedPercentSignIsKeptLiterally) {
    EXPECT_EQ(Korvane::expand("50% off", true, &source), "50% off");
    EXPECT_EQ(Korvane::expand("%A%x%B", true, &source), "1x%B");
}

TEST_F(Expand, EmptyReferenceIsRemoved) {
    EXPECT_EQ(Korvane::expand("100%%", true, &source), "100");
}

TEST_F(Expand, ResolvedValuesAreExpandedAgainstTheRegistry) {
    std::string root;
    ASSERT_TRUE(Korvane::Registry::get()->getProperty("KORVANE_PATH", &root));
    source.text("Root", "%KORVANE_PATH%sub");
    source.text("Indirect", "%A%");  // A exists only in source, not in the registry
    EXPECT_EQ(Korvane::expand("%Root%", true, &source), root + "sub");
    EXPECT_EQ(Korvane::expand("[%Indirect%]", true, &source), "[]");
}

TEST_F(Expand, EnumerationGivesItsValueNameAndUnreadableGivesNothing) {
    source.enumeration("Mode", 1, {"Fast", "Slow"});
    source.text("Secret", "s", Korvane::write_access);
    EXPECT_EQ(Korvane::expand("%Mode%|%Secret%", true, &source), "Slow|");
}

TEST_F(Expand, ListSplitsBeforeAndAfterExpansion) {
    source.text("L", "x;y");
    EXPECT_EQ(Korvane::expandList("a;%L%;c", "", true, &source), (Strings{"a", "x", "y", "c"}));
    // An item that expands to nothing leaves no item behind.
    EXPECT_EQ(Korvane::expandList("a;%L%;c", "", false, &source), (Strings{"a", "c"}));
    EXPECT_EQ(Korvane::expandList("%L%", "", true, nullptr), (Strings{"%L%"}));
    EXPECT_TRUE(Korvane::expandList("", "", true, &source).empty());
}

TEST(Split, EmptyItemsBetweenDelimitersButNotAtTheEnd) {
    EXPECT_EQ(Korvane::split("a;;b", ";", ""), (Strings{"a", "", "b"}));
    EXPECT_EQ(Korvane::split("a;b;", ";", ""), (Strings{"a", "b"}));
    EXPECT_EQ(Korvane::split(";a", ";", ""), (Strings{"", "a"}));
    EXPECT_TRUE(Korvane::split("", ";", "").empty());
}

TEST(Split, EscapedDelimiterAndEscapeStayInTheItem) {
    EXPECT_EQ(Korvane::split("a\\;b;c", ";", "\\"), (Strings{"a;b", "c"}));
    EXPECT_EQ(Korvane::split("a\\\\b;c", ";", "\\"), (Strings{"a\\b", "c"}));
}

TEST(Split, EscapeBeforeAnyOtherCharacterIsDropped) {
    EXPECT_EQ(Korvane::split("a\\xb;c", ";", "\\"), (Strings{"axb", "c"}));
}

TEST(Split, TextEndingInEscapeLosesItsLastItem) {
    EXPECT_EQ(Korvane::split("a;b\\", ";", "\\"), (Strings{"a"}));
    EXPECT_EQ(Korvane::split("a;b\\;", ";", "\\"), (Strings{"a"}));
    EXPECT_EQ(Korvane::split("a;b\\\\", ";", "\\"), (Strings{"a"}));
}

TEST(Split, OnlyFirstCharactersCountAndLongerStringsDisableEscaping) {
    EXPECT_TRUE(Korvane::split("a;b", "", "").empty());
    EXPECT_EQ(Korvane::split("a;b", "", "\\"), (Strings{"a;b"}));
    EXPECT_EQ(Korvane::split("a,b\\,c", ",;", "\\"), (Strings{"a", "b\\", "c"}));
    EXPECT_EQ(Korvane::split("a,b\\,c", ",", "\\/"), (Strings{"a", "b\\", "c"}));
}

TEST(Split, LongTextIsCutCompletely) {
    const std::string item(10000, 'x');
    EXPECT_EQ(Korvane::split(item + ";" + item, ";", "\\"), (Strings{item, item}));
}

TEST(SplitPlain, CutsAtUnescapedDelimitersKeepingEmptyItems) {
    EXPECT_EQ(Korvane::_split_("a\\;b;c", ";", "\\"), (Strings{"a;b", "c"}));
    EXPECT_EQ(Korvane::_split_("a;", ";", "\\"), (Strings{"a", ""}));
    EXPECT_EQ(Korvane::_split_("a;;b", ";", ""), (Strings{"a", "", "b"}));
    EXPECT_TRUE(Korvane::_split_("", ";", "\\").empty());
}

TEST(SplitPlain, OtherEscapesStayAndEmptyDelimiterNeverCuts) {
    EXPECT_EQ(Korvane::_split_("a\\xb", ";", "\\"), (Strings{"a\\xb"}));
    EXPECT_EQ(Korvane::_split_("a;b", "", "\\"), (Strings{"a;b"}));
}

TEST(Serialize, SeparatorFollowsEveryItem) {
    EXPECT_EQ(Korvane::serialize({}, ";"), "");
    EXPECT_EQ(Korvane::serialize({"x"}, ";"), "x;");
    EXPECT_EQ(Korvane::serialize({"a", "b"}, ";"), "a;b;");
    EXPECT_EQ(Korvane::serialize({"a", ""}, ", "), "a, , ");
}

TEST(EscapeChars, InsertsEscapeBeforeEachOccurrenceInPlace) {
    std::string text = "a;b;";
    EXPECT_EQ(Korvane::escapeChars(text, ";", "\\/"), "a\\;b\\;");
    EXPECT_EQ(text, "a\\;b\\;");
}

TEST(EscapeChars, ResumesTwoCharactersAfterTheInsertion) {
    // With a two-character pattern the resumption point lies inside the match.
    std::string text = "%%%%";
    EXPECT_EQ(Korvane::escapeChars(text, "%%", "\\"), "\\%\\%\\%%");
}

TEST(EscapeChars, EmptyCharsOrEscapeChangeNothing) {
    std::string text = "a;b";
    EXPECT_EQ(Korvane::escapeChars(text, "", "\\"), "a;b");
    EXPECT_EQ(Korvane::escapeChars(text, ";", ""), "a;b");
    EXPECT_EQ(text, "a;b");
}

TEST(StripChars, RemovesLeadingAndTrailingOnly) {
    const std::string text = " ;a; b; ";
    EXPECT_EQ(Korvane::stripChars(text, " ;"), "a; b");
    EXPECT_EQ(text, " ;a; b; ");
    EXPECT_EQ(Korvane::stripChars("abc", ""), "abc");
}

TEST(StripChars, TextOfOnlyStripCharactersIsUnchanged) {
    EXPECT_EQ(Korvane::stripChars(" ;; ", " ;"), " ;; ");
    EXPECT_EQ(Korvane::stripChars("", " "), "");
}

TEST(Names, ValidNamesUseOnlyThePropertyAlphabet) {
    EXPECT_TRUE(Korvane::isValidName("Abc_{1}z9"));
    EXPECT_TRUE(Korvane::isValidName(std::string(10000, 'a')));
    EXPECT_FALSE(Korvane::isValidName(""));
    EXPECT_FALSE(Korvane::isValidName("a b"));
    EXPECT_FALSE(Korvane::isValidName("cam:1"));
    EXPECT_FALSE(Korvane::isValidName(std::string("a\0b", 3)));
}

TEST(Names, ValidateReplacesOutsideCharacters) {
    EXPECT_EQ(Korvane::validateName("a b", "_"), "a_b");
    EXPECT_EQ(Korvane::validateName("", "_"), "_");
    EXPECT_EQ(Korvane::validateName("a:b-c", "X"), "aXbXc");
}

TEST(Names, InvalidOrNullReplacementDeletes) {
    EXPECT_EQ(Korvane::validateName("a b", "-"), "ab");
    EXPECT_EQ(Korvane::validateName("a b", " "), "ab");
    EXPECT_EQ(Korvane::validateName("a b", nullptr), "ab");
    EXPECT_EQ(Korvane::validateName("!!!", nullptr), "_");
}

TEST(GenerateKey, EightGroupsOfFourIn41Characters) {
    EXPECT_EQ(Korvane::generateKey(1, 1).size(), 3u);
    const std::string key = Korvane::generateKey(4, 8);
    ASSERT_EQ(key.size(), 41u);
    EXPECT_EQ(key.front(), '{');
    EXPECT_EQ(key.back(), '}');
    for (std::size_t i = 1; i + 1 < key.size(); ++i) {
        if (i % 5 == 0) {
            EXPECT_EQ(key[i], '-') << "at " << i << " in " << key;
        } else {
            const bool digitOrCapital =
                (key[i] >= '0' && key[i] <= '9') || (key[i] >= 'A' && key[i] <= 'Z');
            EXPECT_TRUE(digitOrCapital) << "at " << i << " in " << key;
        }
    }
}

TEST(GenerateKey, NonPositiveSizesGiveEmpty) {
    EXPECT_EQ(Korvane::generateKey(0, 8), "");
    EXPECT_EQ(Korvane::generateKey(4, 0), "");
    EXPECT_EQ(Korvane::generateKey(-1, -1), "");
}

}  // namespace
