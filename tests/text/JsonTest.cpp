#include "BrellinCore/text/Json.h"

#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <random>
#include <string>

namespace brellin {

TEST(Json, RefusesWhatIsNotOneDocument) {
    for (const char* text :
         {"", "{", "{} {}", "[1,]", "nul", "{'a':1}", "1e400", "[-1e400]", "NaN", "\"\xFF\"", "\"\\ud800\"", "01"}) {
        EXPECT_FALSE(Json::parse(text)) << text;
    }
    EXPECT_FALSE(Json::parse({"{}\0", 3}));
    const std::string deepest = std::string(Json::maxDepth, '[') + std::string(Json::maxDepth, ']');
    EXPECT_TRUE(Json::parse(deepest));
    EXPECT_FALSE(Json::parse("[" + deepest + "]"));
    EXPECT_FALSE(Json::parseObject("[]"));
}

TEST(Json, KeepsNumbersAsTheyAre) {
    for (const std::string text : {"-9223372036854775808", "18446744073709551615", "0", "-5"}) {
        EXPECT_EQ(boost::json::serialize(*Json::parse(text)), text);
    }
    std::mt19937_64 random(20260301);
    for (int count = 0; count < 20000; ++count) {
        const auto digits = std::to_string(random() >> (random() % 60U)) + "." + std::to_string(random()) + "e" +
                            std::to_string(static_cast<int>(random() % 560U) - 290);
        const auto value = Json::parse(digits);
        ASSERT_TRUE(value) << digits;
        const double exact = std::strtod(digits.c_str(), nullptr);
        ASSERT_EQ(value->as_double(), exact) << digits;
        ASSERT_EQ(std::strtod(boost::json::serialize(*value).c_str(), nullptr), exact) << digits;
    }
}

TEST(Json, ReadsMembersByType) {
    const auto object =
        *Json::parseObject(R"({"a":1,"a":2,"s":"x","whole":42.0,"half":42.5,"yes":true,"big":9223372036854775808,)"
                           R"("least":-9223372036854775808.0,"tooBig":9.3e18,"null":null})");
    EXPECT_EQ(Json::wholeNumberMember(object, "a"), 2) << "the last of duplicates counts";
    EXPECT_EQ(Json::wholeNumberMember(object, "whole"), 42);
    EXPECT_EQ(Json::wholeNumberMember(object, "least"), std::numeric_limits<std::int64_t>::min());
    for (const char* name : {"half", "yes", "big", "tooBig", "null", "s", "missing"}) {
        EXPECT_EQ(Json::wholeNumberMember(object, name), std::nullopt) << name;
    }
    EXPECT_EQ(*Json::stringMember(object, "s"), "x");
    EXPECT_EQ(Json::stringMember(object, "a"), nullptr);
    EXPECT_EQ(Json::objectMember(object, "s"), nullptr);
}

}  // namespace brellin
