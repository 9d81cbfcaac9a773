// The catalogue, the log's text, and numbers as text.
#include <doctest/doctest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <random>
#include <string>

#include "frame/host_message.h"
#include "host/message/catalogue.h"
#include "host/message/number_text.h"
#include "host/session/options.h"
#include "host/session/session.h"
#include "numeric/missing.h"

using namespace vek;

TEST_CASE("catalogue: groups ascend, and every message is found under its number") {
    int last = -1;
    for (const CatalogueGroup& group : catalogue()) {
        CHECK(group.group > last);
        last = group.group;
        for (const CatalogueRow& row : group.rows) {
            CAPTURE(group.group);
            CAPTURE(row.number);
            CHECK(find_message(group.group, row.number) == &row);
            if (!row.hint.empty()) CHECK((row.hint.back() == '.' || row.hint.back() == '?'));
        }
    }
    CHECK(find_message(172, 5) == nullptr);
    CHECK(find_message(171, 1) == nullptr);
}

TEST_CASE("catalogue: arguments fill the places in order, and an empty one at the end leaves no blank") {
    CHECK(rdvmsg(172, 307, "variety", 32767) == "class variable variety has more than 32767 levels");
    CHECK(rdvmsg(172, 129, "y", "") == "Dependent Variable: y");
    CHECK(rdvmsg(172, 129, "y", "yield in kg") == "Dependent Variable: y yield in kg");
    CHECK(rdvmsg(172, 302, 0.5) == "Analysis of Variance of O'Brien's Spread Variable, W = 0.5");
    CHECK(rdvmsg(172, 209) == "H = ");
    CHECK(rdvmsg(172, 5, "x", 3) == "message 172/5 x 3");
    CHECK(format_message(910, 62, arguments("OBS=0", 1234567890123.0)) == "OBS=0 is less than 1234567890123");
}

TEST_CASE("catalogue: one of a thing is no plural") {
    CHECK(format_message(910, 40, arguments("d.csv", 1, 0, "")) == "d.csv: 1 row read, 0 used");
    CHECK(format_message(910, 40, arguments("d.csv", 0, 0, "")) == "d.csv: 0 rows read, 0 used");
    CHECK(format_message(910, 42, arguments("o", 1, 2)) == "the data set o has 1 row and 2 variables");
    CHECK(format_message(910, 42, arguments("o", 21, 1)) == "the data set o has 21 rows and 1 variable");
    CHECK(format_message(910, 1, arguments(1, 2)) == "row has 1 field, the header names 2");
}

TEST_CASE("log: a message of a statement has its place, its excerpt and its hint; control characters are shown") {
    session().reset_for_test();
    host_log().set_statement({"trial.vek", 4, 5, 8});
    xpmlog(172, 307, "a\x1b[31m", 32767);
    report(930, 10, arguments("out.csv", "No space left on device"), {}, {}, "first\n\nsecond");
    std::string text;
    host_log().write_text(&text);
    CHECK(text ==
          "trial.vek:4:5: error: class variable a\\x1b[31m has more than 32767 levels\n"
          "    A continuous variable does not belong in CLASS; ABSORB takes a variable of very many groups.\n"
          "error: out.csv could not be written: No space left on device\n"
          "    first\n"
          "\n"
          "    second\n");
    CHECK(host_log().entries()[0].text == "class variable a\x1b[31m has more than 32767 levels");
    CHECK(visible_text("tab\t nel\xc2\x85 \xc3\xa9") == "tab\\x09 nel\\x85 \xc3\xa9");
    CHECK(visible_text("\x1f \x7f \xc2\x80\xc2\x9f\xc2\xa0") == "\\x1f \\x7f \\x80\\x9f\xc2\xa0");
    session().reset_for_test();
}

namespace {

struct Shown {
    double value;
    int width;
    int decimals;
    const char* text;
};

std::string field(double value, int width, int decimals) {
    std::string buffer(static_cast<std::size_t>(width), '#');
    xpfs(value, width, decimals, buffer.data());
    return buffer;
}

}  // namespace

TEST_CASE("number text: fixed notation rounds correctly and gives way when it does not fit") {
    const Shown rows[] = {
        {2.5, 8, 2, "    2.50"},
        {-0.125, 8, 2, "   -0.12"},  // exact ties go to even
        {0.375, 8, 2, "    0.38"},
        {2.675, 8, 2, "    2.67"},  // the double lies below the tie
        {123456.789, 8, 3, "123456.8"},
        {0.5, 3, 2, ".50"},
        {-0.5, 4, 2, "-.50"},
        {0.0, 4, 2, "0.00"},
        {-0.0, 5, 2, " 0.00"},
        {99.995, 5, 2, "  100"},
        {12345678, 6, 0, "1.23E7"},
        {1e300, 8, 2, "   1E300"},
        {missing, 5, 2, "    ."},
        {vzmissing('I'), 5, 2, "   .I"},
        {vzmissing('_'), 5, 99, "   ._"},
        {1.5, 6, 98, "   1.5"},
        {0.555, 3, 3, "0.6"},
    };
    for (const Shown& row : rows) {
        CAPTURE(row.value);
        CAPTURE(row.width);
        CHECK(field(row.value, row.width, row.decimals) == row.text);
    }
    CHECK(field(1e9, 12, 2) == "  1000000000");
    CHECK(field(1e9, 13, 2) == "1000000000.00");
}

TEST_CASE("number text: the best representation shows as many digits as fit and an exponent only when needed") {
    const Shown rows[] = {
        {2, 6, 99, "     2"},
        {0.5, 6, 99, "   0.5"},
        {2.0 / 3, 6, 99, "0.6667"},
        {-2.0 / 3, 6, 99, "-0.667"},
        {100.0 / 3, 12, 99, "33.333333333"},
        {123456789, 12, 99, "   123456789"},
        {123456789, 6, 99, "1.23E8"},
        {123456.789, 6, 99, "123457"},
        {999999.9, 6, 99, "   1E6"},
        {99999.96, 6, 99, "100000"},
        {0.00012345678, 8, 99, "0.000123"},
        {0.000012345678, 12, 99, "1.2345678E-5"},
        {1e-5, 8, 99, " 0.00001"},
        {1.5e-10, 12, 99, "     1.5E-10"},
        {1e-300, 8, 99, "  1E-300"},
        {-1e-300, 8, 99, " -1E-300"},
        {1e15, 12, 99, "        1E15"},
        {0.1, 12, 99, "         0.1"},
        {1e22, 22, 99, "                  1E22"},
        {1e22, 23, 99, "10000000000000000000000"},
        {0.04, 3, 99, "  0"},
        {0.051, 3, 99, "0.1"},
        {0.96, 2, 99, " 1"},
        {12345, 3, 99, "1E4"},
        {12345, 2, 99, "**"},
        {1.0 / 0.0, 6, 99, "   inf"},
    };
    for (const Shown& row : rows) {
        CAPTURE(row.value);
        CAPTURE(row.width);
        CHECK(field(row.value, row.width, row.decimals) == row.text);
    }
}

TEST_CASE("number text: at 24 characters the best representation reads back as the same double, and never overflows") {
    std::mt19937_64 random(5);
    for (int i = 0; i < 200000; ++i) {
        const double value = std::bit_cast<double>(random());
        if (!std::isfinite(value)) continue;
        const std::string text = best_text(value, 24);
        double back = 0;
        REQUIRE(std::from_chars(text.data(), text.data() + text.size(), back).ec == std::errc());
        REQUIRE(back == value);
    }
    // In every width: no longer than the width, and within half a unit of its last digit of the value.
    for (int i = 0; i < 200000; ++i) {
        const double value =
            std::ldexp(static_cast<double>(random() % 2000001) - 1e6, static_cast<int>(random() % 80) - 50);
        const int width = 8 + static_cast<int>(random() % 8);
        const std::string text = best_text(value, width);
        REQUIRE(static_cast<int>(text.size()) <= width);
        double back = 0;
        REQUIRE(std::from_chars(text.data(), text.data() + text.size(), back).ec == std::errc());
        const double floor_error = std::pow(10.0, -(width - 3));
        REQUIRE(std::fabs(back - value) <= std::max(std::fabs(value) * 0.06, floor_error));
    }
}

TEST_CASE("zpfmt: decimals leave room for sign, point and the whole part, and for a carry") {
    const struct {
        double value;
        int width, decimals;
    } rows[] = {{0, 8, 5},      {0.5, 12, 9},     {1, 12, 9},      {9.99, 12, 9},     {10, 12, 8},
                {99999, 8, 1},  {999999, 8, 0},   {9999999, 8, 0}, {99999999, 8, 99}, {123456789, 8, 99},
                {-99999, 8, 1}, {99999.96, 8, 0}, {missing, 8, 5}, {1e300, 12, 99}};
    for (const auto& row : rows) {
        CAPTURE(row.value);
        CHECK(zpfmt(row.value, row.width) == row.decimals);
    }
}

TEST_CASE("znamfix: the number stays whole, the prefix is cut at a character") {
    CHECK(znamfix("MVAR", 3, 32) == "MVAR3");
    CHECK(znamfix("Temperature", 12, 8) == "Temper12");
    CHECK(znamfix("h\xc3\xb6he", 12, 4) == "h12");
    CHECK(znamfix("x", 12345, 4) == "1234");
}

TEST_CASE("xpils: right-justified, and stars where the number does not fit") {
    std::string buffer = "########";
    xpils(-42, 6, buffer.data());
    CHECK(buffer == "   -42##");
    xpils(1234567, 6, buffer.data());
    CHECK(buffer == "******##");
}

TEST_CASE("host options: kinds, ranges, factors, and the nearest name") {
    Options options;
    CHECK(options.set("budget", "3M") == Options::Outcome::done);
    CHECK(options.number("BUDGET") == 3145728);
    CHECK(options.set("budget", "3k") == Options::Outcome::done);
    CHECK(options.number("BUDGET") == 3072);
    CHECK(options.set("budget", "2G") == Options::Outcome::done);
    CHECK(options.number("BUDGET") == 2147483648.0);
    CHECK(options.set("LINESIZE", "wide") == Options::Outcome::not_a_number);
    CHECK(options.set("LINESIZE", "10") == Options::Outcome::out_of_range);
    CHECK(options.set("INTERACTIVE", "2") == Options::Outcome::out_of_range);
    CHECK(options.set("INTERACTIVE", "1x") == Options::Outcome::not_a_number);
    CHECK(options.set("INTERACTIVE", "0.5") == Options::Outcome::not_a_number);
    CHECK(options.set("LINESIZE", "1K") == Options::Outcome::not_a_number);
    CHECK(options.set("LINESIZE", "K") == Options::Outcome::not_a_number);
    CHECK(options.set("LINSIZE", "80") == Options::Outcome::unknown);
    CHECK(options.set("DEBUG", "foo") == Options::Outcome::unknown_word);
    CHECK(options.set("DEBUG", "SYN foo") == Options::Outcome::unknown_word);
    CHECK(options.set("DEBUG", "1") == Options::Outcome::unknown_word);
    CHECK(options.text("DEBUG").empty());
    CHECK(options.set("DEBUG", "syn, Layout") == Options::Outcome::done);
    CHECK(options.set("DEBUG", "SYNSEM") == Options::Outcome::done);
    CHECK(options.set("DEBUG", " ") == Options::Outcome::done);
    CHECK(options.number("LINESIZE") == 0);
    CHECK(Options::nearest("LINSIZE") == "LINESIZE");
    CHECK(Options::nearest("fault_write").empty());
    CHECK(Options::nearest("zzzz").empty());
}
