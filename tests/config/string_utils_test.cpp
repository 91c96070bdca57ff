#include <gtest/gtest.h>
#include <korvane/config/Registry.h>
#include <korvane/config/StringUtils.h>
#include <korvane/core/PropertyInterface.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace Korvane;
using Strings = std::vector<std::string>;

// A property bag holding A = 1 and B = 2, plus what a case adds.
class Settings : public PropertyInterface {
public:
    Settings() { text("A", "1"), text("B", "2"); }
    void text(const std::string& name, const std::string& value,
              AccessType access = read_write_access) {
        addProperty(name, value, string_property, access);
    }
    using PropertyInterface::addProperty;
};

TEST(Expand, ReplacesReferencesAndKeepsLiteralText) {
    Settings source;
    source.addProperty("Mode", 1LL, Strings{"Fast", "Slow"}, enum_property, read_write_access);
    source.text("Secret", "s", write_access);
    // Mode gives its value name; Secret cannot be read and gives nothing.
    const std::tuple<const char*, bool, const char*> cases[] = {
        {"%A%x%B%", true, "1x2"},          {"%A%x%C%", true, "1x"},
        {"a%A%b%B%c", false, "abc"},       {"plain text", true, "plain text"},
        {"%A%%B%%A%", true, "121"},        {"50% off", true, "50% off"},
        {"%A%x%B", true, "1x%B"},          {"100%%", true, "100"},
        {"%Mode%|%Secret%", true, "Slow|"}};
    for (const auto& [text, resolve, expected] : cases)
        EXPECT_EQ(expand(text, resolve, &source), expected) << text;
    EXPECT_EQ(expand("%A%x%B%", true, nullptr), "%A%x%B%");
}

// Resolved values are expanded again, but against the registry only.
TEST(Expand, ResolvedValuesAndListsGoThroughTheRegistry) {
    std::string root;
    ASSERT_TRUE(Registry::get()->getProperty("KORVANE_PATH", &root));
    Settings source;
    source.text("Root", "%KORVANE_PATH%sub");
    source.text("Indirect", "%A%");
    source.text("L", "x;y");
    EXPECT_EQ(expand("%Root%", true, &source), root + "sub");
    EXPECT_EQ(expand("[%Indirect%]", true, &source), "[]");
    EXPECT_EQ(expandList("a;%L%;c", "", true, &source), (Strings{"a", "x", "y", "c"}));
    EXPECT_EQ(expandList("a;%L%;c", "", false, &source), (Strings{"a", "c"}));
    EXPECT_EQ(expandList("%L%", "", true, nullptr), (Strings{"%L%"}));
    EXPECT_TRUE(expandList("", "", true, &source).empty());
}

// A text ending in an escape loses its last item; longer strings disable escaping. The
// plain variant keeps other escapes and a trailing empty item.
TEST(Split, CutsAtDelimitersHonouringOneCharacterEscapes) {
    const struct {
        bool plain;
        const char* text;
        const char* delimiter;
        const char* escape;
        Strings expected;
    } cases[] = {{false, "a;;b", ";", "", {"a", "", "b"}},
                 {false, "a;b;", ";", "", {"a", "b"}},
                 {false, ";a", ";", "", {"", "a"}},
                 {false, "", ";", "", {}},
                 {false, "a\\;b;c", ";", "\\", {"a;b", "c"}},
                 {false, "a\\\\b;c", ";", "\\", {"a\\b", "c"}},
                 {false, "a\\xb;c", ";", "\\", {"axb", "c"}},
                 {false, "a;b\\", ";", "\\", {"a"}},
                 {false, "a;b\\;", ";", "\\", {"a"}},
                 {false, "a;b", "", "", {}},
                 {false, "a;b", "", "\\", {"a;b"}},
                 {false, "a,b\\,c", ",;", "\\", {"a", "b\\", "c"}},
                 {false, "a,b\\,c", ",", "\\/", {"a", "b\\", "c"}},
                 {true, "a\\;b;c", ";", "\\", {"a;b", "c"}},
                 {true, "a;", ";", "\\", {"a", ""}},
                 {true, "a;;b", ";", "", {"a", "", "b"}},
                 {true, "", ";", "\\", {}},
                 {true, "a\\xb", ";", "\\", {"a\\xb"}},
                 {true, "a;b", "", "\\", {"a;b"}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.text) + " | " + c.delimiter + " | " + c.escape);
        EXPECT_EQ((c.plain ? _split_ : split)(c.text, c.delimiter, c.escape), c.expected);
    }
    const std::string item(10000, 'x');
    EXPECT_EQ(split(item + ";" + item, ";", "\\"), (Strings{item, item}));
}

// serialize puts the separator after every item; escapeChars works in place and resumes
// two characters after an insertion.
TEST(StringUtils, SerializeEscapeAndStrip) {
    EXPECT_EQ(serialize({}, ";"), "");
    EXPECT_EQ(serialize({"x"}, ";"), "x;");
    EXPECT_EQ(serialize({"a", ""}, ", "), "a, , ");
    std::string text = "a;b;";
    EXPECT_EQ(escapeChars(text, ";", "\\/"), "a\\;b\\;");
    EXPECT_EQ(text, "a\\;b\\;");
    std::string percent = "%%%%";  // the resumption point lies inside a two-character match
    EXPECT_EQ(escapeChars(percent, "%%", "\\"), "\\%\\%\\%%");
    std::string plain = "a;b";
    EXPECT_EQ(escapeChars(plain, "", "\\"), "a;b");
    EXPECT_EQ(escapeChars(plain, ";", ""), "a;b");
    // Stripping keeps a text that would strip to nothing.
    EXPECT_EQ(stripChars(" ;a; b; ", " ;"), "a; b");
    EXPECT_EQ(stripChars("abc", ""), "abc");
    EXPECT_EQ(stripChars(" ;; ", " ;"), " ;; ");
    EXPECT_EQ(stripChars("", " "), "");
}

TEST(Names, OnlyThePropertyAlphabetIsValidAndValidateReplacesTheRest) {
    EXPECT_TRUE(isValidName("Abc_{1}z9"));
    EXPECT_TRUE(isValidName(std::string(10000, 'a')));
    for (const std::string& bad :
         {std::string(), std::string("a b"), std::string("cam:1"), std::string("a\0b", 3)}) {
        EXPECT_FALSE(isValidName(bad)) << bad;
    }
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"a b", "_", "a_b"}, {"", "_", "_"},         {"a:b-c", "X", "aXbXc"}, {"a b", "-", "ab"},
        {"a b", " ", "ab"},  {"a b", nullptr, "ab"}, {"!!!", nullptr, "_"}};
    for (const auto& [name, replacement, expected] : cases)
        EXPECT_EQ(validateName(name, replacement), expected)
            << name << " / " << (replacement ? replacement : "null");
}

TEST(GenerateKey, GroupsOfCapitalsAndDigitsInBraces) {
    EXPECT_EQ(generateKey(1, 1).size(), 3u);
    const std::string key = generateKey(4, 8);
    std::string shape = key;
    for (char& c : shape) c = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ? 'x' : c;
    EXPECT_EQ(shape, "{xxxx-xxxx-xxxx-xxxx-xxxx-xxxx-xxxx-xxxx}") << key;
    EXPECT_EQ(generateKey(0, 8) + generateKey(4, 0) + generateKey(-1, -1), "");
}

}  // namespace
