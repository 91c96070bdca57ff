#include <gtest/gtest.h>
#include <korvane/config/Registry.h>
#include <korvane/config/StringUtils.h>
#include <korvane/core/PropertyInterface.h>

#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

// A property bag holding A = 1 and B = 2, plus what a case adds.
class Settings : public Korvane::PropertyInterface {
public:
    Settings() {
        text("A", "1");
        text("B", "2");
    }
    void text(const std::string& name, const std::string& value,
              Korvane::AccessType access = Korvane::read_write_access) {
        addProperty(name, value, Korvane::string_property, access);
    }
    using PropertyInterface::addProperty;
};

TEST(Expand, ReplacesReferencesAndKeepsLiteralText) {
    Settings source;
    source.addProperty("Mode", 1LL, Strings{"Fast", "Slow"}, Korvane::enum_property,
                       Korvane::read_write_access);
    source.text("Secret", "s", Korvane::write_access);
    // Mode gives its value name; Secret cannot be read and gives nothing.
    const struct {
        const char* text;
        bool resolve;
        const char* expected;
    } cases[] = {{"%A%x%B%", true, "1x2"},          {"%A%x%C%", true, "1x"},
                 {"a%A%b%B%c", false, "abc"},       {"plain text", true, "plain text"},
                 {"%A%%B%%A%", true, "121"},        {"50% off", true, "50% off"},
                 {"%A%x%B", true, "1x%B"},          {"100%%", true, "100"},
                 {"%Mode%|%Secret%", true, "Slow|"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(Korvane::expand(c.text, c.resolve, &source), c.expected);
    }
    EXPECT_EQ(Korvane::expand("%A%x%B%", true, nullptr), "%A%x%B%");
}

// Resolved values are expanded again, but against the registry only.
TEST(Expand, ResolvedValuesAndListsGoThroughTheRegistry) {
    std::string root;
    ASSERT_TRUE(Korvane::Registry::get()->getProperty("KORVANE_PATH", &root));
    Settings source;
    source.text("Root", "%KORVANE_PATH%sub");
    source.text("Indirect", "%A%");
    source.text("L", "x;y");
    EXPECT_EQ(Korvane::expand("%Root%", true, &source), root + "sub");
    EXPECT_EQ(Korvane::expand("[%Indirect%]", true, &source), "[]");
    EXPECT_EQ(Korvane::expandList("a;%L%;c", "", true, &source), (Strings{"a", "x", "y", "c"}));
    EXPECT_EQ(Korvane::expandList("a;%L%;c", "", false, &source), (Strings{"a", "c"}));
    EXPECT_EQ(Korvane::expandList("%L%", "", true, nullptr), (Strings{"%L%"}));
    EXPECT_TRUE(Korvane::expandList("", "", true, &source).empty());
}

struct SplitCase {
    const char* text;
    const char* delimiter;
    const char* escape;
    Strings expected;
};

// A text ending in an escape loses its last item; longer strings disable escaping.
TEST(Split, CutsAtDelimitersHonouringOneCharacterEscapes) {
    const SplitCase cases[] = {{"a;;b", ";", "", {"a", "", "b"}},
                               {"a;b;", ";", "", {"a", "b"}},
                               {";a", ";", "", {"", "a"}},
                               {"", ";", "", {}},
                               {"a\\;b;c", ";", "\\", {"a;b", "c"}},
                               {"a\\\\b;c", ";", "\\", {"a\\b", "c"}},
                               {"a\\xb;c", ";", "\\", {"axb", "c"}},
                               {"a;b\\", ";", "\\", {"a"}},
                               {"a;b\\;", ";", "\\", {"a"}},
                               {"a;b", "", "", {}},
                               {"a;b", "", "\\", {"a;b"}},
                               {"a,b\\,c", ",;", "\\", {"a", "b\\", "c"}},
                               {"a,b\\,c", ",", "\\/", {"a", "b\\", "c"}}};
    for (const SplitCase& c : cases) {
        SCOPED_TRACE(std::string(c.text) + " | " + c.delimiter + " | " + c.escape);
        EXPECT_EQ(Korvane::split(c.text, c.delimiter, c.escape), c.expected);
    }
    const std::string item(10000, 'x');
    EXPECT_EQ(Korvane::split(item + ";" + item, ";", "\\"), (Strings{item, item}));
}

TEST(Split, PlainVariantKeepsOtherEscapesAndTrailingEmptyItem) {
    const SplitCase cases[] = {{"a\\;b;c", ";", "\\", {"a;b", "c"}}, {"a;", ";", "\\", {"a", ""}},
                               {"a;;b", ";", "", {"a", "", "b"}},    {"", ";", "\\", {}},
                               {"a\\xb", ";", "\\", {"a\\xb"}},      {"a;b", "", "\\", {"a;b"}}};
    for (const SplitCase& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(Korvane::_split_(c.text, c.delimiter, c.escape), c.expected);
    }
}

TEST(Serialize, SeparatorFollowsEveryItem) {
    EXPECT_EQ(Korvane::serialize({}, ";"), "");
    EXPECT_EQ(Korvane::serialize({"x"}, ";"), "x;");
    EXPECT_EQ(Korvane::serialize({"a", ""}, ", "), "a, , ");
}

TEST(EscapeChars, InsertsEscapeInPlaceAndResumesTwoCharactersOn) {
    std::string text = "a;b;";
    EXPECT_EQ(Korvane::escapeChars(text, ";", "\\/"), "a\\;b\\;");
    EXPECT_EQ(text, "a\\;b\\;");
    std::string percent = "%%%%";  // the resumption point lies inside a two-character match
    EXPECT_EQ(Korvane::escapeChars(percent, "%%", "\\"), "\\%\\%\\%%");
    std::string plain = "a;b";
    EXPECT_EQ(Korvane::escapeChars(plain, "", "\\"), "a;b");
    EXPECT_EQ(Korvane::escapeChars(plain, ";", ""), "a;b");
}

TEST(StripChars, RemovesLeadingAndTrailingUnlessNothingElseRemains) {
    EXPECT_EQ(Korvane::stripChars(" ;a; b; ", " ;"), "a; b");
    EXPECT_EQ(Korvane::stripChars("abc", ""), "abc");
    EXPECT_EQ(Korvane::stripChars(" ;; ", " ;"), " ;; ");
    EXPECT_EQ(Korvane::stripChars("", " "), "");
}

TEST(Names, OnlyThePropertyAlphabetIsValid) {
    EXPECT_TRUE(Korvane::isValidName("Abc_{1}z9"));
    EXPECT_TRUE(Korvane::isValidName(std::string(10000, 'a')));
    for (const std::string& bad :
         {std::string(), std::string("a b"), std::string("cam:1"), std::string("a\0b", 3)}) {
        EXPECT_FALSE(Korvane::isValidName(bad)) << bad;
    }
}

TEST(Names, ValidateReplacesOrDeletesOutsideCharacters) {
    const struct {
        const char* name;
        const char* replacement;
        const char* expected;
    } cases[] = {{"a b", "_", "a_b"},  {"", "_", "_"},     {"a:b-c", "X", "aXbXc"},
                 {"a b", "-", "ab"},   {"a b", " ", "ab"}, {"a b", nullptr, "ab"},
                 {"!!!", nullptr, "_"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " / " + (c.replacement ? c.replacement : "null"));
        EXPECT_EQ(Korvane::validateName(c.name, c.replacement), c.expected);
    }
}

TEST(GenerateKey, GroupsOfCapitalsAndDigitsInBraces) {
    EXPECT_EQ(Korvane::generateKey(1, 1).size(), 3u);
    const std::string key = Korvane::generateKey(4, 8);
    ASSERT_EQ(key.size(), 41u);
    for (std::size_t i = 0; i < key.size(); ++i) {
        const char c = key[i];
        const bool ok = i == 0       ? c == '{'
                        : i == 40    ? c == '}'
                        : i % 5 == 0 ? c == '-'
                                     : (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z');
        EXPECT_TRUE(ok) << "at " << i << " in " << key;
    }
    EXPECT_EQ(Korvane::generateKey(0, 8), "");
    EXPECT_EQ(Korvane::generateKey(4, 0), "");
    EXPECT_EQ(Korvane::generateKey(-1, -1), "");
}

}  // namespace
