// The table service as the host's session sees it: what a step tells it, and the report in each of its forms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/table/json_writer.h"

namespace vek {

/// Takes the text of an output piece by piece, in order.
using TextSink = std::function<void(std::string_view)>;
using ByValues = std::vector<std::pair<std::string, std::string>>;

class Log;
class Report;
struct DataSet;

class TableService {
  public:
    TableService();
    TableService(const TableService&) = delete;
    TableService& operator=(const TableService&) = delete;
    ~TableService();

    /// A step begins: its procedure's name, such as "VEK", and its number from 1.
    void begin_step(std::string_view procedure, int step);
    /// The tables that follow belong to these BY values; empty without BY.
    void set_by(const ByValues& values);
    /// A BY group begins: its values are asked for when the first table of the group needs them. A group without tables
    /// costs nothing. `data` is handed to `values`.
    void group_begins(ByValues (*values)(const DataSet*), const DataSet* data);
    /// A title line of the user, 1 and up; an empty text takes it and those below it back.
    void set_title(int line, std::string_view text);
    /// A line of the report between its tables.
    void print_line(std::string_view text);
    /// Drops tables that were begun and not ended, closes the folders and ends the procedure's titles.
    void discard_unfinished();
    /// discard_unfinished, and the BY values end.
    void end_step();
    /// Marks the place to go back to, and goes back to it: what came after is dropped from the report.
    std::size_t mark() const;
    void cut_back(std::size_t mark);

    /// Called when a BY group begins, while the tables before it are complete: a chance to write them out.
    void set_group_hook(void (*hook)()) { group_hook_ = hook; }

    // Each form has had the report up to a place of its own; a call writes what has come since, complete tables only.
    // It may be called once at the end, after each run group, or in between.

    enum class Form : std::uint8_t { listing, json, page, markdown };
    static constexpr std::size_t forms = 4;

    /// The listing, for lines of `width` columns.
    void render_listing(const TextSink& sink, int width);
    /// JSON: elements of an array that the caller has begun.
    void write_json(JsonWriter& json);
    /// The body of the page; write_page puts the rest around it.
    void write_page_body(const TextSink& sink);
    void write_page(const TextSink& sink, const Log& log, const std::function<void(const TextSink&)>& body) const;
    void write_markdown_part(const TextSink& sink);
    /// The page and the Markdown of the whole report, which has not been written in parts.
    void write_html(const TextSink& sink, const Log& log) const;
    void write_markdown(const TextSink& sink) const;
    /// A file for each table of the whole report: its name and the number to ask for its content with.
    std::vector<std::pair<std::string, std::size_t>> csv_files() const;
    void write_csv(std::size_t number, const TextSink& sink) const;

    /// Gives back the memory of what all of these forms have had; of everything when there is none. Not to be called in
    /// a run that makes CSV files, which are made from the whole report at the end.
    void forget(std::span<const Form> wanted);

    /// From here on what is written may be taken back: what stood above the last table of each form is remembered.
    void hold();
    /// The forms go on as they stood at hold(). Their texts and the report itself are cut back by the caller.
    void take_back();

    Report& report() { return *report_; }
    const Report& report() const { return *report_; }

  private:
    struct Forms;  // how far each form has come, and what stands above its last table

    std::size_t& had(Form form);
    template <class Write>
    void write_since(Form form, const Write& write);

    std::unique_ptr<Report> report_;
    std::unique_ptr<Forms> forms_, held_;
    void (*group_hook_)() = nullptr;
};

/// The program's table service.
TableService& tables();

}  // namespace vek
