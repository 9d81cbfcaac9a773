// Tables from inside the module: turns a sequence of columns, rows and notes into calls of the table output service.
// The only file of the module, with table.cpp, that names methods and tags. With a null manager (NOPRINT) every call
// does nothing. A call that fails is logged and ends the run here; a table that is left without end(), because the
// run ended inside of it, is discarded by the host.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "frame/host_table.h"

namespace vek {

/// What a column may have beside its name, type and format. A column whose name depends on the model (an effect, a
/// variable, Row3) names in `like` the column of the template that tells how it looks.
struct ColumnStyle {
    std::string_view label{};  ///< heading; empty leaves it to the template
    std::string_view like{};
};

inline constexpr int no_width = 0;        ///< the width comes from the template
inline constexpr int no_decimals = -1;    ///< the decimals come from the template
inline constexpr int best_decimals = 99;  ///< as many digits as the width holds

/// A table of rows. Define the columns, bind the template, put rows, end:
///
///     Table t(F.out, "OverallANOVA", rdvmsg(172, 314));
///     t.text("Source", 20, row.label).degrees("DF", row.df).number("SS", row.ss, 12, d).number("FValue", row.f);
///     t.attribute("sstype", name);
///     t.bind("drim.VEK.OverallANOVA");
///     ... t.row(); ... t.end();
///
/// A column is bound to a named variable that is read at each row(); it must live until end(). Texts and names are
/// copied, but for the bound variables.
class Table {
  public:
    /// Does nothing when `manager` is null.
    Table(HostObject* manager, std::string_view name, std::string_view label);
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    ~Table() = default;  // quiet: the host drops what was not ended

    /// True when there is something to print to; lets a caller skip work that only a table needs.
    bool active() const { return table_ != nullptr; }

    // ---- columns, in order; each returns the table ----
    /// A text that the variable points to; `width` in characters, or no_width.
    Table& text(std::string_view column, int width, const std::string_view& value, const ColumnStyle& style = {});
    Table& text(std::string_view column, int width, const std::string& value, const ColumnStyle& style = {});
    Table& text(std::string_view column, int width, const std::string_view&& value,
                const ColumnStyle& style = {}) = delete;
    Table& text(std::string_view column, int width, const std::string&& value, const ColumnStyle& style = {}) = delete;
    Table& text(std::string_view column, int width, const char* value, const ColumnStyle& style = {}) = delete;
    /// A text in a buffer of `width` bytes, padded with blanks or ended by a zero.
    Table& buffer(std::string_view column, int width, const char* value, const ColumnStyle& style = {});
    /// One character.
    Table& character(std::string_view column, const char& value, const ColumnStyle& style = {});
    Table& character(std::string_view column, const char&& value, const ColumnStyle& style = {}) = delete;
    Table& integer(std::string_view column, const std::int32_t& value, const ColumnStyle& style = {});
    Table& integer(std::string_view column, const std::int32_t&& value, const ColumnStyle& style = {}) = delete;
    /// An integer column for degrees of freedom.
    Table& degrees(std::string_view column, const std::int32_t& value, const ColumnStyle& style = {});
    Table& degrees(std::string_view column, const std::int32_t&& value, const ColumnStyle& style = {}) = delete;
    /// A number; width and decimals as given, or by the template.
    Table& number(std::string_view column, const double& value, int width = no_width, int decimals = no_decimals,
                  const ColumnStyle& style = {});
    Table& number(std::string_view column, const double&& value, int width = no_width, int decimals = no_decimals,
                  const ColumnStyle& style = {}) = delete;

    /// A header key of the table.
    Table& attribute(std::string_view key, std::string_view value);
    Table& attribute(std::string_view key, std::int64_t value);
    Table& attribute(std::string_view key, int value) { return attribute(key, std::int64_t{value}); }
    Table& attribute(std::string_view key, double value);
    /// A header key of the column defined last.
    Table& column_attribute(std::string_view key, std::string_view value);
    Table& column_attribute(std::string_view key, std::int64_t value);
    Table& column_attribute(std::string_view key, int value) { return column_attribute(key, std::int64_t{value}); }
    Table& column_attribute(std::string_view key, double value);

    /// Ends the list of columns and gives the table its template, such as "drim.VEK.Tests".
    void bind(std::string_view path);
    /// Puts a row of what the bound variables hold now.
    void row();
    /// A note below the table.
    void note(std::string_view text, char character = 'l', int number = 0);
    void end();

  private:
    Table& column(std::string_view name, int kind, int width, int decimals, const void* value,
                  const ColumnStyle& style);

    HostObject* table_ = nullptr;
};

/// A table of items, each with a label and a value of its own format.
///
///     Factoids f(F.out, "NObs", rdvmsg(172, 382), "Drim.VEK.NObs");
///     f.item(rdvmsg(172, 20), count);
///     f.end();
class Factoids {
  public:
    Factoids(HostObject* manager, std::string_view name, std::string_view label, std::string_view path);
    Factoids(const Factoids&) = delete;
    Factoids& operator=(const Factoids&) = delete;
    ~Factoids() = default;

    bool active() const { return table_ != nullptr; }
    Factoids& attribute(std::string_view key, std::string_view value);
    Factoids& attribute(std::string_view key, double value);
    Factoids& item(std::string_view label, std::string_view value);
    Factoids& item(std::string_view label, std::int64_t value);
    Factoids& item(std::string_view label, int value) { return item(label, std::int64_t{value}); }
    Factoids& item(std::string_view label, double value, int width = no_width, int decimals = no_decimals);
    /// A proportion, shown in percent.
    Factoids& percent(std::string_view label, double value, int width = no_width);
    void note(std::string_view text, char character = 'l', int number = 0);
    void end();

  private:
    HostObject* table_ = nullptr;
    std::string path_;
};

/// A matrix with its names and its format. The elements come from `element`, or from `values`: `stride` doubles a row,
/// or, with stride 0, the packed lower triangle by rows of a symmetric matrix.
struct Matrix {
    std::span<const std::string_view> rownames{};
    std::span<const std::string_view> columnnames{};
    MatrixElement element = nullptr;
    const void* context = nullptr;  ///< handed to `element` as its first argument
    const double* values = nullptr;
    int stride = 0;
    std::string_view format =
        "ff";  ///< storage (f function, r rectangular, s packed symmetric) and form of the numbers
               ///< (f given decimals, b best, p p-values); the key of a block of stacked matrices
    int width = no_width;
    int decimals = best_decimals;
    std::string_view prefix{};  ///< before the column names in data made from the table, such as "P_"
};

/// The texts of a matrix table.
struct MatrixTexts {
    std::string_view title{};
    std::string_view note{};
    int width = no_width;          ///< of every column
    std::string_view corner{};     ///< heading of the row names, such as "i/j"
    std::string_view attribute{};  ///< a header key, such as "ErrorEffect", and its text
    std::string_view value{};
};

/// A whole table of one matrix.
void matrix_table(HostObject* manager, std::string_view name, std::string_view label, std::string_view path,
                  const Matrix& matrix, const MatrixTexts& texts);

/// Matrices of the same shape whose cells are shown above each other, such as correlations and their p-values. The
/// values are read at matrix(); names and numbers are copied.
class StackedMatrices {
  public:
    explicit StackedMatrices(HostObject* manager);
    StackedMatrices(const StackedMatrices&) = delete;
    StackedMatrices& operator=(const StackedMatrices&) = delete;
    ~StackedMatrices() = default;

    bool active() const { return table_ != nullptr; }
    /// Row names and column names may be left out from the second matrix on.
    StackedMatrices& matrix(const Matrix& matrix);
    void end(std::string_view name, std::string_view label, std::string_view path, const MatrixTexts& texts);

  private:
    HostObject* table_ = nullptr;
};

/// What opening a folder may tell beside its name and label.
struct FolderStyle {
    std::string_view key{};  ///< kind of the level, such as "Dependent" or "MissPattern"
    int width = no_width;    ///< of the widest name on this level
    double number = 0;       ///< the level's number, with `numbered`
    bool numbered = false;
};

/// A level of the report. Closing is explicit; a folder that is left open because the run ended is closed by the host.
class Folder {
  public:
    Folder() = default;
    Folder(HostObject* manager, std::string_view name, std::string_view label, const FolderStyle& style = {}) {
        open(manager, name, label, style);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() = default;

    void open(HostObject* manager, std::string_view name, std::string_view label, const FolderStyle& style = {});
    /// Does nothing when the folder is not open.
    void close();
    bool is_open() const { return folder_ != nullptr; }

  private:
    HostObject* folder_ = nullptr;
};

/// The procedure's output manager, made once for each step on the root that xobinit has made.
HostObject* make_manager(HostObject* root);

/// Title line `line` (2 and up; 1 is the procedure's) of the tables that follow, until it is ended.
void set_title(HostObject* manager, int line, std::string_view text);
void end_title(HostObject* manager, int line);        ///< this line alone
void end_titles_from(HostObject* manager, int line);  ///< this line and all below it
void apply_titles(HostObject* manager);               ///< a new part of the report begins with the titles as they are
/// The procedure's own title.
void set_procedure_title(HostObject* manager, std::string_view text);

/// A note that belongs to the report at this place: below the last table, or above the next one.
void report_note(HostObject* manager, std::string_view text, char character = 'l', int number = 0);

}  // namespace vek
