// The table service as the host's session sees it: what a step tells it, and the report in each of its forms.
#pragma once

#include <functional>
#include <memory>
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
struct ReportContext;

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
    /// Marks the place to go back to, and goes back to it: what came after is dropped from every form of the report.
    std::size_t mark() const;
    void cut_back(std::size_t mark);

    // Each output has had the report up to a place of its own; a call writes what has come since, complete tables only.

    /// The listing, for lines of `width` columns.
    void render_listing(const TextSink& sink, int width);
    /// JSON: elements of an array that the caller has begun, so that it may be called once or after each run group.
    void write_json(JsonWriter& json);
    // The outputs below are made from the whole report at its end.

    /// One self-contained page: contents, tables, and the messages of the log.
    void write_html(const TextSink& sink, const Log& log) const;
    void write_markdown(const TextSink& sink) const;
    /// A file for each table: its name and the number to ask for its content with.
    std::vector<std::pair<std::string, std::size_t>> csv_files() const;
    void write_csv(std::size_t number, const TextSink& sink) const;

    /// Gives back the memory of what the listing and (when `json`) write_json have had. Not to be called in a run that
    /// also makes a page, Markdown or CSV files, which are made from the whole report at the end.
    void forget(bool json);

    Report& report() { return *report_; }
    const Report& report() const { return *report_; }

  private:
    std::unique_ptr<Report> report_;
    std::size_t listed_ = 0, written_ = 0;  // items that the listing and the JSON document have had
    std::shared_ptr<const ReportContext> listed_context_;
};

/// The program's table service.
TableService& tables();

}  // namespace vek
