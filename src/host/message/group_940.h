// Messages of the table service.
#pragma once

#include "host/message/catalogue.h"

namespace vek {

inline constexpr CatalogueRow group_940[] = {
    {1, Level::error, "table {text}, column {text}: the value in row {integer} is neither a number nor missing",
     "This is a fault of the program; the other values of the table stand as they were computed."},
};
static_assert(sound(group_940));

}  // namespace vek
