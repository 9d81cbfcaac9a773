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
    {"BUDGET", OptionKind::size, 2147483648.0, 0, no_limit,
     "bytes of memory for utility files before they go to disk (K, M and G may follow)"},
    {"DEBUG", OptionKind::words, 0, 0, 0, "words that switch traces on: LAYOUT SWEEP ROWS FILES SYN SEM",
     "LAYOUT SWEEP ROWS FILES SYN SEM"},
    {"INTERACTIVE", OptionKind::whole, 0, 0, 1, "1: a statement with an error is taken back and the step goes on"},
    {"LINESIZE", OptionKind::whole, 0, 40, 32767, "columns of the listing; by default the terminal's, else 100"},
    {"MEMORY", OptionKind::size, 0, 0, no_limit,
     "bytes that a step may ask for; by default nearly all of the machine's (K, M and G may follow)"},
    {"FAULT_ALLOCATION", OptionKind::whole, 0, 0, no_limit, ""},
    {"FAULT_NEW", OptionKind::whole, 0, 0, no_limit, ""},
    {"FAULT_WRITE", OptionKind::whole, 0, 0, no_limit, ""},
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

/// A whole number, or a size with an optional K, M or G for the powers of 1024.
bool read_number(std::string_view text, OptionKind kind, double* number) {
    double factor = 1;
    if (!text.empty() && kind == OptionKind::size) {
        const char last = capital(text.back());
        factor = last == 'K' ? 1024.0 : last == 'M' ? 1048576.0 : last == 'G' ? 1073741824.0 : 1.0;
        if (factor > 1) text.remove_suffix(1);
    }
    const auto done = std::from_chars(text.data(), text.data() + text.size(), *number);
    *number *= factor;
    return done.ec == std::errc() && done.ptr == text.data() + text.size() && std::isfinite(*number) &&
           (kind == OptionKind::size || *number == std::trunc(*number));
}

constexpr bool is_separator(char c) { return c == ' ' || c == ',' || c == '\t'; }

/// Takes the first word off a list of words.
std::string_view next_word(std::string_view* list) {
    while (!list->empty() && is_separator(list->front())) list->remove_prefix(1);
    const auto end = std::find_if(list->begin(), list->end(), is_separator);
    const std::string_view word = list->substr(0, static_cast<std::size_t>(end - list->begin()));
    list->remove_prefix(word.size());
    return word;
}

/// True when each word of the text has one of the known words in it, which is how a trace looks for its own.
bool words_are_known(std::string_view text, std::string_view known) {
    for (std::string_view word = next_word(&text); !word.empty(); word = next_word(&text)) {
        bool found = false;
        std::string_view rest = known;
        for (std::string_view k = next_word(&rest); !k.empty(); k = next_word(&rest)) {
            found = found || std::search(word.begin(), word.end(), k.begin(), k.end(),
                                         [](char a, char b) { return capital(a) == b; }) != word.end();
        }
        if (!found) return false;
    }
    return true;
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
    const HostOption& option = option_table[i];
    if (option.kind == OptionKind::words) {
        if (!words_are_known(value, option.words)) return Outcome::unknown_word;
        values_[i] = {true, 0, std::string(value)};
        return Outcome::done;
    }
    double number = 0;
    if (!read_number(value, option.kind, &number)) return Outcome::not_a_number;
    if (number < option.low || number > option.high) return Outcome::out_of_range;
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

std::string Options::expected(const HostOption& option) {
    if (option.kind == OptionKind::words) {
        std::string text = "one or more of ";
        std::string_view rest = option.words;
        for (std::string_view word = next_word(&rest); !word.empty(); word = next_word(&rest)) {
            text.append(text.back() == ' ' ? "" : ", ").append(word);
        }
        return text;
    }
    if (option.low == 0 && option.high == 1) return "0 or 1";
    std::string text = option.kind == OptionKind::size ? "a number of bytes" : "a whole number";
    if (option.high < no_limit) {
        text.append(" from ").append(std::to_string(static_cast<std::int64_t>(option.low)));
        text.append(" to ").append(std::to_string(static_cast<std::int64_t>(option.high)));
    } else {
        text.append(" of at least ").append(std::to_string(static_cast<std::int64_t>(option.low)));
    }
    return option.kind == OptionKind::size ? text + "; K, M and G may follow" : text;
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
