// All forms of the report say the same: programs are run by the program itself, once with every output, and each cell
// of the data is held against the page, Markdown, the listing and the CSV files.
#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "host/shown_report.h"
#include "host/table/template.h"
#include "support/program_support.h"

using namespace vek::test;
namespace files = std::filesystem;
using Json = nlohmann::ordered_json;

namespace {

std::string contents(const files::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// ---- a value of the data and a cell that shows it -----------------------------------------------------------------

/// What the template of a table allows beside the usual: texts for missing values, marks, blanks for repetitions.
struct Allowed {
    std::vector<std::pair<char, std::string>> missing;
    std::vector<std::string> marks;
    bool once = false;
    std::vector<std::string> hidden;
};

Allowed allowed_by(const std::string& path) {
    Allowed allowed;
    const vek::TableTemplate* const found = vek::find_template(path);
    if (found == nullptr) return allowed;
    for (const vek::TemplateColumn& column : found->columns) {
        for (const auto& [code, text] : column.missing) allowed.missing.emplace_back(code, text);
        if (!column.mark.empty()) allowed.marks.emplace_back(column.mark);
        if (column.hidden || column.breaks) allowed.hidden.emplace_back(column.name);
        allowed.once = allowed.once || column.once;
    }
    return allowed;
}

bool is_number(const std::string& cell, double* number, double* unit) {
    char* end = nullptr;
    *number = std::strtod(cell.c_str(), &end);
    if (cell.empty() || *end != '\0') return false;
    const std::size_t exponent = std::min(cell.find_first_of("eE"), cell.size());
    const std::size_t point = std::min(cell.find('.'), exponent);
    const double decimals = point == exponent ? 0 : static_cast<double>(exponent - point - 1);
    *unit = std::pow(10.0, (exponent < cell.size() ? std::atof(cell.c_str() + exponent + 1) : 0.0) - decimals);
    return true;
}

bool shows_number(double value, std::string cell) {
    double shown = 0, unit = 0;
    if (cell.starts_with('<')) return is_number(cell.substr(1), &shown, &unit) && value < shown;
    if (cell.ends_with('%')) {
        cell.pop_back();
        value *= 100;
    }
    return is_number(cell, &shown, &unit) && std::fabs(value - shown) <= 0.5 * unit + 1e-14 * std::fabs(value);
}

bool shows_missing(char code, const std::string& cell, const Allowed& allowed) {
    const auto own = [&](const auto& pair) { return pair.first == code && pair.second == cell; };
    if (std::any_of(allowed.missing.begin(), allowed.missing.end(), own)) return true;
    if (code == 'I') return cell == "Infty";
    if (code == 'M') return cell == "-Infty";
    return code == '_' ? cell.empty() : cell == std::string(1, code);
}

/// `type` is that of the column of the data.
bool shows(const Json& value, const std::string& type, const std::string& cell, const Allowed& allowed) {
    if (value.is_number_integer() && type == "integer" && cell == value.dump()) return true;
    const bool marked = std::find(allowed.marks.begin(), allowed.marks.end(), cell) != allowed.marks.end();
    if (value.is_number_integer() && !allowed.marks.empty() && (value == 0 ? cell.empty() : marked)) return true;
    if (value.is_number()) return type != "text" && shows_number(value.get<double>(), cell);
    const std::string text = value;
    if (type != "text" && text.size() <= 2 && text.starts_with('.')) {
        if (shows_missing(text.size() == 1 ? '.' : text[1], cell, allowed)) return true;
        if (type == "number" || type == "integer") return false;
    }
    return visible(text) == cell || (text.size() == 1 && trimmed(text).empty() && cell.empty());
}

// ---- a table of the data and the rows that show it ----------------------------------------------------------------

/// Rows in the order in which they are shown: those of stacked matrices in turn.
struct DataRows {
    std::vector<Json> columns;  ///< name, label, type
    std::vector<std::vector<Json>> rows;
    std::size_t sets = 1;
};

DataRows data_rows(const Json& table) {
    DataRows result;
    std::vector<const Json*> sets{&table};
    if (table.contains("blocks")) {
        sets.clear();
        for (const Json& block : table["blocks"]) sets.push_back(&block);
    }
    result.sets = sets.size();
    for (const Json& column : (*sets.front())["columns"]) result.columns.push_back(column);
    for (std::size_t i = 0; i < (*sets.front())["rows"].size(); ++i) {
        for (const Json* set : sets) {
            result.rows.emplace_back();
            for (const Json& value : (*set)["rows"][i]) result.rows.back().push_back(value);
        }
    }
    return result;
}

/// True when the cells of a shown column are, row for row, the values of a column of the data.
bool column_shows(const DataRows& data, std::size_t column, const std::vector<ShownRow>& shown, std::size_t place,
                  const Allowed& allowed) {
    const std::string type = data.columns[column]["type"];
    for (std::size_t r = 0; r < shown.size(); ++r) {
        const std::string& cell = shown[r][place].text;
        if (type == "text" && cell.empty()) {
            if (data.sets > 1 && r % data.sets != 0) continue;
            if (allowed.once && r > 0 && data.rows[r][column] == data.rows[r - 1][column]) continue;
        }
        if (!shows(data.rows[r][column], type, cell, allowed)) return false;
    }
    return true;
}

/// Pairs each shown column with a column of the data; true when all shown and all not hidden ones have a partner.
bool columns_agree(const DataRows& data, const std::vector<ShownRow>& shown, const Allowed& allowed) {
    const std::size_t places = shown.front().size();
    std::vector<int> partner(data.columns.size(), -1);
    std::vector<bool> seen;
    // The name of a column that belongs to a level begins with that of the template's column.
    const auto is_hidden = [&](std::size_t j) {
        const std::string name = data.columns[j]["name"];
        const auto hides = [&](const std::string& hidden) { return name.starts_with(hidden); };
        return std::any_of(allowed.hidden.begin(), allowed.hidden.end(), hides);
    };
    const std::function<bool(std::size_t)> find = [&](std::size_t place) {
        for (std::size_t j = 0; j < data.columns.size(); ++j) {
            if (seen[j] || is_hidden(j) || !column_shows(data, j, shown, place, allowed)) continue;
            seen[j] = true;
            if (partner[j] >= 0 && !find(static_cast<std::size_t>(partner[j]))) continue;
            partner[j] = static_cast<int>(place);
            return true;
        }
        return false;
    };
    for (std::size_t place = 0; place < places; ++place) {
        seen.assign(data.columns.size(), false);
        if (!find(place)) {
            MESSAGE("shown column ", place, " shows no column of the data; it begins with ", shown.front()[place].text);
            return false;
        }
    }
    bool all = true;
    for (std::size_t j = 0; j < data.columns.size(); ++j) {
        if (partner[j] >= 0 || is_hidden(j)) continue;
        const std::string name = data.columns[j]["name"];
        MESSAGE("column ", name, " of the data is not shown");
        all = false;
    }
    return all;
}

bool holds_all(const std::vector<std::string>& texts, const Json& wanted) {
    return std::all_of(wanted.begin(), wanted.end(), [&](const Json& text) {
        const std::string line = trimmed(visible(text.get<std::string>()));
        return std::any_of(texts.begin(), texts.end(), [&](const std::string& t) { return trimmed(t) == line; });
    });
}

std::vector<std::string> joined(std::initializer_list<const std::vector<std::string>*> lists) {
    std::vector<std::string> all;
    for (const auto* list : lists) all.insert(all.end(), list->begin(), list->end());
    return all;
}

/// Markdown has the mark in the cell before it.
ShownRow with_marks_joined(const ShownRow& row) {
    ShownRow result;
    for (const ShownCell& cell : row) {
        if (cell.mark && !result.empty()) {
            result.back().text += cell.text;
        } else {
            result.push_back(cell);
        }
        result.back().text = trimmed(result.back().text);
    }
    return result;
}

void check_markdown(const ShownTable& page, const ShownTable& markdown, const Json& table) {
    REQUIRE(page.rows.size() == markdown.rows.size());
    for (std::size_t r = 0; r < page.rows.size(); ++r) {
        const ShownRow row = with_marks_joined(page.rows[r]);
        REQUIRE(row.size() == markdown.rows[r].size());
        for (std::size_t i = 0; i < row.size(); ++i) REQUIRE(row[i].text == markdown.rows[r][i].text);
    }
    CHECK(words_of(page.head) == words_of(markdown.head));
    CHECK(words_of(page.headings) == words_of(markdown.headings));
    CHECK(holds_all(joined({&markdown.before, &markdown.after}), table["notes"]));
    CHECK(holds_all(joined({&markdown.titles, &markdown.head}), table["titles"]));
}

void check_csv(const std::string& text, const Json& table) {
    const std::vector<std::vector<std::string>> rows = read_csv(text);
    const bool stacked = table.contains("blocks");
    std::size_t r = 0;
    const auto cells = [&](const std::vector<std::string>& row, std::size_t from) {
        return std::vector<std::string>(row.begin() + static_cast<std::ptrdiff_t>(from), row.end());
    };
    const auto check_set = [&](const Json& set, const std::string& key) {
        for (const Json& row : set["rows"]) {
            REQUIRE(++r < rows.size());
            if (stacked) REQUIRE(rows[r][0] == key);
            const std::vector<std::string> own = cells(rows[r], stacked ? 1 : 0);
            REQUIRE(own.size() == row.size());
            for (std::size_t j = 0; j < own.size(); ++j) {
                if (row[j].is_number()) {
                    char* end = nullptr;
                    REQUIRE(std::strtod(own[j].c_str(), &end) == row[j].get<double>());
                    REQUIRE((!own[j].empty() && *end == '\0'));
                } else {
                    const std::string value = row[j];
                    REQUIRE((own[j] == value || (value == " " && own[j].empty())));
                }
            }
        }
    };
    if (stacked) {
        for (const Json& block : table["blocks"]) check_set(block, block["key"]);
    } else {
        check_set(table, {});
        for (std::size_t j = 0; j < rows[0].size() && table["kind"] != "matrix"; ++j) {
            const std::string name = table["columns"][j]["name"].get<std::string>();
            // A name that stands twice has a number in the file.
            CHECK((rows[0][j] == name || rows[0][j].starts_with(name + "_")));
            CHECK(std::count(rows[0].begin(), rows[0].end(), rows[0][j]) == 1);
        }
    }
    CHECK(r + 1 == rows.size());
}

/// The columns of a listed table stand apart: no two of them share a column of the terminal.
void check_places(const std::vector<std::pair<int, int>>& extents, const ShownRow& row) {
    int end = 0;
    for (std::size_t i = 0; i < extents.size(); ++i) {
        if (extents[i].second == 0) continue;
        CHECK_MESSAGE(extents[i].first >= end, "column ", i, " of the row that begins with ", row[0].text);
        end = extents[i].second;
    }
}

void check_listed(const ListedTable& listed, const ShownTable& page, const std::vector<std::string>& after,
                  const Json& table) {
    std::vector<std::pair<int, int>> extents, places;
    std::size_t line = 0;
    for (const ShownRow& row : page.rows) {
        if (std::all_of(row.begin(), row.end(), [](const ShownCell& c) { return c.text.empty(); })) continue;
        REQUIRE(line < listed.rows.size());
        REQUIRE_MESSAGE(place_cells(listed.rows[line], row, &places), listed.rows[line]);
        ++line;
        extents.resize(places.size(), {0, 0});
        for (std::size_t i = 0; i < places.size(); ++i) {
            if (places[i].second == 0) continue;
            if (extents[i].second == 0) extents[i] = places[i];
            extents[i] = {std::min(extents[i].first, places[i].first), std::max(extents[i].second, places[i].second)};
        }
    }
    if (!page.rows.empty()) check_places(extents, page.rows.front());
    std::vector<std::string> words = words_of(listed.heading_lines), headings = words_of(page.headings);
    std::erase_if(words, [](const std::string& w) { return w.find_first_not_of('-') == std::string::npos; });
    words.erase(std::unique(words.begin(), words.end()), words.end());
    headings.erase(std::unique(headings.begin(), headings.end()), headings.end());
    CHECK(words == headings);
    CHECK(holds_all(joined({&listed.before, &after}), table["notes"]));
}

void check_table(const Json& table, const ShownTable& page) {
    const DataRows data = data_rows(table);
    REQUIRE(page.rows.size() == data.rows.size());
    for (const ShownRow& row : page.rows) REQUIRE(row.size() == page.rows.front().size());
    if (!page.rows.empty() && !page.headings.empty()) CHECK(page.headings.size() == page.rows.front().size());
    if (!page.rows.empty()) CHECK(columns_agree(data, page.rows, allowed_by(table["template"])));
    CHECK(holds_all(joined({&page.before, &page.after}), table["notes"]));
    CHECK(holds_all(joined({&page.titles, &page.head}), table["titles"]));
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

/// Runs the program in `folder` with every output and compares them; the number of tables.
std::size_t check_program(const files::path& folder, const std::string& program) {
    const std::string command = "cd '" + folder.string() +
                                "' && '" VEK_PROGRAM
                                "' --option LINESIZE=32767 -o l.out --json j.out --html p.out "
                                "--md m.out --csv c.out '" +
                                program + "' 2> log.out < /dev/null";
    const int status = std::system(command.c_str());
    REQUIRE(status >= 0);
    REQUIRE(status / 256 <= 1);
    const Json document = Json::parse(contents(folder / "j.out"));
    const Json& tables = document["tables"];
    const ShownPage page = read_page(contents(folder / "p.out"));
    for (const std::string& fault : page.faults) FAIL_CHECK("page: ", fault);
    const std::vector<ShownTable> markdown = read_markdown(contents(folder / "m.out"));
    const std::vector<std::string> lines = lines_of(contents(folder / "l.out"));
    std::vector<files::path> csv;
    if (files::exists(folder / "c.out")) csv.assign(files::directory_iterator(folder / "c.out"), {});
    std::sort(csv.begin(), csv.end());
    REQUIRE(page.tables.size() == tables.size());
    REQUIRE(markdown.size() == tables.size());
    REQUIRE(csv.size() == tables.size());
    std::vector<ListedTable> listed;
    std::size_t at = 0;
    for (std::size_t i = 0; i < tables.size(); ++i) {
        CAPTURE(i);
        CAPTURE(tables[i]["name"].get<std::string>());
        listed.push_back(read_listed(lines, at, page.tables[i]));
        REQUIRE(listed.back().found);
        at = listed.back().end;
    }
    ListedTable rest;
    rest.before.assign(lines.begin() + static_cast<std::ptrdiff_t>(at), lines.end());
    listed.push_back(rest);
    for (std::size_t i = 0; i < tables.size(); ++i) {
        CAPTURE(i);
        CAPTURE(tables[i]["name"].get<std::string>());
        check_table(tables[i], page.tables[i]);
        check_markdown(page.tables[i], markdown[i], tables[i]);
        check_listed(listed[i], page.tables[i], listed[i + 1].before, tables[i]);
        check_csv(contents(csv[i]), tables[i]);
    }
    REQUIRE(page.log.size() == document["log"].size());
    for (std::size_t i = 0; i < page.log.size(); ++i) {
        CHECK(page.log[i].find(visible(document["log"][i]["text"].get<std::string>())) != std::string::npos);
    }
    return tables.size();
}

void copy_folder(const files::path& from, const files::path& to) {
    for (const auto& entry : files::directory_iterator(from)) {
        if (entry.is_regular_file()) files::copy_file(entry, to / entry.path().filename());
    }
}

}  // namespace

TEST_CASE("all outputs of the examples agree in every cell") {
    const files::path examples = files::path(VEK_TESTS_DIR).parent_path() / "examples";
    const Folder scratch;
    copy_folder(examples, scratch.path());
    std::size_t programs = 0;
    for (const auto& entry : files::directory_iterator(examples)) {
        if (entry.path().extension() != ".vek") continue;
        const std::string name = entry.path().filename();
        CAPTURE(name);
        CHECK(check_program(scratch.path(), name) > 0);
        files::remove_all(files::path(scratch.path()) / "c.out");
        ++programs;
    }
    CHECK(programs >= 4);
}

TEST_CASE("all outputs of the test programs agree in every cell") {
    std::size_t programs = 0, tables = 0;
    for (const auto& entry : files::directory_iterator(files::path(VEK_TESTS_DIR) / "programs")) {
        if (!files::exists(entry.path() / "program.vek")) continue;
        const std::string name = entry.path().filename();
        CAPTURE(name);
        const Folder scratch;
        copy_folder(entry.path(), scratch.path());
        tables += check_program(scratch.path(), "program.vek");
        ++programs;
    }
    CHECK(programs > 10);
    CHECK(tables > 10 * programs);
}

// Texts that would break out of a form, in data, names, labels, titles and notes; blanks that belong to a value; wide
// and combining characters; groups; missing values in every place.
TEST_CASE("all outputs agree on texts that mean something in one of them") {
    const Folder scratch;
    std::ofstream(scratch.path() + "/odd.csv") << "\"g|<1>\",\"a,b\",y,\"z & *z*\"\n"
                                                  "<b>&amp;,p|q,1.5,1\n<b>&amp;,p|q,2.25,\n<b>&amp;,\"x\ty\",4,3\n"
                                                  "<b>&amp;,\"x\ty\",4.5,1e99\n<b>&amp;,`_*#~[],7,-1e-99\n"
                                                  "<b>&amp;,`_*#~[],8.5,2\n"
                                                  "\"\\\\ \"\"q\"\"\",\"two  blanks\",1,2\n"
                                                  "\"\\\\ \"\"q\"\"\",\"two  blanks\",1.0625,2\n"
                                                  "\"\\\\ \"\"q\"\"\",\u540d\u524d,3,4\n"
                                                  "\"\\\\ \"\"q\"\"\",e\u0301te\u0301,5,6\n"
                                                  "\"\\\\ \"\"q\"\"\",A\u00a0z,5.5,.\n"
                                                  "\"\\\\ \"\"q\"\"\",A\u00a0z,5.75,.\n";
    std::ofstream(scratch.path() + "/odd.vek")
        << "TITLE 'A <title> & \"more\" | of `it` # \\ \x01';\n"
           "PROC VEK DATA='odd.csv';\n  BY 'g|<1>'n NOTSORTED;\n  CLASS 'a,b'n;\n"
           "  LABEL y='<i>Yield</i> & | $x_1$' 'z & *z*'n='-- | --';\n"
           "  MODEL y 'z & *z*'n = 'a,b'n / SOLUTION SS1 SS3 E XPX INVERSE P CLM;\n"
           "  MEANS 'a,b'n / TUKEY LINES;\n  MEANS 'a,b'n / T CLDIFF;\n"
           "  CONTRAST '<c> | *c* \\ first - second' 'a,b'n 1 -1 / E;\n"
           "  ESTIMATE '| & <' 'a,b'n 1 -1;\nRUN;\n";
    CHECK(check_program(scratch.path(), "odd.vek") > 20);
}
