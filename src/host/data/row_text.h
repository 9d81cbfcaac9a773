// Rows as the text of a delimited file: numbers with the fewest digits that read back, texts in quotes where they need
// them.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "host/data/data_file.h"
#include "host/data/memory_table.h"

namespace vek {

class RowText {
  public:
    RowText() = default;
    RowText(const FileForm& form, std::size_t columns)
        : columns_(columns), delimiter_(form.delimiter), decimal_(form.decimal) {}

    void add_names(const std::vector<Variable>& variables);
    /// Appends a row of the columns.
    void add(const Column* columns, int row);
    std::string_view bytes() const { return {buffer_.get(), size_}; }
    void clear() { size_ = 0; }

  private:
    void make_room(const Column* columns, int row);
    char* put(double value, char* to) const;
    char* put(const TextValue& value, char* to) const;
    char* put_decimal(char* number, char* end) const;

    std::size_t columns_ = 0;
    char delimiter_ = ',', decimal_ = '.';
    std::unique_ptr<char[]> buffer_;
    std::size_t size_ = 0, room_ = 0;
};

}  // namespace vek
