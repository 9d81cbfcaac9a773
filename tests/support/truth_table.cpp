// Reads a file of truth rows into blocks, calls the test's function for each row and tallies the errors of each block.
#include "support/truth_table.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <sstream>

#include "numeric/missing.h"

namespace vek::test {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

// The selection made by select_truth_rows.
struct Selection {
    std::string name;
    int line = 0;
};
Selection& selection() {
    static Selection chosen;
    return chosen;
}

bool parse_number(const std::string& cell, double& value) {
    if (cell == "missing") return value = missing, true;
    if (cell == "max") return value = std::numeric_limits<double>::max(), true;
    if (cell.size() == 2 && cell[0] == '.' && (cell[1] == '_' || (cell[1] >= 'A' && cell[1] <= 'Z'))) {
        return value = vzmissing(cell[1]), true;
    }
    char* end = nullptr;
    value = std::strtod(cell.c_str(), &end);
    return !cell.empty() && *end == '\0';
}

// The significant digits of a decimal number, without sign, point, exponent and outer zeros.
std::string significant_digits(const std::string& text) {
    std::string digits;
    for (const char c : text) {
        if (c == 'e' || c == 'E') break;
        if (c >= '0' && c <= '9') digits += c;
    }
    digits.erase(0, digits.find_first_not_of('0'));
    digits.erase(digits.find_last_not_of('0') + 1);
    return digits;
}

// A double has at most 767 significant decimal digits, so the whole expansion can be compared.
bool exact_in_binary(const std::string& cell, double value) {
    if (!std::isfinite(value) || cell == "max" || cell.find_first_of("xX") != std::string::npos) return true;
    char whole[800];
    std::snprintf(whole, sizeof whole, "%.770e", value);
    return significant_digits(cell) == significant_digits(whole);
}

// "3*1.5,2" becomes 1.5 1.5 1.5 2 as texts.
std::vector<std::string> list_cells(const std::string& cell) {
    std::vector<std::string> texts;
    std::istringstream parts(cell);
    std::string part;
    while (std::getline(parts, part, ',')) {
        const std::size_t star = part.find('*');
        const int times = star == std::string::npos ? 1 : std::atoi(part.substr(0, star).c_str());
        texts.insert(texts.end(), static_cast<std::size_t>(std::max(times, 0)),
                     star == std::string::npos ? part : part.substr(star + 1));
    }
    return texts;
}

std::string show(double value) {
    if (wzmis(value)) return std::string("missing ") + missing_code(value);
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

bool plain(double value) { return std::isfinite(value); }

bool same_special(double got, double want) {
    if (wzmis(got) || wzmis(want)) return wzmis(got) && wzmis(want) && missing_code(got) == missing_code(want);
    if (std::isnan(got) || std::isnan(want)) return std::isnan(got) && std::isnan(want);
    return got == want;
}

}  // namespace

double absolute_error(double got, double want) {
    if (!plain(got) || !plain(want)) return same_special(got, want) ? 0 : infinity;
    return std::fabs(got - want);
}

double relative_error(double got, double want) {
    const double difference = absolute_error(got, want);
    return !std::isfinite(difference) || difference == 0 || want == 0 ? difference : difference / std::fabs(want);
}

const std::string& TruthRow::text(std::string_view column) const {
    static const std::string none;
    const auto place = std::find(columns_->begin(), columns_->end(), column);
    if (place == columns_->end()) {
        FAIL_CHECK(*name_ << ":" << line_ << ": the block has no column \"" << std::string(column) << "\"");
        return none;
    }
    return cells_[static_cast<std::size_t>(place - columns_->begin())];
}

bool TruthRow::has(std::string_view column) const {
    return std::find(columns_->begin(), columns_->end(), column) != columns_->end() && text(column) != "-";
}

double TruthRow::number(std::string_view column) const {
    double value = std::numeric_limits<double>::quiet_NaN();
    if (!parse_number(text(column), value)) {
        FAIL_CHECK(*name_ << ":" << line_ << ": \"" << text(column) << "\" is not a number");
    }
    return value;
}

double TruthRow::input(std::string_view column) const {
    const double value = number(column);
    if (!exact_in_binary(text(column), value)) {
        FAIL_CHECK(*name_ << ":" << line_ << ": input " << text(column) << " is not exact in binary");
    }
    return value;
}

int TruthRow::integer(std::string_view column) const {
    const double value = number(column);
    if (value != std::floor(value) || std::fabs(value) > std::numeric_limits<int>::max()) {
        FAIL_CHECK(*name_ << ":" << line_ << ": \"" << text(column) << "\" is not a whole number");
        return 0;
    }
    return static_cast<int>(value);
}

std::vector<double> TruthRow::numbers(std::string_view column) const {
    std::vector<double> values;
    for (const std::string& part : list_cells(text(column))) {
        double value = 0;
        if (!parse_number(part, value)) FAIL_CHECK(*name_ << ":" << line_ << ": \"" << part << "\" is not a number");
        values.push_back(value);
    }
    return values;
}

std::vector<double> TruthRow::inputs(std::string_view column) const {
    for (const std::string& part : list_cells(text(column))) {
        double value = 0;
        if (parse_number(part, value) && !exact_in_binary(part, value)) {
            FAIL_CHECK(*name_ << ":" << line_ << ": input " << part << " is not exact in binary");
        }
    }
    return numbers(column);
}

void TruthCheck::record(std::string_view column, double measured, double limit, const std::string& detail) {
    measured_ = true;
    peak_ = std::max(peak_, measured);
    if (measured <= limit) return;
    ++failures_;
    MESSAGE(std::string(column) << " misses its tolerance: " << detail << ", error " << show(measured) << ", allowed "
                                << show(limit));
}

void TruthCheck::relative(std::string_view column, double got) {
    const double want = row_.number(column);
    record(column, relative_error(got, want), row_.tol(), "got " + show(got) + ", want " + show(want));
}

void TruthCheck::absolute(std::string_view column, double got) {
    const double want = row_.number(column);
    record(column, absolute_error(got, want), row_.tol(), "got " + show(got) + ", want " + show(want));
}

void TruthCheck::exact(std::string_view column, double got) {
    const double want = row_.number(column);
    if (same_special(got, want)) return;
    ++failures_;
    MESSAGE(std::string(column) << " is not the exact value: got " << show(got) << ", want " << show(want));
}

void TruthCheck::code(std::string_view column, int got) {
    const int want = row_.integer(column);
    if (got == want) return;
    ++failures_;
    MESSAGE(std::string(column) << " is another code: got " << got << ", want " << want);
}

void TruthCheck::error(std::string_view what, double measured, double limit) {
    // A measure that is no number must not pass for a small one.
    record(what, std::isnan(measured) ? infinity : measured, limit, "measured " + show(measured));
}

// Walks through a file line by line; a block ends where the next source line stands or the file ends.
class TruthReader {
  public:
    TruthReader(std::string_view path, const std::function<void(const TruthRow&, TruthCheck&)>& row)
        : name_(path.substr(path.rfind('/') + 1)),
          file_(std::string(VEK_TESTS_DIR "/") + std::string(path) + ".tsv"),
          row_function_(row) {}

    void run() {
        if (!selection().name.empty() && selection().name != name_) return;
        std::ifstream in(file_);
        if (!in) {
            FAIL_CHECK("cannot read " << file_);
            return;
        }
        std::string text;
        while (std::getline(in, text)) {
            ++line_;
            if (text.find_first_not_of(" \t\r") == std::string::npos) continue;
            text[0] == '#' ? comment(text) : row(text);
        }
        close_block();
        if (all_rows_ == 0) FAIL_CHECK(name_ << ": no row was run");
    }

  private:
    void comment(const std::string& text) {
        constexpr std::string_view opening = "# source:";
        if (text.compare(0, opening.size(), opening) == 0) {
            close_block();
            source_ = text.substr(opening.size());
            source_.erase(0, source_.find_first_not_of(' '));
            columns_.clear();
        } else if (!source_.empty() && !block_has_rows_) {
            std::istringstream words(text.substr(1));
            columns_.clear();
            for (std::string word; words >> word;) columns_.push_back(word);
        }
    }

    void row(const std::string& text) {
        block_has_rows_ = true;
        if (source_.empty() || columns_.empty()) {
            FAIL_CHECK(name_ << ":" << line_ << ": a row before \"# source:\" and a line of column names");
            return;
        }
        TruthRow truth;
        truth.columns_ = &columns_;
        truth.name_ = &name_;
        truth.line_ = line_;
        std::istringstream words(text);
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            std::string cell;
            if (columns_[i] == "why" && i + 1 == columns_.size()) {
                std::getline(words >> std::ws, cell);
            } else if (!(words >> cell)) {
                FAIL_CHECK(name_ << ":" << line_ << ": fewer cells than columns");
                return;
            }
            truth.cells_.push_back(cell);
        }
        if (std::string rest; words >> rest) {
            FAIL_CHECK(name_ << ":" << line_ << ": more cells than columns");
            return;
        }
        if (selection().line != 0 && selection().line != line_) return;
        run_row(truth, text);
    }

    void run_row(const TruthRow& truth, const std::string& text) {
        TruthCheck check(truth);
        row_function_(truth, check);
        ++rows_;
        ++all_rows_;
        if (check.measured_ && (worst_line_ == 0 || check.peak_ > peak_)) {
            peak_ = check.peak_;
            worst_line_ = line_;
        }
        CHECK_MESSAGE(check.failures_ == 0,
                      name_ << ":" << line_ << ": " << text << "\n  run alone: ./dev test " << name_ << ":" << line_);
    }

    void close_block() {
        if (rows_ > 0) {
            std::printf("%-12s %5d rows", name_.c_str(), rows_);
            if (worst_line_ != 0) std::printf(", peak error %.1e in line %d", peak_, worst_line_);
            std::printf("  [%s]\n", source_.c_str());
        }
        rows_ = 0;
        worst_line_ = 0;
        peak_ = 0;
        block_has_rows_ = false;
    }

    std::string name_;
    std::string file_;
    const std::function<void(const TruthRow&, TruthCheck&)>& row_function_;
    std::string source_;
    std::vector<std::string> columns_;
    int line_ = 0;
    int rows_ = 0;
    int all_rows_ = 0;
    int worst_line_ = 0;
    double peak_ = 0;
    bool block_has_rows_ = false;
};

void run_truth_table(std::string_view path, const std::function<void(const TruthRow&, TruthCheck&)>& row) {
    TruthReader(path, row).run();
}

void select_truth_rows(std::string_view name_and_line) {
    const std::size_t colon = name_and_line.find(':');
    selection().name = std::string(name_and_line.substr(0, colon));
    selection().line =
        colon == std::string_view::npos ? 0 : std::atoi(std::string(name_and_line.substr(colon + 1)).c_str());
}

int run_tests(int argc, char** argv) {
    doctest::Context context;
    context.applyCommandLine(argc, argv);
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word.empty() || word[0] == '-') continue;
        const std::size_t colon = word.find(':');
        std::string filter = word.substr(0, colon);
        filter.insert(filter.begin(), '*');
        filter += '*';
        context.addFilter("test-case", filter.c_str());
        if (colon != std::string::npos) select_truth_rows(word);
    }
    return context.run();
}

}  // namespace vek::test
