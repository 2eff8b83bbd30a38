// libcutils' property readers: the parsing rules the selector's window and
// pending switch depend on.

#include <cutils/properties.h>

#include <android-base/properties.h>

#include <gtest/gtest.h>

#include <string>

namespace {

struct Int64Case {
    const char *value;
    int64_t expected;
};

class PropertyGetInt64 : public testing::TestWithParam<Int64Case> {};

TEST_P(PropertyGetInt64, ParsesAsLibcutilsDoes)
{
    android::base::SetProperty("test.zsl.int64", GetParam().value);
    EXPECT_EQ(property_get_int64("test.zsl.int64", -7), GetParam().expected) << GetParam().value;
}

INSTANTIATE_TEST_SUITE_P(Values, PropertyGetInt64,
                         testing::Values(Int64Case{"", -7},     // unset
                                         Int64Case{"300", 300}, Int64Case{"-50", -50},
                                         Int64Case{"0x10", 16}, Int64Case{"010", 8},
                                         Int64Case{"12ms", 12}, // leading number counts
                                         Int64Case{"ms", -7}, Int64Case{"true", -7},
                                         Int64Case{"9223372036854775807", INT64_MAX},
                                         Int64Case{"99999999999999999999", -7},
                                         Int64Case{"-99999999999999999999", -7}));

struct BoolCase {
    const char *value;
    int8_t expected;
};

class PropertyGetBool : public testing::TestWithParam<BoolCase> {};

TEST_P(PropertyGetBool, ParsesAsLibcutilsDoes)
{
    android::base::SetProperty("test.zsl.bool", GetParam().value);
    EXPECT_EQ(property_get_bool("test.zsl.bool", 5), GetParam().expected) << GetParam().value;
}

INSTANTIATE_TEST_SUITE_P(Values, PropertyGetBool,
                         testing::Values(BoolCase{"", 5}, BoolCase{"1", 1}, BoolCase{"y", 1},
                                         BoolCase{"yes", 1}, BoolCase{"true", 1}, BoolCase{"on", 1},
                                         BoolCase{"0", 0}, BoolCase{"n", 0}, BoolCase{"no", 0},
                                         BoolCase{"false", 0}, BoolCase{"off", 0},
                                         BoolCase{"TRUE", 5}, BoolCase{"2", 5}, BoolCase{"yes ", 5}));

TEST(PropertyGet, CopiesValueOrDefaultAndTruncates)
{
    char value[PROPERTY_VALUE_MAX];
    android::base::SetProperty("test.zsl.text", "");
    EXPECT_EQ(property_get("test.zsl.text", value, "fallback"), 8);
    EXPECT_STREQ(value, "fallback");

    android::base::SetProperty("test.zsl.text", std::string(200, 'x'));
    EXPECT_EQ(property_get("test.zsl.text", value, nullptr), PROPERTY_VALUE_MAX - 1);
    EXPECT_EQ(std::string(value), std::string(PROPERTY_VALUE_MAX - 1, 'x'));
}

} // namespace
