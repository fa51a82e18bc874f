#include "BrellinCore/text/JsonReader.h"
#include "BrellinCore/text/JsonText.h"
#include "BrellinCore/text/NearestDouble.h"
#include "BrellinCore/text/Split.h"

#include <boost/json/serialize.hpp>
#include <boost/json/string.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <random>
#include <string>

namespace brellin {

namespace {

/// What a reader finds in a document whose text comes in pieces of that size, or all at once when it is 0.
std::string found(std::string_view text, std::size_t pieceSize) {
    std::optional<std::string> name = "from before";
    std::optional<std::int64_t> pid = 1;
    std::optional<JsonReader::Source> id = JsonReader::Source{"from before"};
    std::optional<std::string> mail = "from before";
    const auto members = std::to_array<JsonReader::Member>(
        {{"name", &name}, {"pid", &pid}, {"id", &id}, {"mail", &mail, "account.owner"}});
    bool isRead = false;
    if (pieceSize == 0) {
        isRead = JsonReader::read(text, members);
    } else {
        JsonReader reader(members);
        for (std::size_t begin = 0; begin < text.size(); begin += pieceSize) {
            reader.feed(text.substr(begin, pieceSize));
        }
        isRead = reader.finish();
    }
    return (isRead ? "" : "refused") + (name ? " name " + *name : "") + (pid ? " pid " + std::to_string(*pid) : "") +
           (id ? " id " + id->text : "") + (mail ? " mail " + *mail : "");
}

void expectFound(std::string_view text, std::string_view expected) {
    for (const std::size_t pieceSize : {0U, 1U, 2U, 3U, 7U, 100U}) {
        EXPECT_EQ(found(text, pieceSize), expected) << text.substr(0, 100) << " in pieces of " << pieceSize;
    }
}

}  // namespace

TEST(JsonReader, FindsMembersWhereTheyAreNamed) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {R"( {"name":"n","pid":-5,"id":null,"account":{"x":[{}],"owner":{"mail":"a"}}} )",
         " name n pid -5 id null mail a"},
        {R"({"n\u0061me":"\u00e9\n\"\ud83d\ude00","x":"\ud83d"})", " name é\n\"😀"},
        {R"({"name":"","pid":0,"account":{"owner":{"mail":""}}})", " name  pid 0 mail "},
        // another type, another place, another key
        {R"({"name":5,"pid":"5","account":{"owner":"mail"}})", ""},
        {R"({"name":["n"],"pid":{"pid":5},"account":[{"owner":{"mail":"a"}}]})", ""},
        {R"({"x":{"name":"n","pid":5},"owner":{"mail":"a"},"mail":"a","account":{"mail":"a"}})", ""},
        {R"({"account":{"owner":{"x":{"mail":"a"}},"owner.mail":"a"},"Name":"n","nam":"n","na\u0000e":"n"})", ""},
        {R"({"account.owner":{"mail":"a"},"account.owner.mail":"a","":{"":{}},"names":"n"})", ""},
        // the last of duplicates counts, whatever it holds
        {R"({"name":"m","name":"n","pid":1,"pid":2,"id":[1],"id":2})", " name n pid 2 id 2"},
        {R"({"name":"n","name":null,"pid":1,"pid":1.5})", ""},
        {R"({"account":{"owner":{"mail":"a"},"owner":{}}})", ""},
        {R"({"account":{"owner":{"mail":"a"}},"account":5})", ""},
        {R"({"account":5,"account":{"owner":{"mail":"a"},"owner":{"mail":"b"}}})", " mail b"},
        // a byte order mark, and halves of surrogate pairs
        {"\uFEFF{\"name\":\"n\"}", " name n"},
        {R"({"name":"fix \ud83d"})", " name fix \uFFFD"},
        {R"({"name":"\ude00\ud83d\ud83d\uDE00\n\uD83D\u0061\\ud83d \\\ud83d"})",
         " name \uFFFD\uFFFD😀\n\uFFFDa\\ud83d \\\uFFFD"}};
    for (const auto& [text, expected] : cases) {
        expectFound(text, expected);
    }
    // A key that comes in three pieces, of which the first would do and the second is too long to be kept.
    expectFound("{" + std::string(94, ' ') + "\"name" + std::string(100, 'x') + "\":\"n\"}", "");
}

TEST(JsonReader, ReadsWholeNumbersByTheirValue) {
    const std::string zeros(2000, '0');
    const std::pair<std::string, std::string> cases[] = {{"42", "42"},
                                                         {"42.0", "42"},
                                                         {"-4200e-2", "-42"},
                                                         {"-0", "0"},
                                                         {"0e999999", "0"},
                                                         {"1e18", "1" + zeros.substr(0, 18)},
                                                         {"9223372036854775807", "9223372036854775807"},
                                                         {"-9223372036854775808.0", "-9223372036854775808"},
                                                         {"42.5", ""},
                                                         {"9223372036854775808", ""},
                                                         {"9223372036854775808.0", ""},
                                                         {"1e308", ""},
                                                         {"true", ""},
                                                         {"0." + zeros + "5e2002", "50"},
                                                         {"5" + zeros + "e-2000", "5"},
                                                         // half way between two doubles, and a little more
                                                         {"9007199254740993." + zeros, "9007199254740992"},
                                                         {"9007199254740993." + zeros + "1", "9007199254740994"}};
    for (const auto& [number, expected] : cases) {
        expectFound(R"({"x":[123,1.5],"pid":)" + number + "}", expected.empty() ? "" : " pid " + expected);
    }
}

TEST(JsonReader, KeepsAnyValueAsOneLineWithItsDigits) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"12345678901234567890123", "12345678901234567890123"},
        {"-0.10E+2", "-0.10E+2"},
        {R"("a\u0062\n\"\/\u0000 \ud83d")", "\"ab\\n\\\"/\\u0000 \uFFFD\""},
        {"[ 1.50 , [\n] , { \"k\\u0031\" : null,\"k1\":{ } } ,true, false,\"\",[[2]]]",
         R"([1.50,[],{"k1":null,"k1":{}},true,false,"",[[2]]])"}};
    for (const auto& [value, expected] : cases) {
        expectFound(fmt::format(R"({{"id":{},"x":[1]}})", value), fmt::format(" id {}", expected));
    }
}

TEST(JsonReader, RefusesWhatIsNotJson) {
    const std::string_view values =
        R"(nul;nulll;True;NaN;-Infinity;'a';a;01;-01;+1;1.;.1;1e;1e+;1.e1;- 1;0x1;--1;1e1.5;1e400;[-1e400];1e99999999999;)"
        R"(";"\";"\x";"\u12G4";"\u12";"\ud83d\u";"\ud83d\u1";"\ud83d\x";"\ud83d;\u0031;1/**/;1//;1};1,;[1,];[,1];[1 2];)"
        R"([1,,2];[1;[1};{"a"};{"a":};{"a":1,};{"a" 1};{1:1};{a:1};{"a":1 "b":2})"
        "; ;\"\n\";\"\t\";\f1;\u00A01;\uFEFF1;\"\xFF\";\"\xED\xA0\x80\";\"\xC0\xAF\";\"\xE2\x82\"";
    for (const std::string_view value : splitDroppingEmpty(values, ";")) {
        expectFound(fmt::format(R"({{"name":"n","pid":5,"x":{}}})", value), "refused");
    }
    const std::string_view texts =
        " ;\uFEFF;\xEF;\xEF{};\xEF\xBB{};\uFEFF\uFEFF{};[];[{}];\"name\";5;1e5;null;true;{}{};{},;{}x{};{\"name\":\"n\";{}]";
    for (const std::string_view text : splitDroppingEmpty(texts, ";")) {
        expectFound(text, "refused");
    }
    expectFound("", "refused");
    expectFound({"{}\0", 3}, "refused");
    const std::string deepest = std::string(511, '[') + std::string(511, ']');
    expectFound(R"({"name":"n","x":)" + deepest + "}", " name n");
    expectFound(R"({"name":"n","x":[)" + deepest + "]}", "refused");
}

TEST(JsonReader, KnowsTheRangeOfADoubleToTheLastDigit) {
    // Half way between the largest double and what would be the next.
    const std::string limit =
        "17976931348623158079372897140530341507993413271003782693617377898044496829276475094664901797758720709633028641669"
        "28879109465555478519404026306574886715058206819089020007083836762738548458177115317644757302700698555713669596228"
        "42914819860834936475292719074168444365510704342711559699508093042880177904174497792";
    const std::string justBelow = limit.substr(0, limit.size() - 1) + "1." + std::string(2000, '9');
    expectFound(R"({"id":)" + justBelow + "}", " id " + justBelow);
    expectFound(R"({"name":"n","x":)" + justBelow + "}", " name n");
    for (const std::string& number : {limit, "[-" + limit + ".0]", "0.00" + limit + "e311"}) {
        expectFound(R"({"name":"n","x":)" + number + "}", "refused");
    }
}

TEST(JsonReader, ReadsListsOfStringsAndNothingElse) {
    using List = std::vector<std::string>;
    EXPECT_EQ(JsonReader::readStrings(" [\"a\",\"\",\"b\\n\\ud83d\"]"), (List{"a", "", "b\n\uFFFD"}));
    EXPECT_EQ(JsonReader::readStrings("\uFEFF[]"), List());
    const List many(20000, R"("a\\b")");
    EXPECT_EQ(JsonReader::readStrings(fmt::format("[{}]", fmt::join(many, ","))), List(20000, "a\\b"));
    for (const char* text :
         {"", "{}", "\"a\"", "[5]", "[1.5]", "[null]", R"(["a",["b"]])", R"(["a",{}])", "[\"a\"", "[] []"}) {
        EXPECT_EQ(JsonReader::readStrings(text), std::nullopt) << text;
    }
}

TEST(JsonText, EscapesWhatHasToBe) {
    for (int byte = 0; byte < 0x80; ++byte) {
        for (std::size_t place = 0; place < 20; ++place) {
            std::string text = "0123456789ab–\uFFFDefgh";
            text.insert(std::min(place, text.size() - place), 2, static_cast<char>(byte));
            std::string json = "before";
            JsonText::appendString(json, std::string_view(text).substr(place % 12));
            EXPECT_EQ(json, "before" + boost::json::serialize(boost::json::string(text.substr(place % 12)))) << byte;
        }
    }
}

TEST(NearestDouble, IsTheSameForPiecesAsForAllDigits) {
    std::mt19937_64 random(20260301);
    for (int count = 0; count < 20000; ++count) {
        const auto digits = fmt::format("{}{}.{}e{}", count % 2 == 0 ? "-" : "", random() >> (random() % 60U), random(),
                                        static_cast<int>(random() % 640U) - 330);
        const std::size_t cut = random() % digits.size();
        NearestDouble number;
        number.append(std::string_view(digits).substr(0, cut));
        number.append(std::string_view(digits).substr(cut));
        ASSERT_EQ(number.value(), std::strtod(digits.c_str(), nullptr)) << digits;
    }
}

}  // namespace brellin
