// A data set in memory, by column, in pieces of a fixed number of rows that never move.
#pragma once

#include <cstdint>
#include <future>
#include <memory>
#include <new>
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

    /// Appends rows by column: the first `count` values of each. Texts are copied.
    void add_rows(const vek::Column* columns, int count);

    const std::vector<Variable>& variables() const { return variables_; }
    std::int64_t rows() const { return rows_; }
    const double* numbers(int column, std::int64_t piece) const;
    const TextValue* texts(int column, std::int64_t piece) const;

  private:
    struct Column {
        std::vector<double*> numbers;  ///< the pieces; the texts of a text variable stand in the other list
        std::vector<TextValue*> texts;
        double* number = nullptr;  ///< the piece that is being filled
        TextValue* text = nullptr;
        TextArena arena;
    };
    struct FreeSlab {
        std::size_t alignment;
        void operator()(std::byte* slab) const { ::operator delete(slab, std::align_val_t(alignment)); }
    };
    using Slab = std::unique_ptr<std::byte, FreeSlab>;
    static Slab make_slab(std::size_t size);
    static Slab make_touched_slab();
    void begin_next_slab();
    void make_room();
    std::byte* take(std::size_t bytes);

    std::vector<Variable> variables_;
    std::vector<Column> columns_;
    std::vector<Slab> slabs_;      ///< what the pieces are cut from
    std::future<Slab> next_slab_;  ///< being touched, when it is valid
    std::byte* free_ = nullptr;
    std::size_t free_bytes_ = 0;
    std::int64_t rows_ = 0;
    int filled_ = 0;  ///< rows in the last piece
    int room_ = 0;    ///< rows that it has room for; the first one grows so that a small data set stays small
};

}  // namespace vek
