// Draws the report as a page: contents, sections for steps, BY groups and folders, and the grids as tables.
#include "host/table/page.h"

#include <algorithm>

#include "host/table/grid.h"
#include "host/table/heading.h"
#include "host/table/listing.h"
#include "host/table/text_width.h"

namespace vek {

namespace {

// Wider tables are continued below, so that they fit on paper.
constexpr int widest_table = 120;
constexpr std::size_t most_contents = 600, most_open_contents = 120;
constexpr int narrow_text = 24;          // characters; texts up to here are not broken
constexpr int narrow_table = 84;         // characters; wider ones get smaller letters on paper
constexpr std::size_t short_table = 24;  // rows; up to here a table stays on one sheet of paper
constexpr std::size_t piece = std::size_t{1} << 16;

constexpr std::string_view style = R"css(
:root{--ink:#1c1c1a;--faint:#62625c;--line:#b9b9b0;--hair:#e4e4dc;--paper:#fff;--panel:#f6f6f2;--error:#a8201a;--warning:#8a5a00;--link:#1f4e79}
@media (prefers-color-scheme:dark){:root{--ink:#e6e6e0;--faint:#a6a69e;--line:#5d5d56;--hair:#35352f;--paper:#191917;--panel:#22221f;--error:#ff8d85;--warning:#e8b45a;--link:#9cc4ec}}
*{box-sizing:border-box}
html{-webkit-text-size-adjust:100%}
body{margin:0 auto;padding:1.5rem 1.25rem 4rem;max-width:70rem;background:var(--paper);color:var(--ink);font:16px/1.5 system-ui,"Segoe UI","Helvetica Neue",Arial,sans-serif}
h1{font-size:1.5rem;line-height:1.25;margin:0 0 1rem}
h2{font-size:1.2rem;line-height:1.3;margin:3rem 0 .25rem;padding-top:.6rem;border-top:2px solid var(--line)}
h3{font-size:1.02rem;margin:2.2rem 0 0;color:var(--faint);font-weight:600}
p{margin:.4rem 0;max-width:46rem}
p.title{margin:.1rem 0;font-weight:600}
nav{background:var(--panel);border:1px solid var(--hair);border-radius:6px;padding:.6rem 1rem .8rem;margin:1rem 0 2rem;font-size:.94rem}
nav summary{cursor:pointer;font-weight:600}
nav ul{list-style:none;margin:.15rem 0;padding-left:1rem}
nav details>ul{padding-left:0}
nav li{margin:.1rem 0}
nav ul ul ul li{display:inline}
nav ul ul ul li:not(:last-child)::after{content:"\a0\b7";margin-right:.1em;color:var(--faint)}
a{color:var(--link);text-decoration:none}
a:hover,a:focus{text-decoration:underline}
figure{margin:1.4rem 0 2rem}
figcaption{font-weight:600;margin-bottom:.35rem}
figcaption span{display:block;font-weight:400;color:var(--faint)}
.scroll{overflow-x:auto;max-width:100%}
.scroll:focus-visible{outline:2px solid var(--link);outline-offset:3px}
.scroll+.scroll{margin-top:1rem}
table{border-collapse:collapse;font-size:.9rem;line-height:1.35;border-top:2px solid var(--ink);border-bottom:2px solid var(--ink)}
table.items{border:0}
th,td{padding:.2rem .7rem;vertical-align:top;text-align:left;font-weight:400}
th:first-child,td:first-child{padding-left:.15rem}
thead th{font-weight:600;vertical-align:bottom}
thead tr:last-child>*{border-bottom:1px solid var(--ink)}
thead th.over{text-align:center;border-bottom:1px solid var(--line)}
tbody tr+tr td,tbody tr+tr th{border-top:1px solid var(--hair)}
tbody tr.break td,tbody tr.break th{border-top:1px solid var(--line)}
tbody th{position:sticky;left:0;background:var(--paper)}
tbody th~th{position:static}
table.items tr+tr td,table.items tr+tr th{border-top:0}
.n{text-align:right;white-space:nowrap;font-variant-numeric:tabular-nums lining-nums}
tbody .t{white-space:pre-wrap;overflow-wrap:break-word;max-width:46rem}
tbody .s{white-space:pre}
.j{padding-right:0}
.m{padding-left:.1rem;white-space:nowrap}
.k{padding-left:.15rem;padding-right:.15rem;min-width:1.25em;text-align:center}
table.tight tbody tr>*{border-top-color:transparent;padding-top:0;padding-bottom:0}
table.tight tbody tr:first-child>*{padding-top:.2rem}
table.tight tbody tr:last-child>*{padding-bottom:.2rem}
p.note{font-size:.875rem;color:var(--faint)}
.log{font-size:.9rem;padding-left:1.2rem}
.log li{margin:.25rem 0;overflow-wrap:anywhere}
.log .error{color:var(--error)}.log .warning{color:var(--warning)}
.log pre{margin:.2rem 0;overflow-x:auto;font-size:.85rem}
@media (max-width:480px){body{padding:1rem .75rem 3rem;font-size:15px}th,td{padding:.2rem .45rem}table{font-size:.82rem}nav ul{padding-left:.7rem}h1{font-size:1.3rem}}
@media print{
:root{--ink:#000;--faint:#444;--line:#888;--hair:#ddd;--paper:#fff;--panel:#fff;--link:#000}
body{max-width:none;padding:0;font-size:10pt}
nav{border:0;padding:0;font-size:9pt}
nav:has(details:not([open])){display:none}
h2{margin-top:1.6rem}h3{margin-top:1.4rem}figure{margin:.9rem 0 1.2rem}
h1,h2,h3,p.title,p.above,figcaption,thead{break-after:avoid}
nav li,tr,figcaption,figure.short,.log li{break-inside:avoid}
tbody tr:nth-child(-n+2){break-after:avoid}
tbody tr:nth-last-child(-n+2){break-before:avoid}
figure p.note{break-before:avoid}
thead{display:table-header-group}
tbody th{position:static}
.scroll{overflow:visible}
table{font-size:8.4pt}figure.wide table{font-size:7.6pt}
th,td{padding:.08rem .38rem}
th:first-child,td:first-child{padding-left:.15rem}.k{padding-left:.15rem;padding-right:.15rem}.m{padding-left:.1rem}.j{padding-right:0}
p.note{font-size:9pt}
.log pre{overflow:visible;white-space:pre-wrap}
}
@page{margin:15mm}
)css";

void append_escaped(std::string& out, std::string_view text) {
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
}

/// Text of the page on its way to a sink.
class Page {
  public:
    explicit Page(const PageSink& sink) : sink_(sink) {}
    void put(std::string_view text) {
        out_ += text;
        if (out_.size() >= piece) flush();
    }
    void flush() {
        if (!out_.empty()) sink_(out_);
        out_.clear();
    }
    void element(std::string_view open, std::string_view text, std::string_view close);
    void table(const TableModel& table, const Grid& grid, std::size_t number);
    void log(const Log& log);

  private:
    void block(const Grid& grid, const std::vector<std::size_t>& columns, const std::string& caption);
    void headings(const Grid& grid, const std::vector<std::size_t>& columns);
    void cell(const Grid& grid, std::size_t row, std::size_t column);
    void escaped(std::string_view text) { append_escaped(out_, text); }

    const PageSink& sink_;
    std::string out_;
    Cell cell_;
};

// A name for a stretch of the report in the contents and as a heading.
std::string section_name(const ReportContext& context) {
    std::string name = "Step " + std::to_string(context.step) + ": PROC " + context.procedure;
    if (const std::string by = by_line(context); !by.empty()) name += ", " + by;
    return name;
}

bool same_section(const ReportContext& a, const ReportContext& b) { return a.step == b.step && a.by == b.by; }

std::string joined(const std::vector<std::string>& parts, std::string_view between) {
    std::string text;
    for (const std::string& part : parts) text += (text.empty() ? std::string() : std::string(between)) + part;
    return text;
}

void Page::element(std::string_view open, std::string_view text, std::string_view close) {
    put(open);
    std::string buffer;
    escaped(shown(text, buffer));
    put(close);
}

// Figure blanks keep the points of a column under each other where decimals differ.
void append_blanks_behind(std::string& out, const GridColumn& column, const Cell& cell) {
    if (column.alignment != Alignment::right || cell.before < 0) return;
    int missing = column.after - (cell.width - cell.before);
    if (missing <= 0 || (cell.text == "." && column.after == 0)) return;
    if (cell.text.find('.') == std::string_view::npos) {
        out += "\u2008";
        --missing;
    }
    for (; missing > 0; --missing) out += "\u2007";
}

void Page::cell(const Grid& grid, std::size_t row, std::size_t place) {
    const GridColumn& column = grid.columns[place];
    grid.cell(row, place, cell_);
    const bool marked = place + 1 < grid.columns.size() && grid.columns[place + 1].gap == 0;
    const bool tight = column.rule != nullptr && column.rule->tight;
    const bool mark = column.gap == 0 && place > 0;
    const bool heading = column.row_heading && !mark;
    out_ += heading ? "<th scope=\"row\" class=\"" : "<td class=\"";
    out_ += column.numeric() ? "n" : mark ? "m" : tight ? "k" : column.width <= narrow_text ? "t s" : "t";
    out_ += marked ? " j\">" : "\">";
    escaped(cell_.text);
    append_blanks_behind(out_, column, cell_);
    out_ += heading ? "</th>" : "</td>";
}

void Page::headings(const Grid& grid, const std::vector<std::size_t>& columns) {
    const auto over = [&](std::size_t column) -> const GridSpan* {
        for (const GridSpan& span : grid.spans) {
            if (column >= span.first && column <= span.last) return &span;
        }
        return nullptr;
    };
    put("<thead>\n");
    const bool spans = std::any_of(columns.begin(), columns.end(), [&](std::size_t c) { return over(c) != nullptr; });
    if (spans) {
        put("<tr>");
        for (std::size_t i = 0; i < columns.size();) {
            const GridSpan* const span = over(columns[i]);
            std::size_t end = i + 1;
            while (end < columns.size() && over(columns[end]) == span) ++end;
            const std::string count = std::to_string(end - i);
            if (span == nullptr) {
                put("<td class=\"gap\" colspan=\"" + count + "\"></td>");
            } else {
                element("<th class=\"over\" scope=\"colgroup\" colspan=\"" + count + "\">", span->text, "</th>");
            }
            i = end;
        }
        put("</tr>\n");
    }
    put("<tr>");
    for (std::size_t place : columns) {
        const GridColumn& column = grid.columns[place];
        const bool marked = place + 1 < grid.columns.size() && grid.columns[place + 1].gap == 0;
        const bool mark = column.gap == 0 && place > 0;
        if (column.heading.empty()) {
            put(std::string("<td class=\"") + (mark ? "m" : "t") + (marked ? " j\"></td>" : "\"></td>"));
            continue;
        }
        put(std::string("<th scope=\"col\" class=\"") +
            (column.numeric() ? "n"
             : mark           ? "m"
                              : "t") +
            (marked ? " j\">" : "\">"));
        for (std::size_t line = 0; line < column.heading.size(); ++line) {
            if (line > 0) put("<br>");
            escaped(column.heading[line]);
        }
        put("</th>");
    }
    put("</tr>\n</thead>\n");
}

void Page::block(const Grid& grid, const std::vector<std::size_t>& columns, const std::string& caption) {
    const bool tight = std::any_of(columns.begin(), columns.end(), [&](std::size_t c) {
        return grid.columns[c].rule != nullptr && grid.columns[c].rule->tight;
    });
    // What may be wider than the window can be moved with the keyboard too.
    int width = 0;
    for (std::size_t c : columns) width += grid.columns[c].gap + grid.columns[c].width;
    put("<div class=\"scroll\"");
    if (width > narrow_text) put(" tabindex=\"0\" role=\"region\" aria-labelledby=\"" + caption + "\"");
    put("><table aria-labelledby=\"" + caption + "\"");
    put(!grid.headings ? " class=\"items\">\n" : tight ? " class=\"tight\">\n" : ">\n");
    if (grid.headings) headings(grid, columns);
    put("<tbody>\n");
    for (std::size_t row = 0; row < grid.rows(); ++row) {
        put(grid.breaks(row) ? "<tr class=\"break\">" : "<tr>");
        for (std::size_t place : columns) cell(grid, row, place);
        put("</tr>\n");
    }
    put("</tbody></table></div>\n");
}

void Page::table(const TableModel& model, const Grid& grid, std::size_t number) {
    for (const std::string& note : model.above) element("<p class=\"note above\">", note, "</p>\n");
    const auto blocks = ListingTable(grid, widest_table).column_blocks();
    int width = 0;
    for (const GridColumn& column : grid.columns) width += column.gap + column.width;
    const bool is_short = grid.rows() * blocks.size() <= short_table, is_wide = width > narrow_table;
    const std::string caption = "c" + std::to_string(number);
    put("<figure id=\"t" + std::to_string(number) + "\"");
    if (is_short || is_wide) {
        put(is_short && is_wide ? " class=\"short wide\"" : is_short ? " class=\"short\"" : " class=\"wide\"");
    }
    put("><figcaption id=\"" + caption + "\">");
    for (std::size_t i = 0; i < grid.captions.size(); ++i) {
        if (i > 0) put("<br>");
        escaped(grid.captions[i]);
    }
    for (const std::string& line : grid.above) element("<span>", line, "</span>");
    put("</figcaption>\n");
    for (const std::vector<std::size_t>& columns : blocks) block(grid, columns, caption);
    for (const std::string& line : grid.below) element("<p class=\"note\">", line, "</p>\n");
    put("</figure>\n");
}

void Page::log(const Log& log) {
    if (log.entries().empty()) return;
    put("<section id=\"log\"><h2>Log</h2>\n<ul class=\"log\">\n");
    std::string buffer;
    for (const LogEntry& entry : log.entries()) {
        const std::string level(level_name(entry.level));
        put("<li class=\"" + level + "\">");
        if (entry.place.known()) {
            std::string place = entry.place.file;
            if (entry.place.line > 0) place.append(":").append(std::to_string(entry.place.line));
            if (entry.place.line > 0 && entry.place.column > 0)
                place.append(":").append(std::to_string(entry.place.column));
            element("", place + ": ", "");
        }
        element("", level + ": " + entry.text, "");
        if (!entry.excerpt.empty()) {
            put("<pre>");
            // The lines of an excerpt are its own; control characters in them have been replaced where it was made.
            escaped(entry.excerpt);
            put("</pre>");
        }
        put("</li>\n");
    }
    put("</ul></section>\n");
}

// Where titles, BY values or folders change, headings stand above what follows.
void write_context(Page& page, const ReportContext& now, const ReportContext* before,
                   std::vector<std::string>& user_titles) {
    const bool section = before == nullptr || !same_section(now, *before);
    const bool titles = section || !same_titles(now, *before);
    if (section) {
        if (before != nullptr) page.put("</section>\n");
        page.put("<section>\n");
        page.element("<h2>", section_name(now), "</h2>\n");
    }
    if (titles) {
        const std::vector<std::string> lines = title_lines(now);
        const auto own = lines.begin() + static_cast<std::ptrdiff_t>(now.user_titles);
        // The user's titles stand above all that follows, until they change.
        const std::vector<std::string> user(lines.begin(), own);
        if (user != user_titles) {
            for (const std::string& title : user) page.element("<p class=\"title user\">", title, "</p>\n");
            user_titles = user;
        }
        for (auto title = own; title != lines.end(); ++title) page.element("<p class=\"title\">", *title, "</p>\n");
    }
    if (section || titles || !same_folders(now, *before)) {
        const std::string path = joined(folder_headings(now), " \u203a ");
        if (!path.empty()) page.element("<h3>", path, "</h3>\n");
    }
}

}  // namespace

void PageWriter::list_in_contents(const ReportContext& now, std::string_view caption, std::size_t number) {
    ++tables_;
    if (entries_ == most_contents) return;
    ++entries_;
    const bool section = listed_ == nullptr || !same_section(now, *listed_);
    const bool folder = section || !same_folders(now, *listed_);
    const auto text = [&](std::string_view open, std::string_view words, std::string_view close) {
        std::string buffer;
        contents_ += open;
        append_escaped(contents_, shown(words, buffer));
        contents_ += close;
    };
    if (folder && folder_open_) contents_ += "</ul></li>";
    if (section) {
        if (listed_ != nullptr) contents_ += "</ul></li>\n";
        text("<li><strong>", section_name(now), "</strong><ul>\n");
    }
    if (folder) {
        std::vector<std::string> names;
        for (const FolderLevel& level : now.path) names.push_back(folder_heading(level));
        folder_open_ = !names.empty();
        if (folder_open_) text("<li>", joined(names, " \u203a "), "<ul>\n");
    }
    text("<li><a href=\"#t" + std::to_string(number) + "\">", caption, "</a></li>\n");
}

void PageWriter::item(const ReportItem& item, std::size_t number, const PageSink& body) {
    Page page(body);
    if (title_.empty()) {
        const std::vector<std::string> lines = title_lines(*item.context);
        if (!lines.empty()) title_ = lines.front();
        user_titles_ = {title_};
    }
    if (item.context != before_) write_context(page, *item.context, before_.get(), user_titles_);
    before_ = item.context;
    if (item.table != nullptr) {
        const Grid grid(*item.table);
        list_in_contents(*item.context, grid.captions.front(), number);
        listed_ = item.context;
        page.table(*item.table, grid, number);
    } else {
        page.element("<p class=\"note\">", item.line, "</p>\n");
    }
    page.flush();
}

void PageWriter::finish(const Log& log, const std::function<void(const PageSink&)>& body, const PageSink& sink) const {
    Page page(sink);
    const std::string title = title_.empty() ? "Report" : title_;
    page.put(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<meta name=\"color-scheme\" content=\"light dark\">\n");
    page.element("<title>", title, "</title>\n<style>");
    page.put(style);
    page.put("</style>\n</head>\n<body>\n");
    page.element("<h1>", title, "</h1>\n");
    if (tables_ > 0) {
        page.put(std::string("<nav aria-label=\"Contents\"><details") + (tables_ <= most_open_contents ? " open" : "") +
                 "><summary>Contents</summary><ul>\n");
        page.put(contents_);
        if (folder_open_) page.put("</ul></li>");
        page.put("</ul></li>\n");
        const std::size_t more = tables_ - entries_;
        if (more > 0) page.put("<li>" + std::to_string(more) + " more tables follow.</li>\n");
        page.put("</ul></details></nav>\n");
    }
    page.put("<main>\n");
    page.flush();
    body(sink);
    if (before_ != nullptr) page.put("</section>\n");
    page.log(log);
    page.put("</main>\n</body>\n</html>\n");
    page.flush();
}

}  // namespace vek
