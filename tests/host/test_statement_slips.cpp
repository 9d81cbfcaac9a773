// Good programs with one slip each: a misspelt word, or a lost semicolon, slash, quote, bracket, equals sign or comma.
// Each copy must give one error, and what the message suggests must mend the misspelt words: the mended program gives
// the tables of the good one.
#include <doctest/doctest.h>

#include <algorithm>
#include <iostream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "host/statement/scanner.h"
#include "support/program_support.h"

using namespace vek;
using namespace vek::test;

namespace {

// All statements that read data sets by name read TRIAL. No two names of a program differ in one letter alone, except
// y1 to y3 and x1 to x3, in which a slip can make another name; such copies are good programs and are left out.
const char* const programs[] = {
    "TITLE 'yield by block and variety';\n"
    "PROC VEK DATA=trial NAMELEN=30;\n"
    "  CLASS block variety;\n"
    "  MODEL yield = block|variety dose / SOLUTION SS3 ALPHA=0.1;\n"
    "  CONTRAST 'red against green' variety -1 0 1 / E SINGULAR=0.001;\n"
    "  ESTIMATE 'difference' variety -1 0 1 / DIVISOR=2;\n"
    "RUN;\n",

    "OPTIONS LINESIZE=90;\n"
    "VALUE amount 1='low' 2-4='high';\n"
    "PROC VEK DATA=trial ORDER=INTERNAL;\n"
    "  CLASS dose block;\n"
    "  FREQ plots;\n"
    "  FORMAT dose amount.;\n"
    "  LABEL yield='tons' dose=\"kilograms\";\n"
    "  WHERE yield > 10 AND block <> 'B4';\n"
    "  MODEL yield = dose block(dose) / SS1 SS2;\n"
    "  TEST H=dose E=block(dose) / HTYPE=1 ETYPE=1;\n"
    "RUN;\n",

    "PROC VEK DATA=trial(WHERE=(block ^= 'B1') KEEP=block variety yield dose) MANOVA;\n"
    "  CLASSES variety;\n"
    "  BY block;\n"
    "  MODEL yield = variety dose(variety) / NOINT INVERSE TOLERANCE;\n"
    "QUIT;\n",

    "PROC VEK DATA=trial;\n"
    "  CLASS variety;\n"
    "  ID block;\n"
    "  MODEL yield dose = variety 'time cost'n / PREDICTED CLM ZETA=1E-7;\n"
    "  OUTPUT OUT=fitted PREDICTED=expected RESIDUAL=rest / ALPHA=0.05;\n"
    "RUN;\n"
    "PROC VEK DATA=fitted;\n"
    "  CLASS variety;\n"
    "  MODEL rest = variety;\n"
    "RUN;\n",

    "PROC VEK DATA=trial;\n"
    "  ABSORB block;\n"
    "  WEIGHT plots;\n"
    "  CLASS variety dose;\n"
    "  MODEL yield = variety / XPX;\n"
    "RUN;\n",
};

struct Slip {
    std::string program;
    std::string what;
    bool spelling = false;
};

/// Words that a slip must not make: the copy would be another good program.
std::set<std::string> words_of(std::string_view program) {
    std::set<std::string> words = {"E1", "E2",    "E3",  "E4",  "SS1", "SS2", "SS3",  "SS4", "X",
                                   "P",  "I",     "INT", "CLI", "CLM", "EST", "MEAN", "LSD", "BON",
                                   "ID", "CLASS", "Y1",  "Y2",  "Y3",  "X1",  "X2",   "X3",  "CLASSES"};
    Scanner scanner("p", std::string(program));
    for (;;) {
        const std::vector<Token> tokens = scanner.statement();
        for (const Token& t : tokens) {
            if (t.kind == TokenKind::name) words.insert(upper_case(t.text));
        }
        if (tokens.back().kind == TokenKind::end_of_program) return words;
    }
}

std::vector<Token> tokens_of(std::string_view program) {
    Scanner scanner("p", std::string(program));
    std::vector<Token> all;
    do {
        for (Token& t : scanner.statement()) all.push_back(std::move(t));
    } while (all.back().kind != TokenKind::end_of_program);
    return all;
}

std::string with(std::string_view program, std::size_t at, std::size_t bytes, std::string_view by) {
    return std::string(program.substr(0, at)).append(by).append(program.substr(at + bytes));
}

/// The names of data sets and those that a program makes up: another spelling is another name.
bool is_made_up(const std::string& word) {
    static const std::set<std::string> made_up = {"TRIAL", "FITTED", "EXPECTED", "REST", "AMOUNT"};
    return made_up.count(word) > 0;
}

/// Words of four letters or more, misspelt in one of four ways each.
void spelling_slips(std::string_view program, std::mt19937& random, std::vector<Slip>* slips) {
    const std::set<std::string> words = words_of(program);
    for (const Token& token : tokens_of(program)) {
        if (token.kind != TokenKind::name || token.text.size() < 4 || is_made_up(upper_case(token.text))) continue;
        const std::size_t n = token.text.size();
        std::string word = token.text;
        const std::size_t at = 1 + random() % (n - 2);
        switch (random() % 4) {
            case 0:
                word.erase(at, 1);
                break;
            case 1:
                word.insert(at, 1, static_cast<char>('a' + random() % 26));
                break;
            case 2:
                word[at] = word[at] == 'q' ? 'k' : 'q';
                break;
            default:
                std::swap(word[at], word[at - 1]);
                break;
        }
        if (words.count(upper_case(word)) > 0) continue;
        slips->push_back({with(program, token.offset, token.bytes, word), token.text + " as " + word, true});
    }
}

/// Signs left out, one at a time. The last semicolon and the first quote of two in a row are no loss.
void sign_slips(std::string_view program, std::vector<Slip>* slips) {
    const std::vector<Token> tokens = tokens_of(program);
    for (std::size_t i = 0; i + 2 < tokens.size(); ++i) {
        const Token& token = tokens[i];
        const std::string where = " in line " + std::to_string(token.line) + ", column " + std::to_string(token.column);
        const auto lose = [&](std::size_t at, std::string_view what) {
            slips->push_back({with(program, at, 1, ""), std::string(what) + where, false});
        };
        if (token.kind == TokenKind::semicolon || token.is("/") || token.is("=") || token.is(")"))
            lose(token.offset, token.text);
        if (token.kind == TokenKind::string || token.kind == TokenKind::name_literal) {
            lose(token.offset, "opening quote");
            lose(token.offset + token.bytes - (token.kind == TokenKind::string ? 1 : 2), "closing quote");
        }
    }
}

}  // namespace

TEST_CASE("slips: one error each, and the suggestion mends what was misspelt") {
    std::mt19937 random(20240229);
    int spelling = 0, mended = 0, signs = 0, suggestions = 0, signs_mended = 0, several = 0, unseen = 0;
    for (const char* program : programs) {
        const ProgramResult good = run_whole(program);
        REQUIRE(good.errors() == 0);
        REQUIRE(good.tables.size() > 200);
        std::vector<Slip> slips;
        for (int round = 0; round < 2; ++round) spelling_slips(program, random, &slips);
        sign_slips(program, &slips);
        for (const Slip& slip : slips) {
            const ProgramResult bad = run_whole(slip.program);
            if (bad.errors() != 1) {
                (bad.errors() == 0 ? unseen : several) += 1;
                std::cout << (slip.spelling ? "spelling " : "sign ") << slip.what << ": " << bad.errors() << " errors\n"
                          << slip.program << '\n';
                for (const LogEntry& e : bad.log) {
                    if (e.level == Level::error)
                        std::cout << "   " << e.place.line << ':' << e.place.column << ' ' << e.text << '\n';
                }
            }
            CHECK(bad.status == (bad.errors() > 0 ? 1 : 0));
            const auto error =
                std::find_if(bad.log.begin(), bad.log.end(), [](const LogEntry& e) { return e.level == Level::error; });
            const bool suggested = error != bad.log.end() && !error->suggest.empty();
            (slip.spelling ? spelling : signs) += 1;
            if (!slip.spelling && !suggested) continue;  // not every lost sign tells where it was
            if (!slip.spelling) ++suggestions;
            if (!suggested) {
                std::cout << "not mended: " << slip.what << '\n';
                continue;
            }
            const ProgramResult again = run_whole(replaced(slip.program, error->place, error->suggest));
            if (again.errors() == 0 && again.tables == good.tables) {
                (slip.spelling ? mended : signs_mended) += 1;
            } else {
                std::cout << "not mended: " << slip.what << ", by " << error->suggest << '\n';
            }
        }
    }
    MESSAGE(spelling << " misspelt words, " << mended << " mended; " << signs << " lost signs, " << suggestions
                     << " with a suggestion, " << signs_mended << " mended; " << several
                     << " copies with several errors, " << unseen << " without");
    CHECK(spelling + signs >= 100);
    CHECK(several == 0);
    CHECK(unseen == 0);
    CHECK(mended * 100 >= spelling * 95);
    CHECK(signs_mended * 100 >= suggestions * 90);
}
