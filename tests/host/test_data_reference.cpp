// References to data sets: their options, and what they open; formats and value labels.
#include <doctest/doctest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/data/formats.h"
#include "host/data_support.h"

using namespace vek;
using namespace vek::test;

namespace {

/// Fails, or has, what follows VALUE.
bool value_statement(const std::string& text, Failure* failure = nullptr) {
    Scanner scanner("test.vek", text + ";");
    TokenCursor cursor(&scanner);
    cursor.load();
    const bool good = parse_value_statement(cursor);
    if (failure != nullptr) *failure = cursor.failure();
    return good;
}

bool format_of(const std::string& text, Format* format, Failure* failure = nullptr) {
    Scanner scanner("test.vek", text + ";");
    TokenCursor cursor(&scanner);
    cursor.load();
    const bool good = parse_format_name(cursor, format);
    if (failure != nullptr) *failure = cursor.failure();
    return good;
}

}  // namespace

TEST_CASE("options of a reference: which variables are there, under which names") {
    struct Case {
        std::string options, directory;
    };
    const Case cases[] = {
        {"", "a x1 x2 x3 t:$1 y"},
        {"(keep=y a)", "a y"},
        {"(keep=(Y A))", "a y"},
        {"(drop=a t)", "x1 x2 x3 y"},
        {"(keep=x1-x2)", "x1 x2"},
        {"(keep=x3--y)", "x3 t:$1 y"},
        {"(keep=x2-x2 y--y)", "x2 y"},
        {"(keep=x:)", "x1 x2 x3"},
        {"(keep=_character_ y)", "t:$1 y"},
        {"(drop=_char_)", "a x1 x2 x3 y"},
        {"(drop=_numeric_)", "t:$1"},
        {"(keep=x: drop=x2)", "x1 x3"},
        {"(rename=(a=block y='the yield'n))", "block x1 x2 x3 t:$1 the yield"},
        {"(keep=a y rename=(a=y y=a))", "y a"},
        {"(keep='a'n)", "a"},
        {"(drop=t rename=(x1=t) where=(t > 0))", "a t x2 x3 y"},  // the new names are those of WHERE=
        {"(drop=t where=(t = 'u'))", "a x1 x2 x3 y"},             // a column that is dropped still selects
    };
    for (const Case& one : cases) {
        CAPTURE(one.options);
        DataStep step;
        DataSet* data = step.open_bytes("a,x1,x2,x3,t,y\n1,2,3,4,u,5\n", one.options);
        CHECK(log_numbers() == "");
        REQUIRE(data != nullptr);
        CHECK(directory(data) == one.directory);
        CHECK(all_rows(data).size() == 1);
    }
}

TEST_CASE("options of a reference: a mistake is one error at its token") {
    struct Case {
        std::string options, log, token, suggest;
    };
    const Case cases[] = {
        {"(kep=a)", "910/61@1", "kep", "keep"},
        {"(keep=a keep=y)", "910/60@1", "keep", ""},
        {"(keep=b)", "910/50@1", "b", ""},
        {"(drop=yeild)", "910/50@1", "yeild", "yield"},
        {"(drop=_all_)", "910/66@1", "_all_", ""},
        {"(keep=z:)", "910/67@1", "z", ""},
        {"(keep=yield--a)", "910/68@1", "a", ""},
        {"(keep=a-yield)", "910/69@1", "yield", ""},
        {"(drop=a rename=(a=b))", "910/70@1", "a", ""},
        {"(rename=(a=b a=c))", "910/71@1", "a", ""},
        {"(rename=(yield=b yeild=d))", "910/50@1", "yeild", "yield"},
        {"(rename=(a=YIELD))", "910/51@1", "YIELD", ""},
        {"(obs=-1)", "900/20@1", "-", ""},
        {"(firstobs=0)", "910/62@1", "0", ""},
        {"(keep=a,yield)", "900/20@1", ",", " "},
        {"(delimiter='ab')", "910/63@1", "ab", ""},
        {"(delimiter='\"')", "910/63@1", "\"", ""},
        {"(decimal=';')", "910/64@1", ";", ""},
        {"(encoding='klingon')", "910/65@1", "klingon", ""},
        {"(where=(b=1))", "920/2@1", "b", ""},
        {"(where=(a='x'))", "920/3@1", "x", ""},
        {"(where=(a='7.5'))", "920/3@1", "7.5", "7.5"},
        {"(where=(a in (1, '2')))", "920/3@1", "2", "2"},
        {"(where=(missing(a)))", "920/10@1", "missing", ""},
        {"(where=(and a=1))", "920/1@1", "and", ""},
    };
    for (const Case& one : cases) {
        CAPTURE(one.options);
        DataStep step;
        CHECK(step.open_bytes("a,yield\n1,2\n", one.options) == nullptr);
        CHECK(log_numbers() == one.log);
        REQUIRE(host_log().entries().size() == 1);
        CHECK(host_log().entries()[0].text == one.token);
        CHECK(host_log().entries()[0].suggest == one.suggest);
    }
}

TEST_CASE("formats: different numbers that look alike are told once for a variable") {
    struct Numbers {
        const char* values;  // of the column
        const char* log;
    };
    const Numbers columns[] = {
        {"1234567890123\n1234567890124\n1234567890125\n", "910/45"},
        {"0.12345678901234\n0.1234567890122\n", "910/45"},
        {"-1.00000000000002e20\n-1e20\n", "910/45"},
        {"1.2345679e12\n1234567890123\n", "910/45"},
        {"123456789012\n123456789013\n", ""},
        {"1234567890123\n1234567890123\n1234567990123\n", ""},
        {"0.3\n0.30000000000000004\n", ""},
    };
    for (const Numbers& column : columns) {
        CAPTURE(column.values);
        DataStep step;
        DataSet* data = step.open_bytes(std::string("id\n") + column.values);
        REQUIRE(data != nullptr);
        char text[16];
        for (const char* at = column.values; *at != 0; at = std::strchr(at, '\n') + 1) {
            xvfmtl(data, 0, std::strtod(at, nullptr), text);
        }
        CHECK(log_numbers() == column.log);
    }
    // The smaller one is named first, whichever came first.
    DataStep step;
    DataSet* data = step.open_bytes("id\n1\n");
    char text[16];
    // What is only shown is no level.
    for (const double value : {0.12345678901234, 0.1234567890122}) xvfmtn(data, 0, value, text);
    CHECK(log_numbers() == "");
    for (const double value : {0.12345678901234, 0.1234567890122}) xvfmtl(data, 0, value, text);
    REQUIRE(host_log().entries().size() == 1);
    CHECK(host_log().entries()[0].text.ends_with(": 0.1234567890122 and 0.12345678901234"));
}

TEST_CASE("formats: numbers without room in their format are told once for a variable") {
    for (const bool fits : {true, false}) {
        DataStep step;
        DataSet* data = step.open_bytes("id\n1\n");
        Format format;
        format.kind = Format::Kind::fixed;
        format.name = "F";
        format.width = fits ? 3 : 2;
        set_format(data, 0, format);
        char text[16];
        for (const double value : {1.0, 100.0, 101.0}) xvfmtl(data, 0, value, text);
        CHECK(log_numbers() == (fits ? "" : "910/46"));
    }
    DataStep step;
    REQUIRE(value_statement("star 1='one*'"));
    DataSet* data = step.open_bytes("id\n1\n");
    set_format(data, 0, format_from_text("star", 0, 0));
    char text[16];
    xvfmtn(data, 0, 1, text);
    CHECK(log_numbers() == "");  // a label may end as it likes
}

TEST_CASE("reference: a variable that is suggested is written as a program writes it") {
    for (const char* options : {"(keep='time cots'n)", "(where=('time cots'n > 1))"}) {
        CAPTURE(options);
        DataStep step;
        CHECK(step.open_bytes("time cost,yield\n1,2\n", options) == nullptr);
        REQUIRE(host_log().entries().size() == 1);
        CHECK(host_log().entries()[0].suggest == "'time cost'n");
    }
}

TEST_CASE("formats: text of a value, and the sixteen bytes that classify it") {
    DataStep step;
    REQUIRE(value_statement("grade low-<50='low' 50-79.5,90='middle' .A='away' other='else'"));
    REQUIRE(value_statement("mark. 1='one' other='elsewhere'"));  // the name with its point, as it is used
    REQUIRE(value_statement("sign low-<0='neg' 0='zero' 0<-high='pos'"));
    REQUIRE(value_statement("above 0='zero' 0<-high='pos'"));
    REQUIRE(
        value_statement("$city 'B'='Berlin' 'H'-'K'='\xC3\x9C"
                        "berall' ' '='none'"));
    struct Case {
        std::string format;
        double value;
        std::string shown;
    };
    const Case cases[] = {
        {"8.2", 3.14159, "    3.14"},
        {"8.", 2.75, "       3"},
        {"F6.1", -2.375, "  -2.4"},
        {"BEST8.", 0.1, "     0.1"},
        {"best6.", 1234567.0, "1.23E6"},
        {"32.1", 2.5, std::string(29, ' ') + "2.5"},
        {"8.2", missing, "       ."},
        {"8.2", vzmissing('B'), "      .B"},
        {"grade.", 10, "low"},
        {"grade.", -1e300, "low"},
        {"grade.", 50, "middle"},
        {"grade.", 79.5, "middle"},
        {"grade.", 80, "else"},
        {"grade.", 90, "middle"},
        {"grade.", vzmissing('A'), "away"},
        {"grade.", missing, "else"},
        {"grade3.", 50, "mid"},
        {"sign.", -1, "neg"},
        {"sign.", 0, "zero"},
        {"sign.", 5e-324, "pos"},
        {"above.", 0, "zero"},
    };
    for (const Case& one : cases) {
        CAPTURE(one.format);
        CAPTURE(one.value);
        Format format;
        REQUIRE(format_of(one.format, &format));
        CHECK(format_value(format, one.value) == one.shown);
    }
    Format city;
    REQUIRE(format_of("$city.", &city));
    CHECK(format_value(city, std::string_view("B")) == "Berlin");
    CHECK(format_value(city, std::string_view("J")) ==
          "\xC3\x9C"
          "berall");
    CHECK(format_value(city, std::string_view("")) == "none");
    CHECK(format_value(city, std::string_view("Z")) == "Z");
    CHECK(format_value(format_from_text("best", 0, 0), 0.5) == "         0.5");
    CHECK(format_value(format_from_text("f", 99, 1), 0.5) == std::string(29, ' ') + "0.5");
    Format narrow;
    REQUIRE(format_of("$city3.", &narrow));
    CHECK(format_value(narrow, std::string_view("B")) == "Ber");
    Format three;
    REQUIRE(format_of("$3.", &three));
    CHECK(format_value(three, std::string_view("\xC3\x84\xC3\x96\xC3\x9C\xC3\x9F")) == "\xC3\x84\xC3\x96\xC3\x9C");

    DataSet* data = step.open_bytes("x,t\n1,abcdefghijklmno\xC3\xA4z\n");
    char text[16];
    const auto sixteen = [&](int length) { return std::string(text, 16) + "|" + std::to_string(length); };
    CHECK(sixteen(xvfmtn(data, 0, 0.1, text)) == "0.1             |3");
    CHECK(sixteen(xvfmtn(data, 0, vzmissing('A'), text)) == ".A              |2");
    const std::string_view long_text = "abcdefghijklmno\xC3\xA4z";
    CHECK(sixteen(xvfmtc(data, 1, {long_text.data(), 18}, text)) == "abcdefghijklmno |15");
    CHECK(sixteen(xvfmtc(data, 1, {nullptr, 0}, text)) == "                |0");
    Format wide;
    REQUIRE(format_of("20.3", &wide));
    CHECK(format_fits(data, 0, wide));
    CHECK_FALSE(format_fits(data, 1, wide));
    set_format(data, 0, wide);
    CHECK(sixteen(xvfmtn(data, 0, 2.5, text)) == "           2.500|16");
    CHECK(xvname(data, 0).formatwidth == 20);
    CHECK(xvshown(data, 0, 2.5).size() == 20);
    for (const auto& [name, width] : {std::pair{"grade.", 6}, {"grade3.", 3}, {"mark.", 9}}) {
        Format grade;
        REQUIRE(format_of(name, &grade));
        set_format(data, 0, grade);
        CHECK(xvname(data, 0).formatwidth == width);
    }
}

TEST_CASE("formats and VALUE: a mistake is reported at its token") {
    DataStep step;
    REQUIRE(value_statement("grade 1='one'"));
    struct Case {
        std::string text;
        int number;
        std::string suggest;
    };
    const Case values[] = {
        {"", 24, ""},
        {"grade", 24, ""},
        {"grade2 1='x'", 25, ""},
        {"best 1='x'", 25, ""},
        {"a 1", 24, ""},
        {"a 1=2", 24, ""},
        {"a 5-1='x'", 26, ""},
        {"a 1-<1='x'", 26, ""},
        {"a 3-LOW='x'", 26, ""},
        {"a HIGH-3='x'", 26, ""},
        {"a LOW-LOW='x'", 26, ""},
        {"a 1-5='x' 5-9='y'", 27, ""},
        {"a low-5='x' 3='y'", 27, ""},
        {"a low-5='x' low-<0='y'", 27, ""},
        {"a 1='x' 1='y'", 27, ""},
        {"a -5--1='x' -1-3='y'", 27, ""},
        {"a 'u'='x'", 28, ""},
        {"$a 5='x'", 29, ""},
        {"a other='x' other='y'", 30, ""},
        {"a low='x'", 24, ""},
        {"f 1='x'", 25, ""},
        {"$2a 'u'='x'", 25, ""},
        {"$a -'u'='x'", 24, ""},
    };
    for (const Case& one : values) {
        CAPTURE(one.text);
        Failure failure;
        CHECK_FALSE(value_statement(one.text, &failure));
        CHECK(failure.group == 920);
        CHECK(failure.number == one.number);
    }
    for (const char* good :
         {"a 1-<5='x' 5-9='y'", "b low-<0='neg' 0='zero' 0<-high='pos' .='none'", "c .A-.Z='code' low-high='number'",
          "$d low-<'m'='first' 'm'-high='second'", "e -5--1='neg'", "g 1<-5='behind' 1='one' 5<-9='more'"}) {
        INFO(good);
        CHECK(value_statement(good));
    }
    // The later range is pointed at, and a value that both hold is named.
    struct Overlap {
        const char* text;
        int column;
        const char* value;
    };
    const Overlap overlaps[] = {{"a 5='x' 1-9='y'", 9, "5"},           {"a 1-9='y' 5='x'", 11, "5"},
                                {"a low-5='x' low-<0='y'", 13, "LOW"}, {"a low-<0='x' low-5='y'", 14, "LOW"},
                                {"a .B='x' .A-.C='y'", 10, ".B"},      {"$a 'u'='x' 'u'-'v'='y'", 12, "'u'"}};
    for (const Overlap& one : overlaps) {
        CAPTURE(one.text);
        Failure failure;
        CHECK_FALSE(value_statement(one.text, &failure));
        CHECK(failure.number == 27);
        CHECK(failure.token.column == one.column);
        REQUIRE(failure.arguments.size() == 1);
        CHECK(failure.arguments[0].text == one.value);
    }
    const Case formats[] = {
        {"0.", 22, ""},          {"33.2", 22, ""},        {"8.8", 23, ""},      {"$grade", 21, "$grade."},
        {"grad.", 20, "grade."}, {"bst8.", 20, "best8."}, {"$nosuch.", 20, ""}, {"$32768.", 22, ""},
        {"grade32768.", 22, ""},
    };
    for (const Case& one : formats) {
        CAPTURE(one.text);
        Failure failure;
        Format format;
        CHECK_FALSE(format_of(one.text, &format, &failure));
        CHECK(failure.number == one.number);
        CHECK(failure.suggest == one.suggest);
    }
}
