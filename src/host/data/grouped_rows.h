// Rows of a data set as a step reads them: blocks of a source narrowed by conditions, FIRSTOBS= and OBS=, cut into BY
// groups. A group can be read again and again, by several readers, each from its beginning.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "frame/host_data.h"
#include "host/data/expression.h"
#include "host/data/row_source.h"

namespace vek {

/// A BY variable as a column of the source.
struct ByColumn {
    int column = 0;
    VariableType type = VariableType::numeric;
    bool descending = false;
    /// Formatted text of a value, for a variable whose groups are those of its formatted values; empty otherwise.
    std::function<std::string(double)> format_number;
    std::function<std::string(TextValue)> format_text;
};

/// Values of the BY variables in one row.
struct ByKey {
    std::vector<double> numbers;     ///< one for each BY variable; of a text unused
    std::vector<std::string> texts;  ///< one for each BY variable; of a number unused
    bool known = false;
};

class GroupedRows {
  public:
    explicit GroupedRows(std::unique_ptr<RowSource> source) : source_(std::move(source)) {}

    /// Which rows take part: those that all conditions hold for, and of these the ones numbered `first` to `last`.
    void set_filter(std::vector<Where> conditions, std::int64_t first, std::int64_t last);
    void set_by(std::vector<ByColumn> by);
    bool has_by() const { return !by_.empty(); }

    /// A row that stands behind one that it should stand in front of.
    struct Disorder {
        bool found = false;
        std::int64_t line = 0;        ///< of the row
        std::int64_t first_line = 0;  ///< of the first row with the same values, 0 when there is none in front of it
        ByKey key, before;            ///< values of the row, and of the one in front of it
    };
    /// Reads the BY variables of all rows and finds the first row that is out of order. The groups begin anew.
    Disorder find_disorder();

    /// Forgets where it is: the next group is the first one.
    void restart();
    /// Moves to the next group; false behind the last. Without rows there is one empty group.
    bool next_group();
    /// Everybody reads the current group from its beginning again.
    void rewind_group() { ++generation_; }
    bool in_group() const { return in_group_; }
    bool empty() const { return no_rows_; }
    /// Of the rows up to the loaded block, those that the conditions hold for.
    std::int64_t held() const { return seen_; }
    const ByKey& key() const { return key_; }

    /// Where a reader of the current group is.
    struct Cursor {
        std::int64_t generation = -1;
        std::int64_t block = 0;
        int row = 0;
        bool done = false;
    };
    /// Loads the next rows for a reader: the number of rows, 0 at the end of the group; `first` is the first of them in
    /// the current block.
    int next_rows(Cursor* cursor, int* first);

    RowSource& source() { return *source_; }
    const RowSource& source() const { return *source_; }

  private:
    /// Everything that is needed to load a block again.
    struct BlockMark {
        RowSource::Mark mark;
        std::int64_t seen = 0;  ///< rows that the conditions hold for in front of it
        std::int64_t block = 0;
        ByKey before;  ///< values of the row in front of it
    };

    bool load(std::int64_t block);
    bool advance();
    void go(const BlockMark& mark);
    bool filter_block();
    void find_starts();
    void take_key(int row, ByKey* key);
    bool same(const ByKey& key, int row);
    bool same_rows(const ByColumn& by, int a, int b);
    int compare(const ByKey& key, int row);
    void find_group_end();

    std::unique_ptr<RowSource> source_;
    std::vector<Where> conditions_;
    std::int64_t first_ = 1, last_ = std::numeric_limits<std::int64_t>::max();
    std::vector<ByColumn> by_;

    std::int64_t block_ = -1;  ///< number of the loaded block; -1 in front of the first
    std::int64_t seen_ = 0;    ///< rows that the conditions hold for up to the end of the loaded block
    bool ended_ = false;       ///< the loaded block is the end of the data: it has no rows
    BlockMark loaded_;
    ByKey last_key_;           ///< of the last row of the loaded block
    std::vector<int> starts_;  ///< rows of the loaded block at which groups begin

    std::int64_t generation_ = 0;
    bool started_ = false, in_group_ = false, no_rows_ = false;
    BlockMark begin_;
    int begin_row_ = 0;
    bool end_known_ = false;
    BlockMark end_;
    int end_row_ = 0;
    bool end_of_data_ = false;
    ByKey key_;

    std::vector<std::uint32_t> chosen_;
    std::vector<std::uint8_t> flags_;
};

}  // namespace vek
