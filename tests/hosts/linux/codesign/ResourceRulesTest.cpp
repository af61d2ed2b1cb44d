#include "hosts/linux/codesign/ResourceRules.h"

#include "tests/hosts/linux/codesign/RefusalOf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace InstallerCore::CodeSign {

namespace {

using Testing::refusalOf;

PropertyValue rule(PropertyDictionary properties) {
    return {std::move(properties)};
}

// The rule that each list needs, and these.
PropertyDictionary with(PropertyDictionary rules) {
    rules.emplace("^.*", PropertyValue{true});
    return rules;
}

std::string refusal(const PropertyDictionary& rules) {
    return refusalOf([&rules] { return ResourceRules(rules); });
}

const PropertyValue nested = rule({{"nested", {true}}, {"weight", {std::int64_t{10}}}});
const PropertyValue heavy = rule({{"weight", {std::int64_t{20}}}});
const PropertyValue omitted = rule({{"omit", {true}}, {"weight", {std::int64_t{2000}}}});

constexpr const char* dsStore = R"(^(.*/)?\.DS_Store$)";
constexpr const char* notUnderstood = "has a rule that cannot be understood";
constexpr const char* noExpression = "has a rule that is no regular expression";

TEST(ResourceRulesTest, withoutOtherRulesEverythingIsSealed) {
    const ResourceRules rules(with({}));
    for (const char* const path : {"", "a", "Resources/a", ".DS_Store", "a\nb", "\xFF\xFE", "Info.plist"}) {
        EXPECT_TRUE(rules.verdict(path).isSealed) << path;
        EXPECT_FALSE(rules.verdict(path).isNested) << path;
    }
}

TEST(ResourceRulesTest, theWeightiestRuleThatMatchesDecides) {
    const ResourceRules rules(with({{"^Frameworks/", nested}, {"^Frameworks/Data/", heavy}}));
    EXPECT_TRUE(rules.verdict("Frameworks/A.framework").isNested);
    EXPECT_TRUE(rules.verdict("Frameworks/A.framework").isSealed);
    EXPECT_FALSE(rules.verdict("Frameworks/Data/A.framework").isNested);
    EXPECT_FALSE(rules.verdict("Resources/A.framework").isNested);
}

TEST(ResourceRulesTest, aRuleWithoutWeightWeighsOne) {
    const PropertyValue light = rule({{"nested", {true}}, {"weight", {0.5}}});
    const PropertyValue plain = rule({{"nested", {true}}});
    const PropertyValue heavier = rule({{"nested", {true}}, {"weight", {1.5}}});
    EXPECT_FALSE(ResourceRules(with({{"^a", light}})).verdict("a").isNested);
    EXPECT_TRUE(ResourceRules(with({{"^a", heavier}})).verdict("a").isNested);
    // Of this one and a weight of 1.5, the latter decides.
    EXPECT_FALSE(
        ResourceRules(with({{"^a", plain}, {"^a.*", rule({{"weight", {1.5}}})}})).verdict("a").isNested);
}

TEST(ResourceRulesTest, ofTwoThatWeighTheSameTheOneThatSealsDecides) {
    const PropertyValue seals = rule({{"weight", {std::int64_t{2000}}}});
    for (const char* const other : {"DS_Store", "Z", "^"}) { // in either order of the texts
        const ResourceRules rules(with({{dsStore, omitted}, {other, seals}}));
        EXPECT_TRUE(rules.verdict("Z/.DS_Store").isSealed) << other;
    }
}

TEST(ResourceRulesTest, expressionsAreSearchedAnywhereInThePath) {
    const ResourceRules rules(with({{"b/c", nested}}));
    EXPECT_TRUE(rules.verdict("a/b/c/d").isNested);
    EXPECT_FALSE(rules.verdict("a/b").isNested);
}

TEST(ResourceRulesTest, onlyTheBeginningAndTheEndOfThePathAreThose) {
    const ResourceRules rules(with({{R"(^Info\.plist$)", omitted}, {dsStore, omitted}}));
    EXPECT_FALSE(rules.verdict("Info.plist").isSealed);
    EXPECT_FALSE(rules.verdict("a\nb/.DS_Store").isSealed);
    for (const char* const path :
         {"a\nInfo.plist", "Info.plist\n", "Info.plist\na", "\nInfo.plist", "a/Info.plist", "Info-plist",
          "a\n.DS_Store", ".DS_Store\n", "a.DS_Store", "Info.plist\r"}) {
        EXPECT_TRUE(rules.verdict(path).isSealed) << testing::PrintToString(path);
    }
}

TEST(ResourceRulesTest, aZeroByteEndsNothing) {
    using namespace std::string_view_literals;
    const ResourceRules rules(with({{R"(^Info\.plist$)", omitted}}));
    EXPECT_TRUE(rules.verdict("Info.plist\0x"sv).isSealed);
}

TEST(ResourceRulesTest, bytesAreMatchedAsTheyAre) {
    const ResourceRules rules(with({{"^\xC3\xA4$", nested}, {"^x.y$", nested}}));
    EXPECT_TRUE(rules.verdict("\xC3\xA4").isNested);
    EXPECT_TRUE(rules.verdict("x\xFFy").isNested); // one byte, of no text
    EXPECT_FALSE(rules.verdict("x\xC3\xA4y").isNested);
}

TEST(ResourceRulesTest, expressionsArePosixExtendedOnes) {
    const ResourceRules rules(
        with({{"^[[:digit:]]+$", nested}, {"^(a|b){2}$", nested}, {R"(^\(x\)$)", nested}}));
    EXPECT_TRUE(rules.verdict("123").isNested);
    EXPECT_TRUE(rules.verdict("ab").isNested);
    EXPECT_FALSE(rules.verdict("abc").isNested);
    EXPECT_TRUE(rules.verdict("(x)").isNested);
}

TEST(ResourceRulesTest, whatIsNoExpressionIsRefused) {
    for (const char* const text :
         {"(", "[", "*", "a{2", "a{99999}", "(?i)a", "(?:a)", R"(\d)", "a\\", "[z-a]"}) {
        // RE2 takes a brace that begins no repetition as itself, as POSIX lets it.
        const bool literal = std::string(text) == "a{2";
        EXPECT_EQ(refusal(with({{text, nested}})), literal ? "" : noExpression) << text;
    }
}

TEST(ResourceRulesTest, onlyWhatEveryBundleMayLeaveOutIsLeftOut) {
    for (const char* const text :
         {dsStore, R"(^Info\.plist$)", "^PkgInfo$", R"(^Resources/.*\.lproj/locversion.plist$)"}) {
        EXPECT_EQ(refusal(with({{text, omitted}})), "") << text;
    }
    for (const char* const text : {"^Resources/", "^.*$", ".", "", R"(^(.*/)?\.DS_Store)", R"(^Info.plist$)",
                                   R"(^Resources/.*\.lproj/locversion\.plist$)"}) {
        EXPECT_EQ(refusal(with({{text, omitted}})), "has a rule that leaves out more than is allowed")
            << text;
        EXPECT_EQ(refusal(with({{text, rule({{"omit", {false}}})}})), "") << text;
    }
}

TEST(ResourceRulesTest, theRuleThatSealsEverythingIsRequired) {
    constexpr const char* missing = "has no rule that seals everything";
    EXPECT_EQ(refusal({}), missing);
    EXPECT_EQ(refusal({{".*", {true}}}), missing);
    EXPECT_EQ(refusal({{"^.*$", {true}}}), missing);
    EXPECT_EQ(refusal({{"^.*", heavy}}), missing);
    EXPECT_EQ(refusal({{"^.*", omitted}}), "has a rule that leaves out more than is allowed");
    EXPECT_EQ(refusal({{"^.*", {false}}}), notUnderstood);
}

TEST(ResourceRulesTest, propertiesHaveTheirTypes) {
    const PropertyDictionary wrong[] = {
        {{"weight", {std::string("20")}}}, {{"weight", {true}}},
        {{"weight", {std::nan("")}}},      {{"weight", {std::numeric_limits<double>::infinity()}}},
        {{"omit", {std::string("true")}}}, {{"omit", {std::int64_t{1}}}},
        {{"nested", {std::int64_t{0}}}},   {{"nested", {PropertyDictionary{}}}},
    };
    for (const PropertyDictionary& properties : wrong) {
        EXPECT_EQ(refusal(with({{"^a", rule(properties)}})), notUnderstood);
    }
    for (const PropertyValue& value :
         {PropertyValue{std::string("a")}, PropertyValue{std::int64_t{1}}, PropertyValue{false}}) {
        EXPECT_EQ(refusal(with({{"^a", value}})), notUnderstood);
    }
}

TEST(ResourceRulesTest, thereIsAnEndToTheNumberOfRules) {
    PropertyDictionary rules = with({});
    for (int number = 0; number < 200; ++number) {
        rules.emplace("^" + std::to_string(number), PropertyValue{true});
    }
    EXPECT_EQ(refusal(rules), "has too many rules");
}

// What takes a backtracking matcher ages, and what grows without bound when it is compiled.
TEST(ResourceRulesTest, hostileExpressionsAreMatchedOrRefused) {
    std::string path(4000, 'a');
    for (const char* const text :
         {"^(a*)*b$", "^(a|a)*b$", "^(a|aa)+b$", "(a*a*a*a*a*a*a*a*a*a*b)+$", "^(.*.*.*)*x$"}) {
        const ResourceRules rules(with({{text, nested}}));
        EXPECT_FALSE(rules.verdict(path).isNested) << text;
    }
    EXPECT_EQ(refusal(with({{"(((a{1,100}){1,100}){1,100}){1,100}", nested}})), noExpression);
    EXPECT_EQ(refusal(with({{"(((.{1000}){1000}){1000}){1000}", nested}})), noExpression);
    EXPECT_EQ(refusal(with({{std::string(100'000, '('), nested}})), noExpression);
    EXPECT_EQ(refusal(with({{std::string(200'000, 'a'), nested}})), noExpression);
}

} // namespace

} // namespace InstallerCore::CodeSign
