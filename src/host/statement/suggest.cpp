// Nearest words by spelling distance.
#include "host/statement/suggest.h"

#include <algorithm>
#include <climits>
#include <vector>

#include "frame/grammar.h"
#include "host/statement/token.h"

namespace vek {

int spelling_distance(std::string_view first, std::string_view second) {
    const std::string a = upper_case(first), b = upper_case(second);
    const std::size_t n = b.size();
    std::vector<int> before(n + 1), last(n + 1), row(n + 1);
    for (std::size_t j = 0; j <= n; ++j) last[j] = static_cast<int>(j);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = static_cast<int>(i);
        for (std::size_t j = 1; j <= n; ++j) {
            const int replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
            const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (swapped) row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before.swap(last);
        last.swap(row);
    }
    return last[n];
}

Nearest::Nearest(std::string_view word) : word_(upper_case(word)), score_(INT_MAX) {
    const int length = static_cast<int>(word_.size());
    limit_ = std::clamp((length + 1) / 3, 1, 3);
}

void Nearest::offer(std::string_view candidate, bool likely) {
    const auto length = static_cast<int>(candidate.size());
    const auto typed = static_cast<int>(word_.size());
    const std::string capital = upper_case(candidate);
    // The beginning of a word is as near as one wrong letter.
    constexpr int least_beginning = 3;
    const bool beginning = typed >= least_beginning && typed < length && capital.starts_with(word_);
    if (candidate.empty() || word_.empty() || (!beginning && std::abs(length - typed) > limit_)) return;
    const int distance = beginning ? 1 : spelling_distance(word_, capital);
    if (distance > limit_ || distance >= std::max(length, typed)) return;
    std::string sorted = capital, sorted_word = word_;
    std::sort(sorted.begin(), sorted.end());
    std::sort(sorted_word.begin(), sorted_word.end());
    const int score =
        distance * 8 + (likely ? 0 : 4) + (capital.front() == word_.front() ? 0 : 2) + (sorted == sorted_word ? 0 : 1);
    if (score < score_) {
        score_ = score;
        best_ = candidate;
    }
}

void Nearest::offer_all(std::string_view names) {
    while (!names.empty()) offer(take_name(&names));
}

std::string with_lost_equals(std::string_view word, std::string_view names) {
    while (!names.empty()) {
        const std::string_view name = take_name(&names);
        if (word.size() <= name.size() || !same_word(word.substr(0, name.size()), name)) continue;
        const char next = word[name.size()];
        if ((next < '0' || next > '9') && next != '.') continue;
        return std::string(word.substr(0, name.size())).append("=").append(word.substr(name.size()));
    }
    return {};
}

std::string in_case_of(std::string_view keyword, std::string_view typed) {
    std::string result(keyword);
    const bool capital = std::any_of(typed.begin(), typed.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
    if (capital) return result;
    for (char& c : result) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return result;
}

std::string name_as_written(const std::string& name) {
    const bool plain = std::all_of(name.begin(), name.end(), [](char ch) {
        return (ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z') || (ch >= '0' && ch <= '9') || ch == '_' ||
               (ch & 0x80) != 0;
    });
    if (name.empty() || (plain && (name.front() < '0' || name.front() > '9'))) return name;
    std::string literal = "'";
    for (const char ch : name) literal.append(ch == '\'' ? 2 : 1, ch);
    return literal + "'n";
}

std::string some_of(std::string_view what, int count, const std::function<std::string(int)>& name) {
    constexpr int most = 8;
    std::string text = std::string(what) + ": ";
    for (int v = 0; v < std::min(count, most); ++v) {
        if (v > 0) text += ", ";
        text += name(v);
    }
    return count > most ? text + ", ..." : text;
}

}  // namespace vek
