// What stands above the tables of a stretch of the report: titles, BY line and the folders as headings.
#pragma once

#include <string>
#include <vector>

#include "host/table/model.h"

namespace vek {

/// The title lines: the user's, then the procedure's.
std::vector<std::string> title_lines(const ReportContext& context);
/// `block=1 site=2`; empty without BY.
std::string by_line(const ReportContext& context);
/// How a folder reads in a heading, such as "Dependent variable yield".
std::string folder_heading(const FolderLevel& level);
/// The folders as headings, outermost first. One whose name stands in a title already is left out.
std::vector<std::string> folder_headings(const ReportContext& context);

bool same_titles(const ReportContext& a, const ReportContext& b);
bool same_folders(const ReportContext& a, const ReportContext& b);

}  // namespace vek
