// The page, Markdown and CSV files: the same cells as in the data, nothing that a browser would run or fetch.
#include <doctest/doctest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "numeric/missing.h"
#include "support/table_support.h"

using namespace vek;
using vek::test::json_tables;
using vek::test::lines_of;
using vek::test::listing;
using vek::test::TableStep;
using Json = nlohmann::json;

namespace {

std::string page() {
    std::string text;
    tables().write_html([&](std::string_view part) { text.append(part); }, host_log());
    return text;
}

std::string markdown() {
    std::string text;
    tables().write_markdown([&](std::string_view part) { text.append(part); });
    return text;
}

// A report with each kind of table, and texts that would break out of any of the forms.
void write_report(HostObject* out) {
    Folder folder(out, "ANOVA", "Analysis <of> & variance");
    Folder inner(out, "y<1>", "y<1>", {.key = "Dependent"});
    {
        Table t(out, "ParameterEstimates", "Solution \"quoted\"");
        std::string name;
        double estimate = 1.5, error = 0.25, t_value = 6, p = 0.00002;
        std::int32_t biased = 1;
        t.text("Parameter", 20, name).number("Estimate", estimate, 12, 4).integer("Biased", biased);
        t.number("StdErr", error, 12, 4).number("tValue", t_value).number("Probt", p);
        t.bind("drim.VEK.Estimates");
        name = "<script>alert('a|b')</script>";
        t.row();
        name = "a, \"b\"\n<&>";
        estimate = -1234.5678;
        biased = 0;
        error = missing;
        t_value = vzmissing('I');
        t.row();
        t.note("note with <b> and & and *stars*");
        t.end();
    }
    inner.close();
    folder.close();
    Factoids items(out, "PredictedInfo", "Items", "drim.VEK.PInfo");
    items.item("Sum", 12.125, 12, 2).item("Count", 7).item("Kind", "<all>");
    items.end();
    const std::string_view names[] = {"y1", "y2"};
    const double r[] = {1, -0.5, 1}, q[] = {vzmissing('_'), 0.04, vzmissing('_')};
    StackedMatrices stack(out);
    stack.matrix({.rownames = names, .columnnames = names, .values = r, .format = "sf", .width = 9, .decimals = 6});
    stack.matrix({.values = q, .format = "sp", .decimals = 4, .prefix = "P_"});
    stack.end("PartialCorr", "Correlations", "Drim.VEK.StackedMatrix", {.title = "A title"});
}

// The text of an element without its blanks for alignment; entities resolved.
std::string plain(std::string text) {
    const std::pair<std::string_view, std::string_view> entities[] = {{"&lt;", "<"},  {"&gt;", ">"},  {"&quot;", "\""},
                                                                      {"\u2007", ""}, {"\u2008", ""}, {"&amp;", "&"}};
    for (const auto& [from, to] : entities) {
        for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
            text.replace(at, from.size(), to);
        }
    }
    return text;
}

std::vector<std::vector<std::string>> page_rows(const std::string& html) {
    std::vector<std::vector<std::string>> rows;
    std::size_t at = 0;
    while ((at = html.find("<tbody>", at)) != std::string::npos) {
        const std::size_t end = html.find("</tbody>", at);
        for (std::size_t row = html.find("<tr", at); row < end; row = html.find("<tr", row + 1)) {
            rows.emplace_back();
            const std::size_t row_end = html.find("</tr>", row);
            for (std::size_t cell = html.find_first_of("<", row + 1); cell < row_end; cell = html.find('<', cell + 1)) {
                if (html.compare(cell, 3, "<td") != 0 && html.compare(cell, 3, "<th") != 0) continue;
                const std::size_t from = html.find('>', cell) + 1;
                rows.back().push_back(plain(html.substr(from, html.find("</t", from) - from)));
            }
        }
        at = end;
    }
    return rows;
}

std::vector<std::vector<std::string>> markdown_rows(const std::string& text) {
    std::vector<std::vector<std::string>> rows;
    int line_of_table = 0;
    for (const std::string& line : lines_of(text)) {
        if (!line.starts_with("| ")) {
            line_of_table = 0;
            continue;
        }
        if (++line_of_table < 3) continue;  // headings and alignment
        rows.emplace_back();
        std::string cell;
        for (std::size_t i = 1; i < line.size(); ++i) {
            if (line[i] == '\\') {
                cell += line[++i];
            } else if (line[i] == '|') {
                cell.erase(0, cell.find_first_not_of(' '));
                cell.erase(cell.find_last_not_of(' ') + 1);
                rows.back().push_back(cell);
                cell.clear();
            } else {
                cell += line[i];
            }
        }
    }
    return rows;
}

// A value of the data and the cell that shows it.
bool shows(const Json& value, const std::string& cell) {
    if (value.is_string()) {
        const std::string text = value;
        if (text == ".I") return cell == "Infty";
        if (text == "._") return cell.empty();
        std::string shown = text;
        if (const std::size_t at = shown.find('\n'); at != std::string::npos) shown.replace(at, 1, "\\x0a");
        return cell == shown;
    }
    if (cell.starts_with('<')) return value.get<double>() < std::atof(cell.c_str() + 1);
    const std::size_t point = cell.find('.');
    const double unit = point == std::string::npos ? 1 : std::pow(10.0, -static_cast<double>(cell.size() - point - 1));
    return std::fabs(value.get<double>() - std::atof(cell.c_str())) <= 0.5000001 * unit;
}

}  // namespace

TEST_CASE("page and Markdown: every cell shows the value of the data in its place") {
    TableStep step;
    write_report(step.out);
    const auto html = page_rows(page()), md = markdown_rows(markdown());
    const Json tables = json_tables();
    REQUIRE(html.size() == 2 + 3 + 4);
    REQUIRE(md.size() == html.size());
    std::size_t at = 0;
    for (const Json& row : tables[0]["rows"]) {
        const std::string mark = row[2] == 1 ? "B" : "";
        CHECK(html[at][2] == mark);
        for (std::size_t j = 0; j < row.size(); ++j) {
            if (j == 2) continue;
            CAPTURE(j);
            CHECK(shows(row[j], html[at][j]));
            // In Markdown the mark stands in the cell of its number.
            std::string cell = md[at][j < 2 ? j : j - 1];
            if (j == 1 && !mark.empty()) {
                CHECK(cell.ends_with(mark));
                cell.pop_back();
            }
            CHECK(shows(row[j], cell));
        }
        ++at;
    }
    for (const Json& row : tables[1]["rows"]) {
        for (std::size_t j = 0; j < 2; ++j) {
            CHECK(shows(row[j], html[at][j]));
            CHECK(shows(row[j], md[at][j]));
        }
        ++at;
    }
    for (std::size_t i = 0; i < 2; ++i) {
        for (const Json& block : tables[2]["blocks"]) {
            for (std::size_t j = 1; j < 3; ++j) {
                CHECK(shows(block["rows"][i][j], html[at][j]));
                CHECK(shows(block["rows"][i][j], md[at][j]));
            }
            ++at;
        }
    }
}

TEST_CASE("Markdown: an ampersand is no beginning of a character's name") {
    TableStep step;
    tables().set_title(1, "a &lt; b & c&#39;");
    write_report(step.out);
    CHECK(markdown().find("a \\&lt; b & c\\&\\#39;") != std::string::npos);
}

TEST_CASE("page: no text becomes an element, nothing is fetched, every link has its place") {
    TableStep step;
    tables().set_title(1, "<img src=x>");
    const Place place{"p&q.vek", 2, 3, 4};
    host_log().add({Level::error, 900, 1, "unexpected <token>", place, {}, "  a < b\n    ^"});
    write_report(step.out);
    const std::string html = page();
    CHECK(html.starts_with("<!DOCTYPE html>"));
    for (const char* forbidden :
         {"<script", "<img", "<b>", "<token", "<link", "http:", "https:", "url(", "@import", "\x0b"}) {
        CAPTURE(forbidden);
        CHECK(html.find(forbidden) == std::string::npos);
    }
    CHECK(html.find("p&amp;q.vek:2:3: error: unexpected &lt;token&gt;") != std::string::npos);
    // Elements are balanced.
    std::map<std::string, int> open;
    for (std::size_t at = html.find('<'); at != std::string::npos; at = html.find('<', at + 1)) {
        const bool closing = html[at + 1] == '/';
        const std::size_t from = at + (closing ? 2 : 1);
        const std::string name = html.substr(from, html.find_first_of(" >\n", from) - from);
        open[name] += closing ? -1 : 1;
    }
    for (const char* name :
         {"ul", "li", "table", "tr", "td", "th", "section", "figure", "nav", "div", "p", "a", "details"}) {
        CAPTURE(name);
        CHECK(open[name] == 0);
    }
    int links = 0;
    for (std::size_t at = html.find("href=\"#"); at != std::string::npos; at = html.find("href=\"#", at + 1)) {
        const std::size_t from = at + 7;
        CHECK(html.find("id=\"" + html.substr(from, html.find('"', from) - from) + "\"") != std::string::npos);
        ++links;
    }
    CHECK(links == 3);
}

TEST_CASE("page: a wide table is continued in further tables with its row headings") {
    TableStep step;
    std::vector<std::string> names;
    for (int i = 0; i < 40; ++i) names.push_back("column" + std::to_string(i));
    std::vector<std::string_view> views(names.begin(), names.end());
    const std::vector<double> values(40, 1234.5);
    matrix_table(step.out, "M", "Wide", "Drim.VEK.MANOVATransform",
                 {.rownames = std::span(views).first(1), .columnnames = views, .values = values.data(), .stride = 40},
                 {});
    const std::string html = page();
    std::size_t tables = 0, headings = 0;
    for (std::size_t at = html.find("<table"); at != std::string::npos; at = html.find("<table", at + 1)) ++tables;
    for (std::size_t at = html.find("<th scope=\"row\""); at != std::string::npos;
         at = html.find("<th scope=\"row\"", at + 1)) {
        ++headings;
    }
    CHECK(tables > 1);
    CHECK(headings == tables);
    for (const std::string& name : names) CHECK(html.find(">" + name + "<") != std::string::npos);
}

TEST_CASE("csv: no two columns have one name, and the table's own keep theirs") {
    TableStep step;
    std::string level = "1", other = "2";
    std::int32_t n = 100000;
    double mean = 100000;
    Table t(step.out, "Means", "Means");
    t.text("n", 8, level, {.like = "level"}).text("N_2", 8, other, {.like = "level"});
    t.integer("N", n).number("Mean y", mean, 12, 2, {.like = "mean"});
    t.bind("drim.VEK.Means");
    t.row();
    t.end();
    std::string text;
    tables().write_csv(tables().csv_files().at(0).second, [&](std::string_view part) { text.append(part); });
    CHECK(text == "n_2,N_2_2,N,Mean y\n1,2,100000,100000\n");
}

TEST_CASE("csv: a file for each table, with safe names and the values before formatting") {
    TableStep step;
    write_report(step.out);
    std::map<std::string, std::string> files;
    for (const auto& [name, number] : tables().csv_files()) {
        tables().write_csv(number, [&, file = name](std::string_view part) { files[file].append(part); });
    }
    REQUIRE(files.size() == 3);
    CHECK(files["001_ANOVA_y_1__ParameterEstimates.csv"] ==
          "Parameter,Estimate,Biased,StdErr,tValue,Probt\n"
          "<script>alert('a|b')</script>,1.5,1,0.25,6,2e-05\n"
          "\"a, \"\"b\"\"\n<&>\",-1234.5678,0,.,.I,2e-05\n");
    CHECK(files["002_PredictedInfo.csv"] == "Label,Value\nSum,12.125\nCount,7\nKind,<all>\n");
    CHECK(files["003_PartialCorr.csv"] ==
          "Block,Row,y1,y2\nsf,y1,1,-0.5\nsf,y2,-0.5,1\nsp,y1,._,0.04\nsp,y2,0.04,._\n");
}
