// The report in forms for other readers: a page for the browser and for paper, Markdown, and a CSV file for each table.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "host/message/log.h"
#include "host/table/report.h"

namespace vek {

using PageSink = std::function<void(std::string_view)>;

/// One self-contained page without scripts and links to elsewhere.
void write_page(const Report& report, const Log& log, const PageSink& sink);

void write_markdown_report(const Report& report, const PageSink& sink);

/// The values before formatting, one line a row, under the names of the columns. Stacked matrices follow each other,
/// with the key of each in a first column.
void write_table_csv(const TableModel& table, const PageSink& sink);
/// A file name for the table with this number (from 1), made of letters, digits, `_` and `-`.
std::string csv_file_name(const TableModel& table, std::size_t number);

}  // namespace vek
