#include "InstallerCore/support/PropertyValue.h"

#include <gtest/gtest.h>

namespace InstallerCore {

namespace {

TEST(PropertyValueTest, ValueIsOfItsKindOnly) {
    const PropertyValue values[] = {{PropertyOther()},       {true},
                                    {std::int64_t{5}},       {2.5},
                                    {std::string("text")},   {toBytes("data")},
                                    {PropertyArray{{true}}}, {PropertyDictionary{{"key", {true}}}}};
    for (const PropertyValue& value : values) {
        const std::size_t kind = value.value.index();
        EXPECT_EQ(value.integer() != nullptr, kind == 2) << kind;
        EXPECT_EQ(value.text() != nullptr, kind == 4) << kind;
        EXPECT_EQ(value.data() != nullptr, kind == 5) << kind;
        EXPECT_EQ(value.array() != nullptr, kind == 6) << kind;
        EXPECT_EQ(value.dictionary() != nullptr, kind == 7) << kind;
    }
    EXPECT_EQ(*values[2].integer(), 5);
    EXPECT_EQ(*values[4].text(), "text");
    EXPECT_EQ(asText(*values[5].data()), "data");
    EXPECT_EQ(values[6].array()->size(), 1U);
}

TEST(PropertyValueTest, OnlyTheSameContentOfTheSameKindIsEqual) {
    const auto nested = [](bool innermost) {
        return PropertyValue{PropertyDictionary{{"list", {PropertyArray{{innermost}}}}}};
    };
    const PropertyValue values[] = {{PropertyOther()},
                                    {false},
                                    {std::int64_t{0}},
                                    {0.0},
                                    {0.5},
                                    {std::string()},
                                    {Bytes()},
                                    {toBytes("data")},
                                    {PropertyArray()},
                                    {PropertyDictionary()},
                                    nested(false),
                                    nested(true)};
    for (const PropertyValue& left : values) {
        for (const PropertyValue& right : values) {
            EXPECT_EQ(left == right, &left == &right) << &left - values << ' ' << &right - values;
        }
        EXPECT_EQ(left, PropertyValue(left));
    }
}

TEST(PropertyValueTest, MemberIsFoundByItsExactName) {
    const PropertyDictionary dictionary{{"", {std::int64_t{1}}}, {"key", {std::int64_t{2}}}};
    EXPECT_EQ(*member(dictionary, "")->integer(), 1);
    EXPECT_EQ(*member(dictionary, "key")->integer(), 2);
    for (const char* name : {"Key", "ke", "key ", "keys"}) {
        EXPECT_EQ(member(dictionary, name), nullptr) << name;
    }
    EXPECT_EQ(member({}, ""), nullptr);
}

} // namespace

} // namespace InstallerCore
