// The listing: what a reader sees of a table, whatever its numbers and the width of the line.
#include <doctest/doctest.h>

#include <cmath>
#include <random>
#include <string>

#include "host/table/heading.h"
#include "host/table/text_width.h"
#include "numeric/missing.h"
#include "support/table_support.h"

using namespace vek;
using vek::test::line_with;
using vek::test::lines_of;
using vek::test::listing;
using vek::test::TableStep;

namespace {

struct TestRow {
    std::string_view source;
    std::int32_t df = 1, other = 0;
    double ss = 0, ms = 0, f = 0, p = 0;
};

void tests_table(HostObject* out, std::span<const TestRow> rows, bool with_other = false) {
    TestRow row;
    const std::int32_t type = 3;
    Table t(out, "ModelANOVA", "Type III Tests");
    t.integer("HypothesisType", type).text("Source", 20, row.source).degrees("DF", row.df);
    if (with_other) t.integer("Other", row.other);
    t.number("SS", row.ss, 12, 4).number("MS", row.ms, 12, 4).number("FValue", row.f).number("ProbF", row.p);
    t.bind("drim.VEK.Tests");
    for (const TestRow& r : rows) {
        row = r;
        t.row();
    }
    t.end();
}

// Columns of the text at which a character stands.
std::vector<std::size_t> places(const std::string& line, char wanted) {
    std::vector<std::size_t> result;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == wanted) result.push_back(i);
    }
    return result;
}

}  // namespace

TEST_CASE("listing: numbers stand under each other at their points, p-values too") {
    TableStep step;
    const double blank = vzmissing('_');
    const TestRow rows[] = {{"variety", 2, 0, 1786.3611, 893.1806, 1.4853, 0.27239},
                            {"block*variety", 10, 0, 20020.5, 6673.5, 137.6856, 9.9e-5},
                            {"error", 45, 0, 7968.75, 177.0833, blank, blank},
                            {"none", 0, 0, 0, missing, missing, missing}};
    tests_table(step.out, rows);
    const std::string text = listing();
    const std::string first = line_with(text, "variety"), second = line_with(text, "block*variety");
    CHECK(places(first, '.') == places(second, '.'));
    CHECK(places(first, '.').size() == 4);
    CHECK(places(line_with(text, "none"), '.') == places(first, '.'));
    CHECK(places(line_with(text, "error"), '.').size() == 2);
    CHECK(second.ends_with("137.69   <.0001"));
    CHECK(first.ends_with("1.49   0.2724"));
    CHECK(text.find("HypothesisType") == std::string::npos);
    CHECK(text.find("Pr > F") != std::string::npos);
}

TEST_CASE("listing: an infinite F, a mark, and a p-value at its last decimal") {
    TableStep step;
    const TestRow rows[] = {{"a", 1, 1, 12.5, 12.5, vzmissing('I'), 0},
                            {"b", 1, 0, -0.00001, 12.5, vzmissing('M'), 0.0001},
                            {"c", 1, 0, 1e15, 1e-300, 1e20, 0.99996}};
    tests_table(step.out, rows, true);
    const std::string text = listing();
    const std::string a = line_with(text, "a "), b = line_with(text, "b "), c = line_with(text, "c ");
    CHECK(a.find(" 1*") != std::string::npos);
    CHECK(b.find('*') == std::string::npos);
    CHECK(a.find(" Infty   <.0001") != std::string::npos);
    CHECK(b.find("-Infty   0.0001") != std::string::npos);
    CHECK(b.find("-0.0000") == std::string::npos);
    CHECK(c.find("1E15") != std::string::npos);  // what does not fit falls back to the best representation
    CHECK(c.ends_with("1.0000"));
}

TEST_CASE("listing: at every width no line is longer, every cell is there, row headings are repeated") {
    for (const int width : {40, 53, 64, 80, 132, 200}) {
        CAPTURE(width);
        TableStep step;
        Table t(step.out, "ParameterEstimates", "Solution");
        std::string name;
        double v[5];
        std::int32_t biased = 1;
        t.text("Parameter", 20, name).number("Estimate", v[0], 12, 6).integer("Biased", biased);
        t.number("StdErr", v[1], 12, 6).number("tValue", v[2]).number("LowerCL", v[3], 12, 6);
        t.number("UpperCL", v[4], 12, 6).attribute("confidence", 95.0).bind("drim.VEK.Estimates");
        for (int i = 1; i <= 3; ++i) {
            name = "parameter " + std::to_string(i);
            for (int j = 0; j < 5; ++j) v[j] = 1000 * i + 100 * j + 0.5;
            t.row();
        }
        t.end();
        const std::string text = listing(width);
        std::size_t blocks = 0;
        for (const std::string& line : lines_of(text)) {
            CHECK(text_width(line) <= width);
            if (line.starts_with("parameter 2")) ++blocks;
        }
        for (const char* number : {"3000.500000B", "3100.500000", "3200.50", "3300.500000", "3400.500000"}) {
            CHECK(text.find(number) != std::string::npos);
        }
        CHECK((width >= 80 ? blocks == 1 : blocks > 1));
        // The limits stay together under their heading.
        const std::size_t heading = text.find("Lower");
        CHECK(text.substr(heading, text.find('\n', heading) - heading).find("Upper") != std::string::npos);
    }
}

TEST_CASE("listing: a long text is broken at blanks beside its row heading") {
    TableStep step;
    Table t(step.out, "ClassLevels", "Class Levels");
    std::string name = "variety", values;
    std::int32_t levels = 60;
    for (int i = 0; i < 60; ++i) values += "level" + std::to_string(i) + " ";
    t.text("Class", 8, name).integer("Levels", levels).text("Values", 400, values).bind("DRIM.VEK.ClassLevels");
    t.row();
    t.end();
    const std::string text = listing(72);
    for (const std::string& line : lines_of(text)) CHECK(text_width(line) <= 72);
    for (int i = 0; i < 60; ++i) {
        const std::string word = " level" + std::to_string(i);
        CHECK((text.find(word + " ") != std::string::npos || text.find(word + "\n") != std::string::npos));
    }
    CHECK(line_with(text, "variety").find("level5") != std::string::npos);
}

TEST_CASE("listing: the values of a class of very many levels are one long text") {
    TableStep step;
    std::string name = "g", values;
    std::int32_t levels = 12000;
    for (int i = 1; i <= levels; ++i) values += std::to_string(i) + " ";
    Table t(step.out, "ClassLevels", "Class Levels");
    t.text("Class", 8, name).integer("Levels", levels);
    t.text("Values", static_cast<int>(values.size()), values).bind("DRIM.VEK.ClassLevels");
    t.row();
    t.end();
    const std::string text = listing();
    CHECK(text.find(" 12000") != std::string::npos);
    CHECK(text.find(" 11999 12000") != std::string::npos);
}

TEST_CASE("listing: control characters are shown, wide characters keep the columns in line") {
    TableStep step;
    const TestRow rows[] = {{"esc\x1b[2J\ttab", 1}, {"M\u00e4rvel \u65e5\u672c", 1}, {"plain", 1}};
    tests_table(step.out, rows);
    const std::string text = listing();
    for (const char c : text) CHECK((c == '\n' || static_cast<unsigned char>(c) >= 0x20));
    CHECK(text.find("esc\\x1b[2J\\x09tab") != std::string::npos);
    const auto up_to_point = [&](std::string_view start) {
        const std::string line = line_with(text, start);
        return text_width(line.substr(0, line.find("0.0000")));
    };
    CHECK(up_to_point("esc") == up_to_point("plain"));
    CHECK(up_to_point("M") == up_to_point("plain"));
}

TEST_CASE("listing: a column that breaks puts a blank line before its groups and is not shown") {
    TableStep step;
    Table t(step.out, "GEstFunc", "General Form");
    std::string effect, coefficients;
    char control = ' ';
    t.text("Effect", 8, effect).text("Coefficients", 8, coefficients).character("Control", control);
    t.bind("drim.VEK.GEstFunc");
    const char* const effects[] = {"Intercept", "a 1", "a 2", "b 1"};
    for (int i = 0; i < 4; ++i) {
        effect = effects[i];
        coefficients = "L" + std::to_string(i);
        control = i == 1 || i == 3 ? '1' : ' ';
        t.row();
    }
    t.end();
    const std::string text = listing();
    CHECK(text.find("Intercept   L0\n\na 1         L1\na 2         L2\n\nb 1         L3\n") != std::string::npos);
}

TEST_CASE("listing: means stand under the name of their variable, in the order of the variables") {
    TableStep step;
    Table t(step.out, "Means", "Means");
    std::string level = "I";
    std::int32_t n = 4;
    double mean[2] = {1.5, 22.25}, sd[2] = {missing, 0.5};
    t.text("variety", 8, level, {.like = "level"}).column_attribute("cname", "variety").integer("N", n);
    for (int i = 0; i < 2; ++i) {
        const std::string y = i == 0 ? "yield" : "height";
        t.number("Mean " + y, mean[i], 12, 2, {.like = "mean"});
        t.column_attribute("hvar", y).column_attribute("vars", "Mean " + y).column_attribute("vare", "SD " + y);
        t.number("SD " + y, sd[i], 12, 3, {.like = "SD"});
    }
    t.bind("drim.VEK.Means");
    t.row();
    t.end();
    const std::vector<std::string> lines = lines_of(listing());
    std::size_t at = 0;
    while (at < lines.size() && lines[at].find("yield") == std::string::npos) ++at;
    REQUIRE(at + 4 < lines.size());
    CHECK(lines[at].find("yield") < lines[at].find("height"));
    const std::string headings = lines[at + 3];
    const std::size_t mean1 = headings.find("Mean"), sd1 = headings.find("Deviation");
    CHECK(mean1 < sd1);
    CHECK(sd1 < headings.find("Mean", mean1 + 1));
    const std::string row = line_with(listing(), "I");
    CHECK(row.empty());  // the second call has nothing new
}

TEST_CASE("listing: means keep digits where their decimals would leave none") {
    const struct {
        double mean, other;
        const char *first, *second;
    } rows[] = {{1.5e-15, 2.5e-15, " 1.5E-15", " 2.5E-15"},
                {1.234567e-7, 0, " 1.234567E-7", " 0"},
                {1.25e-6, 1e-9, " 0.00000125", " 0.00000000"},
                {-2e-15, 3, " 0.00000000", " 3.00000000"},
                {0, 0, " 0.00000000", " 0.00000000"}};
    for (const auto& row : rows) {
        CAPTURE(row.mean);
        TableStep step;
        Table t(step.out, "Means", "Means");
        std::string level = "first";
        double mean = row.mean;
        t.text("variety", 8, level, {.like = "level"}).number("Mean y", mean, 12, 8, {.like = "mean"});
        t.bind("drim.VEK.Means");
        t.row();
        level = "second";
        mean = row.other;
        t.row();
        t.end();
        const std::string text = listing();
        const std::string first = line_with(text, "first"), second = line_with(text, "second");
        CHECK(first.find(row.first) != std::string::npos);
        CHECK(second.find(row.second) != std::string::npos);
    }
}

TEST_CASE("listing: texts need their header keys; a caption of the template takes the place of the label") {
    TableStep step;
    for (const bool keys : {false, true}) {
        Table t(step.out, "HOVFTest", "The label");
        const std::string source = "a";
        t.text("Source", 8, source);
        if (keys) t.attribute("h1text", "Levene's Test; of y").attribute("h2text", "ANOVA of deviations");
        t.bind("drim.VEK.HoVTest");
        t.row();
        t.end();
    }
    const std::string text = listing();
    const std::size_t second = text.find("Levene's Test\nof y\nANOVA of deviations\n");
    REQUIRE(second != std::string::npos);
    CHECK(text.find("The label") < second);
    CHECK(text.find("The label", second) == std::string::npos);
}

TEST_CASE("listing: titles and folders are repeated when they change, not otherwise") {
    TableStep step;
    const TestRow rows[] = {{"a", 1}};
    tables().set_title(1, "A title");
    set_procedure_title(step.out, "Linear Model");
    Folder anova(step.out, "ANOVA", "Analysis of Variance");
    for (const char* y : {"y1", "y2"}) {
        Folder folder(step.out, y, y, {.key = "Dependent"});
        set_title(step.out, 3, std::string("Dependent Variable: ") + y);
        tests_table(step.out, rows);
        tests_table(step.out, rows);
        folder.close();
    }
    tables().set_by({{"block", "2"}});
    tests_table(step.out, rows);
    const std::string text = listing();
    const auto count = [&](std::string_view what) {
        std::size_t n = 0;
        for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
        return n;
    };
    CHECK(count("A title\nLinear Model\n") == 3);
    CHECK(count("Dependent Variable: y1\n=") == 1);
    CHECK(count("block = 2\n") == 1);
    CHECK(count("Dependent variable: y1") == 0);  // the title says it
    CHECK(count("Analysis of Variance\n---") == 3);
}

TEST_CASE("headings: a folder is left out where a title names it, and stands again under another label") {
    const std::pair<const char*, std::vector<std::string>> titles[] = {
        {"Dependent Variable: y1", {}},
        {"y1 and y2", {}},
        {"Dependent Variable: y10", {"Dependent variable: y1"}},
        {"Dependent Variable: my1", {"Dependent variable: y1"}},
        {"Dependent Variable: y1_a", {"Dependent variable: y1"}},
    };
    for (const auto& [title, headings] : titles) {
        CAPTURE(title);
        ReportContext context;
        context.titles = {title};
        context.path.push_back({"y1", "y1", "Dependent"});
        CHECK(folder_headings(context) == headings);
    }
    ReportContext one, other;
    one.path.push_back({"y1", "Yield", "Dependent"});
    other.path.push_back({"y1", "Height", "Dependent"});
    CHECK(folder_headings(one) == std::vector<std::string>{"Yield"});
    CHECK_FALSE(same_folders(one, other));
    CHECK(same_folders(one, one));
}

TEST_CASE("listing: stacked matrices show their cells above each other") {
    TableStep step;
    const std::string_view names[] = {"yield", "height"};
    const double r[] = {1, -0.5, 1}, p[] = {vzmissing('_'), 0.00004, vzmissing('_')};
    StackedMatrices stack(step.out);
    stack.matrix({.rownames = names, .columnnames = names, .values = r, .format = "sf", .width = 9, .decimals = 6});
    stack.matrix({.values = p, .format = "sp", .decimals = 4});
    stack.end("PartialCorr", "Partial Correlations", "Drim.VEK.StackedMatrix", {.note = "Error df: 40"});
    const std::vector<std::string> lines = lines_of(listing());
    std::size_t at = 0;
    while (at < lines.size() && !lines[at].starts_with("yield")) ++at;
    REQUIRE(at + 4 < lines.size());
    CHECK(lines[at] == "yield     1.000000   -0.500000");
    CHECK(lines[at + 1] == "                      <.0001");
    CHECK(lines[at + 3] == "height   -0.500000    1.000000");
}

namespace {

/// One row of estimates with limits, for layouts that are known whole.
void estimates_table(HostObject* out) {
    std::string name = "x";
    double estimate = 2, lower = 1, upper = 3;
    Table t(out, "ParameterEstimates", "Solution");
    t.text("Parameter", 20, name).number("Estimate", estimate, 12, 4);
    t.number("LowerCL", lower, 12, 4).number("UpperCL", upper, 12, 4);
    t.attribute("confidence", 95.0).bind("drim.VEK.Estimates");
    t.row();
    t.end();
}

}  // namespace

TEST_CASE("listing: the whole of a small table, and of its parts where the line is shorter") {
    struct Case {
        int width;
        const char* text;
    };
    const Case cases[] = {
        {38,
         "Solution\n\n"
         "                       95% Confidence\n"
         "                           Limits\n"
         "                       ---------------\n"
         "Parameter   Estimate    Lower    Upper\n"
         "--------------------------------------\n"
         "x             2.0000   1.0000   3.0000\n"
         "--------------------------------------\n"},
        {37,  // the blanks between columns give way first
         "Solution\n\n"
         "                     95% Confidence\n"
         "                         Limits\n"
         "                     --------------\n"
         "Parameter  Estimate   Lower   Upper\n"
         "-----------------------------------\n"
         "x            2.0000  1.0000  3.0000\n"
         "-----------------------------------\n"},
        {25,  // the limits stay together under their heading
         "Solution\n\n"
         "Parameter  Estimate\n"
         "-------------------\n"
         "x            2.0000\n"
         "-------------------\n\n"
         "           95% Confidence\n"
         "               Limits\n"
         "           --------------\n"
         "Parameter   Lower   Upper\n"
         "-------------------------\n"
         "x          1.0000  3.0000\n"
         "-------------------------\n"},
        {20,  // each of them needs room for the longest word over it
         "Solution\n\n"
         "Parameter  Estimate\n"
         "-------------------\n"
         "x            2.0000\n"
         "-------------------\n\n"
         "              95%\n"
         "           Confidence\n"
         "             Limits\n"
         "           ----------\n"
         "Parameter       Lower\n"
         "--------------------\n"
         "x              1.0000\n"
         "--------------------\n\n"
         "              95%\n"
         "           Confidence\n"
         "             Limits\n"
         "           ----------\n"
         "Parameter       Upper\n"
         "--------------------\n"
         "x              3.0000\n"
         "--------------------\n"},
    };
    for (const Case& one : cases) {
        CAPTURE(one.width);
        TableStep step;
        estimates_table(step.out);
        CHECK(listing(one.width).find(one.text) != std::string::npos);
    }
}

TEST_CASE("listing: items, headings of several words, and tables that have neither spans nor rules") {
    TableStep step;
    Factoids items(step.out, "PredictedInfo", "Items", "drim.VEK.PInfo");
    items.item("Sum", 12.126, 12, 2).item("Count", 7).percent("Share", 0.125);
    items.end();
    std::string label = "a";
    double value = 1;
    Table t(step.out, "Any", "Any");
    t.text("Source", 8, label).number("A long heading of words", value, 12, 2).bind("drim.VEK.None");
    t.row();
    t.end();
    const std::string text = listing();
    CHECK(text.find("Items\n\nSum     12.13\nCount    7\nShare   12.5%\n\n") != std::string::npos);
    CHECK(text.find("             A long\n"
                    "         heading of\n"
                    "Source        words\n"
                    "-------------------\n"
                    "a              1.00\n"
                    "-------------------\n") != std::string::npos);
}

TEST_CASE("listing: a long row heading leaves room for the numbers, a long text goes on below when little is left") {
    TableStep step;
    std::string name = "a name of several words of a level of it alone";
    double value = 1.5;
    Table t(step.out, "ParameterEstimates", "Solution");
    t.text("Parameter", 46, name).number("Estimate", value, 12, 4).bind("drim.VEK.Estimates");
    t.row();
    t.end();
    std::string levels_text = "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25";
    std::string variety = "variety of the plots";
    std::int32_t levels = 25;
    Table classes(step.out, "ClassLevels", "Class Levels");
    classes.text("Class", 20, variety).integer("Levels", levels).text("Values", 80, levels_text);
    classes.bind("DRIM.VEK.ClassLevels");
    classes.row();
    classes.end();
    const std::string text = listing(50);
    for (const std::string& line : lines_of(text)) CHECK(text_width(line) <= 50);
    CHECK(line_with(text, "a name of").ends_with(" 1.5000"));
    for (const std::string& line : lines_of(text)) {
        CHECK((line.find("Levels") == std::string::npos || line.find("Values") == std::string::npos));
    }
}

TEST_CASE("listing: rows are as wide as their rule, also where a number between the extremes is the longest") {
    TableStep step;
    const TestRow rows[] = {{"a", 1, 0, 0.0}, {"b", 1, 0, 123456789.1234}, {"c", 1, 0, 1e15}};
    tests_table(step.out, rows);
    const std::string text = listing();
    const std::size_t rule = line_with(text, "-----").size();
    for (const char* row : {"a ", "b ", "c "}) CHECK(line_with(text, row).size() == rule);
}

TEST_CASE("listing: what has no point stands at the right edge of its column") {
    struct Case {
        double first, second;
        int decimals;
        const char* text;
    };
    const Case cases[] = {
        {0.5, 1e15, 4, "\nfirst    0.5000\nsecond     1E15\n---"},
        {5, missing, 99, "\nfirst        5\nsecond       .\n---"},
        {12.5, missing, 99, "\nfirst     12.5\nsecond      .\n---"},  // unless it is one
    };
    for (const Case& one : cases) {
        TableStep step;
        std::string name = "first";
        double value = one.first;
        Table t(step.out, "Any", "Any");
        t.text("Name", 8, name).number("Value", value, 12, one.decimals).bind("drim.VEK.None");
        t.row();
        name = "second";
        value = one.second;
        t.row();
        t.end();
        CHECK(listing().find(one.text) != std::string::npos);
    }
}

TEST_CASE("listing: a note explains a mark where there is one, a letter column stands close, a heading lacks no key") {
    for (const bool marked : {false, true}) {
        TableStep step;
        std::string source = "a";
        std::int32_t other = marked ? 1 : 0;
        double df = 2, f = 1.5;
        Table t(step.out, "RandomTests", "Tests");
        t.text("Source", 8, source).number("DF", df).integer("Other", other).number("FValue", f);
        t.bind("DRIM.VEK.RTests");
        t.row();
        t.end();
        CHECK((listing().find("* This test assumes") != std::string::npos) == marked);
    }
    TableStep step;
    char first = 'A', second = 'B';
    double mean = 1.5;
    Table lines(step.out, "MCLines", "Lines");
    lines.character("LINE1", first, {.like = "LINE"}).character("LINE2", second, {.like = "LINE"});
    lines.number("Mean", mean, 10, 2).bind("drim.VEK.MCLines");
    lines.row();
    lines.end();
    std::string observation = "1";
    double lower = 1, upper = 2;
    Table p(step.out, "Predicted", "Predicted Values");
    p.text("Observation", 8, observation).number("LowerCL", lower, 12, 2).number("UpperCL", upper, 12, 2);
    p.attribute("confidence", 95.0).bind("drim.VEK.Predicted");
    p.row();
    p.end();
    std::string level = "a";
    Table means(step.out, "MCMeans", "Means");
    means.text("Level", 8, level).number("LowerCL", lower, 12, 0).number("UpperCL", upper, 12, 0);
    means.attribute("confidence", 95.0).attribute("type", "Bonferroni-adjusted").bind("drim.VEK.MCMeans");
    means.row();
    means.end();
    const std::string text = listing();
    CHECK(text.find("Bonferroni-adjusted\n") != std::string::npos);  // a word is not broken
    CHECK(line_with(text, "A") == "A B   1.50");
    CHECK(text.find("Limits") == std::string::npos);  // for what, nobody says
}

TEST_CASE("text: breaking into lines loses nothing but blanks and never exceeds the width") {
    std::mt19937 random(7);
    const std::string_view words[] = {"a",  "Wort", "\u00e4\u00f6\u00fc", "\u65e5\u672c\u8a9e", "verylongwordindeed",
                                      "of", " "};
    for (int i = 0; i < 300; ++i) {
        std::string text;
        for (auto j = random() % 12; j > 0; --j) {
            text += words[random() % std::size(words)];
            text += ' ';
        }
        const int width = 2 + static_cast<int>(random() % 20);
        std::string joined, kept;
        for (const std::string& line : wrapped(text, width)) {
            CHECK(text_width(line) <= width);
            joined += line;
        }
        std::erase(joined, ' ');
        kept = text;
        std::erase(kept, ' ');
        CHECK(joined == kept);
    }
}
