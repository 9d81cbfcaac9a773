// The inside of data sets and lists, shared by the files of this folder.
#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/data/data_file.h"
#include "host/data/dataset.h"
#include "host/data/expression_node.h"
#include "host/data/grouped_rows.h"
#include "host/data/memory_table.h"
#include "host/data/writer.h"

namespace vek {

/// Finds variables by their folded names.
class NameTable {
  public:
    void build(const std::vector<Variable>& variables);
    int find(std::string_view name) const;

  private:
    std::unordered_map<std::string, int> places_;
};

struct FetchList {
    DataSet* data = nullptr;
    std::vector<int> variables;
    std::unordered_map<int, int> places;  ///< of the variables, once there are many
    GroupedRows::Cursor cursor;
    int first_row = 0;            ///< of its current rows in the source's block
    std::vector<Column> columns;  ///< its current rows
};

struct PutList {
    DataSet* data = nullptr;
    struct Item {
        int variable = -1;  ///< of the data set; -1 when it is dropped
        VariableType type = VariableType::numeric;
        int length = 8;
        const void* source = nullptr;     ///< of a new variable
        const FetchList* from = nullptr;  ///< of a copied one
        int place = 0;
        std::vector<TextValue> texts;  ///< values of a new text variable, of the rows in hand
    };
    std::vector<Item> items;
    std::vector<Column> columns;  ///< of the rows in hand, as the writer takes them
    bool done = false;
};

/// Rows that a variable cost.
struct Loss {
    std::int64_t rows = 0;
    std::vector<std::int64_t> lines;  ///< the first of them
};
constexpr std::size_t lines_of_loss = 5;

/// Numbers of a variable without a format whose text may lack digits, by that text: two that look alike become one
/// level, which is told once.
struct CutNumbers {
    std::map<std::string, double> seen;
    bool told = false;
};

struct DataSet {
    std::string shown;
    bool output = false;
    bool in_memory = false;

    std::vector<Variable> variables;
    NameTable names;

    // ---- of an input
    std::vector<int> columns;                ///< column of the source for each variable
    std::vector<Variable> source_variables;  ///< all columns of the source under the names that WHERE= knows
    std::unique_ptr<GroupedRows> rows;
    std::int64_t source_rows = 0;
    std::shared_ptr<const DataFile> file;                ///< null when the source is in memory
    std::vector<std::pair<std::string, int>> old_names;  ///< folded names that RENAME= has replaced, and their columns
    Where reference_where, step_where;
    std::int64_t first = 1, last = std::numeric_limits<std::int64_t>::max();
    std::vector<ByVariable> by;
    bool by_not_sorted = false, by_checked = false;
    Place by_place;
    std::int64_t read = 0, used = 0;
    bool counted = false;
    bool told_empty = false;
    std::vector<Loss> losses;
    std::vector<std::unique_ptr<FetchList>> lists, free_lists;
    mutable std::map<int, CutNumbers> cut_numbers;  ///< by variable

    // ---- of an output
    std::string name;     ///< under which it is kept in memory, or its path
    FileForm form;        ///< of a file
    bool placed = false;  ///< in place, or discarded: its run group is over
    std::unique_ptr<RowWriter> writer;
    bool closed = false, defined = false;
    bool failed = false;  ///< it could not be written
    std::int64_t written = 0;
    std::vector<std::unique_ptr<PutList>> puts;
    struct NameOption {
        std::string name, new_name;
        Place place;
    };
    std::vector<NameOption> keep, drop, rename;  ///< options of an output, applied to its variables when they are known
    bool has_keep = false;
};

/// The variable that a condition means: a visible one, or a column of the source that KEEP= or DROP= has hidden.
ExpressionVariable find_for_condition(const DataSet& data, std::string_view name);
/// The nearest name of a variable, as a program writes it; empty when none is near.
std::string nearest_variable(const std::vector<Variable>& variables, std::string_view name);
/// What there is to choose from when none is near.
std::string some_variables(const std::vector<Variable>& variables);
/// Tells the rows which conditions and BY variables hold, after a change of one of them.
void apply_filter(DataSet* data);

}  // namespace vek
