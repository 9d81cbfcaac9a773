// Rows of a data set in blocks, column by column, from a file or from memory. A column of the current block is read
// when it is first asked for; asking again costs nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "frame/host_data.h"

namespace vek {

struct DataFile;
class MemoryTable;

class RowSource {
  public:
    virtual ~RowSource() = default;

    /// A place between blocks.
    struct Mark {
        std::int64_t place = 0;
        std::int64_t line = 0;
    };

    /// Moves in front of the first row.
    virtual void restart() = 0;
    /// Loads the next block; false behind the last row. Does not return when the file has changed since it was
    /// validated.
    virtual bool next() = 0;
    /// Where the current block begins, and back to such a place: next() then loads that block.
    virtual Mark mark() const = 0;
    virtual void go(const Mark& mark) = 0;

    int rows() const { return rows_; }
    /// Values of a column of the current block. They stay until the next block is loaded or rows are selected.
    virtual const double* numbers(int column) = 0;
    virtual const TextValue* texts(int column) = 0;
    /// File line, or number in memory, of a row.
    virtual std::int64_t line(int row) const = 0;
    /// Keeps only these rows of the current block, in ascending order. Columns that were asked for before must be asked
    /// for again.
    virtual void select(const std::uint32_t* rows, int count) = 0;

  protected:
    int rows_ = 0;
};

std::unique_ptr<RowSource> rows_of(std::shared_ptr<DataFile> file);
std::unique_ptr<RowSource> rows_of(std::shared_ptr<const MemoryTable> table);

}  // namespace vek
