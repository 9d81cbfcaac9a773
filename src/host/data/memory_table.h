// A data set in memory, by column, in pieces of a fixed number of rows that never move.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "frame/host_data.h"
#include "host/data/formats.h"
#include "host/data/text_field.h"

namespace vek {

/// A variable with all that goes along with it from data set to data set.
struct Variable {
    std::string name;
    std::string label;
    VariableType type = VariableType::numeric;
    int length = 8;
    Format format;
};

class MemoryTable {
  public:
    static constexpr int piece_rows = 4096;

    explicit MemoryTable(std::vector<Variable> variables);

    /// Begins a row; every column must be set before the next one begins.
    void add_row();
    void set_number(int column, double value);
    void set_text(int column, std::string_view value);

    const std::vector<Variable>& variables() const { return variables_; }
    std::int64_t rows() const { return rows_; }
    const double* numbers(int column, std::int64_t piece) const;
    const TextValue* texts(int column, std::int64_t piece) const;

  private:
    struct Column {
        std::vector<std::unique_ptr<double[]>> numbers;
        std::vector<std::unique_ptr<TextValue[]>> texts;
        TextArena arena;
    };
    std::vector<Variable> variables_;
    std::vector<Column> columns_;
    std::int64_t rows_ = 0;
    int capacity_ = 0;  ///< rows of the first piece, which grows so that a small data set stays small
};

}  // namespace vek
