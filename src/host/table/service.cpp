// Hands the report on to its outputs: which part each has had, headings where titles, BY values or folders change.
#include "host/table/service.h"

#include <algorithm>
#include <array>

#include "host/table/heading.h"
#include "host/table/listing.h"
#include "host/table/page.h"
#include "host/table/report.h"
#include "host/table/table_json.h"
#include "host/table/text_width.h"

namespace vek {

struct TableService::Forms {
    std::array<std::size_t, forms> had{};  // items that each form has had
    std::shared_ptr<const ReportContext> listed;
    PageWriter page;
    MarkdownWriter markdown;
};

TableService::TableService() : report_(std::make_unique<Report>()), forms_(std::make_unique<Forms>()) {}
TableService::~TableService() = default;

void TableService::begin_step(std::string_view procedure, int step) { report_->begin_step(procedure, step); }
void TableService::end_step() { report_->end_step(); }
void TableService::set_by(const ByValues& values) { report_->set_by(values); }
void TableService::group_begins(ByValues (*values)(const DataSet*), const DataSet* data) {
    report_->group_begins(values, data);
    if (group_hook_ != nullptr) group_hook_();
}
void TableService::set_title(int line, std::string_view text) { report_->set_user_title(line, text); }
void TableService::print_line(std::string_view text) { report_->note(text); }
void TableService::discard_unfinished() { report_->discard_unfinished(); }

std::size_t TableService::mark() const { return report_->end(); }
void TableService::cut_back(std::size_t mark) {
    report_->cut_back(mark);
    for (std::size_t& place : forms_->had) place = std::min(place, report_->end());
}

std::size_t& TableService::had(Form form) { return forms_->had[static_cast<std::size_t>(form)]; }

/// Hands each item that the form has not had to `write`, with its number.
template <class Write>
void TableService::write_since(Form form, const Write& write) {
    std::size_t& place = had(form);
    for (place = std::max(place, report_->begin()); place < report_->end(); ++place) write(report_->item(place), place);
}

void TableService::hold() { held_ = std::make_unique<Forms>(*forms_); }
void TableService::take_back() {
    if (held_ != nullptr) *forms_ = *held_;
}

namespace {

void draw_heading(const ReportContext& context, const ReportContext* before, int width, std::string* out) {
    const auto line = [&](std::string_view text) {
        for (const std::string& part : wrapped(text, width)) *out += part + '\n';
    };
    const bool titles = before == nullptr || !same_titles(context, *before);
    if (titles) {
        if (before != nullptr) *out += '\n';
        int widest = 0;
        const auto title = [&](const std::string& text) {
            line(text);
            widest = std::max(widest, std::min(text_width(text), width));
        };
        for (const std::string& text : title_lines(context)) title(text);
        if (const std::string by = by_line(context); !by.empty()) title(by);
        if (widest > 0) *out += std::string(static_cast<std::size_t>(widest), '=') + "\n\n";
    }
    if (titles || !same_folders(context, *before)) {
        std::string path;
        for (const std::string& heading : folder_headings(context)) path += (path.empty() ? "" : " > ") + heading;
        if (path.empty()) return;
        line(path);
        *out += std::string(static_cast<std::size_t>(std::min(text_width(path), width)), '-') + "\n\n";
    }
}

}  // namespace

void TableService::render_listing(const TextSink& sink, int width) {
    report_->flush_lines();
    width = std::max(width, 20);
    std::string text;
    write_since(Form::listing, [&](const ReportItem& item, std::size_t) {
        text.clear();
        std::shared_ptr<const ReportContext>& listed = forms_->listed;
        if (listed != item.context) draw_heading(*item.context, listed.get(), width, &text);
        listed = item.context;
        const auto lines = [&](const std::vector<std::string>& list) {
            std::string buffer;
            for (const std::string& line : list) {
                for (const std::string& part : wrapped(shown(line, buffer), width)) text += part + '\n';
            }
        };
        if (item.table == nullptr) {
            lines({item.line});
            text += '\n';
            sink(text);
            return;
        }
        lines(item.table->above);
        if (!item.table->above.empty()) text += '\n';
        if (!text.empty()) sink(text);
        const Grid grid(*item.table);
        ListingTable(grid, width).draw(sink);
        sink("\n");
    });
}

void TableService::write_json(JsonWriter& json) {
    write_since(Form::json, [&](const ReportItem& item, std::size_t) {
        if (item.table != nullptr) write_table_json(json, *item.table);
    });
}

void TableService::write_page_body(const TextSink& sink) {
    write_since(Form::page,
                [&](const ReportItem& item, std::size_t place) { forms_->page.item(item, place + 1, sink); });
}
void TableService::write_page(const TextSink& sink, const Log& log,
                              const std::function<void(const TextSink&)>& body) const {
    forms_->page.finish(log, body, sink);
}
void TableService::write_markdown_part(const TextSink& sink) {
    write_since(Form::markdown, [&](const ReportItem& item, std::size_t) { forms_->markdown.item(item, sink); });
}

void TableService::write_html(const TextSink& sink, const Log& log) const {
    PageWriter page;
    std::string body;
    for (std::size_t i = report_->begin(); i < report_->end(); ++i) {
        page.item(report_->item(i), i + 1, [&](std::string_view text) { body += text; });
    }
    page.finish(
        log, [&](const TextSink& to) { to(body); }, sink);
}
void TableService::write_markdown(const TextSink& sink) const {
    MarkdownWriter markdown;
    for (std::size_t i = report_->begin(); i < report_->end(); ++i) markdown.item(report_->item(i), sink);
}

std::vector<std::pair<std::string, std::size_t>> TableService::csv_files() const {
    std::vector<std::pair<std::string, std::size_t>> files;
    for (std::size_t i = report_->begin(); i < report_->end(); ++i) {
        const TableModel* const table = report_->item(i).table.get();
        if (table != nullptr) files.emplace_back(csv_file_name(*table, files.size() + 1), i);
    }
    return files;
}
void TableService::write_csv(std::size_t number, const TextSink& sink) const {
    write_table_csv(*report_->item(number).table, sink);
}

void TableService::forget(std::span<const Form> wanted) {
    std::size_t all = report_->end();
    for (const Form form : wanted) all = std::min(all, had(form));
    report_->forget(all);
}

TableService& tables() {
    static TableService service;
    return service;
}

}  // namespace vek
