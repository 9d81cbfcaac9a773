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
    CHECK(html.find("<td class=\"n j\">1.5") != std::string::npos);  // its mark stands close behind it
    CHECK(html.find("<pre>  a &lt; b\n    ^</pre>") != std::string::npos);
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

namespace {

std::size_t times(const std::string& text, std::string_view what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size())) ++n;
    return n;
}

void small_table(HostObject* out, std::string_view name) {
    std::string source = "a";
    double value = 1;
    Table t(out, name, name);
    t.text("Source", 8, source).number("Value", value, 12, 2).bind("drim.VEK.None");
    t.row();
    t.end();
}

}  // namespace

TEST_CASE("page: headings over columns, figure blanks, and what a table's class says of it") {
    TableStep step;
    std::string name = "x";
    double estimate = 2, lower = 1.25, upper = 3;
    Table t(step.out, "ParameterEstimates", "Solution");
    t.text("Parameter", 20, name).number("Estimate", estimate, 12, 4);
    t.number("LowerCL", lower, 12, 99).number("UpperCL", upper, 12, 4);
    t.attribute("confidence", 95.0).bind("drim.VEK.Estimates");
    t.row();
    lower = 1;
    t.row();
    t.end();
    char letter = 'A', control = '1';
    double mean = 1.5;
    Table lines(step.out, "MCLines", "Lines");
    lines.character("LINE1", letter, {.like = "LINE"}).number("Mean", mean, 10, 2).bind("drim.VEK.MCLines");
    lines.row();
    lines.end();
    Table form(step.out, "GEstFunc", "General Form");
    form.text("Effect", 8, name).character("Control", control).bind("drim.VEK.GEstFunc");
    form.row();
    form.row();
    form.end();
    Table spread(step.out, "HOVFTest", "The label");
    spread.text("Source", 8, name).attribute("h1text", "A test; of y").bind("drim.VEK.HoVTest");
    spread.row();
    spread.end();
    Factoids items(step.out, "PredictedInfo", "Items", "drim.VEK.PInfo");
    items.item("Count", 7);
    items.end();
    std::vector<std::string> names;
    for (int i = 0; i < 12; ++i) names.push_back("column" + std::to_string(i));
    std::vector<std::string_view> views(names.begin(), names.end());
    const std::vector<double> values(12, 1234.5);
    matrix_table(step.out, "M", "Wide", "Drim.VEK.MANOVATransform",
                 {.rownames = std::span(views).first(1), .columnnames = views, .values = values.data(), .stride = 12},
                 {});
    host_log().add({Level::note, 900, 1, "no excerpt", {}, {}, {}});
    const std::string html = page();
    CHECK(html.find("<tr><td class=\"gap\" colspan=\"2\"></td>"
                    "<th class=\"over\" scope=\"colgroup\" colspan=\"2\">95% Confidence Limits</th></tr>") !=
          std::string::npos);
    CHECK(html.find("<th scope=\"row\" class=\"t s\">x</th>") != std::string::npos);
    CHECK(html.find(">1.25</td>") != std::string::npos);
    CHECK(html.find(">1\u2008\u2007\u2007</td>") != std::string::npos);
    CHECK(html.find(" class=\"k\">A</") != std::string::npos);
    CHECK(times(html, "<tr class=\"break\">") == 1);
    CHECK(html.find(">A test<br>of y</figcaption>") != std::string::npos);
    CHECK(times(html, "<table aria-labelledby=\"c") == 6);
    CHECK(times(html, " class=\"items\">") == 1);
    CHECK(times(html, " class=\"tight\">") == 1);
    CHECK(times(html, " class=\"short\">") == 5);
    CHECK(times(html, " class=\"short wide\">") == 1);
    CHECK(times(html, "tabindex=\"0\"") == 2);  // the estimates and the wide matrix may be wider than the window
    CHECK(html.find("<pre>") == std::string::npos);
}

TEST_CASE("page: contents end after some hundred tables and say how many more there are; long ones begin closed") {
    for (const std::size_t tables : {120, 121, 600, 602}) {
        CAPTURE(tables);
        TableStep step;
        for (std::size_t i = 0; i < tables; ++i) small_table(step.out, "Small");
        const std::string html = page();
        CHECK(times(html, "href=\"#t") == std::min<std::size_t>(tables, 600));
        CHECK((html.find("<details open>") != std::string::npos) == (tables <= 120));
        CHECK((html.find("<li>2 more tables follow.</li>") != std::string::npos) == (tables == 602));
        CHECK(times(html, "more tables follow") == (tables == 602 ? 1 : 0));
    }
}

TEST_CASE("page and Markdown: titles and folders stand where they change") {
    TableStep step;
    vek::tables().set_title(1, "A title");
    Folder first(step.out, "First", "The first");
    small_table(step.out, "One");
    first.close();
    Folder second(step.out, "Second", "The second");
    small_table(step.out, "Two");
    small_table(step.out, "Three");
    second.close();
    vek::tables().set_by({{"block", "2"}});
    small_table(step.out, "Four");
    vek::tables().set_title(1, "Another");
    small_table(step.out, "Five");
    const std::string md = markdown(), html = page();
    CHECK(times(md, "| :--- | ---: |\n") == 5);
    CHECK(times(md, "## The first\n") == 1);
    CHECK(times(md, "## The second\n") == 1);
    CHECK(times(md, "block = 2\n") == 2);
    CHECK(md.find("\n\n\n") == std::string::npos);
    CHECK(times(html, "<h3>The first</h3>") == 1);
    CHECK(times(html, "<h3>The second</h3>") == 1);
    CHECK(times(html, "<p class=\"title user\">A title</p>") == 0);  // it is the page's own
    CHECK(times(html, "<p class=\"title user\">Another</p>") == 1);
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

TEST_CASE("csv: blanks in front of a text stay, a blank character is an empty cell, long names are cut") {
    TableStep step;
    std::string label = " in front";
    char letter = ' ';
    double value = 1;
    Table t(step.out, "T" + std::string(200, 'n'), "label");
    t.text("Label", 12, label).character("Control", letter).number("Value", value, 12, 2).bind("drim.VEK.None");
    t.row();
    label = "none";
    letter = '1';
    value = vzmissing('B');
    t.row();
    t.end();
    const auto [name, number] = tables().csv_files().at(0);
    CHECK(name == "001_T" + std::string(115, 'n') + ".csv");
    std::string text;
    tables().write_csv(number, [&](std::string_view part) { text.append(part); });
    CHECK(text == "Label,Control,Value\n\" in front\",,1\nnone,1,.B\n");
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
