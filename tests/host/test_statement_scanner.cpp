// Tokens and their places.
#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "host/statement/scanner.h"
#include "numeric/missing.h"

using namespace vek;

namespace {

std::vector<Token> scan(std::string_view text) { return Scanner("t", std::string(text)).statement(); }

}  // namespace

TEST_CASE("scanner: each kind of token is told apart, with its value") {
    struct Row {
        const char* text;
        TokenKind kind;
        const char* value;  // the token's text
        double number;
    };
    // Days since 1 January 1960: the difference of proleptic Gregorian day numbers, Python's date.toordinal().
    const Row rows[] = {
        {"abc_1", TokenKind::name, "abc_1", 0},
        {"größe", TokenKind::name, "größe", 0},
        {"'it''s'", TokenKind::string, "it's", 0},
        {"\"a\"\"b\"", TokenKind::string, "a\"b", 0},
        {"'x y'n", TokenKind::name_literal, "x y", 0},
        {"'x y'N", TokenKind::name_literal, "x y", 0},
        {"12", TokenKind::integer, "12", 12},
        {"8.2", TokenKind::number, "8.2", 8.2},
        {"8.", TokenKind::number, "8.", 8},
        {".5", TokenKind::number, ".5", 0.5},
        {"1e-3", TokenKind::number, "1e-3", 0.001},
        {"1E400", TokenKind::bad, "1E400", 0},
        {"1e-400", TokenKind::number, "1e-400", 0},
        {"'01JAN1960'd", TokenKind::date, "01JAN1960", 0},
        {"'29feb2020'D", TokenKind::date, "29feb2020", 21974},
        {"'1MAR1900'd", TokenKind::date, "1MAR1900", -21855},
        {"'29FEB2021'd", TokenKind::bad, "'29FEB2021'd", 0},
        {"'12:30'T", TokenKind::time, "12:30", 45000},
        {"'02JAN1960:00:00:01.5'dt", TokenKind::datetime, "02JAN1960:00:00:01.5", 86401.5},
        {"BEST12.", TokenKind::format, "BEST12.", 0},
        {"f8.2", TokenKind::format, "f8.2", 0},
        {"$5.", TokenKind::format, "$5.", 0},
        {"$name", TokenKind::format, "$name", 0},
        {"a.b", TokenKind::compound, "a.b", 0},
        {"<=", TokenKind::punctuation, "<=", 0},
        {"''n", TokenKind::bad, "''n", 0},
        {"#", TokenKind::bad, "#", 0},
        {"\xC3\x28", TokenKind::bad, nullptr, 0},
        {"'open", TokenKind::bad, "'open", 0},
        {"/* open", TokenKind::bad, "/* open", 0},
        {"\r", TokenKind::bad, nullptr, 0},
    };
    for (const Row& row : rows) {
        CAPTURE(row.text);
        const std::vector<Token> tokens = scan(row.text);
        REQUIRE(!tokens.empty());
        CHECK(tokens[0].kind == row.kind);
        if (row.value != nullptr) CHECK(tokens[0].text == row.value);
        if (row.kind != TokenKind::bad) CHECK(tokens[0].number == row.number);
    }
    CHECK(missing_code(scan(".b")[0].number) == 'B');
    CHECK(missing_code(scan(". ")[0].number) == '.');
}

TEST_CASE("scanner: columns count characters, a tab and a wide letter are one") {
    const std::vector<Token> tokens = scan("/* ä\n */\n\tmodel größe = 'ü x'n;");
    REQUIRE(tokens.size() == 5);
    const int columns[] = {2, 8, 14, 16, 22};
    const int lengths[] = {5, 5, 1, 6, 1};
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        CHECK(tokens[i].line == 3);
        CHECK(tokens[i].column == columns[i]);
        CHECK(tokens[i].length == lengths[i]);
    }
    CHECK(tokens[0].first_on_line);
    CHECK(!tokens[1].first_on_line);
}

TEST_CASE("scanner: an open quote ends where its line ends a statement, and the next statement is read") {
    Scanner scanner("t", "title 'open;\nproc vek;\n");
    const std::vector<Token> first = scanner.statement();
    REQUIRE(first.size() == 3);
    CHECK(first[1].problem == TokenProblem::unclosed_text);
    CHECK(first[1].column == 7);
    CHECK(scanner.statement()[0].is("PROC"));
}

TEST_CASE("scanner: of two texts that got out of step the one that runs over a line's end is blamed") {
    const std::vector<Token> tokens = scan("label a='one\n b='two';\n");
    CHECK(tokens[3].problem == TokenProblem::unclosed_text);
    CHECK(tokens[3].line == 1);
}

TEST_CASE("scanner: a text may run over a line's end") {
    const std::vector<Token> tokens = scan("title 'one\ntwo';");
    CHECK(tokens[1].text == "one\ntwo");
}

TEST_CASE("scanner: lines that are typed are asked for only within a statement") {
    int asked = 0;
    Scanner scanner("t", "", [&](std::string* text, bool continued) {
        const char* lines[] = {"class a\n", "b; run;\n"};
        CHECK(continued == (asked > 0));
        if (asked == 2) return false;
        text->append(lines[asked++]);
        return true;
    });
    CHECK(scanner.statement().size() == 4);
    CHECK(scanner.statement().size() == 2);
    CHECK(asked == 2);
}
