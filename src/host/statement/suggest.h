// Finds what was probably meant by a misspelt word: the nearest of the words that could stand at its place.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace vek {

/// Fewest insertions, deletions, replacements and swaps of neighbours that turn one word into the other, ignoring case.
int spelling_distance(std::string_view a, std::string_view b);

/// Collects candidates and keeps the nearest; one that the word is the beginning of is near. Of equally near ones it
/// prefers the one offered as likelier, then one with the same first letter, then one with the same letters in another
/// order, then the earlier.
class Nearest {
  public:
    explicit Nearest(std::string_view word);

    void offer(std::string_view candidate, bool likely = true);
    /// Offers each of the keywords, separated by blanks.
    void offer_all(std::string_view names);

    bool found() const { return !best_.empty(); }
    const std::string& best() const { return best_; }

  private:
    std::string word_, best_;
    int limit_ = 0;
    int score_ = 0;
};

/// When the word is one of the keywords with a number run together behind it, the two with the lost "=" between them;
/// else empty.
std::string with_lost_equals(std::string_view word, std::string_view names);

/// `keyword` in small letters when `typed` has no capital.
std::string in_case_of(std::string_view keyword, std::string_view typed);

/// A variable's name as a program writes it: as a literal when it is no plain word.
std::string name_as_written(const std::string& name);

/// `what`, a colon, and the first of the names, for a name that none of them is near.
std::string some_of(std::string_view what, int count, const std::function<std::string(int)>& name);

}  // namespace vek
