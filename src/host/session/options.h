// Host options: a table of names, kinds, defaults and help, with one value each, set by --option and OPTIONS.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vek {

enum class OptionKind { number, text };

struct HostOption {
    std::string_view name;
    OptionKind kind = OptionKind::number;
    double otherwise = 0;  ///< default of a number; a text's default is empty
    double low = 0, high = 0;
    std::string_view help;  ///< empty hides the option from help and suggestions: it is a test aid
};

std::span<const HostOption> host_option_table();

class Options {
  public:
    Options();

    enum class Outcome { done, unknown, not_a_number, out_of_range };
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
