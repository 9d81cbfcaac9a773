// Mistakes in statements: which message, at which place, and what would mend it.
#include <doctest/doctest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "host/message/group_900.h"
#include "host/statement/suggest.h"
#include "support/program_support.h"

using namespace vek;
using namespace vek::test;

namespace {

std::vector<LogEntry> errors_of(std::string_view program, bool interactive = false) {
    std::vector<LogEntry> entries = run_text(program, interactive);
    std::erase_if(entries, [](const LogEntry& e) { return e.level != Level::error; });
    return entries;
}

const std::string step = "PROC VEK DATA=TRIAL; CLASS block variety; ";
const std::string model = step + "MODEL y1 y2 = block|variety x1; ";

struct Row {
    const char* statement;  // stands on a line of its own behind the good statements
    int number;
    int column, length;  // of the place within that line
    const char* suggest;
};

void check(const std::string& before, std::initializer_list<Row> rows) {
    for (const Row& row : rows) {
        CAPTURE(row.statement);
        const std::vector<LogEntry> errors = errors_of(before + "\n" + row.statement + "\nRUN;");
        REQUIRE(errors.size() == 1);
        CHECK(errors[0].group == statement_messages);
        CHECK(errors[0].number == row.number);
        CHECK(errors[0].place.line == 2);
        CHECK(errors[0].place.column == row.column);
        CHECK(errors[0].place.length == row.length);
        CHECK(errors[0].suggest == row.suggest);
    }
}

}  // namespace

TEST_CASE("mistakes: what the scanner cannot read is told where it stands, also within a comment") {
    check(step, {
                    {"MODEL y1 = x1 # x2;", message_bad_character, 15, 1, ""},
                    {"MODEL y1 = x1 – x2;", message_bad_character, 15, 1, "-"},
                    {"MODEL y1 = x1 /* \xFF */;", message_bad_encoding, 18, 1, ""},
                    {"TITLE 'a\xC3\x28';", message_bad_encoding, 9, 1, ""},
                    {"MODEL y1 = x1 \xFF;", message_bad_encoding, 15, 1, ""},
                    {"MODEL y1\r = x1;", message_lone_return, 9, 1, ""},
                    {"CONTRAST 'open block 1 -1;", message_unclosed_text, 10, 16, ""},
                    {"MODEL y1 = x1; CONTRAST 'a' x1 1e999;", message_number_too_large, 32, 5, ""},
                    {"CLASS ''n;", message_empty_name, 7, 3, ""},
                });
    std::string zero = "PROC VEK DATA=TRIAL;\n/* _ */ MODEL y1 = x1;";
    zero[zero.find('_')] = '\0';
    const std::vector<LogEntry> errors = errors_of(zero);
    REQUIRE(errors.size() == 1);
    CHECK(errors[0].number == message_zero_byte);
    CHECK(errors[0].place.line == 2);
    CHECK(errors[0].place.column == 4);
}

TEST_CASE("mistakes: a program in another encoding, or with other line ends, is told so once") {
    using namespace std::string_literals;
    const std::pair<std::string, int> programs[] = {
        {"\xFF\xFEP\0R\0O\0C\0;\0R\0U\0N\0;\0"s, message_bad_encoding},
        {"TITLE 'gr\xF6\xDF';\nOPTIONS \xF6=1;\n/* \xF6 */ RUN;\n"s, message_bad_encoding},
        {"TITLE 'a';\rRUN;\rTITLE 'b';\rRUN;"s, message_lone_return},
        {"TITLE 'a' \0;\nTITLE 'b' \0;\n"s, message_zero_byte},
    };
    for (const auto& [program, number] : programs) {
        CAPTURE(program);
        const std::vector<LogEntry> errors = errors_of(program);
        REQUIRE(errors.size() == 1);
        CHECK(errors[0].number == number);
    }
}

TEST_CASE("mistakes: a misspelt word gets the nearest that can stand there, in the case that was typed") {
    check(step, {
                    {"MODLE y1 = x1;", message_unknown_statement, 1, 5, "MODEL"},
                    {"model y1 = x1 / solutoin;", message_unknown_option, 17, 8, "solution"},
                    {"MODEL y1 = x1 / SIGULAR=1E-7;", message_unknown_option, 17, 7, "SINGULAR"},
                    {"MODEL yeild = x1;", message_unknown_variable, 7, 5, "yield"},
                    {"MODEL y1 = 'time  cost'n;", message_unknown_variable, 12, 13, "'time cost'n"},
                    {"MODEL y1 = block*varity;", message_unknown_variable, 18, 6, "variety"},
                    {"MODEL y1 = x1 / SOL;", message_unknown_option, 17, 3, "SOLUTION"},
                    {"MODEL y1 = x1 / TUKEY;", message_unknown_option, 17, 5, ""},
                    {"CLASS 'nosuch';", message_unexpected, 7, 8, ""},
                    {"CLASS 'block';", message_unexpected, 7, 7, "block"},
                });
    check(model, {
                     {"LSMEANS block / PDIFF=CONTOL;", message_unknown_choice, 23, 6, "CONTROL"},
                     {"LSMEANS block / adjust=tukei;", message_unknown_choice, 24, 5, "tukey"},
                     {"LSMEANS block / ADJUST=SIM(SEDE=3);", message_unknown_option, 28, 4, "SEED"},
                     {"MEANS block / HOVTEST=LEVEN;", message_unknown_choice, 23, 5, "LEVENE"},
                     {"REPEATED time POLYNOMAL;", message_unknown_transformation, 15, 9, "POLYNOMIAL"},
                     {"OUTPUT OUT=o PREDCITED=p;", message_unknown_clause, 14, 9, "PREDICTED"},
                     {"MANOVA MNAEMS=a;", message_unknown_clause, 8, 6, "MNAMES"},
                     {"OPTIONS LINSIZE=80;", message_unknown_host_option, 9, 7, "LINESIZE"},
                     {"LABEL y1='a' y9='b';", message_unknown_variable, 14, 2, "y1"},
                     {"FORMAT yild 8.2;", message_unknown_variable, 8, 4, "yield"},
                     {"TEST H=block E=block*variety*x1;", message_not_in_model, 16, 16, "block*variety"},
                 });
}

TEST_CASE("mistakes: a sign that was forgotten is named, and what to write") {
    check(model, {
                     {"MEANS block variety TUKEY;", message_lost_slash, 21, 5, "/ TUKEY"},
                     {"OUTPUT OUT=o ALPHA=.1;", message_lost_slash, 14, 5, "/ ALPHA"},
                     {"MEANS block / ALPHA .1;", message_needs_value, 21, 2, "=.1"},
                     {"MEANS block / ALPHA.1;", message_needs_value, 15, 7, "ALPHA=.1"},
                     {"MEANS block / DUNNETT('B1';", message_incomplete, 27, 1, ");"},
                     {"LSMEANS block / SLICE=(variety;", message_incomplete, 31, 1, ");"},
                     {"LSMEANS block*variety / ADJUST=SIM(SEED=1;", message_incomplete, 42, 1, ");"},
                     {"REPEATED time 2 (1 2 / PRINTE;", message_unexpected, 22, 1, ")/"},
                     {"MANOVA M=(1 -1;", message_incomplete, 15, 1, ");"},
                     {"MEANS block / DUNNETT(1);", message_unexpected, 23, 1, "'1'"},
                     {"MEANS block / BON, SNK;", message_unexpected, 18, 1, " "},
                     {"CONTRAST a block 1 -1;", message_no_label, 10, 1, "'a'"},
                 });
    check(step, {
                    {"MODEL y1 block / SOLUTION;", message_model_equals, 10, 5, ""},
                    {"MODEL y1 = x1(block;", message_incomplete, 20, 1, ");"},
                    {"ID y1, y2;", message_unexpected, 6, 1, " "},
                    {"MODEL y1 ~ x1;", message_model_equals, 10, 1, "="},
                    {"MODEL y1 = x1 + x2;", message_unexpected, 15, 1, " "},
                    {"MODEL y1 = x1**2;", message_unexpected, 15, 1, ""},
                    {"FORMAT x1 3;", message_unexpected, 11, 1, "3."},
                });
}

TEST_CASE("mistakes: a missing semicolon is told at the end of the text before it") {
    struct Slip {
        const char* program;
        int line, column;
        const char* suggest;
    };
    const Slip slips[] = {
        {"PROC VEK DATA=TRIAL\nCLASS block;\nMODEL y1 = x1;\nRUN;", 1, 0, "';"},
        {"PROC VEK DATA=TRIAL;\nCLASS block\nMODEL y1 = x1;\nRUN;", 2, 11, "k;"},
        {"PROC VEK DATA=TRIAL;\nCLASS block MODEL y1 = x1;\nRUN;", 2, 11, "k;"},
        {"PROC VEK DATA=TRIAL;\nMODEL y1 = x1 / SOLUTION CLM\nRUN;", 2, 28, "M;"},
        {"PROC VEK DATA=TRIAL;\nMODEL y1 = x1\nOUTPUT OUT=o P=p;\nRUN;", 2, 13, "1;"},
        {"PROC VEK DATA=TRIAL;\nMODEL y1 = x1;\nOUTPUT OUT=o P=p\nRUN;", 3, 16, "p;"},
        {"PROC VEK DATA=TRIAL;\nMODEL y1 = x1;\nCONTRAST 'a' x1 1\nESTIMATE 'b' x1 1;\nRUN;", 3, 17, "1;"},
        {"PROC VEK DATA=TRIAL;\nMODEL y1 = x1;\nREPEATED time 2\nMEANS / BON;\nMANOVA H=x1\nRUN;", 5, 11, "1;"},
        {"PROC VEK DATA=TRIAL;\nLABEL y1='a'\nMODEL y1 = x1;\nRUN;", 2, 12, "';"},
        {"PROC VEK DATA=TRIAL;\nWHERE x1 > 3\nMODEL y1 = x1;\nRUN;", 2, 12, "3;"},
        {"PROC VEK DATA=TRIAL;\nMODEL y1 = x1;\nRUN\nPROC VEK DATA=TRIAL;\nMODEL y1 = x1;\nRUN;", 3, 3, "N;"},
        {"TITLE 'a'\nPROC VEK DATA=TRIAL;\nMODEL y1 = x1;\nRUN;", 1, 9, "';"},
        {"OPTIONS LINESIZE=80\nPROC VEK DATA=TRIAL;\nMODEL y1 = x1;\nRUN;", 1, 19, "0;"},
        {"TITLE 'a'\nVALUE $city 'B'='Berlin';\nRUN;", 1, 9, "';"},
        {"PROC VEK DATA=TRIAL;\nMODEL y1 y2 = x1\nMANOVA / SHORT;\nRUN;", 2, 16, "1;"},
        {"PROC VEK DATA=TRIAL;\nMODEL y1 = x1;\nOUTPUT OUT=o P=p CONTRAST 'a' x1 1;\nRUN;", 3, 16, "p;"},
        {"PROC VEK DATA=TRIAL;\nMODEL y1 = x1;\nOUTPUT OUT=o P=fit\u00e9\nRUN;", 3, 19, "\u00e9;"},
    };
    for (const Slip& slip : slips) {
        CAPTURE(slip.program);
        const std::vector<LogEntry> errors = errors_of(slip.program);
        // MEANS without effects is a mistake of its own, behind which the next one is still found.
        const std::size_t own = std::string_view(slip.program).find("MEANS") != std::string_view::npos ? 1 : 0;
        REQUIRE(errors.size() == 1 + own);
        CHECK(errors[own].number == message_missing_semicolon);
        CHECK(errors[own].place.line == slip.line);
        if (slip.column > 0) CHECK(errors[own].place.column == slip.column);
        CHECK(errors[own].place.length == 1);
        CHECK(errors[own].suggest == slip.suggest);
        CHECK(errors[own].excerpt.find("write ") == std::string::npos);  // the message says it
    }
}

TEST_CASE("mistakes: a value outside its range, a value too many, a value too few") {
    check("PROC VEK DATA=TRIAL;", {
                                      {"MODEL y1 = x1 / ALPHA=1.5;", message_out_of_range, 23, 3, ""},
                                      {"MODEL y1 = x1 / ALPHA=-.5;", message_out_of_range, 23, 3, ""},
                                      {"MODEL y1 = x1 / SOLUTION=2;", message_takes_no_value, 25, 1, ""},
                                      {"MODEL y1 = x1 / ALPHA=a;", message_unexpected, 23, 1, ""},
                                      {"MODEL y1 = x1; MEANS x1 / KRATIO=1;", message_not_class, 22, 2, ""},
                                      {"OPTIONS LINESIZE=3;", message_out_of_range_text, 18, 1, ""},
                                      {"OPTIONS LINESIZE=wide;", message_option_value, 18, 4, ""},
                                      {"OPTIONS LINESIZE=80.5;", message_option_value, 18, 4, ""},
                                      {"OPTIONS LINESIZE=-60;", message_out_of_range_text, 18, 3, ""},
                                      {"OPTIONS BUDGET=1Q;", message_unknown_host_option, 17, 1, ""},
                                      {"OPTIONS BUDGET=1 G;", message_unknown_host_option, 18, 1, ""},
                                      {"OPTIONS DEBUG=foo;", message_option_value, 15, 3, ""},
                                      {"OPTIONS DEBUG='SYN foo';", message_option_value, 15, 9, ""},
                                  });
    check(model, {
                     {"MEANS block / KRATIO=1;", message_too_low, 22, 1, ""},
                     {"MEANS block / ETYPE=5;", message_out_of_range, 21, 1, ""},
                     {"MEANS block / ETYPE=2.5;", message_not_whole, 21, 3, ""},
                     {"FREQ plots x1;", message_one_variable, 12, 2, ""},
                     {"FREQ x1-x3;", message_one_variable, 11, 1, ""},
                     {"MEANS;", message_incomplete, 6, 1, ""},
                     {"RANDOM / Q;", message_unexpected, 8, 1, ""},
                     {"TEST E=x1;", message_unexpected, 6, 1, ""},
                     {"CONTRAST 'c' block;", message_no_coefficient, 14, 5, ""},
                     {"CONTRAST 'c';", message_incomplete, 13, 1, ""},
                     {"CONTRAST 'c' x1 1/4 -1/2;", message_fraction, 17, 3, "0.25"},
                     {"ESTIMATE 'c' x1 1/0;", message_fraction, 17, 3, ""},
                     {"CONTRAST linear x1 1;", message_no_label, 10, 6, "'linear'"},
                     {"CONTRAST x1 1;", message_no_label, 10, 2, ""},
                     {"TEST H=block E=variety HTYPE=3;", message_lost_slash, 24, 5, "/ HTYPE"},
                     {"OUTPUT OUT= P=p;", message_unexpected, 13, 1, ""},
                     {"OUTPUT OUT=o P='p';", message_unexpected, 16, 3, "p"},
                     {"ESTIMATE 'c' block 1, x1 1;", message_one_row, 21, 1, ""},
                     {"LSMEANS block / AT x1=1 TO 3 BY -1;", message_step_never_ends, 23, 12, ""},
                     {"LSMEANS block / AT x1=1 TO 1E9;", message_range_too_long, 23, 8, ""},
                 });
    for (const char* proc : {"PROC VEK NAMELEN=19 DATA=TRIAL;", "PROC VEK NAMELEN=201 DATA=TRIAL;"}) {
        const std::vector<LogEntry> errors = errors_of(std::string(proc) + "MODEL y1 = x1; RUN;");
        REQUIRE(errors.size() == 1);
        CHECK(errors[0].number == message_out_of_range);
    }
}

TEST_CASE("mistakes: variables and effects that cannot be what the statement needs") {
    check(step, {
                    {"MODEL block = x1;", message_not_numeric, 7, 5, ""},
                    {"MODEL y1 = x1(x2);", message_nesting_not_class, 15, 2, ""},
                    {"MODEL y1 = block(block);", message_crossed_and_nested, 12, 12, ""},
                    {"MODEL y1 = INTERCEPT x1;", message_intercept_not_here, 12, 9, ""},
                    {"MODEL y1 = x1-x4;", message_unknown_variable, 15, 2, "x1"},
                    {"MODEL y1 = x0-x2;", message_unknown_variable, 12, 2, "x1"},
                    {"ID x0-x2;", message_unknown_variable, 4, 2, "x1"},
                    {"ID x2-x4;", message_unknown_variable, 7, 2, "x1"},
                    {"MODEL y1 = x1|x2@0;", message_unexpected, 18, 1, ""},
                    {"MODEL y1 = x1|x2@65;", message_unexpected, 18, 2, ""},
                    {"BY block DESCENDING;", message_incomplete, 20, 1, ""},
                    {"MODEL y1 = x3-x1;", message_range_backwards, 12, 5, "x1-x3"},
                    {"MODEL y1 = x1-dose;", message_not_numbered, 12, 7, ""},
                    {"MODEL y1 = x1*x2-x3;", message_range_of_terms, 12, 5, ""},
                    {"ID z:;", message_no_prefix, 4, 1, ""},
                    {"FREQ block;", message_not_numeric, 6, 5, ""},
                    {"FORMAT block 8.2;", message_format_does_not_fit, 14, 3, ""},
                    {"FORMAT block $8. y1 $8.;", message_format_does_not_fit, 21, 3, ""},
                    {"ID x1-x999999;", message_range_too_long, 4, 10, ""},
                });
    check(model, {
                     {"MEANS x1;", message_not_class, 7, 2, ""},
                     {"LSMEANS block*x1;", message_not_class, 15, 2, ""},
                     {"RANDOM dose;", message_not_class, 8, 4, ""},
                     {"TEST H=block Evariety;", message_needs_value, 14, 8, "E=variety"},
                     {"LSMEANS block / AT zzz=1;", message_unknown_variable, 20, 3, ""},
                     {"LSMEANS block / AT x1=;", message_incomplete, 23, 1, ""},
                     {"LSMEANS block / SLICE=();", message_unexpected, 24, 1, ""},
                     {"REPEATED time 32768;", message_unexpected, 15, 5, ""},
                     {"LSMEANS INTERCEPT;", message_intercept_not_here, 9, 9, ""},
                     {"TEST H=x2 E=block;", message_not_in_model, 8, 2, "x1"},
                 });
    // A text variable that was not listed on CLASS: the statements that use it are not complained of again.
    const std::vector<LogEntry> errors =
        errors_of("PROC VEK DATA=TRIAL; MODEL y1 = block; MEANS block; LSMEANS block; CONTRAST 'a' block 1 -1; RUN;");
    REQUIRE(errors.size() == 1);
    CHECK(errors[0].number == message_text_not_class);
}

TEST_CASE("mistakes: limits are refused by their numbers") {
    std::string bars = "MODEL y1 = ", crossed = "MODEL y1 = ", rows = "CONTRAST 'a' ";
    std::string long_name(200, 'a');
    for (int i = 0; i < 14; ++i) bars += (i == 0 ? "" : "|") + std::string(i % 2 == 0 ? "x1" : "x2");
    for (int i = 0; i < 70; ++i) crossed += (i == 0 ? "" : "*") + std::string("x1");
    for (int i = 0; i < 10001; ++i) rows += (i == 0 ? "" : ",") + std::string("x1 1");
    const std::pair<std::string, int> programs[] = {
        {crossed, message_term_too_long},
        {"ID " + long_name, message_name_too_long},
        {"TITLE '" + std::string(40000, 'a') + "'", message_text_too_long},
        {"MODEL y1=x1; " + rows, message_too_many_rows},
    };
    for (const auto& [statement, number] : programs) {
        const std::vector<LogEntry> errors = errors_of("PROC VEK DATA=TRIAL; " + statement + ";");
        REQUIRE(errors.size() == 1);
        CHECK(errors[0].number == number);
        CHECK(errors[0].text.find("the limit") != std::string::npos);
    }
    std::string classes = "PROC VEK DATA=TRIAL; MODEL y1 = x1";
    for (const char* v : {"x2", "x3", "dose", "plots", "yield", "y2", "y3", "'time cost'n"})
        classes += std::string("|") + v;
    for (int i = 0; i < 5; ++i) classes += "|x1*x2|x3*dose|plots*x2*x2|x1*x1*x1";
    const std::vector<LogEntry> errors = errors_of(classes + ";");
    REQUIRE(errors.size() == 1);
    CHECK(errors[0].number == message_too_many_terms);
}

TEST_CASE("mistakes: the way out is told where no word is near") {
    struct Advice {
        const char *statement, *text;
    };
    const Advice advices[] = {
        {"MODEL y1 = zzz;", "expected one of its variables: "},
        {"MODEL y1 = x1 / TUKEY;", "; TUKEY belongs to MEANS"},
        {"MODEL y1 = x1^2;", "the square of a regressor is written x*x"},
        {"MODEL variety = x1;", "expected a number in each row of the column; line 2 has \""},
        {"MODEL y1 = x1, x2;", "write a blank there"},
        {"MODEL y1 = x1 p;", "expected one of its variables: "},
        {"MODEL y1 = x1 p;", "; the option follows a \"/\""},
        {"MODEL y1 = exp(x1);", "there are no functions"},
        {"MODEL exp(y1) = x1;", "there are no functions"},
        {"MODEL y1 = variety;", "or numbers alone; line 2 has \""},
        {"WHERE zzz > 1;", "expected one of its variables: "},
        {"MODEL y1 = x1; TEST H=x1 E=x1*x2;", "expected one of its effects: x1"},
        {"# a comment\n;", "expected a comment to stand between /* and */"},
        {"MODEL y1 = x1 SOLUTION;", "write / SOLUTION there"},
        {"MODEL y1 = x1 / MNAMES=a;", "; MNAMES belongs to MANOVA"},
        {"MODEL y1 = x1 / ORDER=DATA;", "; ORDER belongs to PROC"},
        {"MODEL y1 = yeild;", "did you mean yield?"},
        {"MODEL y1 = x1; MANOVA x;", "expected H=, E=, M=, MNAMES=, PREFIX=, \"/\" or \";\""},
    };
    for (const Advice& advice : advices) {
        CAPTURE(advice.statement);
        const std::vector<LogEntry> errors = errors_of(std::string("PROC VEK DATA=TRIAL;\n") + advice.statement);
        REQUIRE(errors.size() == 1);
        CHECK(errors[0].excerpt.find(advice.text) != std::string::npos);
        const bool option = std::string_view(advice.statement) == "MODEL y1 = x1 p;";
        CHECK((errors[0].excerpt.find("the option follows") != std::string::npos) == option);
    }
}

TEST_CASE("mistakes: what stands there is shown as it was written") {
    struct Shown {
        const char *statement, *text;
    };
    const Shown rows[] = {
        {"TITLE 'time cost'n;", "'time cost'n"},
        {"TITLE plain;", "\"plain\""},
        {"MODEL y1 = x1; CONTRAST 'a' 'b' 1;", "\"'b'\""},
        {"MODEL y1 = x1; CONTRAST 'a' 'b\nc' 1;", "\"'b\" "},  // the first line of it
        {"FORMAT block 8.2;", "does not fit block, a text variable"},
        {"FORMAT y1 $8.;", "does not fit y1, a numeric variable"},
    };
    for (const Shown& row : rows) {
        CAPTURE(row.statement);
        const std::vector<LogEntry> errors = errors_of(std::string("PROC VEK DATA=TRIAL;\n") + row.statement);
        REQUIRE(errors.size() == 1);
        CHECK(errors[0].text.find(row.text) != std::string::npos);
    }
}

TEST_CASE("suggestions: the nearest word that fits, and only one that is near") {
    struct Case {
        const char* typed;
        std::vector<std::string> words;  // a star in front: less likely
        const char* best;
    };
    const Case cases[] = {
        {"dosr", {"*dose", "dosa"}, "dosa"},      // of two as near the likelier one
        {"hate", {"rate", "hats"}, "hats"},       // the one that begins alike
        {"tset", {"tsek", "test"}, "test"},       // the one with the same letters
        {"rate", {"rats", "rath"}, "rats"},       // else the first
        {"yeild", {"field", "*yield"}, "yield"},  // a swap is one slip, two letters are two
        {"sol", {"SOLUTION"}, "SOLUTION"},        // a beginning
        {"so", {"SOLUTION"}, ""},                 // too little of one
        {"x", {"y"}, ""},                         // nothing is left of the word
        {"ab", {"b"}, "b"},
        {"abcdefgh", {"xyzdefgh"}, "xyzdefgh"},  // three slips in a long word
        {"abcdefgh", {"wxyzefgh"}, ""},
        {"abcd", {"abxy"}, ""},  // one in a short word
    };
    for (const Case& one : cases) {
        CAPTURE(one.typed);
        Nearest nearest(one.typed);
        for (const std::string& word : one.words) {
            const bool likely = !word.starts_with('*');
            nearest.offer(likely ? word : word.substr(1), likely);
        }
        CHECK(nearest.best() == one.best);
    }
    CHECK(name_as_written("x2") == "x2");
    CHECK(name_as_written("2x") == "'2x'n");
    CHECK(name_as_written("it's") == "'it''s'n");
    const auto number = [](int i) { return std::to_string(i); };
    CHECK(some_of("one of", 8, number) == "one of: 0, 1, 2, 3, 4, 5, 6, 7");
    CHECK(some_of("one of", 9, number) == "one of: 0, 1, 2, 3, 4, 5, 6, 7, ...");
}

TEST_CASE("mistakes: a second WHERE says that the first no longer holds") {
    const std::vector<LogEntry> entries = run_text(step + "WHERE x1 > 1;\n  WHERE x1 < 9; MODEL y1 = x1; RUN;");
    const auto again = [](const LogEntry& e) { return e.group == 900 && e.number == message_where_again; };
    REQUIRE(std::count_if(entries.begin(), entries.end(), again) == 1);
    const auto note = std::find_if(entries.begin(), entries.end(), again);
    CHECK(note->level == Level::note);
    CHECK(note->place.line == 2);
    CHECK(note->place.column == 3);
}

TEST_CASE("mistakes: statements where they do not belong") {
    struct Program {
        const char* text;
        std::vector<int> numbers;  // of group 900, or of group 172 negative
    };
    const Program programs[] = {
        {"MODEL y1 = x1; CLASS block; RUN;", {message_outside_step}},
        {"WHERE x1 > 3;", {message_only_in_step}},
        {"PROC VEK DATA=TRIAL; VALUE a 1='b'; MODEL y1=x1; RUN;", {message_in_step}},
        {"PORC VEK DATA=TRIAL; CLASS block; MODEL y1=block; RUN;", {message_unknown_statement}},
        {"PROC VEKK DATA=TRIAL; CLASS block; MODEL y1=block; RUN;", {message_unknown_procedure}},
        {"PROC VGK; CLASS block; MODEL y1=block; RUN;", {message_unknown_procedure}},
        {"PROC REGRESSION DATA=TRIAL; CLASS block; MODEL y1=block; RUN;", {message_unknown_procedure}},
        {"PROC; CLASS block; MODEL y1=block; RUN;", {message_incomplete}},
        {"VEK DATA=TRIAL; CLASS block; MODEL y1=blok; RUN;", {message_unknown_statement, message_unknown_variable}},
        {"PROCVEK DATA=TRIAL; CLASS block; MODEL y1=block; RUN;", {message_unknown_statement}},
        {"PROC VEK DATA=TRIAL; MODEL y1=x1; PROCVEK DATA=TRIAL; MODEL y1=x1; RUN;", {message_unknown_statement}},
        {"PROC VEK 'trial.csv'; MODEL y1=x1; RUN;", {message_unexpected}},
        {"PROC VEK DATA=TRIAL(KEEP=y1 x1); ID _CHARACTER_; MODEL y1=x1; RUN;", {}},
        {"PROC VEK DATA=TRIAL; LABEL y1='a'\nwhere='b'; MODEL y1=x1; RUN;", {message_unknown_variable}},
        {"PROC VEK DATA=TRIAL; CLASS block 'MODEL'n y1; MODEL y1=x1; RUN;", {message_unknown_variable}},
        {"PROC VEK DATA=TRIAL; CLASS block; MODEL y1 = x1(CLASS block); RUN;", {message_unknown_variable}},
        {"PROC VEK DATA=TRIAL; BY DESCENDING block; MODEL y1=; RUN; MEANS x; QUIT; MODEL y1=x1;",
         {31, message_outside_step}},  // QUIT ends what is passed over too
        {"MODEL y1 = x1; CLASS block; TITLE 'a'; MODEL y1 = x1;", {message_outside_step, message_outside_step}},
        {"TITLE 'a';\rRUN;\nTITLE '\xF6';\nTITLE '\xF6';", {message_lone_return, message_bad_encoding}},
        {"PROC VEK DATA='nosuch.csv' DATA=TRIAL; MODEL y1=x1; RUN;", {}},
        {"PROC VEK DATA=TRIAL; MODEL y1=zzz; OUTPUT OUT=o P=p; RUN;\nPROC VEK; MODEL p=; RUN;",
         {message_unknown_variable}},
        {"// a comment\nPROC VEK DATA=TRIAL; MODEL y1=x1; RUN;", {message_star_comment}},
        {"# a comment\nPROC VEK DATA=TRIAL; MODEL y1=x1; RUN;", {message_bad_character}},
        {"* a comment; PROC VEK DATA=TRIAL; MODEL y1=x1; RUN;", {message_star_comment}},
        {"PROC VEK DATA=TRIAL; MODEL y1=x1; MODEL y2=x1; RUN;", {-38}},
        {"PROC ANOVA DATA=TRIAL; CLASS block; MODEL y1=block / SS3;", {message_option_of_full}},
        {"PROC ANOVA DATA=TRIAL; CLASS block; MODEL y1=block; TEST H=block E=block / HTYPE=1;", {message_no_options}},
        {"PROC ANOVA DATA=TRIAL; CLASS block; MODEL y1=block; CONTRAST 'a' block 1 -1;", {-40}},
        {"PROC ANOVA DATA=TRIAL; CLASS block; MODEL y1=block; ESTIMATE 'a' block 1 -1;", {-42}},
        {"PROC ANOVA DATA=TRIAL; CLASS block; MODEL y1=block; OUTPUT OUT=o P=p;", {-44}},
        {"PROC ANOVA DATA=TRIAL; CLASS block; MODEL y1=block; LSMEAN block;", {-46}},
        {"PROC ANOVA DATA=TRIAL; CLASS block; MODEL y1=block; RANDOM block;", {-48}},
        {"PROC ANOVA DATA=TRIAL; WEIGHT x1; ID x1; CLASS block; MODEL y1=block;",
         {message_not_in_anova, message_not_in_anova}},
    };
    for (const Program& program : programs) {
        CAPTURE(program.text);
        std::vector<int> numbers;
        for (const LogEntry& e : errors_of(program.text)) numbers.push_back(e.group == 172 ? -e.number : e.number);
        std::string got, wanted;
        for (const int n : numbers) got += std::to_string(n) + " ";
        for (const int n : program.numbers) wanted += std::to_string(n) + " ";
        CHECK(got == wanted);
    }
}

TEST_CASE("mistakes: each statement's own is told, and nothing of the step runs behind the first") {
    const std::vector<LogEntry> entries = run_text(
        "PROC VEK DATA=TRIAL; CLASS block; MODEL y1 = block; RUN;\n"
        "MEANS blok;\n"
        "LSMEANS block / CLL;\n"
        "MEANS block;\n"
        "RUN;\n"
        "PROC VEK DATA=TRIAL; MODEL y1 = x1; RUN;");
    std::vector<int> lines;
    for (const LogEntry& e : entries) {
        if (e.level == Level::error) lines.push_back(e.place.line);
    }
    CHECK(lines == std::vector<int>{2, 3});
    CHECK(std::any_of(entries.begin(), entries.end(), [](const LogEntry& e) {
        return e.group == statement_messages && e.number == message_rest_not_run;
    }));
}

TEST_CASE("mistakes: what a step was to read is suggested, and a name in a failed statement hides no data set") {
    const std::pair<const char*, const char*> programs[] = {
        {"PROC VEK Trial; MODEL y1 = x1; RUN;", "DATA=Trial"},
        {"proc vek trial; model y1 = x1; run;", "data=trial"},
        {"PROC VEK 'a b.csv'; MODEL y1 = x1; RUN;", "DATA='a b.csv'"},
        {"PROCVEK DATA=trial; MODEL y1 = x1; RUN;", "PROC VEK"},
        {"anova DATA=trial; CLASS block; MODEL y1 = block; RUN;", "proc anova"},
        {"PORC VEK DATA=trial; MODEL y1 = x1; RUN;", "PROC"},
        {"PROC VEK DATA=trial; MODEL y1 = x1 / ALPHA\nSOLUTION; RUN;", ""},  // the next line may be a statement
    };
    for (const auto& [program, suggest] : programs) {
        CAPTURE(program);
        const ProgramResult result = run_whole(program);
        REQUIRE(result.errors() == 1);
        CHECK(result.log[0].suggest == suggest);
    }
    const ProgramResult result = run_whole(
        "PROC VEK DATA=trial; MODEL y1 = zzz trial; RUN; QUIT;\n"
        "PROC VEK DATA=trial; MODEL y1 = x1; RUN; QUIT;");
    CHECK(result.errors() == 1);
    CHECK(result.tables.find("\"step\": 2") != std::string::npos);
}

TEST_CASE("mistakes: what follows from an error is a note, and what there is no reason for is not noted") {
    struct Case {
        const char* program;
        int errors, no_model, rest_not_run;
    };
    const Case cases[] = {
        {"PROC VEK DATA=trial; MODEL y1 = x1; RUN;", 0, 0, 0},
        {"PROC VEK DATA=trial; CLASS block; RUN;", 0, 1, 0},
        {"PROC VEK DATA=trial; CLASS zzz; RUN;", 1, 0, 1},
        {"PROC VEK DATA=trial; MODEL zzz = x1; RUN;", 1, 0, 1},
        // A data set that is not made for a mistake keeps another from being made: one error, told once.
        {"PROC VEK DATA=trial; MODEL zzz = x1; OUTPUT OUT=a P=p; RUN;\n"
         "PROC VEK DATA=a; MODEL p = x1; OUTPUT OUT=b P=q; RUN;\n"
         "PROC VEK DATA=b; MODEL q = x1; RUN;",
         1, 0, 1},
    };
    for (const Case& one : cases) {
        CAPTURE(one.program);
        const ProgramResult result = run_whole(one.program);
        const auto count = [&](int number) {
            return std::count_if(result.log.begin(), result.log.end(), [&](const LogEntry& e) {
                return e.group == statement_messages && e.number == number;
            });
        };
        CHECK(result.errors() == static_cast<std::size_t>(one.errors));
        CHECK(count(message_no_model) == one.no_model);
        CHECK(count(message_rest_not_run) == one.rest_not_run);
    }
}

TEST_CASE("mistakes: a name that cannot be given to a statistic is pointed at itself") {
    const std::vector<LogEntry> errors =
        errors_of("PROC VEK DATA=TRIAL;\nMODEL y1 y2 = x1; OUTPUT OUT=o R=rest1 rest2 P=fit x3; RUN;");
    REQUIRE(errors.size() == 1);
    CHECK(errors[0].place.line == 2);
    CHECK(errors[0].place.column == 52);
    CHECK(errors[0].place.length == 2);
}

TEST_CASE("a variable may be called like a word of a statement, and is the nearer one where its type fits") {
    const Folder folder;
    const std::string data = "'" +
                             folder.write("d.csv",
                                          "y,id,descending,notsorted,intercept,dosa,dosb\n"
                                          "1,7,1,1,3,u,1\n2,7,1,1,4,v,1\n4,7,1,1,5,u,2\n"
                                          "3,7,2,1,3,u,3\n5,7,2,1,4,v,5\n8,7,2,1,6,u,8\n") +
                             "'";
    struct Case {
        const char *statements, *seen;
    };
    const Case cases[] = {
        {"BY descending notsorted; MODEL y=; RUN;", "\"by\": {\"descending\": \"1\", \"notsorted\": \"1\"}"},
        {"BY notsorted notsorted; MODEL y=; RUN;", "\"by\": {\"notsorted\": \"1\"}"},
        {"MODEL y = intercept; RUN;", "[\"intercept\", "},
    };
    for (const Case& one : cases) {
        CAPTURE(one.statements);
        const ProgramResult result = run_whole("PROC VEK DATA=" + data + "; " + one.statements);
        CHECK(result.errors() == 0);
        CHECK(result.tables.find(one.seen) != std::string::npos);
    }
    const ProgramResult slip = run_whole("PROC VEK DATA=" + data + "; MODEL dosc = y; RUN;");
    REQUIRE(slip.errors() == 1);
    CHECK(slip.log[0].suggest == "dosb");
    const ProgramResult line = run_whole("PROC VEK DATA=" + data + "; MODEL y = intercept\nid zzz; RUN;");
    REQUIRE(line.errors() == 1);
    CHECK(line.log[0].number == message_unknown_variable);
    // What one BY statement says of the order holds for the next one's variables too.
    const ProgramResult two = run_whole("PROC VEK DATA=trial; BY variety NOTSORTED; BY block; MODEL y1=; RUN;");
    CHECK(two.errors() == 0);
    CHECK(two.tables.find("\"by\": {\"variety\": \"blue\", \"block\": \"B4\"}") != std::string::npos);
}

TEST_CASE("OUTPUT without OUT= makes DATA1, DATA2, ..., each a name that the run has not used") {
    const ProgramResult result = run_whole(
        "PROC VEK DATA=trial; MODEL y1 = x1; OUTPUT P=a; RUN; OUTPUT P=b; RUN; QUIT;\n"
        "PROC VEK; MODEL b = x1; OUTPUT OUT=data4 P=c; RUN; OUTPUT P=d; OUTPUT P=e; RUN; QUIT;");
    CHECK(result.errors() == 0);
    std::string made;
    for (const LogEntry& entry : result.log) {
        if (entry.group == 910 && entry.number == 42) made += entry.text.substr(0, entry.text.find(" has")) + "; ";
    }
    CHECK(made == "the data set DATA1; the data set DATA2; the data set data4; the data set DATA5; ");
}

TEST_CASE("interactive: a mistake costs its statement alone") {
    const std::vector<LogEntry> entries = run_text(
        "PROC VEK DATA=TRIAL; CLASS block variaty; CLASS block; CLASSES dose foo;\n"
        "MODEL y1 = blok; MODEL y2 = block x1; WHERE x1 >; FORMAT z 8.2;\n"
        "CONTRAST 'a' block; CONTRAST 'b' block 1 -1; MEANS dose; RUN; WHERE x1 > 3; MEANS blck; TEST H=block E=x1; "
        "QUIT;",
        true);
    std::vector<std::string> records;
    int errors = 0, undone = 0;
    for (const LogEntry& e : entries) {
        errors += e.level == Level::error ? 1 : 0;
        undone += e.group == 211 && e.number == 2 ? 1 : 0;
        if (e.text.starts_with("SEM ")) records.push_back(e.text.substr(4));
    }
    CHECK(errors == 9);
    CHECK(undone == 9);
    // The failed CLASS statements left no variable behind, the failed MODEL no regressor, and the chain is whole.
    const std::vector<std::string> expected = {
        "PROC | 11: input", "PROC | 2: 10 | 11: input", "MODEL | 4: 2 | 5: block x1",
        "CONTRAST | 1: block | 2: 1 -1 | 3: 2 | 4: 1 | 5: \"b\"", "TEST | 3: block | 4: x1"};
    CHECK(records == expected);
}

TEST_CASE("interactive: a PROC statement with a mistake ends its step without a second message") {
    const std::vector<LogEntry> errors = errors_of(
        "PROC VEK DAAT=TRIAL; CLASS block; MODEL y1=block; RUN; PROC VEK DATA=TRIAL; MODEL y1=x1; RUN;", true);
    REQUIRE(errors.size() == 1);
    CHECK(errors[0].suggest == "DATA");
}

TEST_CASE("messages show the line with marks under the place, also far to the right and under wide letters") {
    const std::vector<LogEntry> errors = errors_of("PROC VEK DATA=TRIAL;\n/* 表 */\tMODEL y1 = x1 / SOLUTON;\nRUN;");
    REQUIRE(errors.size() == 1);
    CHECK(errors[0].place.column == 25);
    CHECK(errors[0].excerpt ==
          "/* 表 */ MODEL y1 = x1 / SOLUTON;\n"
          "                         ^~~~~~~\n"
          "expected an option of MODEL or \";\"; did you mean SOLUTION?");
    const std::vector<LogEntry> far =
        errors_of("PROC VEK DATA=TRIAL; /*" + std::string(300, '-') + "*/ MODEL y1 = x1 / SOLUTON;");
    REQUIRE(far.size() == 1);
    CHECK(far[0].excerpt.substr(0, far[0].excerpt.find('\n')).size() <= 106);
    CHECK(far[0].excerpt.find("SOLUTON;\n") != std::string::npos);
    // The place in a line of a megabyte is shown like any other, and as fast.
    const std::string blanks(1000000, ' ');
    const auto begin = std::chrono::steady_clock::now();
    const std::vector<LogEntry> farther = errors_of(step + blanks + "MODEL y1 = x1 / SOLUTON;" + blanks);
    REQUIRE(farther.size() == 1);
    CHECK(farther[0].excerpt.find("MODEL y1 = x1 / SOLUTON;") != std::string::npos);
    CHECK(farther[0].excerpt.substr(0, farther[0].excerpt.find('\n')).ends_with("   ..."));
    CHECK(std::chrono::steady_clock::now() - begin < std::chrono::seconds(20));
}
