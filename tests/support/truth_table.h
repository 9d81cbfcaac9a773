// Truth tables: files of rows with inputs, expected values and a tolerance, read at run time, so that a new row needs
// no compiler. A file tests/ROOM/NAME.tsv is a list of blocks:
//
//     # source: 40 digits by hypergeometric series, a method the code does not use
//     # x        a     b     rc  p                          tol     why
//     0.03125    10    0.5   0   1.5876628757237878463e-16  1e-13   far lower tail
//
// A line "# source: ..." opens a block; the last comment line before its first row names the columns. Cells are parted
// by blanks or tabs; the last column, when it is called "why", takes the rest of the line. A cell is a number (decimal,
// hexadecimal as 0x1p-60, inf, nan, max for the largest double, missing, .A for a special missing value) or, where the
// test asks for a list, numbers parted by commas, of which 3*1.5 stands for three times 1.5. A cell "-" is left out.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vek::test {

// A row of a block. Asking for a column that is not there, or a cell that cannot be read, fails the running test.
class TruthRow {
  public:
    // An expected value, or a tolerance: the double nearest to the cell.
    double number(std::string_view column) const;
    // An argument: as number(), and the cell must be exact in binary (a decimal 0.1 is refused; write
    // 0x1.999999999999ap-4).
    double input(std::string_view column) const;
    // A whole number, input or expected.
    int integer(std::string_view column) const;
    // Arguments parted by commas, exact in binary; "3*1.5" repeats.
    std::vector<double> inputs(std::string_view column) const;
    // Expected values parted by commas.
    std::vector<double> numbers(std::string_view column) const;
    // The cell as it stands.
    const std::string& text(std::string_view column) const;
    // True when the block has the column and the cell is not "-".
    bool has(std::string_view column) const;

    double tol() const { return number("tol"); }
    int line() const { return line_; }

  private:
    friend class TruthReader;
    const std::vector<std::string>* columns_ = nullptr;
    std::vector<std::string> cells_;
    const std::string* name_ = nullptr;
    int line_ = 0;
};

// |got - want| / |want|, or the absolute difference where want is 0. Infinities of one sign, NaNs and missing values of
// one code agree (0); where only one of the two is such a value the error is infinite.
double relative_error(double got, double want);

// |got - want|, with the same rule for infinities, NaNs and missing values.
double absolute_error(double got, double want);

// What a row's function reports to: each call compares one result with the row's column of that name (or with a given
// value) and keeps the worst error of the block.
class TruthCheck {
  public:
    // Error relative to the expected value, at most the row's tol.
    void relative(std::string_view column, double got);
    // Absolute error, at most the row's tol.
    void absolute(std::string_view column, double got);
    // The same double, or the same missing value.
    void exact(std::string_view column, double got);
    // The same integer, for return codes.
    void code(std::string_view column, int got);
    // An error that the test measured itself (a residual, an orthogonality), at most limit.
    void error(std::string_view what, double measured, double limit);

    int failures() const { return failures_; }

  private:
    friend class TruthReader;
    explicit TruthCheck(const TruthRow& row) : row_(row) {}
    void record(std::string_view column, double measured, double limit, const std::string& detail);

    const TruthRow& row_;
    double peak_ = 0;
    bool measured_ = false;
    int failures_ = 0;
};

// Runs a function over all rows of tests/PATH.tsv (PATH as "numeric/zibeta"). Prints for each block its count of rows,
// the peak error and the line of the worst row; a row that misses its tolerance fails the running test and prints the
// line that runs it alone. A file that is absent, empty or malformed fails the test.
void run_truth_table(std::string_view path, const std::function<void(const TruthRow&, TruthCheck&)>& row);

// Restricts run_truth_table to one line of one file ("zibeta:14"), or to one file ("zibeta"); empty lifts it.
void select_truth_rows(std::string_view name_and_line);

// The doctest main of a room's test program: takes doctest's options and words NAME or NAME:LINE, which run only the
// test cases that have NAME in their names (and of their table NAME only the row of that line).
int run_tests(int argc, char** argv);

}  // namespace vek::test
