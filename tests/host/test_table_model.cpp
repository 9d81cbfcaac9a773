// The object protocol and the report: what a procedure hands over is in the data as it was handed over, in order.
#include <doctest/doctest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "numeric/missing.h"
#include "support/table_support.h"

using namespace vek;
using vek::test::json_tables;
using vek::test::TableStep;
using Json = nlohmann::json;

namespace {

// A table with one column, to have something in the report.
void small_table(HostObject* out, std::string_view name) {
    Table t(out, name, name);
    const std::int32_t value = 1;
    t.integer("Value", value);
    t.bind("drim.VEK.Tests");
    t.row();
    t.end();
}

}  // namespace

TEST_CASE("table: every kind of column reaches the data with its type, value and header keys") {
    TableStep step;
    Table t(step.out, "Mixed", "A label");
    std::string_view view = "A*B  ";
    std::string string = " x";
    char buffer[6] = {'a', 'b', ' ', ' ', ' ', '!'};
    char letter = ' ';
    std::int32_t integer = -7, df = 2;
    double number = 0.1;
    t.text("View", 8, view).text("String", 8, string, {.label = "S", .like = "Effect"});
    t.column_attribute("hvar", "y").column_attribute("n", 3).column_attribute("w", 0.5);
    t.buffer("Buffer", 5, buffer).character("Control", letter).integer("Integer", integer).degrees("DF", df);
    t.number("Number", number, 12, 4);
    t.attribute("sstype", "Type III").attribute("count", 12).attribute("confidence", 95.0);
    t.attribute("sstype", "Type IV");
    t.bind("drim.VEK.Tests");
    t.row();
    view = "A much longer text than the column is wide";
    string.clear();
    std::memcpy(buffer, "x\0zzz", 5);
    letter = '1';
    integer = std::numeric_limits<std::int32_t>::min();
    number = vzmissing('I');
    t.row();
    t.note("a note");
    t.end();

    const Json table = json_tables().at(0);
    CHECK(table["name"] == "Mixed");
    CHECK(table["label"] == "A label");
    CHECK(table["template"] == "drim.VEK.Tests");
    CHECK(table["kind"] == "data");
    CHECK(table["procedure"] == "VEK");
    CHECK(table["step"] == 1);
    CHECK(table["attributes"] == Json{{"sstype", "Type IV"}, {"count", 12}, {"confidence", 95}});
    CHECK(table["notes"] == Json{"a note"});
    CHECK(table["columns"][1] == Json{{"name", "String"},
                                      {"label", "S"},
                                      {"type", "text"},
                                      {"attributes", {{"hvar", "y"}, {"n", 3}, {"w", 0.5}}}});
    std::vector<std::string> types;
    for (const Json& column : table["columns"]) types.push_back(column["type"]);
    CHECK(types == std::vector<std::string>{"text", "text", "text", "text", "integer", "integer", "number"});
    // Blanks that pad a text are not part of it; blanks in front are.
    CHECK(table["rows"][0] == Json{"A*B", " x", "ab", " ", -7, 2, 0.1});
    CHECK(table["rows"][1] == Json{"A much longer text than the column is wide", "", "x", "1", -2147483648LL, 2, ".I"});
}

TEST_CASE("table: a missing value is its text, whatever its code") {
    TableStep step;
    Table t(step.out, "Missing", "");
    double value = 0;
    t.number("Value", value);
    t.bind("drim.VEK.Tests");
    for (const char code : {'.', 'I', 'M', '_', 'A', 'B', 'Z'}) {
        value = vzmissing(code);
        t.row();
    }
    t.end();
    CHECK(json_tables()[0]["rows"] == Json{{"."}, {".I"}, {".M"}, {"._"}, {".A"}, {".B"}, {".Z"}});
}

TEST_CASE("table: a NaN that is not missing and an infinity are faults, reported once with table and column") {
    TableStep step;
    Table t(step.out, "Faulty", "");
    double good = 1, bad = 0.5;
    t.number("Good", good).number("Bad", bad);
    t.bind("drim.VEK.Tests");
    t.row();
    bad = std::nan("");
    t.row();
    bad = std::numeric_limits<double>::infinity();
    t.row();
    t.end();
    REQUIRE(host_log().entries().size() == 1);
    const LogEntry& entry = host_log().entries()[0];
    CHECK(entry.level == Level::error);
    CHECK(entry.group == 940);
    CHECK(entry.text.find("Faulty") != std::string::npos);
    CHECK(entry.text.find("Bad") != std::string::npos);
    CHECK(entry.text.find(" 2 ") != std::string::npos);
    CHECK(json_tables()[0]["rows"] == Json{{1, 0.5}, {1, "."}, {1, "."}});
    CHECK(test::listing().find("NaN") != std::string::npos);
}

TEST_CASE("table: items keep their own kinds, and the column's type is what they share") {
    TableStep step;
    Factoids numbers(step.out, "Numbers", "", "drim.VEK.PInfo");
    numbers.item("a", 72).item("b", 0.25, 12, 4).item("c", missing);
    numbers.end();
    Factoids counts(step.out, "Counts", "", "drim.VEK.PInfo");
    counts.item("a", 72);
    counts.end();
    Factoids texts(step.out, "Texts", "", "drim.VEK.PInfo");
    texts.item("a", "All pairs").percent("b", 0.99);
    texts.end();
    Factoids none(step.out, "None", "", "drim.VEK.PInfo");
    none.end();
    const Json tables = json_tables();
    REQUIRE(tables.size() == 4);
    CHECK(tables[3]["columns"][1]["type"] == "text");
    CHECK(tables[0]["kind"] == "factoid");
    CHECK(tables[0]["columns"][0]["name"] == "Label");
    CHECK(tables[0]["columns"][1]["name"] == "Value");
    CHECK(tables[0]["rows"] == Json::array({{"a", 72}, {"b", 0.25}, {"c", "."}}));
    CHECK(tables[0]["columns"][1]["type"] == "number");
    CHECK(tables[1]["columns"][1]["type"] == "integer");
    CHECK(tables[2]["columns"][1]["type"] == "mixed");
    CHECK(tables[2]["rows"] == Json::array({{"a", "All pairs"}, {"b", 0.99}}));
}

TEST_CASE("matrix: a packed triangle, rectangular values and an element function give the same cells") {
    TableStep step;
    const std::string_view names[] = {"   y1", "y2   ", "y3"};
    const double packed[] = {1, 2, 3, 4, 5, 6};
    const double full[] = {1, 2, 4, -1, 2, 3, 5, -1, 4, 5, 6, -1};
    const MatrixElement element = [](const void* context, int row, int column) {
        return static_cast<const double*>(context)[row * 4 + column];
    };
    matrix_table(step.out, "P", "l", "Drim.VEK.ErrorSSCP", {.rownames = names, .columnnames = names, .values = packed},
                 {.title = "first;  second", .note = "n", .attribute = "ErrorEffect", .value = "E"});
    matrix_table(step.out, "R", "l", "Drim.VEK.ErrorSSCP",
                 {.rownames = names, .columnnames = names, .values = full, .stride = 4}, {});
    matrix_table(step.out, "F", "l", "Drim.VEK.XPX",
                 {.rownames = names, .columnnames = names, .element = element, .context = full}, {});
    const Json tables = json_tables();
    for (const Json& table : tables) {
        CHECK(table["kind"] == "matrix");
        CHECK(table["columns"][0]["name"] == "Row");
        CHECK(table["columns"][1]["name"] == "y1");
        CHECK(table["rows"] == Json{{"y1", 1, 2, 4}, {"y2", 2, 3, 5}, {"y3", 4, 5, 6}});
    }
    CHECK(tables[0]["titles"] == Json{"first", "second"});
    CHECK(tables[0]["attributes"] == Json{{"ErrorEffect", "E"}});
    CHECK(tables[0]["notes"] == Json{"n"});
}

TEST_CASE("matrix: the corner is the label of the row names") {
    TableStep step;
    const std::string_view names[] = {"a", "b"};
    const double values[] = {1, 0.5, 1};
    matrix_table(step.out, "P", "l", "Drim.VEK.PDiff", {.rownames = names, .columnnames = names, .values = values},
                 {.corner = "i/j"});
    const Json columns = json_tables().at(0)["columns"];
    CHECK(columns[0]["name"] == "Row");
    CHECK(columns[0]["label"] == "i/j");
    CHECK(columns[1]["label"] == "a");
}

TEST_CASE("matrix: stacked matrices are blocks with their keys and prefixes") {
    TableStep step;
    const std::string_view names[] = {"a", "b"};
    const double r[] = {1, 0.5, 1}, p[] = {vzmissing('_'), 0.04, vzmissing('_')};
    StackedMatrices stack(step.out);
    stack.matrix({.rownames = names, .columnnames = names, .values = r, .format = "sf", .decimals = 6});
    stack.matrix({.values = p, .format = "sp", .decimals = 4, .prefix = "P_"});
    stack.end("PartialCorr", "label", "Drim.VEK.StackedMatrix", {});
    const Json table = json_tables()[0];
    CHECK_FALSE(table.contains("rows"));
    REQUIRE(table["blocks"].size() == 2);
    CHECK(table["blocks"][0]["key"] == "sf");
    CHECK(table["blocks"][0]["rows"] == Json{{"a", 1, 0.5}, {"b", 0.5, 1}});
    CHECK(table["blocks"][1]["key"] == "sp");
    CHECK(table["blocks"][1]["rows"] == Json{{"a", "._", 0.04}, {"b", 0.04, "._"}});
    CHECK(table["blocks"][1]["columns"][2]["name"] == "P_b");
}

TEST_CASE("report: folders, titles and BY values are those that held when the table began") {
    TableStep step;
    tables().set_title(1, "User's title");
    set_procedure_title(step.out, "Procedure");
    Folder outer(step.out, "ANOVA", "Analysis");
    Folder inner(step.out, "Y", "Y", {.key = "Dependent"});
    set_title(step.out, 3, "Dependent Variable: Y ");
    tables().set_by({{"block", "1"}, {"site", "a b"}});
    small_table(step.out, "First");
    inner.close();
    set_title(step.out, 4, "fourth");
    end_title(step.out, 3);
    small_table(step.out, "Second");
    end_titles_from(step.out, 2);
    outer.close();
    tables().set_by({});
    small_table(step.out, "Third");
    const Json tables = json_tables();
    CHECK(tables[0]["path"] == Json{"ANOVA", "Y"});
    CHECK(tables[0]["by"] == Json{{"block", "1"}, {"site", "a b"}});
    CHECK(tables[0]["titles"] == Json{"User's title", "Procedure", "Dependent Variable: Y"});
    CHECK(tables[1]["path"] == Json{"ANOVA"});
    CHECK(tables[1]["titles"] == Json{"User's title", "Procedure", "fourth"});
    CHECK(tables[2]["path"] == Json::array());
    CHECK(tables[2]["by"] == Json::object());
    CHECK(tables[2]["titles"] == Json{"User's title", "Procedure"});
}

TEST_CASE("report: a BY group names itself when its first table asks, and its notes stay with it") {
    TableStep step;
    static int asked;
    asked = 0;
    const auto values = [](const DataSet*) {
        ++asked;
        return ByValues{{"block", std::to_string(asked)}};
    };
    tables().group_begins(values, nullptr);
    small_table(step.out, "A");
    small_table(step.out, "B");
    tables().group_begins(values, nullptr);  // a group without tables
    tables().group_begins(values, nullptr);
    report_note(step.out, "of the third group");
    small_table(step.out, "C");
    CHECK(asked == 2);
    const Json tables = json_tables();
    CHECK(tables[0]["by"]["block"] == "1");
    CHECK(tables[1]["by"]["block"] == "1");
    CHECK(tables[1]["notes"].empty());
    CHECK(tables[2]["by"]["block"] == "2");
    CHECK(tables[2]["notes"] == Json{"of the third group"});
}

TEST_CASE("report: closing a folder closes those inside it") {
    TableStep step;
    Folder outer(step.out, "a", ""), inner(step.out, "b", "");
    outer.close();
    small_table(step.out, "T");
    CHECK(json_tables()[0]["path"] == Json::array());
}

TEST_CASE("report: a note belongs to the table before it, or to the next one when something has begun since") {
    TableStep step;
    report_note(step.out, "before all");
    small_table(step.out, "A");
    report_note(step.out, "below A");
    tables().print_line("printed below A");
    {
        Folder folder(step.out, "f", "");
        report_note(step.out, "above B");
        set_title(step.out, 2, "t");
        small_table(step.out, "B");
        folder.close();
    }
    report_note(step.out, "after the folder of B");
    {
        Folder folder(step.out, "g", "");
        report_note(step.out, "of a folder without table");
        folder.close();
    }
    small_table(step.out, "C");
    const Json tables = json_tables();
    REQUIRE(tables.size() == 3);
    CHECK(tables[0]["notes"] == Json{"before all", "below A", "printed below A"});
    CHECK(tables[1]["notes"] == Json{"above B", "after the folder of B"});
    CHECK(tables[2]["notes"] == Json::array());
    const std::string text = test::listing();
    std::size_t at = 0;
    for (const char* line : {"before all", "below A", "printed below A", "above B", "after the folder of B",
                             "of a folder without table"}) {
        CAPTURE(line);
        const std::size_t found = text.find(line);
        REQUIRE(found != std::string::npos);
        CHECK(found >= at);
        at = found;
    }
}

TEST_CASE("report: a table that was not ended is dropped with the folders around it; what was complete stays") {
    TableStep step;
    small_table(step.out, "Complete");
    Folder folder(step.out, "f", "");
    Table half(step.out, "Half", "");
    const std::int32_t value = 1;
    half.integer("Value", value);
    half.bind("drim.VEK.Tests");
    half.row();
    tables().discard_unfinished();
    tables().begin_step("ANOVA", 2);
    HostObject* root = nullptr;
    xobinit(&root, 0);
    small_table(make_manager(root), "Next");
    const Json tables = json_tables();
    REQUIRE(tables.size() == 2);
    CHECK(tables[0]["name"] == "Complete");
    CHECK(tables[1]["name"] == "Next");
    CHECK(tables[1]["procedure"] == "ANOVA");
    CHECK(tables[1]["path"] == Json::array());
}

TEST_CASE("report: each output goes on where it stood, and what is cut back appears in none") {
    TableStep step;
    small_table(step.out, "One");
    CHECK(json_tables().size() == 1);
    const std::size_t mark = tables().mark();
    small_table(step.out, "Dropped");
    tables().cut_back(mark);
    small_table(step.out, "Two");
    const Json rest = json_tables();
    REQUIRE(rest.size() == 1);
    CHECK(rest[0]["name"] == "Two");
    CHECK_FALSE(test::listing().empty());
    tables().forget(std::array{TableService::Form::listing, TableService::Form::json});
    CHECK(tables().report().begin() == tables().report().end());
    small_table(step.out, "Three");
    CHECK(json_tables().size() == 1);
}

TEST_CASE("table: a header key keeps the kind of its value, whatever it came as") {
    TableStep step;
    HostObject* table = nullptr;
    const Tag create[] = {tag_text(143, "rdv"), tag_text(146, "data"), tag_text(138, "Kinds"), tag_result(144, &table)};
    REQUIRE(wobmth(step.out, 0, 147, 4, create) == 0);
    const auto set = [&](const char* key, const Tag& value) {
        const Tag tags[] = {tag_text(311, key), value};
        return wobmth(table, 0, 316, 2, tags);
    };
    CHECK(set("text", tag_text(287, "1")) == 0);
    CHECK(set("integer", tag_integer(287, 1)) == 0);
    CHECK(set("number", tag_number(287, 0.5)) == 0);
    CHECK(set("character", tag_character(287, 'x')) == 0);
    CHECK(set("flag", tag_flag(287)) == 0);
    REQUIRE(wobmth(table, 0, 298, 0, nullptr) == 0);
    REQUIRE(wobmth(table, 0, 299, 0, nullptr) == 0);
    const Json expected{{"text", "1"}, {"integer", 1}, {"number", 0.5}, {"character", "x"}, {"flag", 1}};
    CHECK(json_tables().at(0)["attributes"] == expected);
}

TEST_CASE(
    "report: forms written in parts are what they are in one piece, and go on as if nothing had been taken back") {
    TableStep step;
    using Form = TableService::Form;
    std::string parts[3], held[3];
    const auto write = [&](std::string* to) {
        tables().render_listing([&](std::string_view text) { to[0] += text; }, 80);
        tables().write_page_body([&](std::string_view text) { to[1] += text; });
        tables().write_markdown_part([&](std::string_view text) { to[2] += text; });
        tables().forget(std::array{Form::listing, Form::page, Form::markdown});
    };
    const auto whole_page = [&](const std::string& body) {
        std::string text;
        tables().write_page([&](std::string_view part) { text += part; }, host_log(),
                            [&](const TextSink& sink) { sink(body); });
        return text;
    };
    tables().set_by({{"group", "1"}});
    small_table(step.out, "One");
    write(parts);
    tables().hold();
    const std::size_t mark = tables().mark();
    const std::string page_before = whole_page(parts[1]);
    tables().set_by({{"group", "2"}});
    for (const char* name : {"Dropped", "Too"}) {
        small_table(step.out, name);
        write(held);
        CHECK(tables().report().begin() == tables().report().end());
    }
    CHECK(held[0].find("group = 2") != std::string::npos);
    tables().take_back();
    tables().cut_back(mark);
    CHECK(whole_page(parts[1]) == page_before);
    tables().set_by({{"group", "1"}});
    small_table(step.out, "Two");
    write(parts);
    // Nothing has changed above the last table, so that no heading comes again.
    for (const std::string& text : parts) {
        CHECK(text.find("Two") != std::string::npos);
        CHECK(text.find("group = 1") == text.rfind("group = 1"));
        CHECK(text.find("Dropped") == std::string::npos);
    }
    CHECK(whole_page(parts[1]).find("Dropped") == std::string::npos);
}

TEST_CASE("protocol: unknown methods, wrong order and wrong arguments are refused, not carried out") {
    TableStep step;
    constexpr int no_such_method = static_cast<int>(0x80008001U);
    CHECK(wobmth(nullptr, 0, 147, 0, nullptr) == no_such_method);
    CHECK(wobmth(step.out, 0, 999, 0, nullptr) == no_such_method);
    CHECK(wobmth(step.out, 0, 329, 0, nullptr) == no_such_method);
    CHECK(wobmth(step.root, 0, 439, 0, nullptr) == no_such_method);
    CHECK(wobmth(step.out, 0, 147, 0, nullptr) < 0);
    CHECK(wobmth(step.out, 0, 439, 0, nullptr) < 0);
    HostObject* table = nullptr;
    const std::array create{tag_text(143, "rdv"), tag_text(146, "data"), tag_result(144, &table), tag_text(138, "T")};
    REQUIRE(wobmth(step.out, 0, 147, static_cast<int>(create.size()), create.data()) == 0);
    CHECK(wobmth(table, 0, 329, 0, nullptr) < 0);  // no columns yet
    CHECK(wobmth(table, 0, 299, 0, nullptr) < 0);
    const double value = 1;
    const std::array unknown_kind{tag_integer(103, 9), tag_text(138, "C"), tag_bound(285, &value)};
    CHECK(wobmth(table, 0, 338, 3, unknown_kind.data()) < 0);
    const std::array unbound{tag_integer(103, 5), tag_text(138, "C")};
    CHECK(wobmth(table, 0, 338, 2, unbound.data()) < 0);
    CHECK(wobmth(table, 0, 298, 0, nullptr) == 0);
    const std::array late{tag_integer(103, 5), tag_text(138, "C"), tag_bound(285, &value)};
    CHECK(wobmth(table, 0, 338, 3, late.data()) < 0);
    CHECK(wobmth(table, 0, 164, 0, nullptr) < 0);  // not a table of items
    CHECK(wobclose(table) < 0);
}

TEST_CASE("protocol: without a manager nothing happens") {
    TableStep step;
    small_table(nullptr, "None");
    Folder folder(nullptr, "f", "");
    CHECK_FALSE(folder.is_open());
    folder.close();
    Factoids items(nullptr, "None", "", "x");
    items.item("a", 1).item("b", 2.0).item("c", "d").percent("e", 0.5);
    items.note("n");
    items.end();
    const std::string_view names[] = {"a"};
    const double one[] = {1};
    matrix_table(nullptr, "None", "", "x", {.rownames = names, .columnnames = names, .values = one}, {});
    report_note(nullptr, "n");
    set_title(nullptr, 2, "t");
    end_titles_from(nullptr, 1);
    small_table(step.out, "Some");
    const Json tables = json_tables();
    REQUIRE(tables.size() == 1);
    CHECK(tables[0]["notes"].empty());
    CHECK(tables[0]["titles"].empty());
}

TEST_CASE("json: numbers have the form that they have in data sets") {
    constexpr struct {
        double value;
        const char* text;
    } rows[] = {{100000, "100000"}, {-1e6, "-1000000"},   {123456789012345, "123456789012345"},
                {1e22, "1e+22"},    {0.00025, "0.00025"}, {1e-7, "1e-07"},
                {0, "0"},           {1.5, "1.5"}};
    for (const auto& row : rows) {
        std::string text;
        JsonWriter json([&](std::string_view part) { text.append(part); });
        json.value(row.value);
        json.flush();
        CHECK(text == row.text);
    }
}

TEST_CASE("json: bytes that are no characters are replaced, and the document can be read") {
    std::string text;
    JsonWriter json([&](std::string_view part) { text.append(part); });
    json.begin_object();
    json.member("text", "a\xFF\xC3(\u00e4\xED\xA0\x80\"\xC3");
    json.end_object();
    json.flush();
    CHECK(Json::parse(text)["text"] == "a\uFFFD\uFFFD(\u00e4\uFFFD\uFFFD\uFFFD\"\uFFFD");
}

TEST_CASE("json: any text and any double come back as they were") {
    std::string text;
    JsonWriter json([&](std::string_view part) { text.append(part); });
    std::string all;
    for (int c = 0; c < 128; ++c) all += static_cast<char>(c);
    all += "\u00e4\u65e5\U0001F600";
    const double doubles[] = {0.1, 1e300, -2.2250738585072014e-308, 5e-324, 1.0 / 3, 123456789012345678.0, -0.0};
    json.begin_object();
    json.member("text", all);
    json.name("doubles");
    json.begin_array();
    for (const double d : doubles) json.value(d);
    json.end_array();
    json.member("empty", "");
    json.name("nested");
    json.begin_array();
    json.begin_array();
    json.end_array();
    json.begin_object();
    json.end_object();
    json.end_array();
    json.end_object();
    json.flush();
    const Json back = Json::parse(text);
    CHECK(back["text"].get<std::string>() == all);
    for (std::size_t i = 0; i < std::size(doubles); ++i) CHECK(back["doubles"][i].get<double>() == doubles[i]);
    CHECK(back["empty"] == "");
    CHECK(back["nested"].size() == 2);
    for (const char c : text) CHECK((c == '\n' || static_cast<unsigned char>(c) >= 0x20));
}
