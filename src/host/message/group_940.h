// Messages of the table service.
#pragma once

#include "host/message/catalogue.h"

namespace vek {

inline constexpr CatalogueRow group_940[] = {
    {1, Level::error, "table {text}, column {text}: the value in row {integer} is neither a number nor missing",
     "Squares of numbers above 1e154 cannot be held: divide such a variable by a constant. With smaller numbers this "
     "is "
     "a fault of the program."},
};
static_assert(sound(group_940));

}  // namespace vek
