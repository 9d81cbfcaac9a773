// The report in forms for other readers: a page for the browser and for paper, Markdown, and a CSV file for each table.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/message/log.h"
#include "host/table/report.h"

namespace vek {

using PageSink = std::function<void(std::string_view)>;

/// One self-contained page without scripts and links to elsewhere. Its tables are written item by item, as the report
/// grows; what stands before them is known at the end.
class PageWriter {
  public:
    /// Writes an item to the body of the page; `number` tells it from all others.
    void item(const ReportItem& item, std::size_t number, const PageSink& body);
    /// Writes the page. `body` hands over what item() has written.
    void finish(const Log& log, const std::function<void(const PageSink&)>& body, const PageSink& sink) const;

  private:
    void list_in_contents(const ReportContext& now, std::string_view caption, std::size_t number);

    std::string title_, contents_;
    std::shared_ptr<const ReportContext> before_;  // of the item before
    std::shared_ptr<const ReportContext> listed_;  // of the table listed last in the contents
    bool folder_open_ = false;
    std::size_t tables_ = 0, entries_ = 0;
    std::vector<std::string> user_titles_;  // that have been shown last
};

/// The report as Markdown, item by item.
class MarkdownWriter {
  public:
    void item(const ReportItem& item, const PageSink& sink);

  private:
    std::shared_ptr<const ReportContext> before_;
};

/// The values before formatting, one line a row, under the names of the columns. Stacked matrices follow each other,
/// with the key of each in a first column.
void write_table_csv(const TableModel& table, const PageSink& sink);
/// A file name for the table with this number (from 1), made of letters, digits, `_` and `-`.
std::string csv_file_name(const TableModel& table, std::size_t number);

}  // namespace vek
