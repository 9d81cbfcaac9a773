// Fields as numbers: every form that is one and every form that is none, and the quick routines against the library's
// conversion over random fields.
#include <doctest/doctest.h>

#include <charconv>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "host/data/number.h"
#include "numeric/missing.h"
#include "support/vector_state.h"

using namespace vek;

namespace {

struct Form {
    const char* field;
    char point;
    FieldKind kind;
    double value;
};

bool same_bits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

/// Random fields of a kind: 0 any characters, 1 short numbers, 2 numbers of any length and exponent.
std::string random_field(std::mt19937_64& random, int kind) {
    static constexpr std::string_view characters = "0123456789012345678901234567890123456789....--+e xN,";
    std::string field;
    if (kind == 0) {
        for (auto left = random() % 10; left > 0; --left) field += characters[random() % characters.size()];
        return field;
    }
    if (random() % 2 == 0) field += '-';
    const std::size_t whole = random() % (kind == 2 ? 18 : 5), decimals = random() % (kind == 2 ? 12 : 5);
    for (std::size_t i = 0; i < whole; ++i) field += static_cast<char>('0' + random() % 10);
    if (random() % 3 != 0) {
        field += '.';
        for (std::size_t i = 0; i < decimals; ++i) field += static_cast<char>('0' + random() % 10);
    }
    if (kind == 2 && random() % 3 == 0) field += (random() % 2 == 0 ? "e-" : "E+") + std::to_string(random() % 330);
    return field;
}

/// What from_chars makes of a field; false when it does not take all of it.
bool library_value(std::string field, double* value) {
    if (const std::size_t plus = field.find("E+"); plus != std::string::npos) field.erase(plus + 1, 1);
    const auto outcome = std::from_chars(field.data(), field.data() + field.size(), *value);
    return outcome.ec == std::errc() && outcome.ptr == field.data() + field.size();
}

}  // namespace

TEST_CASE("forms of a number: a form that is none makes a column text, and one that is must be read") {
    // Values: the decimal literals as the compiler reads them.
    const Form forms[] = {
        {"5", '.', FieldKind::number, 5},
        {" 5\t", '.', FieldKind::number, 5},
        {"+.5", '.', FieldKind::number, .5},
        {"5.", '.', FieldKind::number, 5},
        {"-0", '.', FieldKind::number, -0.0},
        {"1e5", '.', FieldKind::number, 1e5},
        {"1E+5", '.', FieldKind::number, 1e5},
        {"-12.5e-3", '.', FieldKind::number, -12.5e-3},
        {"0007", '.', FieldKind::number, 7},
        {"0.1", '.', FieldKind::number, 0.1},
        {"123456789012345678901234567890", '.', FieldKind::number, 123456789012345678901234567890.0},
        {"9007199254740993", '.', FieldKind::number, 9007199254740992.0},        // halfway, ties to even
        {"9007199254740993.00001", '.', FieldKind::number, 9007199254740994.0},  // just above halfway
        {"4.9e-324", '.', FieldKind::number, 0x1p-1074},
        {"2.4e-324", '.', FieldKind::number, 0},
        {"-1e-400", '.', FieldKind::number, -0.0},
        {"0e999999999999", '.', FieldKind::number, 0},
        {"0.000000000000000000001e320", '.', FieldKind::number, 1e299},
        {"1.7976931348623157e308", '.', FieldKind::number, 1.7976931348623157e308},
        {"1.7976931348623159e308", '.', FieldKind::too_large, 0},
        {"-1e400", '.', FieldKind::too_large, 0},
        {"1e99999999999", '.', FieldKind::too_large, 0},
        {"", '.', FieldKind::missing, missing},
        {" \t ", '.', FieldKind::missing, missing},
        {".", '.', FieldKind::missing, missing},
        {" NA ", '.', FieldKind::missing, missing},
        {".a", '.', FieldKind::missing, vzmissing('A')},
        {".Z", '.', FieldKind::missing, vzmissing('Z')},
        {"._", '.', FieldKind::missing, vzmissing('_')},
        {"-", '.', FieldKind::text, 0},
        {"-.", '.', FieldKind::text, 0},
        {"1e", '.', FieldKind::text, 0},
        {"1e+", '.', FieldKind::text, 0},
        {"e5", '.', FieldKind::text, 0},
        {"--5", '.', FieldKind::text, 0},
        {"1.2.3", '.', FieldKind::text, 0},
        {"1 2", '.', FieldKind::text, 0},
        {"na", '.', FieldKind::text, 0},
        {"..", '.', FieldKind::text, 0},
        {".AB", '.', FieldKind::text, 0},
        {"Inf", '.', FieldKind::text, 0},
        {"nan", '.', FieldKind::text, 0},
        {"0x10", '.', FieldKind::text, 0},
        {"1d5", '.', FieldKind::text, 0},
        {"1_000", '.', FieldKind::text, 0},
        {"0,5", '.', FieldKind::text, 0},
        {"1,234.5", '.', FieldKind::text, 0},
        {"0,5", ',', FieldKind::number, .5},
        {",5e1", ',', FieldKind::number, 5},
        {"1.234,5", ',', FieldKind::number, 1234.5},
        {"-12.345.678,25", ',', FieldKind::number, -12345678.25},
        {"1.234", ',', FieldKind::text, 0},
        {"1234.567,5", ',', FieldKind::text, 0},
        {"12.34,5", ',', FieldKind::text, 0},
        {".", ',', FieldKind::missing, missing},
    };
    for (const Form& form : forms) {
        CAPTURE(form.field);
        CAPTURE(form.point);
        double value = 0;
        const FieldKind kind = read_number(form.field, form.point, &value);
        CHECK(kind == form.kind);
        if (kind == form.kind && (kind == FieldKind::number || kind == FieldKind::missing)) {
            CHECK(same_bits(value, form.value));
        }
    }
}

TEST_CASE("columns of numbers: the vector routines, the plain ones and the library agree to the last bit") {
    std::mt19937_64 random(7);
    constexpr int rows = 501;  // not a multiple of a register's fields
    int quick = 0;
    for (int round = 0; round < 900; ++round) {
        std::string text(field_slack, ' ');
        std::vector<std::uint32_t> ends{static_cast<std::uint32_t>(text.size() - 1)};
        std::vector<std::string> fields;
        for (int row = 0; row < rows; ++row) {
            fields.push_back(random_field(random, round % 3));
            text += fields.back();
            ends.push_back(static_cast<std::uint32_t>(text.size()));
            text += ',';
        }
        text.append(64, ' ');
        const FieldColumn column{text.data(), ends.data() + 1, 1, rows};
        std::vector<double> values(rows), plain_values(rows);
        std::vector<std::uint32_t> rest(rows), plain_rest(rows), checked_rest(rows), plain_checked_rest(rows);
        std::uint32_t longest = 0, plain_longest = 0;
        rest.resize(static_cast<std::size_t>(number_routines().read(column, '.', values.data(), rest.data())));
        plain_rest.resize(static_cast<std::size_t>(
            plain_number_routines().read(column, '.', plain_values.data(), plain_rest.data())));
        checked_rest.resize(
            static_cast<std::size_t>(number_routines().check(column, '.', &longest, checked_rest.data())));
        plain_checked_rest.resize(static_cast<std::size_t>(
            plain_number_routines().check(column, '.', &plain_longest, plain_checked_rest.data())));
        REQUIRE(rest == plain_rest);
        REQUIRE(rest == checked_rest);
        REQUIRE(rest == plain_checked_rest);
        REQUIRE(longest == plain_longest);
        std::string wrong;
        std::size_t next_rest = 0;
        for (std::size_t row = 0; row < fields.size() && wrong.empty(); ++row) {
            double expected = 0, value = 0;
            const bool number = library_value(fields[row], &expected);
            const FieldKind kind = read_number(fields[row], '.', &value);
            const bool in_rest = next_rest < rest.size() && rest[next_rest] == row;
            next_rest += in_rest ? 1 : 0;
            quick += in_rest ? 0 : 1;
            if (!number && in_rest) continue;
            const bool right =
                number && kind == FieldKind::number && same_bits(value, expected) &&
                (in_rest || (same_bits(values[row], expected) && same_bits(plain_values[row], expected)));
            if (!right) wrong = fields[row];
        }
        CHECK(wrong == "");
    }
    CHECK(quick > 100000);
}

TEST_CASE("the column routines leave the vector registers as plain code wants them, whatever the number of rows") {
    std::string text(field_slack, ' ');
    std::vector<std::uint32_t> ends{static_cast<std::uint32_t>(text.size() - 1)};
    for (int row = 0; row < 9; ++row) {
        text += "1.25,";
        ends.push_back(static_cast<std::uint32_t>(text.size() - 1));
    }
    text.append(64, ' ');
    double values[9];
    std::uint32_t rest[9], longest = 0;
    for (int rows = 0; rows <= 9; ++rows) {
        CAPTURE(rows);
        const FieldColumn column{text.data(), ends.data() + 1, 1, rows};
        number_routines().read(column, '.', values, rest);
        const bool clear_behind_reading = upper_halves_clear();
        number_routines().check(column, '.', &longest, rest);
        const bool clear_behind_checking = upper_halves_clear();
        CHECK(clear_behind_reading);
        CHECK(clear_behind_checking);
    }
}
