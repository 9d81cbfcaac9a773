// Host options: names and values of --option and OPTIONS become numbers and texts.
#include "host/session/options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

namespace vek {

namespace {

constexpr double no_limit = 1e18;

// A new option is one row; the prompt, --help and suggestions read it.
constexpr HostOption option_table[] = {
    {"BUDGET", OptionKind::number, 2147483648.0, 0, no_limit,
     "bytes of memory for utility files before they go to disk (K, M and G may follow)"},
    {"DEBUG", OptionKind::text, 0, 0, 0, "words that switch traces on: LAYOUT SWEEP ROWS FILES SYN SEM"},
    {"INTERACTIVE", OptionKind::number, 0, 0, 1, "1: a statement with an error is taken back and the step goes on"},
    {"LINESIZE", OptionKind::number, 0, 40, 32767, "columns of the listing; by default the terminal's, else 100"},
    {"MEMORY", OptionKind::number, 0, 0, no_limit,
     "bytes that a step may ask for; by default nearly all of the machine's (K, M and G may follow)"},
    {"FAULT_ALLOCATION", OptionKind::number, 0, 0, no_limit, ""},
    {"FAULT_NEW", OptionKind::number, 0, 0, no_limit, ""},
    {"FAULT_WRITE", OptionKind::number, 0, 0, no_limit, ""},
};
constexpr int option_count = static_cast<int>(std::size(option_table));

constexpr char capital(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

bool same(std::string_view a, std::string_view b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return capital(x) == capital(y); });
}

int find_index(std::string_view name) {
    for (int i = 0; i < option_count; ++i) {
        if (same(option_table[i].name, name)) return i;
    }
    return -1;
}

/// A number with an optional K, M or G for the powers of 1024.
bool read_number(std::string_view text, double* number) {
    double factor = 1;
    if (!text.empty()) {
        const char last = capital(text.back());
        factor = last == 'K' ? 1024.0 : last == 'M' ? 1048576.0 : last == 'G' ? 1073741824.0 : 1.0;
        if (factor > 1) text.remove_suffix(1);
    }
    const auto done = std::from_chars(text.data(), text.data() + text.size(), *number);
    *number *= factor;
    return done.ec == std::errc() && done.ptr == text.data() + text.size() && std::isfinite(*number);
}

/// Insertions, deletions and replacements that make one word of the other, ignoring case.
int distance(std::string_view a, std::string_view b) {
    std::vector<int> row(b.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j) row[j] = static_cast<int>(j);
    for (std::size_t i = 0; i < a.size(); ++i) {
        int diagonal = row[0];
        row[0] = static_cast<int>(i) + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const int replaced = diagonal + (capital(a[i]) == capital(b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

static_assert(option_count <= 24, "Options::capacity");

std::span<const HostOption> host_option_table() { return option_table; }

Options::Options() { reset(); }

void Options::reset() {
    for (int i = 0; i < option_count; ++i) values_[i] = {false, option_table[i].otherwise, {}};
}

Options::Outcome Options::set(std::string_view name, std::string_view value) {
    const int i = find_index(name);
    if (i < 0) return Outcome::unknown;
    if (option_table[i].kind == OptionKind::text) {
        values_[i] = {true, 0, std::string(value)};
        return Outcome::done;
    }
    double number = 0;
    if (!read_number(value, &number)) return Outcome::not_a_number;
    if (number < option_table[i].low || number > option_table[i].high) return Outcome::out_of_range;
    values_[i] = {true, number, std::string(value)};
    return Outcome::done;
}

void Options::set_number(std::string_view name, double value) {
    const int i = find_index(name);
    if (i >= 0) values_[i] = {true, value, {}};
}

double Options::number(std::string_view name) const {
    const int i = find_index(name);
    return i < 0 ? 0 : values_[i].number;
}

std::string_view Options::text(std::string_view name) const {
    const int i = find_index(name);
    return i < 0 ? std::string_view{} : std::string_view(values_[i].text);
}

bool Options::given(std::string_view name) const {
    const int i = find_index(name);
    return i >= 0 && values_[i].given;
}

const HostOption* Options::find(std::string_view name) {
    const int i = find_index(name);
    return i < 0 ? nullptr : &option_table[i];
}

std::string_view Options::nearest(std::string_view name) {
    std::string_view best;
    int least = static_cast<int>(name.size()) / 2 + 1;
    for (const HostOption& option : option_table) {
        if (option.help.empty()) continue;
        const int d = distance(name, option.name);
        if (d < least) {
            least = d;
            best = option.name;
        }
    }
    return best;
}

Options& host_options() {
    static Options options;
    return options;
}

}  // namespace vek
