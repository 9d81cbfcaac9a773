// Labels of the parameters: an effect's name with the levels of its class variables.
#pragma once

#include <string>

#include "frame/mainblock.h"

namespace vek {

class ParameterLabel {
  public:
    explicit ParameterLabel(const MainBlock& main);

    /// Width of the widest label that text() gives: widest effect name, then for each class variable a blank and its
    /// widest level.
    int width() const { return width_; }
    /// Column c of effect e: the name padded to the widest effect name, then a blank and the level for each of its
    /// class variables.
    std::string text(int effect, int c) const;
    /// The same for a column of X, with single blanks only: A 1, A*B 1 2.
    std::string short_text(int column) const;
    /// The text of a level, blanks on both sides cut.
    std::string_view level(const Effect& effect, int c, int place) const;
    /// A coefficient with as many digits as it needs, at most 8.
    std::string number(double value) const;
    /// A combination of levels without observations, of the crossed effect with the fewest class variables that has one
    /// at this column's class levels, as "A=1 B=3"; empty when there is none.
    std::string empty_cell_near(int column) const;

  private:
    std::string empty_cell(const Effect& cells, const Effect& own, int column) const;

    const MainBlock& F;
    int width_;
};

}  // namespace vek
