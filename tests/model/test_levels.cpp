// The level pass: order of levels, their texts, record types, counts, passes, BY groups, ABSORB, and the tables.
#include <map>
#include <random>

#include "support/model_step.h"
#include "support/table_support.h"

using namespace vek;
using namespace vek::test;

namespace {

/// The levels of the first class variable after one reading.
std::string ordered(const TextTable& table, const char* order, const Format& format = {}) {
    ModelText text{.classes = {"a"}, .dependents = {"y"}, .effects = {"a"}};
    text.order = order;
    if (table.column("f") >= 0) text.freq = "f";
    ModelStep step(table, text, {{"a", format}});
    REQUIRE(step.read() == zlvknt_done);
    return step.levels(0);
}

/// A value-label format; values in ascending order.
Format labels(const std::vector<std::pair<double, std::string>>& pairs) {
    auto made = std::make_shared<ValueFormat>();
    made->name = "NAMED";
    for (const auto& [value, label] : pairs) {
        LabelRange range;
        range.has_low = range.has_high = true;
        range.low = range.high = value;
        range.label = label;
        made->ranges.push_back(range);
        made->longest = std::max(made->longest, static_cast<int>(label.size()));
    }
    Format format;
    format.kind = Format::Kind::labels;
    format.name = made->name;
    format.labels = made;
    return format;
}

Format fixed(int width, int decimals) { return format_from_text("F", width, decimals); }

std::vector<int> types(ModelBlock& zgm) {
    std::vector<int> found;
    for (zgmloli(zgm, record_missing, false); zgmlolc(zgm); zgmloln(zgm, record_missing, false))
        found.push_back(*zgm.rectype);
    return found;
}

}  // namespace

TEST_CASE("ORDER=: by formatted text, by first appearance, by raw value, by descending frequency") {
    const TextTable numbers("a y\n10 1\n9 1\n100 1\n9 1\n");
    const TextTable texts("a y\nm 1\nb 1\nz 1\nb 1\nz 1\nB 1\n");
    const TextTable weighted("a f y\n3 1 1\n1 2.9 1\n2 2 1\n3 4 1\n4 0 1\n");
    struct Case {
        const TextTable& table;
        const char* order;
        Format format;
        const char* levels;
    };
    const Case cases[] = {
        {numbers, "FOR", {}, "9 10 100"},
        {numbers, "DAT", {}, "10 9 100"},
        {numbers, "INT", {}, "9 10 100"},
        {numbers, "FRE", {}, "9 10 100"},
        {numbers, "FOR", fixed(3, 0), "9 10 100"},
        {numbers, "FOR", labels({{9, "nine"}, {10, "ten"}, {100, "hundred"}}), "hundred nine ten"},
        {numbers, "INT", labels({{9, "nine"}, {10, "ten"}, {100, "hundred"}}), "nine ten hundred"},
        {numbers, "DAT", labels({{9, "nine"}, {10, "ten"}, {100, "hundred"}}), "ten nine hundred"},
        // 9 and 100 share a text: one level, with the lower raw value and the sum of the counts
        {numbers, "INT", labels({{9, "odd"}, {10, "ten"}, {100, "odd"}}), "odd ten"},
        {numbers, "FRE", labels({{9, "odd"}, {10, "ten"}, {100, "odd"}}), "odd ten"},
        {texts, "FOR", {}, "B b m z"},
        {texts, "DAT", {}, "m b z B"},
        {texts, "FRE", {}, "b z B m"},
        // 3 counts 5, 1 and 2 count 2 each and are told apart by value; 4 has no frequency but is a level
        {weighted, "FRE", {}, "3 1 2 4"},
    };
    for (const Case& c : cases) {
        CAPTURE(c.order);
        CAPTURE(c.levels);
        CHECK(ordered(c.table, c.order, c.format) == c.levels);
    }
}

TEST_CASE("a level takes the lowest raw value of those that share its text") {
    const TextTable table("a y\n7 1\n3 1\n5 1\n3 1\n");
    ModelStep step(table, {.classes = {"a"}, .dependents = {"y"}, .effects = {"a"}},
                   {{"a", labels({{3, "low"}, {5, "mid"}, {7, "low"}})}});
    step.lay_out();
    CHECK(step.columns(1) == "low mid");
    CHECK(step.zgm.levraw[0][0].number() == 3);
    CHECK(step.zgm.levraw[0][1].number() == 5);
}

TEST_CASE("the note on the order comes for unformatted numbers whose texts sort otherwise, once a variable") {
    ordered(TextTable("a y\n10 1\n9 1\n"), "FOR");
    const auto notes = [] {
        int count = 0;
        for (const LogEntry& entry : host_log().entries())
            count += entry.text.find("order of the levels of the classification variable a") != std::string::npos;
        return count;
    };
    {
        const TextTable table("g a y\n1 10 1\n1 9 1\n2 10 1\n2 9 1\n");
        ModelStep step(table, {.classes = {"a"}, .dependents = {"y"}, .effects = {"a"}, .by = {"g"}});
        step.read();
        step.read();
        CHECK(notes() == 1);
    }
    for (const auto& [order, format] : {std::pair<const char*, Format>{"INT", {}}, {"FOR", fixed(4, 0)}}) {
        ModelText text{.classes = {"a"}, .dependents = {"y"}, .effects = {"a"}};
        text.order = order;
        ModelStep step(TextTable("a y\n10 1\n9 1\n"), text, {{"a", format}});
        step.read();
        CHECK(notes() == 0);
    }
}

TEST_CASE("level texts are left-justified, but blanks that tell levels apart stay") {
    // "_" stands for a blank
    const TextTable apart("a y\n_a 1\na 1\n__b 1\n");
    const TextTable common("a y\n__a 1\n_a 1\n__b 1\n");
    const TextTable merged("a y\n__a 1\n_b 1\n");
    const auto read = [](const TextTable& table) {
        ModelStep step(table, {.classes = {"a"}, .dependents = {"y"}, .effects = {"a"}});
        step.read();
        return step.levels(0) + "|" + std::to_string(step.zgm.classes[0].fmtwidth);
    };
    CHECK(read(apart) == "  b  a a|3");
    CHECK(read(common) == " a  b a|2");
    CHECK(read(merged) == "a b|1");
}

TEST_CASE("texts of 16 characters and more: 16 tell levels apart, also when only a long text's end differs") {
    const TextTable table(R"(
        a y
        abcdefghijklmnop 1
        abcdefghijklmnopqr 1
        abcdefghijklmnopqs 1
        abcdefghijklmnoq 1
        abcdefg 1
        abc 1
        abcdefgh 1
        abcdefghi 1
    )");
    ModelStep step(table, {.classes = {"a"}, .dependents = {"y"}, .effects = {"a"}});
    step.read();
    CHECK(step.levels(0) == "abc abcdefg abcdefgh abcdefghi abcdefghijklmnop abcdefghijklmnoq");
}

TEST_CASE("record types: what each kind of gap makes of a row, and what it counts for") {
    const TextTable table(R"(
        a x f w y u
        1 1 1 1 1 1
        1 1 1 1 1 .
        1 1 1 1 . .
        . 1 1 1 1 1
        1 . 1 1 1 1
        1 1 0.5 1 1 1
        1 1 . 1 1 1
        1 1 2147483648 1 1 1
        1 1 1 0 1 1
        1 1 1 . 1 1
        . 1 0 1 1 1
        1 1 2.7 1 . 1
    )");
    ModelText text{.classes = {"a"}, .dependents = {"y", "u"}, .effects = {"a", "x"}, .freq = "f", .weight = "w"};
    {
        ModelStep step(table, text);
        REQUIRE(step.read() == zlvknt_done);
        CHECK(types(step.zgm) == std::vector<int>{1, 2, 0, -1, -1, 0, 0, 0, 0, 0, -1, 2});
        CHECK(step.zgm.ynobs[0] == 2);
        CHECK(step.zgm.ynobs[1] == 3);
        CHECK(step.zgm.npass == 2);
    }
    text.multivar = true;
    ModelStep step(table, text);
    REQUIRE(step.read() == zlvknt_done);
    CHECK(types(step.zgm) == std::vector<int>{1, 0, 0, -1, -1, 0, 0, 0, 0, 0, -1, 0});
    CHECK(step.zgm.ynobs[0] == 1);
    CHECK(step.zgm.npass == 1);
}

TEST_CASE("a text of blanks is missing, one that begins with 16 blanks too") {
    const TextTable table("a y\nx 1\n__ 1\n_________________z 1\n");
    ModelStep step(table, {.classes = {"a"}, .dependents = {"y"}, .effects = {"a"}});
    step.read();
    CHECK(types(step.zgm) == std::vector<int>{1, -1, -1});
}

TEST_CASE("passes: dependent variables that every row has or lacks together share one") {
    struct Case {
        const char* rows;
        std::vector<int> passes;
    };
    for (const Case& c : {Case{"y u v\n1 1 1\n2 2 2\n", {1, 1, 1}}, Case{"y u v\n1 1 1\n. . 2\n", {1, 1, 2}},
                          Case{"y u v\n1 . 1\n. 2 .\n3 3 3\n", {1, 2, 1}}, Case{"y u v\n. 1 1\n. 2 .\n", {0, 1, 2}},
                          Case{"y u v\n1 . .\n. 1 .\n. . 1\n", {1, 2, 3}}}) {
        CAPTURE(c.rows);
        ModelStep step(TextTable(c.rows), {.dependents = {"y", "u", "v"}});
        step.read();
        const std::int16_t* found = step.zgm.ypass;
        CHECK(std::vector<int>(found, found + 3) == c.passes);
        CHECK(step.zgm.npass == *std::max_element(c.passes.begin(), c.passes.end()));
    }
}

TEST_CASE("more dependent variables than a word has bits") {
    TextTable table("a\n");
    ModelText text{.classes = {"a"}, .effects = {"a"}};
    std::vector<std::string> first{"1"}, second{"2"};
    for (int k = 0; k < 70; ++k) {
        text.dependents.push_back("y" + std::to_string(k));
        table.names.push_back(text.dependents.back());
        first.push_back(k == 65 ? "." : "1");
        second.push_back(k == 65 ? "1" : ".");
    }
    table.rows = {first, second};
    ModelStep step(table, text);
    step.lay_out();
    CHECK(step.zgm.npass == 2);
    CHECK(step.zgm.nyp == 69);
    CHECK(step.columns(1) == "1");
    step.next_pass();
    CHECK(step.zgm.ylist[0] == 65);
    CHECK(step.columns(1) == "2");
}

TEST_CASE("no usable observation: message 17, and the next BY group is read as if nothing had been") {
    const TextTable table("g a y\n1 1 .\n1 2 .\n2 3 5\n2 1 6\n");
    ModelStep step(table, {.classes = {"a"}, .dependents = {"y"}, .effects = {"a"}, .by = {"g"}});
    CHECK(step.read() == zlvknt_no_observation);
    CHECK(ModelStep::logged(172, 17) == 1);
    CHECK(step.zgm.npass == 0);
    step.lay_out();
    CHECK(step.columns(1) == "1 3");
}

TEST_CASE("BY groups number and order their levels on their own") {
    const TextTable table(R"(
        g a b y
        1 3 u 1
        1 1 v 2
        1 1 u .
        2 1 w 3
        2 2 u 4
        2 3 w 5
        3 2 w 6
    )");
    ModelStep step(table, {.classes = {"a", "b"}, .dependents = {"y"}, .effects = {"a", "a*b"}, .by = {"g"}});
    const char* expected[] = {"1 3|1:v 3:u", "1 2 3|1:w 2:u 3:w", "2|2:w"};
    for (const char* columns : expected) {
        step.lay_out();
        CHECK(step.columns(1) + "|" + step.columns(2) == columns);
        zgmpsln(step.zgm);
    }
}

TEST_CASE("32,767 levels are held, one more ends the pass") {
    for (const bool combination : {false, true}) {
        for (const int count : {32767, 32768}) {
            CAPTURE(combination);
            CAPTURE(count);
            TextTable table("a b y\n");
            for (int k = 0; k < count; ++k) {
                const int a = combination ? k / 200 : k, b = combination ? k % 200 : 0;
                table.rows.push_back({std::to_string(a), std::to_string(b), "1"});
            }
            ModelStep step(table, {.classes = {"a", "b"}, .dependents = {"y"}, .effects = {"a*b"}});
            CHECK(step.read() == (count > most_levels ? zlvknt_too_many_levels : zlvknt_done));
            if (count > most_levels) continue;
            zgmpsli(step.zgm);
            zgmbldi(step.zgm);
            CHECK(step.zgm.effects[1]->mod->ncols == count);
        }
    }
}

TEST_CASE("level numbers by hash are those of a plain search, for numbers, texts and combinations of four") {
    std::mt19937 random(29);
    TextTable table("a b c d y\n");
    for (int r = 0; r < 9000; ++r) {
        const auto pick = [&](unsigned n) { return std::to_string(random() % n); };
        table.rows.push_back({pick(5000), "level" + pick(700) + std::string(random() % 3, 'x'), "q" + pick(40),
                              std::to_string(random() % 30) + ".5", random() % 9 == 0 ? "." : "1"});
    }
    ModelStep step(
        table,
        {.classes = {"a", "b", "c", "d"}, .dependents = {"y"}, .effects = {"a*b", "c*d", "b*c", "a*b*c*d", "d*c*b"}});
    step.read();
    ModelBlock& zgm = step.zgm;
    std::vector<std::map<std::vector<std::string>, int>> seen(static_cast<std::size_t>(zgm.nlevset));
    std::size_t r = 0;
    for (zgmloli(zgm, record_missing, false); zgmlolc(zgm); zgmloln(zgm, record_missing, false), ++r) {
        for (int set = 0; set < zgm.nlevset; ++set) {
            std::vector<std::string> key;
            if (set < 4) {
                key = {table.at(r, set)};
            } else {
                const Effect& e = *zgm.effects[set - 3];
                for (int v = 0; v < e.ncross; ++v) key.push_back(table.at(r, e.cross[v]));
            }
            auto& levels = seen[static_cast<std::size_t>(set)];
            const int expected = levels.emplace(key, static_cast<int>(levels.size())).first->second;
            REQUIRE(zgm.levidx[set] == expected);
        }
    }
    for (int set = 0; set < zgm.nlevset; ++set)
        CHECK(zgm.nlev[set] == static_cast<int>(seen[static_cast<std::size_t>(set)].size()));
}

TEST_CASE("ABSORB: counters change with the variable and with those before it; unsorted data are told once") {
    struct Case {
        const char* rows;
        int warnings;
        const char* counters;
    };
    for (const Case& c :
         {Case{"g h y\n1 1 1\n1 2 1\n2 2 1\n2 2 1\n", 0, "00 01 12 12"},
          Case{"g h y\n9 1 1\n10 1 1\n100 1 1\n", 0, "00 11 22"},
          Case{"g h y\n2 1 1\n1 1 1\n2 1 1\n1 1 1\n", 1, "00 11 22 33"}, Case{"g h y\n1 2 1\n1 1 1\n", 1, "00 01"},
          Case{"g h y\nb 1 1\na 1 1\n", 1, "00 11"}, Case{"g h y\n1 2 1\n. 1 1\n1 2 1\n2 1 1\n", 0, "00 00 00 11"}}) {
        CAPTURE(c.rows);
        ModelStep step(TextTable(c.rows), {.dependents = {"y"}, .absorb = {"g", "h"}});
        step.read();
        ModelBlock& zgm = step.zgm;
        std::string counters;
        for (zgmloli(zgm, record_missing, false); zgmlolc(zgm); zgmloln(zgm, record_missing, false)) {
            counters += counters.empty() ? "" : " ";
            counters += std::to_string(zgm.abschange[0]) + std::to_string(zgm.abschange[1]);
        }
        CHECK(counters == c.counters);
        CHECK(ModelStep::logged(172, 64) == c.warnings);
    }
}

TEST_CASE("tables of the level pass: levels, observations, groups of dependent variables") {
    const TextTable table(R"(
        a treatment y u
        10 x 1 1
        9 long_text 2 .
        10 x . 3
    )");
    ModelStep step(table, {.classes = {"a", "treatment"}, .dependents = {"y", "u"}, .effects = {"a"}});
    const TableStep report;
    REQUIRE(step.read(report.out) == zlvknt_done);
    const nlohmann::json tables = json_tables();
    REQUIRE(tables.size() == 3);
    CHECK(tables[0]["name"] == "ClassLevels");
    CHECK(tables[0]["rows"] == nlohmann::json::parse(R"([["a", 2, "9 10"], ["treatment", 2, "long text x"]])"));
    CHECK(tables[0]["attributes"]["vwidth"] == 12);
    CHECK(tables[1]["name"] == "NObs");
    CHECK(tables[1]["rows"][0][1] == 3);
    CHECK(tables[2]["name"] == "DependentInfo");
    CHECK(tables[2]["rows"] == nlohmann::json::parse(R"([[1, 2, "y"], [2, 2, "u"]])"));
}

TEST_CASE("the note on missing values depends on how the dependent variables are handled") {
    struct Case {
        const char* rows;
        std::vector<std::string> dependents;
        bool multivar;
        std::string note;
        std::size_t tables;
    };
    const Case cases[] = {
        {"y u\n1 1\n. 2\n", {"y"}, false, rdvmsg(172, 21, 1), 1},
        {"y u\n1 1\n. .\n", {"y", "u"}, false, rdvmsg(257, 10, 1), 1},
        {"y u\n1 1\n. 2\n", {"y", "u"}, true, rdvmsg(257, 9, 1), 1},
        {"y u\n1 1\n2 2\n", {"y", "u"}, false, "", 1},
        {"y u\n1 .\n2 .\n", {"y", "u"}, false, rdvmsg(257, 13), 2},
    };
    for (const Case& c : cases) {
        CAPTURE(c.rows);
        ModelStep step(TextTable(c.rows), {.dependents = c.dependents, .multivar = c.multivar});
        const TableStep report;
        REQUIRE(step.read(report.out) == zlvknt_done);
        CHECK(json_tables().size() == c.tables);
        if (!c.note.empty()) CHECK(listing().find(c.note.substr(0, 40)) != std::string::npos);
    }
}
