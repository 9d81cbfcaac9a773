// Messages of formats, VALUE and WHERE.
#pragma once

#include "host/message/catalogue.h"

namespace vek {

inline constexpr CatalogueRow group_920[] = {
    {1, Level::error, "the condition cannot be read at {text}"},
    {2, Level::error, "the data set has no variable {text}", "A text constant stands in quotes."},
    {3, Level::error, "{text} is text and cannot be compared with a number",
     "A text constant stands in quotes; a variable that should be a number must have numbers alone in its column."},
    {4, Level::error, "{text} is text and cannot be computed with"},
    {5, Level::error, "{text} is text and no condition by itself", "Compare it with something, such as name = 'text'."},
    {6, Level::error, "the condition is nested deeper than {text} levels"},
    {7, Level::error, "the condition has more than {text} parts"},
    {8, Level::error, "a parenthesis of the condition is not closed"},
    {9, Level::error, "{text} is a number and cannot be compared with text", "A text constant stands in quotes."},
    {10, Level::error, "a condition has no functions, and there is no variable {text}",
     "Missing values are found with x IS MISSING; other values have to be computed in the data."},
    {20, Level::error, "there is no format {text}", "VALUE makes a format; w.d, BESTw. and $w. are always there."},
    {21, Level::error, "the format {text} lacks its point"},
    {22, Level::error, "the width {integer} of the format {text} is not between 1 and {integer}"},
    {23, Level::error, "the format {text} has no room for {integer} decimal{s}"},
    {24, Level::error, "VALUE cannot be read at {text}"},
    {25, Level::error, "a format cannot be called {text}",
     "Its name has letters, digits and underscores, begins with a letter and does not end with a digit, and is not F "
     "or "
     "BEST."},
    {26, Level::error, "the range of VALUE ends in front of its beginning"},
    {27, Level::error, "two ranges of VALUE hold the same value {text}",
     "A range can leave its ends out: 1-<5 ends in front of 5, 1<-5 begins behind 1."},
    {28, Level::error, "{text} is text, and the format is for numbers",
     "A format for texts has a name with a dollar sign in front, such as $grade."},
    {29, Level::error, "{text} is a number, and the format is for texts", "Write the value in quotes."},
    {30, Level::error, "OTHER stands twice in VALUE"},
    {31, Level::error, "VALUE has more than {integer} ranges, the limit"},
};
static_assert(sound(group_920));

}  // namespace vek
