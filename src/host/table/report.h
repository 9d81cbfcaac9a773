// The report of a run as it grows: tables and lines in order, each with the step, BY values, folders and titles that it
// stands under, and the objects through which the procedure writes it.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/table/model.h"

namespace vek {

struct DataSet;

/// An object of the protocol.
struct HostObject {
    enum class Class { root, manager, folder, table } kind = Class::root;
    TableModel* table = nullptr;
    std::size_t depth = 0;  ///< of a folder: levels that are open once it is closed
};

/// A table, or a line between tables.
struct ReportItem {
    std::shared_ptr<const ReportContext> context;
    std::unique_ptr<TableModel> table;  ///< null for a line
    std::string line;
};

class Report {
  public:
    using ByValues = std::vector<std::pair<std::string, std::string>>;

    void begin_step(std::string_view procedure, int step);
    void end_step();
    void set_by(const ByValues& values);
    void group_begins(ByValues (*values)(const DataSet*), const DataSet* data);

    /// A title line of the user (1 and up); empty takes it and those below it back.
    void set_user_title(int line, std::string_view text);
    /// A title line of the procedure (1 and up); empty takes this one back.
    void set_title(int line, std::string_view text);
    void end_titles_from(int line);

    std::size_t open_folder(FolderLevel level);  ///< the number of levels that were open before
    void close_folder(std::size_t depth);        ///< closes it with all levels inside

    TableModel* begin_table(TableKind kind, std::string_view name, std::string_view label);
    void end_table(TableModel* table);
    /// A text below the last table when nothing has begun since, else above the next one.
    void note(std::string_view text);
    /// Puts texts that wait for a table into the report as lines.
    void flush_lines();
    void discard_unfinished();

    // ---- objects ----
    HostObject* make_object(HostObject::Class kind, TableModel* table = nullptr, std::size_t depth = 0);
    void free_object(const HostObject* object);

    // ---- reading: items are numbered from 0 through the whole run ----
    std::size_t begin() const { return forgotten_; }
    std::size_t end() const { return forgotten_ + items_.size(); }
    const ReportItem& item(std::size_t number) const { return items_[number - forgotten_]; }
    void forget(std::size_t upto);
    void cut_back(std::size_t to);

    const std::shared_ptr<const ReportContext>& context();

  private:
    void changed() { context_.reset(); }
    void share_columns(RowSet& set);

    std::string procedure_;
    int step_ = 0;
    ByValues by_;
    ByValues (*by_source_)(const DataSet*) = nullptr;  ///< of a group whose values have not been asked for
    const DataSet* by_data_ = nullptr;
    std::vector<std::string> user_titles_, titles_;
    std::vector<FolderLevel> path_;
    std::shared_ptr<const ReportContext> context_;  // null when what it holds has changed

    std::deque<ReportItem> items_;
    std::size_t forgotten_ = 0;
    std::vector<std::unique_ptr<TableModel>> unfinished_;
    std::vector<std::unique_ptr<HostObject>> objects_;
    TableModel* last_ = nullptr;  // table that a note belongs to; null when something has begun since
    std::vector<std::shared_ptr<RowSet::Columns>> columns_;  // of the tables ended last, the newest first
    std::vector<std::string> waiting_;
    std::shared_ptr<const ReportContext> waiting_context_;
};

}  // namespace vek
