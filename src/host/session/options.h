// Host options: a table of names, kinds, defaults and help, with one value each, set by --option and OPTIONS.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vek {

/// A size is a number of bytes and may end with K, M or G; words are names from a list.
enum class OptionKind { size, whole, words };

struct HostOption {
    std::string_view name;
    OptionKind kind = OptionKind::whole;
    double otherwise = 0;  ///< default of a number; words are empty by default
    double low = 0, high = 0;
    std::string_view help;     ///< empty hides the option from help and suggestions: it is a test aid
    std::string_view words{};  ///< that it may have, between blanks
};

std::span<const HostOption> host_option_table();

class Options {
  public:
    Options();

    enum class Outcome { done, unknown, not_a_number, out_of_range, unknown_word };
    /// Sets an option from its text; case is ignored in the name. Nothing changes unless the outcome is done.
    Outcome set(std::string_view name, std::string_view value);
    void set_number(std::string_view name, double value);

    double number(std::string_view name) const;          ///< of a numeric option of the table
    std::string_view text(std::string_view name) const;  ///< as it was set; empty when it was not
    bool given(std::string_view name) const;

    /// Null when the table has no such option.
    static const HostOption* find(std::string_view name);
    /// The visible option whose name is nearest, or empty.
    static std::string_view nearest(std::string_view name);

    /// What the option takes, such as "a whole number from 40 to 32767", for messages.
    static std::string expected(const HostOption& option);

    void reset();

  private:
    struct Value {
        bool given = false;
        double number = 0;
        std::string text;
    };
    static constexpr int capacity = 24;
    Value values_[capacity];
};

Options& host_options();

}  // namespace vek
